#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# clang-tidy, cppcheck and the clang analyzer over src/ and tools/; any finding is a failure.
#   static_analysis.sh [tidy] [cppcheck] [analyzer]
set -euo pipefail
cd "$(dirname "$0")/.."
build=build-analysis
tool() { command -v "$1-14" || command -v "$1"; }
options=(-DCMAKE_BUILD_TYPE=Release -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DQUORVEL_TESTS=OFF)
cmake -S . -B $build "${options[@]}" -DCMAKE_EXPORT_COMPILE_COMMANDS=ON -DQUORVEL_LOG=stderr >/dev/null

tidy() {
    find src tools -name '*.cpp' ! -name '*_neon.cpp' -print0 |
        xargs -0 -n 4 -P "$(nproc)" "$(tool clang-tidy)" -p $build --quiet 2>/dev/null
}

# Negative numbers are shifted on purpose: every compiler in use keeps their sign.
cppcheck() {
    command cppcheck --quiet --error-exitcode=1 -j "$(nproc)" --std=c++17 --library=posix \
        --enable=warning,performance,portability --inline-suppr -I include -I src -I tools \
        --suppress=missingIncludeSystem --suppress=shiftNegativeLHS --suppress=useInitializationList \
        -D__x86_64__ -D__linux__ --template=gcc src tools
}

analyzer() {
    "$(tool scan-build)" --status-bugs --use-cc=clang --use-c++=clang++ -o $build/reports \
        cmake -S . -B $build/analyzer "${options[@]}" >/dev/null
    "$(tool scan-build)" --status-bugs --use-cc=clang --use-c++=clang++ -o $build/reports \
        cmake --build $build/analyzer --clean-first --parallel "$(nproc)" >$build/analyzer.log 2>&1 ||
        { grep -E 'warning|error|scan-build' $build/analyzer.log; return 1; }
}

for part in "${@:-tidy cppcheck analyzer}"; do
    for name in $part; do
        echo "-- $name"
        "$name"
    done
done
echo "no findings"
