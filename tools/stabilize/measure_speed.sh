#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# What stabilizing adds to decoding and encoding the same video with the same program.
#   measure_speed.sh <build folder> [width x height] [frames] [rounds] [options of the stabilizer...]
# Three runs a preset:
#   pass    the shaky video, frames passed as they are (--mode none)
#   steady  the shaky video, stabilized
#   again   the stabilized video, frames passed as they are: the encoder has the pictures of `steady`
# x264 spends more or less time on other pictures: steady / pass has that in it, steady / again has not.
# The median of the rounds of each ratio; CPU time, unlike wall time, hardly depends on what else is running.
set -euo pipefail
build=$(cd "$1" && pwd)
size=${2:-1920x1080}
frames=${3:-200}
rounds=${4:-3}
options=("${@:5}")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
tool=$build/quorvel-stabilize

"$build/quorvel-clipgen" --size "$size" --frames "$frames" --format y4m - |
    "$tool" --quiet --mode none --preset fast - shaky.mp4
"$tool" --quiet "${options[@]}" --preset fast shaky.mp4 stable.mp4

# Wall and CPU seconds of a run.
seconds_of() {
    local TIMEFORMAT='%R %U %S'
    { time "$tool" -y --quiet "$@" 2>/dev/null; } 2>&1 | awk '{ print $1, $2 + $3 }'
}
echo "${options[*]:-default}, $size, $frames frames, $(nproc) processors, $rounds rounds"
for preset in fast ultrafast; do
    for ((round = 0; round < rounds; round++)); do
        echo "$(seconds_of --mode none --preset "$preset" shaky.mp4 out.mp4)" \
            "$(seconds_of "${options[@]}" --preset "$preset" shaky.mp4 out.mp4)" \
            "$(seconds_of --mode none --preset "$preset" stable.mp4 out.mp4)"
    done >rounds
    awk -v preset="$preset" '
        function median(a, n,   i, j, t) {
            for (i = 2; i <= n; i++)
                for (j = i; j > 1 && a[j] < a[j - 1]; j--) { t = a[j]; a[j] = a[j - 1]; a[j - 1] = t }
            return a[int((n + 1) / 2)]
        }
        {
            wall[NR] = $3 / $1; cpu[NR] = $4 / $2; wall2[NR] = $3 / $5; cpu2[NR] = $4 / $6
            pass[NR] = $1; steady[NR] = $3; again[NR] = $5
        }
        END {
            printf "%s: pass %.1f s, steady %.1f s, again %.1f s\n", preset, median(pass, NR), median(steady, NR), median(again, NR)
            printf "  steady / pass:  wall %.3f, CPU %.3f\n", median(wall, NR), median(cpu, NR)
            printf "  steady / again: wall %.3f, CPU %.3f\n", median(wall2, NR), median(cpu2, NR)
        }' rounds
done
