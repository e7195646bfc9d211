#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# tools/quality/table.sh            measures all clips, writes the tables into docs/quality.md and README.md
# tools/quality/table.sh CLIP...    prints the table of these clips, whose paths are measured from the frames
# tools/quality/table.sh --speeds   measures the speeds alone and writes their table
# tools/quality/table.sh --cuts     counts the cuts between two real clips that are taken for motions
# VALUES=FILE keeps what the first form measures, a line of values for each clip and way.
# Needs cmake, g++, make, libcli11-dev and ffmpeg, whose filters are compared. Half an hour, 2 GB.
set -euo pipefail
caller=$PWD
cd "$(dirname "$0")/../.."
here=$PWD/tools/quality
build=$PWD/build/release
frames=180

# name|options of quorvel-clipgen, or a file. Small sizes only where the size or the rate is what is looked at.
clips='hand shake, 1 to 8 Hz|
the same, 320x240|--size 320x240
the same, 640x360|--size 640x360
60 frames a second|--size 640x360 --fps 60
120 frames a second|--size 640x360 --fps 120
240 frames a second|--size 640x360 --fps 240
shake of 2 Hz|--motion swing --frequency 2
shake of 4 Hz|--motion swing --frequency 4
shake of 8 Hz|--motion swing --frequency 8
strong shake|--shake 15 --roll 5
strong roll|--roll 10
walking|--motion walk --shake 12 --roll 4
pan, 200 px/s|--pan 200
stop and go, 200 px/s|--motion stop-and-go --pan 200
stop and go, 300 px/s|--motion stop-and-go --pan 300
noise, 8 grey levels|--noise 8
a fifth of the contrast|--contrast 20
flicker, 15 %|--flicker 15
a flash every 2 s|--flash 60
a cut every 2 s|--cut 60
object, 25 % of the picture|--object 25 --pan 0
rolling shutter, 60 %|--rolling 60
tripod|--motion tripod --pan 0
tripod, noise|--motion tripod --pan 0 --noise 8
car.mp4|examples/clips/car.mp4
gopro.mp4|examples/clips/gopro.mp4'

# name|options of quorvel-stabilize
ways='standard|--standard
live|--live
live, 85 % visible|--live --window 92.2
live, bilinear|--live --bilinear
lookahead of 5 frames|--lookahead FRAMES5 --window 87.5
lookahead of 15 frames|--lookahead FRAMES15 --window 87.5
lookahead of 30 frames|--lookahead FRAMES30 --window 87.5
file, by default|
whole clip|--whole --window 87.5'

# name|filter of ffmpeg|the way of ours that is compared with it, at the area that the filter shows
filters='deshake|deshake|
vidstab|vidstab smoothing=10|lookahead of 30 frames
vidstab, gauss, smoothing 30|vidstab optalgo=gauss:smoothing=30|whole clip'

filter() { # in, out, filter
    case $3 in
        vidstab*)
            ffmpeg -v error -y -i "$1" -vf "vidstabdetect=result=$1.trf" -f null - &&
                ffmpeg -v error -y -i "$1" -vf "vidstabtransform=input=$1.trf:${3#vidstab }" "${@:4}" "$2"
            ;;
        *) ffmpeg -v error -y -i "$1" -vf "$3" "${@:4}" "$2" ;;
    esac
}

rate() { ffprobe -v error -select_streams v -show_entries stream=r_frame_rate -of csv=p=0 "$1"; }

stabilize() { # in, out, options of ours
    local options=$3 count fps
    fps=$(rate "$1")
    while [[ $options =~ FRAMES([0-9]+) ]]; do
        count=${BASH_REMATCH[1]}
        options=${options/FRAMES$count/$(awk "BEGIN { print $count / ($fps) }")}
    done
    # shellcheck disable=SC2086
    "$build/quorvel-stabilize" --quiet -y $options "$1" "$2" --trace "$2.csv"
}

judge() { # in, out, text; the true path and our trace where there are any
    local known=()
    [ -e "$dir/truth.csv" ] && known=(--truth "$dir/truth.csv")
    [ -e "$dir/truth.csv" ] && [ -e "$2.csv" ] && known+=(--trace "$2.csv")
    "$build/quorvel-quality" "$1" "$2" "${known[@]}" --values "$3"
}

make_clip() { # clipgen's options, or a file
    local seconds=$((frames / 30)) fps=30
    [[ $1 =~ --fps\ ([0-9]+) ]] && fps=${BASH_REMATCH[1]}
    if [ -e "$1" ]; then
        ffmpeg -v error -i "$1" "$dir/in.y4m"
    else
        # shellcheck disable=SC2086
        "$build/quorvel-clipgen" --frames $((seconds * fps)) $1 "$dir/in.y4m" --truth "$dir/truth.csv"
    fi
}

# Each line: clip;way;values of quorvel-quality. Where a filter is compared, a way is measured at its area too.
measure_clip() { # number
    local line name label options visible side
    dir=$work/$1
    line=$(sed -n "$1p" <<<"$clips")
    name=${line%%|*}
    mkdir "$dir"
    make_clip "${line#*|}"
    {
        while IFS='|' read -r label options; do
            stabilize "$dir/in.y4m" "$dir/out.y4m" "$options"
            judge "$dir/in.y4m" "$dir/out.y4m" "$name;$label"
        done <<<"$ways"
        rm "$dir/out.y4m.csv"
        while IFS='|' read -r label options like; do
            filter "$dir/in.y4m" "$dir/other.y4m" "$options" </dev/null
            judge "$dir/in.y4m" "$dir/other.y4m" "$name;$label" | tee "$dir/line"
            [ "$like" ] || continue
            visible=$(cut -d';' -f9 "$dir/line")
            side=$(awk "BEGIN { s = 100 * sqrt($visible); print (s > 98 ? 98 : s < 60 ? 60 : s) }")
            options=$(grep "^$like|" <<<"$ways" | cut -d'|' -f2)
            stabilize "$dir/in.y4m" "$dir/out.y4m" "${options/87.5/$side}"
            judge "$dir/in.y4m" "$dir/out.y4m" "$name;$like, at the area of $label"
        done <<<"$filters"
    } >"$work/values.$1"
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
    for options in --standard --live '--live --bilinear' '--lookahead 1' --whole; do
        # shellcheck disable=SC2086
        speed_row "quorvel $options" "$build/quorvel-stabilize" $options "$clip" -
    done
    speed_row 'reading and writing alone (quorvel)' "$build/quorvel-stabilize" --mode none "$clip" -
    while IFS='|' read -r label options _; do
        speed_row "$label" filter "$clip" - "$options" -f null </dev/null
    done <<<"$filters"
    speed_row 'reading alone (ffmpeg)' ffmpeg -v error -i "$clip" -f null -
}

# 65 pieces of three frames, of either clip in turn. Frames 4, 7, 10 and so on follow a cut.
cuts() {
    local way piece clip
    for clip in car gopro; do
        ffmpeg -v error -y -i examples/clips/$clip.mp4 -vf scale=640:480,setsar=1,fps=30 "$work/$clip.y4m"
    done
    for piece in $(seq 0 64); do
        clip=$([ $((piece % 2)) = 0 ] && echo car || echo gopro)
        ffmpeg -v error -i "$work/$clip.y4m" -vf "trim=start_frame=$piece:end_frame=$((piece + 3))" \
            -f rawvideo -
    done >"$work/cuts.i420"
    for way in --standard --live; do
        "$build/quorvel-stabilize" --quiet -y --dry-run $way --size 640x480 --format i420 "$work/cuts.i420" \
            --trace "$work/cuts.csv"
        awk -F, -v way=$way 'NR == 1 { for (i = 1; i <= NF; i++) column[$i] = i; next }
            $1 > 1 && $1 % 3 == 1 { cuts++; motions += $column["measured"] }
            END { printf "%s: %d of %d cuts taken for motions\n", way, motions, cuts }' "$work/cuts.csv"
    done
}

# Puts a file between the markers of a name.
put() { # page, name, file
    awk -v begin="<!-- $2 -->" -v end="<!-- end $2 -->" -v file="$3" '
        $0 == begin { print; while ((getline line < file) > 0) print line; inside = 1 }
        $0 == end { inside = 0 }
        !inside' "$1" >"$work/page"
    cp "$work/page" "$1"
}

table() { awk -F';' -v table="$1" -f "$here/tables.awk" "$2"; } # name, values

if [ "${1:-}" = --clip ]; then
    measure_clip "$2"
    exit
fi
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DQUORVEL_TOOL=ON >/dev/null
cmake --build "$build" --parallel "$(nproc)" --target quorvel_tool quorvel_clipgen quorvel_quality >/dev/null
work=$(mktemp -d)
export work
trap 'rm -rf "$work"' EXIT

case ${1:-} in
    --speeds)
        speeds >"$work/speeds"
        put docs/quality.md speeds "$work/speeds"
        cat "$work/speeds"
        exit
        ;;
    --cuts)
        cuts
        exit
        ;;
esac
if [ $# -gt 0 ]; then
    for clip; do
        [[ $clip == /* ]] || clip=$caller/$clip
        "$build/quorvel-stabilize" -y "$clip" "$work/out.y4m" 2>"$work/log" || { cat "$work/log" >&2; exit 1; }
        "$build/quorvel-quality" "$clip" "$work/out.y4m" --values "${clip##*/};"
    done >"$work/values"
    table files "$work/values"
    exit
fi

begin=$(date +%s)
seq "$(wc -l <<<"$clips")" | xargs -P "$(nproc)" -I{} "$here/table.sh" --clip {}
seq "$(wc -l <<<"$clips")" | while read -r i; do cat "$work/values.$i"; done >"$work/values"
[ -z "${VALUES:-}" ] || cp "$work/values" "$VALUES"
speeds >"$work/speeds"
put docs/quality.md speeds "$work/speeds"
for name in summary clips errors rates area; do
    table $name "$work/values" >"$work/$name"
    put docs/quality.md $name "$work/$name"
done
table readme "$work/values" >"$work/readme"
put README.md quality "$work/readme"
cat "$work/summary" "$work/clips" "$work/errors" "$work/rates" "$work/area" "$work/speeds"
echo "Written to docs/quality.md and README.md; $(($(date +%s) - begin)) s"
