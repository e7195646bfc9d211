#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# sweep.sh TESTS [wide|full] [LOG]: every entry point over all sizes, in two processes. TESTS is the test
# program. The full sweep takes about half an hour; tests that LOG lists as passed are not run again.
set -euo pipefail
tests=$(realpath "${1:?usage: sweep.sh build/release/quorvel_tests [wide|full] [LOG]}")
export QUORVEL_SWEEP=${2:-full}
log=${3:-}
if [ -z "$log" ]; then
    log=$(mktemp -u)
    trap 'rm -f "$log".?' EXIT
fi
touch "$log.0" "$log.1"
total=$("$tests" --gtest_list_tests --gtest_filter='*Matrix*' | grep -c '^  ')
# Resumed by exclusion: the names of all that have passed.
filter="*Matrix*-$(sed -n 's/^\[ *OK \] \([^ ]*\) .*/\1/p' "$log".? | sort -u | paste -sd:)"
status=0
for shard in 0 1; do
    GTEST_TOTAL_SHARDS=2 GTEST_SHARD_INDEX=$shard nice -n 10 "$tests" --gtest_filter="$filter" \
        >>"$log.$shard" 2>&1 &
    pids[shard]=$!
done
for pid in "${pids[@]}"; do wait "$pid" || status=1; done
passed=$(sed -n 's/^\[ *OK \] \([^ ]*\) .*/\1/p' "$log".? | sort -u | wc -l)
[ "$status" = 0 ] || grep -hA12 'Failure' "$log".? | head -60
echo "sweep $QUORVEL_SWEEP: $passed of $total tests passed in $SECONDS s"
[ "$status" = 0 ] && [ "$passed" = "$total" ]
