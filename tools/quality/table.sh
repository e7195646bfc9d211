#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# tools/quality/table.sh            measures all generated clips, writes the tables into docs/quality.md
# tools/quality/table.sh CLIP...    prints the table of these clips, whose paths are measured from the frames
# tools/quality/table.sh --speeds   measures the speeds alone and writes their table
# Needs cmake, g++, make, libcli11-dev; ffmpeg for the comparison with its filters. Some minutes, 1.5 GB.
set -euo pipefail
caller=$PWD
cd "$(dirname "$0")/../.."
self=$PWD/tools/quality/table.sh
build=$PWD/build/release
frames=180
heading='| clip | rows, px | columns, px | roll, mrad | visible | invented | lost |
|---|---|---|---|---|---|---|'

# name|options of quorvel-clipgen
clips='hand shake, 1 to 8 Hz|
the same, 640x480|--size 640x480
the same, 320x240|--size 320x240
shake of 2 Hz|--motion swing --frequency 2
shake of 4 Hz|--motion swing --frequency 4
shake of 8 Hz|--motion swing --frequency 8
walking|--motion walk --shake 12 --roll 4
pan, 200 px/s|--pan 200
stop and go, 300 px/s|--motion stop-and-go --pan 300
strong roll|--roll 10
noise, 8 grey levels|--noise 8
flicker, 15 %|--flicker 15
object, 25 % of the picture|--object 25 --pan 0
a cut every 2 s|--cut 60
tripod|--motion tripod --pan 0
tripod, noise|--motion tripod --pan 0 --noise 8'
compared='hand shake, 1 to 8 Hz
walking
pan, 200 px/s
stop and go, 300 px/s
tripod, noise'
filters='deshake|deshake
deshake, range 64|deshake=rx=64:ry=64
vidstab|vidstab smoothing=10
vidstab, smoothing 30|vidstab smoothing=30'

filter() { # in, out, filter
    case $3 in
        vidstab*)
            ffmpeg -v error -y -i "$1" -vf "vidstabdetect=result=$1.trf" -f null - &&
                ffmpeg -v error -y -i "$1" -vf "vidstabtransform=input=$1.trf:${3#vidstab }" "${@:4}" "$2"
            ;;
        *) ffmpeg -v error -y -i "$1" -vf "$3" "${@:4}" "$2" ;;
    esac
}

# One clip of the list: rows into files whose names sort as the list does.
measure_clip() { # number
    local line name dir="$work/$1" label options
    line=$(sed -n "$1p" <<<"$clips")
    name=${line%%|*}
    mkdir "$dir"
    # shellcheck disable=SC2086
    "$build/quorvel-clipgen" --frames $frames ${line#*|} "$dir/in.y4m" --truth "$dir/truth.csv"
    "$build/quorvel-stabilize" -y "$dir/in.y4m" "$dir/out.y4m" --trace "$dir/trace.csv" 2>"$dir/log" ||
        { cat "$dir/log" >&2; return 1; }
    "$build/quorvel-quality" "$dir/in.y4m" "$dir/out.y4m" --truth "$dir/truth.csv" --trace "$dir/trace.csv" \
        --row "$name" >"$dir/rows"
    head -n 1 "$dir/rows" >"$work/clip.$1"
    tail -n 1 "$dir/rows" >"$work/stage.$1"
    if [ "$(command -v ffmpeg)" ] && grep -qxF "$name" <<<"$compared"; then
        sed "s#^| [^|]*|#| $name | quorvel |#" "$work/clip.$1" >"$work/other.$1"
        while IFS='|' read -r label options; do
            filter "$dir/in.y4m" "$dir/out.y4m" "$options" </dev/null
            "$build/quorvel-quality" "$dir/in.y4m" "$dir/out.y4m" --truth "$dir/truth.csv" --row "| $label" |
                sed 's/^| *| /| | /' >>"$work/other.$1"
        done <<<"$filters"
    fi
    rm -r "$dir"
    echo "measured: $name" >&2
}

# Frames a second by the clock, and milliseconds of processor time a frame, medians of three runs; uncompressed
# in, nothing out.
speed_row() { # label, command...
    local label=$1 run
    shift
    for run in 1 2 3; do
        { TIMEFORMAT='%R %U %S'; time "$@" >/dev/null 2>"$work/log.$run"; } 2>&1
    done | awk '{ print $1, $2 + $3 }' >"$work/times"
    awk -v label="$label" -v n=$frames -v wall="$(cut -d' ' -f1 "$work/times" | sort -g | sed -n 2p)" \
        -v cpu="$(cut -d' ' -f2 "$work/times" | sort -g | sed -n 2p)" \
        'BEGIN { printf "| %s | %.0f | %.1f |\n", label, n / wall, 1000 * cpu / n }'
}
speeds() {
    local label options clip=$work/speed.y4m
    "$build/quorvel-clipgen" --frames $frames "$clip"
    echo '| | frames a second | processor, ms a frame |'
    echo '|---|---|---|'
    speed_row 'quorvel' "$build/quorvel-stabilize" "$clip" -
    speed_row 'reading and writing alone (quorvel)' "$build/quorvel-stabilize" --mode none "$clip" -
    [ "$(command -v ffmpeg)" ] || return 0
    while IFS='|' read -r label options; do
        speed_row "$label" filter "$clip" - "$options" -f null </dev/null
    done <<<"$filters"
    speed_row 'reading alone (ffmpeg)' ffmpeg -v error -i "$clip" -f null -
}

# Puts a file between the markers of a name.
put() { # name, file
    awk -v begin="<!-- $1 -->" -v end="<!-- end $1 -->" -v file="$2" '
        $0 == begin { print; while ((getline line < file) > 0) print line; inside = 1 }
        $0 == end { inside = 0 }
        !inside' docs/quality.md >"$work/quality.md"
    cp "$work/quality.md" docs/quality.md
}

if [ "${1:-}" = --clip ]; then
    measure_clip "$2"
    exit
fi
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DQUORVEL_TOOL=ON >/dev/null
cmake --build "$build" --parallel "$(nproc)" --target quorvel_tool quorvel_clipgen quorvel_quality >/dev/null
work=$(mktemp -d)
export work
trap 'rm -rf "$work"' EXIT

if [ "${1:-}" = --speeds ]; then
    speeds >"$work/speeds"
    put speeds "$work/speeds"
    cat "$work/speeds"
    exit
fi
if [ $# -gt 0 ]; then
    echo "$heading"
    for clip; do
        [[ $clip == /* ]] || clip=$caller/$clip
        "$build/quorvel-stabilize" -y "$clip" "$work/out.y4m" 2>"$work/log" || { cat "$work/log" >&2; exit 1; }
        "$build/quorvel-quality" "$clip" "$work/out.y4m" --row "${clip##*/}"
    done
    exit
fi

begin=$(date +%s)
seq "$(wc -l <<<"$clips")" | xargs -P "$(nproc)" -I{} "$self" --clip {}
gather() { seq "$(wc -l <<<"$clips")" | while read -r i; do cat "$work/$1.$i" 2>/dev/null || true; done; }
{ echo "$heading"; gather clip; } >"$work/clips"
{
    echo '| clip | measured minus true motion | left by the smoother | left by both | seen in the pixels | at the margin |'
    echo '|---|---|---|---|---|---|'
    gather stage
} >"$work/stages"
{
    echo "| clip | by ${heading#| clip }" | sed '2s/$/---|/'
    gather other
} >"$work/others"
speeds >"$work/speeds"
for name in clips stages others speeds; do put $name "$work/$name"; done
cat "$work/clips" "$work/stages" "$work/others" "$work/speeds"
echo "Written to docs/quality.md; $(($(date +%s) - begin)) s"
