#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# Lines and branches of the library that its tests and the seeds of its fuzz programs reach, at every
# level of vector instructions. Fails below 98 % of the lines or 92 % of the branches.
#   coverage.sh [BUILD]   the report goes to BUILD/report.txt, each line that is missing to BUILD/missing.txt
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build/coverage}
tool() { command -v "$1-14" || command -v "$1"; } # Debian's plain name may be another version than clang's
probes="-fprofile-instr-generate -fcoverage-mapping"
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Coverage -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
    -DCMAKE_CXX_FLAGS="-O1 $probes" -DQUORVEL_FUZZ=ON -DQUORVEL_TOOL=OFF >/dev/null
cmake --build "$build" --parallel "$(nproc)" --target quorvel_tests quorvel_fuzz >/dev/null

root=$PWD
cd "$build"
rm -rf profiles && mkdir profiles
export LLVM_PROFILE_FILE=profiles/%p.raw
./quorvel_tests --gtest_brief=1
programs=(quorvel_tests)
for program in fuzz-*; do
    [ -x "$program" ] || continue
    "$root/fuzz/unpack.sh" "${program#fuzz-}" "seeds/$program"
    "./$program" -runs=0 -verbosity=0 "seeds/$program" >"profiles/$program.log" 2>&1 ||
        { tail -40 "profiles/$program.log"; exit 1; }
    programs+=(-object "$program")
done
"$(tool llvm-profdata)" merge -sparse -o all.profile profiles/*.raw
shown=("${programs[@]}" -instr-profile=all.profile "$root/src" "$root/include")
"$(tool llvm-cov)" report "${shown[@]}" >report.txt
"$(tool llvm-cov)" show "${shown[@]}" -show-branches=count -show-expansions=false |
    grep -E '^/|^ +[0-9]+\| +0\|' >missing.txt || true
awk 'NF == 13 { printf "%-36s %6s lines %8s %6s branches %8s\n", $1, $8, $10, $11, $13 }' report.txt
awk '$1 == "TOTAL" { lines = $10 + 0; branches = $13 + 0 }
     END { if (lines < 98 || branches < 92) { print "FAILED: below 98 % of the lines or 92 % of the branches"; exit 1 } }' report.txt
