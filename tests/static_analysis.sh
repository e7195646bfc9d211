#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# The format of all sources, then clang-tidy, with the clang analyzer, and cppcheck over src/, tools/ and
# plugins/. Any finding is a failure.
#   static_analysis.sh [format] [tidy] [cppcheck]
set -euo pipefail
cd "$(dirname "$0")/.."
build=build/analysis
tool() { command -v "$1-14" || command -v "$1"; }

# Version 14 only: others break lines elsewhere.
format() {
    local files other=() file
    "$(tool clang-format)" --version | grep -q 'version 14\.' || { echo "FAILED: clang-format is not version 14"; return 1; }
    mapfile -t files < <(find src include tests tools plugins web bench fuzz examples -name '*.cpp' -o -name '*.h' -o -name '*.c')
    for file in "${files[@]}"; do
        "$(tool clang-format)" --dry-run --Werror "$file" 2>/dev/null || other+=("$file")
    done
    [ ${#other[@]} -eq 0 ] || { echo "FAILED: clang-format-14 -i" "${other[@]}"; return 1; }
}

tidy() {
    cmake -S . -B $build -DCMAKE_BUILD_TYPE=Release -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
        -DCMAKE_EXPORT_COMPILE_COMMANDS=ON -DQUORVEL_LOG=stderr -DQUORVEL_TESTS=OFF -DQUORVEL_TOOL=ON \
        -DQUORVEL_FFMPEG=ON -DQUORVEL_CAPTURE=ON -DQUORVEL_PREVIEW=ON -DQUORVEL_GSTREAMER=ON -DQUORVEL_OBS=ON \
        >/dev/null
    find src tools plugins -name '*.cpp' ! -name '*_neon.cpp' -print0 |
        xargs -0 -n 4 -P "$(nproc)" "$(tool clang-tidy)" -p $build --quiet 2>/dev/null
}

# Negative numbers are shifted on purpose: every compiler in use keeps their sign.
cppcheck() {
    command cppcheck --quiet --error-exitcode=1 -j "$(nproc)" --std=c++17 --library=posix \
        --enable=warning,performance,portability --inline-suppr -I include -I src -I tools -I plugins \
        --suppress=missingIncludeSystem --suppress=shiftNegativeLHS --suppress=useInitializationList \
        -D__x86_64__ -D__linux__ '-DOBS_DECLARE_MODULE()=' '-DOBS_MODULE_USE_DEFAULT_LOCALE(a,b)=' \
        '-DG_DEFINE_TYPE_WITH_CODE(...)=' '-DGST_ELEMENT_REGISTER_DEFINE(...)=' --template=gcc src tools plugins
}

[ $# -gt 0 ] || set -- format tidy cppcheck
for part; do
    echo "-- $part"
    "$part"
done
echo "no findings"
