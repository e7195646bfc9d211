#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# Instructions of a 1280x720 frame, stage by stage, against the committed figures in instructions.txt.
#   bench/instructions.sh            fails when a stage takes over 3 % more than its figure
#   bench/instructions.sh --update   writes the figures anew
# Counted by callgrind with one thread and AVX2 at most, so that machine and load do not matter. Another
# compiler or C library than the stated one makes other code: then nothing is compared, and a line says so.
set -euo pipefail
cd "$(dirname "$0")/.."
figures=bench/instructions.txt
build=${QUORVEL_BENCH_BUILD:-build/release}
tolerance=3

skip() {
  echo "instructions: SKIPPED, $1"
  exit 0
}

command -v valgrind >/dev/null || skip "valgrind is missing (Debian: valgrind)"
mkdir -p "$build"
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DQUORVEL_BENCH=AUTO >"$build/configure.log" ||
  { cat "$build/configure.log"; exit 1; }
cmake --build "$build" --target quorvel_bench_instructions >"$build/build.log" || { cat "$build/build.log"; exit 1; }

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
program=$build/quorvel-bench-instructions
{
  "$program" write "$scratch/clip"
  libc=$(getconf GNU_LIBC_VERSION 2>/dev/null || echo unknown)
  echo "libc $libc"
} >"$scratch/header"
grep -q '^level avx2$' "$scratch/header" || skip "this processor has no AVX2"
if [ "${1:-}" != --update ]; then
  for tool in compiler libc; do
    stated=$(grep "^$tool " "$figures")
    here=$(grep "^$tool " "$scratch/header")
    [ "$here" = "$stated" ] || skip "the figures are for '$stated', this is '$here'"
  done
  if [ "$(grep -E '^(input|frames) ' "$figures")" != "$(grep -E '^(input|frames) ' "$scratch/header")" ]; then
    echo "instructions: the input is not the one of the figures; --update them"
    exit 1
  fi
fi

# The C library chooses its copy by the processor's model and cache sizes: the same one everywhere.
export GLIBC_TUNABLES=glibc.cpu.x86_rep_movsb_threshold=0x7fffffff:glibc.cpu.x86_rep_stosb_threshold=0x7fffffff:glibc.cpu.x86_non_temporal_threshold=0x7fffffff
valgrind --tool=callgrind --callgrind-out-file="$scratch/out" --compress-strings=no --compress-pos=no \
  "$program" run "$scratch/clip" >"$scratch/log" 2>&1 || { cat "$scratch/log"; exit 1; }

# A call's line carries what the called function took, with all that it called in turn.
frames=$(sed -n 's/^frames //p' "$scratch/header")
awk -v frames="$frames" '
  /^cfn=/ { callee = substr($0, 5); next }
  /^calls=/ { getline; if (callee ~ /^Stage[A-Z][A-Za-z]*$/) sum[callee] += $2; next }
  END { for (name in sum) printf "%s %d\n", substr(name, 6), sum[name] / frames }
' "$scratch/out" | sort -k2,2nr >"$scratch/counts"
[ -s "$scratch/counts" ] || { echo "instructions: callgrind has seen no stage"; exit 1; }

if [ "${1:-}" = --update ]; then
  {
    echo "# Instructions a 1280x720 NV21 frame in mode 3, by bench/instructions.sh --update."
    cat "$scratch/header" "$scratch/counts"
  } >"$figures"
  cat "$figures"
  exit 0
fi

awk -v tolerance=$tolerance '
  NR == FNR { if ($1 ~ /^[A-Z]/) stated[$1] = $2; next }
  {
    if (!($1 in stated)) { printf "%-14s %10d  has no figure: --update\n", $1, $2; bad++; next }
    change = 100 * ($2 / stated[$1] - 1)
    verdict = change > tolerance ? "  SLOWER" : change < -tolerance ? "  faster: --update keeps it" : ""
    printf "%-14s %10d  figure %10d  %+6.2f %%%s\n", $1, $2, stated[$1], change, verdict
    if (change > tolerance) bad++
    delete stated[$1]
  }
  END {
    for (name in stated) { printf "%-14s is no longer counted: --update\n", name; bad++ }
    if (bad) { printf "instructions: FAILED, more than %d %% over the figures\n", tolerance; exit 1 }
    print "instructions: passed"
  }' "$figures" "$scratch/counts"
