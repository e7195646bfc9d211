#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# Builds the stabilizer and shows what it does to a shaky clip. For Debian 12; see the text below.
set -euo pipefail
cd "$(dirname "$0")"
. cmake/debian-packages.sh

size=1280x720
frames=300
build=build/release
out=build/demo

step() { printf '\n== %s\n' "$*"; }

# Seconds that a command took, its output left as it is.
timed() {
    local start end
    start=$(date +%s%N)
    "$@"
    end=$(date +%s%N)
    seconds=$(awk -v ns=$((end - start)) 'BEGIN { printf "%.1f", ns / 1e9 }')
}

cat <<TEXT
This demo
  - installs what is missing of: cmake, g++, make, CLI11 (Debian packages)
  - builds the library and its tools in $build/
  - makes a shaky clip of $frames frames ($size) in $out/, whose camera path is known
  - stabilizes it and measures how much of the shake is left
  - puts both clips side by side for viewing
It takes about a minute and 2 GB of disk space.
TEXT

step "Packages"
need_packages cmake g++ make libcli11-dev
echo "All there."

step "Building in $build/"
mkdir -p "$build"
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DQUORVEL_TOOL=ON >"$build/configure.log" 2>&1 ||
    { cat "$build/configure.log"; exit 1; }
cmake --build "$build" --parallel "$(nproc)" --target \
    quorvel_tool quorvel_clipgen quorvel_quality quorvel_compare

mkdir -p "$out"
step "Making a shaky clip"
timed "$build/quorvel-clipgen" "$out/shaky.y4m" --format y4m --truth "$out/truth.csv" \
    --size "$size" --frames "$frames"
echo "$out/shaky.y4m: $frames frames in $seconds s"

step "Stabilizing it"
timed "$build/quorvel-stabilize" "$out/shaky.y4m" "$out/steady.y4m" --trace "$out/trace.csv" -y
echo "$out/steady.y4m: $frames frames in $seconds s, reading and writing included"

step "Shake before and after"
"$build/quorvel-quality" "$out/shaky.y4m" "$out/steady.y4m" --truth "$out/truth.csv" \
    --trace "$out/trace.csv" --path "$out/path.csv"
plot=
if command -v gnuplot >/dev/null 2>&1 &&
    "$build/quorvel-stabilize" --dry-run --plot "$out/path.svg" -y "$out/shaky.y4m" 2>/dev/null; then
    plot=", $out/path.svg"
fi

step "Side by side"
"$build/quorvel-compare" "$out/shaky.y4m" "$out/steady.y4m" "$out/side-by-side.y4m"
movie="$out/side-by-side.y4m"
if command -v ffmpeg >/dev/null 2>&1; then
    if ffmpeg -v error -y -i "$movie" -pix_fmt yuv420p -preset superfast -crf 20 \
        "$out/side-by-side.mp4"; then
        movie="$movie, $out/side-by-side.mp4"
    else
        echo "ffmpeg could not make an MP4 of it; the Y4M file is there all the same."
    fi
else
    echo "(With ffmpeg installed there would be an MP4 file too.)"
fi

cat <<TEXT

Stabilized clip:  $out/steady.y4m
To look at:       $movie  (left before, right after)
Motion per frame: $out/trace.csv, $out/path.csv$plot
TEXT
