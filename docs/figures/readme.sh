#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# docs/figures/readme.sh: draws the picture of README.md anew. Needs a configured build/release (./demo.sh makes
# one), ffmpeg and gnuplot (Debian: gnuplot-nox).
set -euo pipefail
cd "$(dirname "$0")/../.."
build=build/release
cmake --build "$build" --target quorvel_tool quorvel_clipgen quorvel_quality >/dev/null
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$build/quorvel-clipgen" --frames 180 "$work/shaky.y4m" --truth "$work/truth.csv"
"$build/quorvel-stabilize" -y "$work/shaky.y4m" "$work/steady.y4m" 2>/dev/null
"$build/quorvel-quality" "$work/shaky.y4m" "$work/steady.y4m" --truth "$work/truth.csv" --path "$work/path.csv"

# A third of a second in one still: what is blurred has moved.
still='select=between(n\,100\,109),tmix=frames=10,select=eq(n\,9),scale=480:-2'
ffmpeg -v error -y -i "$work/shaky.y4m" -i "$work/steady.y4m" -filter_complex \
    "[0]${still}[a];[1]${still}[b];[a][b]hstack" -frames:v 1 "$work/stills.png"
gnuplot -e "path='$work/path.csv'; out='$work/plot.png'" - <<'PLOT'
set terminal pngcairo size 960,300 font 'sans-serif,11' background '#ffffff'
set output out
set datafile separator ','
set grid lc rgb '#e4e4e4'
set border lc rgb '#606060'
set key top left horizontal samplen 2
set xlabel 'seconds' offset 0,0.6
set ylabel 'row, pixels' offset 1
set yrange [-18:18]
plot path skip 1 using 2:3 with lines lw 1.4 lc rgb '#8a8a8a' title 'camera', \
     '' skip 1 using 2:6 with lines lw 2.4 lc rgb '#1f5fbf' title 'output'
PLOT
ffmpeg -v error -y -i "$work/stills.png" -i "$work/plot.png" -filter_complex \
    'vstack,split[a][b];[a]palettegen=48[p];[b][p]paletteuse=dither=none' -frames:v 1 docs/figures/readme.png
size=$(stat -c %s docs/figures/readme.png)
echo "docs/figures/readme.png: $size bytes"
((size < 150000)) || { echo "too large for the repository"; exit 1; }
