#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# web/build.sh: builds the module for browsers and node in build/web/package/, and an npm package of it in
# build/web/.
set -euo pipefail
cd "$(dirname "$0")/.."
. cmake/debian-packages.sh
needs=(cmake make emscripten)
command -v node >/dev/null || needs+=(nodejs) # from wherever it came
command -v npm >/dev/null || needs+=(npm)
need_packages "${needs[@]}"

# Emscripten's scripts find their packages here whichever node runs them.
export NODE_PATH=/usr/share/nodejs
build=build/web
mkdir -p $build
emcmake cmake -S . -B $build -DCMAKE_BUILD_TYPE=Release "$@" >$build/configure.log 2>&1 ||
    { cat $build/configure.log; exit 1; }
cmake --build $build --parallel "$(nproc)"
(cd $build && npm pack --silent ./package)
