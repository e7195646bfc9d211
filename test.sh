#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# Installs what is missing, builds everything and runs all fast tests.
set -euo pipefail
cd "$(dirname "$0")"
. cmake/debian-packages.sh

echo "== packages"
need_packages cmake g++ make libgtest-dev libcli11-dev
echo "== build"
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release ${QUORVEL_CMAKE_ARGS:-}
cmake --build build --parallel "$(nproc)"
echo "== fast tests"
ctest --test-dir build --label-regex '^fast$' --output-on-failure
