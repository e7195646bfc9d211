#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# Fuzzes for a stated time, one program after the other, and says how many inputs were tried.
#   long.sh BUILD SECONDS [PROGRAM...]   SECONDS each; found inputs stay in BUILD/corpus, faults in BUILD
#   long.sh BUILD merge                  reduces what was found, and the repository's seeds, to new seeds
set -euo pipefail
build=$(realpath "$1") seconds=$2
seeds=$(realpath "$(dirname "$0")/corpus")
shift 2
programs=("$@")
[ $# -gt 0 ] || programs=(calls kernels pool stages tool)
options=(-max_len=300 -timeout=60 -rss_limit_mb=1500 -verbosity=0 -print_final_stats=1)
[ "${CI:-}" != true ] || options+=(-seed=1) # the change is on trial, not its luck; long runs draw anew
for program in "${programs[@]}"; do
    found=$build/corpus/$program
    mkdir -p "$found"
    cd "$build"
    if [ "$seconds" = merge ]; then
        rm -rf "$found.new" && mkdir "$found.new"
        "./fuzz-$program" "${options[@]}" -set_cover_merge=1 -use_counters=0 "$found.new" "$seeds/$program" "$found" 2>>merge.log
        find "$seeds/$program" -type f ! -name 'fault-*' -delete
        cp -n "$found.new"/* "$seeds/$program/"
        echo "$program: $(find "$seeds/$program" -type f | wc -l) seeds"
        continue
    fi
    "./fuzz-$program" "${options[@]}" -max_total_time="$seconds" "$found" "$seeds/$program" >"fuzz-$program.log" 2>&1 ||
        { tail -40 "fuzz-$program.log"; echo "FAILED: fuzz-$program, input kept in $build"; exit 1; }
    echo "$(date +%F) fuzz-$program: $(sed -n 's/^stat::number_of_executed_units: *//p' "fuzz-$program.log") inputs in $seconds s, no fault"
done
