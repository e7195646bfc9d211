#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# Instructions and estimated cycles of every NEON kernel, beside those of the portable code, as a table.
#   bench/mca.sh
# Each kernel runs under an emulator that logs every instruction; llvm-mca then takes that straight line of
# instructions through its model of a processor, with all data in the cache and no branch mispredicted. The
# figures are those of the compiler (clang, as on Android) and of the models, not of a measurement.
# Debian: clang llvm lld qemu-user g++-aarch64-linux-gnu
set -euo pipefail
cd "$(dirname "$0")/.."
cores=(cortex-a55 cortex-a76)

for program in clang++ llvm-objdump llvm-mca qemu-aarch64 aarch64-linux-gnu-gcc; do
  command -v $program >/dev/null || { echo "mca.sh: $program is missing" >&2; exit 1; }
done
step=-singlestep # its former name
! qemu-aarch64 -help | grep -q one-insn-per-tb || step=-one-insn-per-tb

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
program=$scratch/kernel-calls
clang++ --target=aarch64-linux-gnu -std=c++17 -O3 -DNDEBUG -fno-exceptions -fno-rtti -static -Isrc -Iinclude \
  bench/kernel_calls.cpp src/kernels.cpp src/platform/cpu.cpp src/motion/*_sad*.cpp src/model/row_error*.cpp \
  src/warp/{strip,pixels}*.cpp src/warp/mapping_kernels.cpp -o "$program"
# Addresses of branches and pages become a label, which the assembler takes anywhere. A call, which the model
# would take for 100 cycles, becomes a jump, and a prefetch, which it would take for a barrier, a load.
llvm-objdump -d --no-show-raw-insn "$program" | sed -n -E '
  s/ <[^>]*>$//; s/^ *([0-9a-f]+): *\t/\1 /; T
  s/ bl\t/ b\t/; s/ blr\t/ br\t/; s/ prfm\tpld[a-z0-9]+,/ ldr\txzr,/
  s/^([^ ]+ (b|b\.[a-z]+|cbn?z|tbn?z|adrp?)\t.*)0x[0-9a-f]+$/\1.Lthere/; p' >"$scratch/code"

# What ran between the two markers of kernel_calls.cpp.
trace() {
  qemu-aarch64 $step -d exec,nochain -D "$scratch/log" "$program" "$1" "$2"
  awk '
    NR == FNR { code[$1] = substr($0, length($1) + 2); next }
    $NF == "TraceBegin" { count = 0; active = 1; next }
    $NF == "TraceEnd" { active = 0 }
    active && /^Trace/ { split($0, part, "/"); sub(/^0+/, "", part[2]); line[count++] = code[part[2]] }
    END { print ".Lthere:"; for (i = 0; i < count; i++) print line[i] }
  ' "$scratch/code" "$scratch/log" >"$scratch/$2.s"
}

cycles() {
  llvm-mca -mtriple=aarch64-linux-gnu -mcpu="$2" -iterations=1 -instruction-info=false \
    -resource-pressure=false "$scratch/$1.s" 2>"$scratch/errors" | sed -n 's/^Total Cycles: *//p' |
    grep . || { cat "$scratch/errors" >&2; exit 1; }
}

echo "| portable / NEON | a | instructions |$(printf ' %s cycles |' "${cores[@]}")"
echo "|---|---|---|$(printf -- '---|%.0s' "${cores[@]}")"
qemu-aarch64 "$program" | while read -r name unit units; do
  row="$units"
  for kind in portable neon; do
    trace "$name" $kind
    row+=" $(($(wc -l <"$scratch/$kind.s") - 1))"
  done
  for core in "${cores[@]}"; do
    for kind in portable neon; do row+=" $(cycles $kind "$core")"; done
  done
  echo "$row" | awk -v name="$name" -v unit="$unit" '{
    printf "| %s | %s |", name, unit
    for (i = 2; i < NF; i += 2) printf " %.2f / %.2f |", $i / $1, $(i + 1) / $1
    print ""
  }'
done
