#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# docs/figures/readme.sh: draws readme.png and ways.png, pictures of real output, anew. Needs a configured
# build/release (./demo.sh makes one), ffmpeg and gnuplot (Debian: gnuplot-nox).
set -euo pipefail
cd "$(dirname "$0")/../.."
build=build/release
clip=examples/clips/car.mp4
cmake --build "$build" --target quorvel_tool quorvel_clipgen quorvel_quality >/dev/null
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

stabilize() { # name, in, options
    "$build/quorvel-stabilize" --quiet -y "${@:3}" "$2" "$work/$1.y4m"
}
# A third of a second in one still: what is blurred has moved.
still() { echo "select=between(n\,$1\,$(($1 + 9))),tmix=frames=10,select=eq(n\,9),scale=$2:-2"; }
colours=48
save() { # picture, name
    ffmpeg -v error -y -i "$1" -vf "split[a][b];[a]palettegen=$colours[p];[b][p]paletteuse=dither=none" \
        -frames:v 1 "docs/figures/$2"
    local size
    size=$(stat -c %s "docs/figures/$2")
    echo "docs/figures/$2: $size bytes"
    ((size < 150000)) || { echo "too large for the repository"; exit 1; }
}
plot_style="set datafile separator ','; set grid lc rgb '#e4e4e4'; set border lc rgb '#606060';
    set xlabel 'seconds' offset 0,0.6"

# readme.png: a phone in a moving car, and its path, before and after.
stabilize default $clip
"$build/quorvel-quality" $clip "$work/default.y4m" --path "$work/path.csv" >/dev/null
ffmpeg -v error -y -i $clip -i "$work/default.y4m" -filter_complex \
    "[0]$(still 51 480)[a];[1]$(still 51 480)[b];[a][b]hstack" -frames:v 1 "$work/stills.png"
gnuplot -e "path='$work/path.csv'; out='$work/plot.png'" - <<PLOT
set terminal pngcairo size 960,240 font 'sans-serif,11' background '#ffffff'
set output out
$plot_style
set key bottom right horizontal samplen 2
set ylabel 'row, pixels' offset 1
plot path skip 1 using 2:3 with lines lw 1.4 lc rgb '#8a8a8a' title 'camera', \
     '' skip 1 using 2:6 with lines lw 2.4 lc rgb '#1f5fbf' title 'output'
PLOT
ffmpeg -v error -y -i "$work/stills.png" -i "$work/plot.png" -filter_complex vstack -frames:v 1 "$work/readme.png"
save "$work/readme.png" readme.png

# ways.png: the path of a camera that pans and halts, in each way.
"$build/quorvel-clipgen" --motion stop-and-go --pan 200 --frames 240 "$work/pan.y4m" --truth "$work/truth.csv"
for way in standard live lookahead=1 whole; do
    stabilize $way "$work/pan.y4m" --$way
    "$build/quorvel-quality" "$work/pan.y4m" "$work/$way.y4m" --truth "$work/truth.csv" \
        --path "$work/$way.csv" >/dev/null
done
gnuplot -e "dir='$work/'; out='$work/ways.png'" - <<PLOT
set terminal pngcairo size 960,400 font 'sans-serif,11' background '#ffffff'
set output out
$plot_style
set key bottom right samplen 2
set ylabel 'column, pixels' offset 1
plot dir.'live.csv' skip 1 using 2:4 with lines lw 1.2 lc rgb '#8a8a8a' title 'camera', \
     dir.'standard.csv' skip 1 using 2:7 with lines lw 1.8 lc rgb '#e08020' title 'standard', \
     dir.'live.csv' skip 1 using 2:7 with lines lw 1.8 lc rgb '#2f9e44' title 'live', \
     dir.'lookahead=1.csv' skip 1 using 2:7 with lines lw 1.8 lc rgb '#1f5fbf' title 'lookahead of 1 s', \
     dir.'whole.csv' skip 1 using 2:7 with lines lw 1.8 lc rgb '#9c36b5' title 'whole clip'
PLOT
save "$work/ways.png" ways.png
