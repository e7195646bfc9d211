#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# web/bench.sh [ROUNDS]: CPU time of a frame at 720p and 1080p, of the native library on one thread and of the
# module in node, with vector instructions and without. They take turns; the figures are medians.
set -euo pipefail
cd "$(dirname "$0")/.."
. cmake/debian-packages.sh
need_packages cmake g++ make libcli11-dev >&2
web/build.sh >&2
mkdir -p build/release
cmake -S . -B build/release -DCMAKE_BUILD_TYPE=Release -DQUORVEL_WEB=ON >build/release/configure.log 2>&1 ||
    { cat build/release/configure.log; exit 1; }
cmake --build build/release --parallel "$(nproc)" --target quorvel_web_native quorvel_clipgen >&2
node web/bench.mjs build/release/native_frames build/release/quorvel-clipgen \
    "file://$PWD/build/web/package/" "${1:-7}"
