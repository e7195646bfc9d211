#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# Builds the whole tool and shows what it does to a real clip. For Debian 12; see the text below.
set -euo pipefail
cd "$(dirname "$0")"
. cmake/debian-packages.sh

clip=examples/clips/car.mp4
build=build/release
out=build/demo

step() { printf '\n== %s\n' "$*"; }

cat <<TEXT
This demo
  - installs what is missing of the Debian packages that the tool is built from:
    CMake, g++, CLI11, FFmpeg's libraries, SDL 2
  - builds the library and its tool in $build/
  - stabilizes $clip, a real clip, and puts it beside the result
  - measures the shake before and after
It takes a minute or two, and 1.2 GB of disk space where all packages are missing.
TEXT

step "Packages"
need_packages "${tool_packages[@]}"
echo "All there."

step "Building in $build/"
mkdir -p "$build"
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DQUORVEL_TOOL=ON -DQUORVEL_FFMPEG=ON \
    >"$build/configure.log" 2>&1 || { cat "$build/configure.log"; exit 1; }
cmake --build "$build" --parallel "$(nproc)" --target quorvel_tool quorvel_quality

run() { # prints a command, then runs it
    printf '\n$ %s\n' "$*"
    "$@"
}
mkdir -p "$out"
step "Stabilizing"
run "$build/quorvel-stabilize" -y "$clip" "$out/steady.mp4"
run "$build/quorvel-stabilize" -y --side-by-side "$clip" "$out/side-by-side.mp4"

step "Shake before and after"
run "$build/quorvel-quality" "$clip" "$out/steady.mp4"
echo "There is little roll in this clip, and moving traffic hides it: docs/quality.md has more."

cat <<TEXT

The clip:    $clip
Stabilized:  $out/steady.mp4
To look at:  $out/side-by-side.mp4  (left before, right after)
TEXT
