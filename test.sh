#!/usr/bin/env bash
# Installs what is missing, builds everything and runs all fast tests.
set -euo pipefail
cd "$(dirname "$0")"
. cmake/debian-packages.sh

echo "== packages"
need_packages cmake g++ ninja-build libgtest-dev libcli11-dev
echo "== build"
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release ${QUORVEL_CMAKE_ARGS:-}
cmake --build build
echo "== fast tests"
ctest --test-dir build --label-regex '^fast$' --output-on-failure
