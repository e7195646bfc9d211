#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# The element in pipelines, beside quorvel-stabilize.
#   GST_PLUGIN_PATH=<folder> check_pipelines.sh <quorvel-stabilize> <quorvel-clipgen>
set -u
tool=$1
clipgen=$2
work=$(mktemp -d) || exit 1
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
export GST_REGISTRY=$work/registry

fail() {
    printf 'FAILED: %s\n' "$*"
    : >failed
}
# element <format> <caps> <settings...>: from in.raw to element.raw
element() {
    local format=$1 caps=$2
    shift 2
    timeout 60 gst-launch-1.0 -q filesrc location=in.raw ! rawvideoparse format="$format" width=336 height=180 \
        framerate=30/1 colorimetry=bt601 ! capssetter caps="video/x-raw,$caps" ! quorvelstabilize "$@" \
        ! filesink location=element.raw 2>err || fail "pipeline $format $*: $(cat err)"
}

# The same settings give the same bytes.
for format in i420 nv21; do
    "$clipgen" -y --size 336x180 --frames 50 --format $format in.raw || exit 1
    while read -r options; do
        settings=${options#* : }
        # shellcheck disable=SC2086
        "$tool" -y --quiet --size 336x180 --fps 30 --format $format ${options% : *} in.raw tool.raw ||
            fail "tool $options"
        # shellcheck disable=SC2086
        element $format chroma-site=jpeg $settings
        cmp -s tool.raw element.raw || fail "$format: other bytes with $options"
    done <<'END'
--live --bilinear : threads=1
--live --window 70 --no-roll : window=0.7 roll=false cubic=true
--lookahead 0.5 --window 90 --strength 2 --bilinear : lookahead=15 window=0.9 strength=2
--lookahead 4 --window 80 : lookahead=120 window=0.8 cubic=true
END
done

# What comes out untouched, with or without delay, is the input.
element nv21 chroma-site=jpeg enabled=false lookahead=20
cmp -s in.raw element.raw || fail "a disabled element changed the frames"

# It goes between usual elements; interlaced video is refused.
run() { timeout 60 gst-launch-1.0 "$@" >log 2>&1; }
for lookahead in 0 8; do
    run videotestsrc num-buffers=20 ! video/x-raw,width=320,height=240 ! videoconvert ! \
        quorvelstabilize lookahead=$lookahead ! videoconvert ! video/x-raw,format=YUY2 ! fakesink ||
        fail "videoconvert: $(cat log)"
    run videotestsrc num-buffers=10 is-live=true ! video/x-raw,framerate=50/1 ! \
        quorvelstabilize lookahead=$lookahead post-motion=true ! fakesink sync=true || fail "live: $(cat log)"
done
run videotestsrc num-buffers=5 ! video/x-raw,format=I420,interlace-mode=interleaved ! quorvelstabilize ! \
    fakesink && fail "interlaced video is taken"

gst-inspect-1.0 quorvelstabilize >inspected 2>err || fail "gst-inspect-1.0"
[ -s err ] && fail "gst-inspect-1.0: $(cat err)"
for word in Filter/Effect/Video BSD lookahead post-motion P010_10LE; do
    grep -q "$word" inspected || fail "gst-inspect-1.0 does not show $word"
done

[ ! -e failed ]
