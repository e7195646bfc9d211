#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# Installs what is missing, builds everything and runs all fast tests.
set -euo pipefail
cd "$(dirname "$0")"
. cmake/debian-packages.sh

echo "== packages"
need_packages "${build_packages[@]}"
echo "== build"
cmake -S . -B build/release -DCMAKE_BUILD_TYPE=Release ${QUORVEL_CMAKE_ARGS:-}
cmake --build build/release --parallel "$(nproc)"
echo "== fast tests"
ctest --test-dir build/release --label-regex '^fast$' --output-on-failure
