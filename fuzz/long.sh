#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# Fuzzes for a stated time, one program after the other, and says how many inputs were tried.
#   long.sh BUILD SECONDS [PROGRAM...]   SECONDS each; found inputs stay in BUILD/corpus, faults in BUILD
#   long.sh BUILD merge [PROGRAM...]     appends found inputs that reach new code to the seeds
set -euo pipefail
build=$(realpath "$1") seconds=$2
here=$(dirname "$(realpath "$0")")
shift 2
programs=("$@")
[ $# -gt 0 ] || programs=(calls kernels pool stages tool)
options=(-max_len=300 -timeout=60 -rss_limit_mb=1500 -verbosity=0 -print_final_stats=1)
[ "${CI:-}" != true ] || options+=(-seed=1) # the change is on trial, not its luck; long runs draw anew
cd "$build"
for program in "${programs[@]}"; do
    seeds=seeds/$program found=corpus/$program
    mkdir -p "$found"
    "$here/unpack.sh" "$program" "$seeds"
    if [ "$seconds" = merge ]; then
        "./fuzz-$program" "${options[@]}" -merge=1 -use_counters=0 "$seeds" "$found" >"merge-$program.log" 2>&1
        find "$seeds" -type f ! -name "$program-*" | while read -r new; do
            od -An -v -tx1 "$new" | tr -d ' \n' && echo
        done >>"$here/seeds/$program.txt"
        echo "$program: $(grep -vc '^#' "$here/seeds/$program.txt") seeds"
        continue
    fi
    "./fuzz-$program" "${options[@]}" -max_total_time="$seconds" "$found" "$seeds" >"fuzz-$program.log" 2>&1 ||
        { tail -40 "fuzz-$program.log"; echo "FAILED: fuzz-$program, input kept in $build"; exit 1; }
    echo "$(date +%F) fuzz-$program: $(sed -n 's/^stat::number_of_executed_units: *//p' "fuzz-$program.log") inputs in $seconds s, no fault"
done
