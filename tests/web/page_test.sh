#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# tests/web/page_test.sh [BUILD [CHECK...]]: the page in Chromium, without a window, with a camera that plays a
# file; all checks, or those named: camera, file, troubles, sizes, flood, bytes, speed.
# BUILD is a native build with QUORVEL_WEB=ON, build/release unless told otherwise. 77: something that is needed
# is not there.
set -euo pipefail
cd "$(dirname "$0")/../.."
build=${1:-build/release}
work=build/web/page-test
puppeteer='puppeteer-core@25.16.0'

skip() { echo "Skipped: $*"; exit 77; }
for program in chromium node npm ffmpeg ffprobe; do
    command -v $program >/dev/null || skip "no $program"
done
command -v emcmake >/dev/null || [ -e build/web/package/quorvel-simd.wasm ] || skip "no Emscripten"
for program in quorvel-stabilize quorvel-clipgen native_frames; do
    [ -x "$build/$program" ] || skip "$build has no $program"
done

for file in web/page/*.js tests/web/page_*js; do
    # As the browser takes it: a module, whatever its name.
    node --input-type=module --check <"$file" || { echo "$file is no JavaScript"; exit 1; }
done
web/serve.sh --files
mkdir -p $work
[ -d $work/node_modules/puppeteer-core ] ||
    npm install --prefix $work --no-audit --no-fund --silent $puppeteer >$work/npm.log 2>&1 ||
    skip "npm cannot install $puppeteer"
cp tests/web/page_* $work/

clip() { "$build/quorvel-clipgen" -y --shake 8 "${@:2}" "$work/$1" >/dev/null; }
native() { "$build/quorvel-stabilize" --quiet -y --size 320x240 --format i420 "${@:2}" $work/shaky.i420 "$work/$1"; }
clip camera.y4m --size 640x480 --frames 60
clip shaky.i420 --size 320x240 --frames 40
native standard.i420 --standard
native live.i420 --live
native ahead.i420 --lookahead 0.5 --window 87.5 --bilinear
ffmpeg -v error -y -i $work/camera.y4m -f lavfi -i sine=440:duration=2 -pix_fmt yuv420p -vf setsar=4/3 \
    -c:v libx264 -bf 2 -c:a aac -shortest $work/sound.mp4
head -c 20000 $work/sound.mp4 >$work/broken.mp4
for size in 1280x720 1920x1080; do
    clip "${size#*x}.nv12" --size $size --frames 8 --format nv21
done
node $work/page_checks.mjs build/web/page $work "$(command -v chromium)" "$build/native_frames" "${@:2}"
