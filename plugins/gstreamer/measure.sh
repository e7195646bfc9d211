#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# Processor time for a 1080p frame in a pipeline, beside a scaler that crops and enlarges it: medians of five
# runs, without the time of a pipeline that only reads, and the ratio to the scaler.
#   plugins/gstreamer/measure.sh [build/release]
set -eu
export LC_ALL=C # times with a decimal point
build=${1:-build/release}
frames=100
export GST_PLUGIN_PATH=$build/plugins
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$build/quorvel-clipgen" --size 1920x1080 --frames $frames --format i420 "$work/clip"

cpu_ms() { # the pipeline's elements
    TIMEFORMAT='%U %S'
    { time gst-launch-1.0 -q filesrc location="$work/clip" ! rawvideoparse format=i420 width=1920 height=1080 \
        framerate=30/1 ! "$@" ! fakesink; } 2>&1 | awk '{ print 1000 * ($1 + $2) }'
}
pipelines=(
    "identity"
    "videocrop left=120 right=120 top=68 bottom=68 ! videoscale ! video/x-raw,width=1920,height=1080"
    "quorvelstabilize"
    "quorvelstabilize threads=1"
    "quorvelstabilize cubic=true"
    "quorvelstabilize lookahead=30"
    "quorvelstabilize enabled=false"
)
for _ in 1 2 3 4 5; do
    for i in "${!pipelines[@]}"; do
        # shellcheck disable=SC2086
        cpu_ms ${pipelines[$i]} >>"$work/$i"
    done
done
median() { sort -n "$work/$1" | sed -n 3p; }
for i in "${!pipelines[@]}"; do
    [ "$i" = 0 ] || awk -v ms="$(median "$i")" -v idle="$(median 0)" -v scaler="$(median 1)" -v n=$frames \
        -v what="${pipelines[$i]}" \
        'BEGIN { printf "%6.2f ms %5.2f  %s\n", (ms - idle) / n, (ms - idle) / (scaler - idle), what }'
done
