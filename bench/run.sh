#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# Builds the benchmarks, runs all of them once, and brings docs/performance.md up to date: its measured
# section, docs/performance.json and docs/performance.svg. Takes some ten minutes; let the machine be quiet.
#   bench/run.sh                 measure, print the table, write docs/
#   bench/run.sh --print         measure and print the table only
#   REPETITIONS=3 bench/run.sh   fewer than the usual 9 repetitions
set -euo pipefail
cd "$(dirname "$0")/.."
build=${QUORVEL_BENCH_BUILD:-build/release}
results=$build/results

cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DQUORVEL_BENCH=ON
cmake --build "$build" --target quorvel_bench quorvel_bench_ratios quorvel_bench_worst quorvel_bench_load quorvel_bench_memory
rm -rf "$results"
mkdir -p "$results"
bench/mca.sh >"$results/mca.md"
# Load, and ticks of all processors since they started: all, and those that a host gave to others.
note_load() { echo "$(cut -d' ' -f1-3 /proc/loadavg)|$(awk '/^cpu / {for (i = 2; i <= 9; i++) n += $i; print n, $9}' /proc/stat)"; }
note_load >"$results/system.txt"

# Repetitions of all benchmarks are mixed, so that a disturbance does not fall on one side of a ratio.
"$build/quorvel-bench" --benchmark_enable_random_interleaving=true \
  --benchmark_repetitions="${REPETITIONS:-9}" --benchmark_min_time=0.1 \
  --benchmark_format=json >"$results/bench.json"
"$build/quorvel-bench-ratios" 150 >"$results/ratios.json"
"$build/quorvel-bench-worst" >"$results/worst.json"
"$build/quorvel-bench-load" >"$results/load.json"
for size in 176x144 320x240 1280x720 1920x1080 3840x2160; do
  for buffers in refined lookahead; do
    "$build/quorvel-bench-memory" "${size%x*}" "${size#*x}" nv21 $buffers >"$results/memory-$size-nv21-$buffers.json"
  done
  for format in nv21 i420; do
    for buffers in separate in_place; do
      "$build/quorvel-bench-memory" "${size%x*}" "${size#*x}" $format $buffers \
        >"$results/memory-$size-$format-$buffers.json"
    done
  done
done
note_load >>"$results/system.txt"

python3 bench/report.py "$results" "$results/report"
cat "$results/report.md"
[ "${1:-}" = --print ] && exit 0

python3 bench/report.py --insert "$results/report.md" docs/performance.md
cp "$results/report.json" docs/performance.json
if command -v gnuplot >/dev/null; then
  gnuplot -c bench/chart.gnuplot "$results/report" docs/performance.svg
else
  echo "run.sh: no chart, gnuplot is missing (Debian: gnuplot-nox)"
fi
