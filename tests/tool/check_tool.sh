#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# What quorvel-stabilize does with real files and pipes, good and bad, and the programs beside it.
#   check_tool.sh <quorvel-stabilize> <quorvel-clipgen> <quorvel-quality>
set -u
tool=$1
clipgen=$2
quality=$3
work=$(mktemp -d) || exit 1
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1

fail() {
    printf 'FAILED: %s\n' "$*"
    sed 's/^/    /' err 2>/dev/null
    : >failed # a file: the check may be in a pipe's subshell
}

# run <status> <lines on standard error> <arguments...>: standard input and output are the caller's.
run() {
    local status=$1 lines=$2 got
    shift 2
    "$tool" -y "$@" 2>err
    got=$?
    [ "$got" = "$status" ] || fail "status $got instead of $status: $*"
    [ "$(wc -l <err)" = "$lines" ] || fail "$(wc -l <err) lines on standard error instead of $lines: $*"
}

same() { cmp -s "$1" "$2" || fail "$3"; }
# Raw frames of <size> bytes out of a Y4M stream.
frames_of() {
    local size=$1 at end
    at=$(head -n 1 "$2" | wc -c)
    end=$(wc -c <"$2")
    while [ "$at" -lt "$end" ]; do
        at=$((at + 6))
        tail -c +$((at + 1)) "$2" | head -c "$size"
        at=$((at + size))
    done
}

n=$((160 * 120 * 3 / 2))
"$clipgen" --size 160x120 --frames 6 --format y4m clip.y4m || exit 1
"$clipgen" --size 160x120 --frames 6 --format i420 clip.i420 || exit 1
"$clipgen" --size 160x120 --frames 6 --format nv21 clip.nv21 || exit 1
tail -n +2 clip.y4m >frames

# A file has a lookahead, what cannot wait has none; pipes and raw layouts give the same pictures.
run 0 0 clip.y4m out.y4m
run 0 0 --live clip.y4m live.y4m
run 0 0 --standard clip.y4m standard.y4m
[ "$(head -n 1 out.y4m)" = "$(head -n 1 clip.y4m)" ] || fail "the header's tags are not kept"
[ "$(wc -c <out.y4m)" = "$(wc -c <clip.y4m)" ] || fail "frames are missing"
cmp -s out.y4m clip.y4m && fail "nothing was stabilized"
run 0 0 --lookahead 1 --window 90 clip.y4m got.y4m
same out.y4m got.y4m "the default of a file is not --lookahead 1 --window 90"
run 0 0 --live --window 87.5 clip.y4m got.y4m
same live.y4m got.y4m "the default window of --live is not 87.5"
cmp -s out.y4m live.y4m && fail "--live changes nothing"
run 0 0 - - <clip.y4m >piped.y4m
same live.y4m piped.y4m "the default of a pipe is not --live"
(head -c 1000 clip.y4m; sleep 0.2; tail -c +1001 clip.y4m) | run 0 0 - slow.y4m
same live.y4m slow.y4m "a pipe that comes in pieces gives other bytes"
run 0 0 --mode rotate clip.y4m got.y4m
same standard.y4m got.y4m "--mode rotate is not --standard"
run 0 0 --standard - - <clip.y4m >piped.y4m
same standard.y4m piped.y4m "a pipe gives other bytes on the standard path"
run 0 0 --size 160x120 --format i420 clip.i420 out.i420
frames_of $n out.y4m >out.frames
frames_of $n standard.y4m >standard.frames
same out.frames out.i420 "raw I420 gives other bytes"
run 0 0 --size 160x120 clip.nv21 out.nv21
for i in 0 1 2 3 4 5; do
    head -c $((i * n + 160 * 120)) out.nv21 | tail -c $((160 * 120)) >luma.nv21
    head -c $((i * n + 160 * 120)) out.i420 | tail -c $((160 * 120)) >luma.i420
    same luma.nv21 luma.i420 "raw NV21 gives other luma in frame $i"
done

# Every spelling of 8-bit 4:2:0, tags in any order, frame parameters.
for tags in '' ' C420' ' C420jpeg' ' C420mpeg2' ' C420paldv' ' XYSCSS=420JPEG' ' F30000:1001 Ip A1:1 C420jpeg XFREE=1'; do
    (echo "YUV4MPEG2 H120 W160$tags"; cat frames) >in.y4m
    run 0 0 --standard in.y4m got.y4m
    frames_of $n got.y4m >got.frames
    same standard.frames got.frames "other frames for '$tags'"
done
# Where the chroma samples lie counts unless the path is the standard one, in either spelling.
for tags in C420mpeg2 XYSCSS=420MPEG2; do
    (echo "YUV4MPEG2 H120 W160 F30:1 $tags"; cat frames) >in.y4m
    run 0 0 in.y4m got.y4m
    frames_of $n got.y4m >"$tags"
done
same C420mpeg2 XYSCSS=420MPEG2 "other frames where an extension tells the chroma's place"
cmp -s out.frames C420mpeg2 && fail "the chroma's place changes nothing"
(head -n 1 clip.y4m; echo 'FRAME Ip'; head -c $((n + 6)) frames | tail -c $n) >in.y4m
run 0 0 in.y4m got.y4m
[ "$(wc -c <got.y4m)" -ge $n ] || fail "a frame with parameters is lost"

# Other pixels are converted by FFmpeg, with a note, and refused without it.
(echo 'YUV4MPEG2 W160 H120 F30:1 C422'; for i in 0 1 2; do
    echo FRAME
    head -c $((i * n + 160 * 120)) clip.i420 | tail -c $((160 * 120))
    head -c $((160 * 120)) /dev/zero
done) >other.y4m
if "$tool" --version | grep -q 'with FFmpeg'; then
    run 0 1 --mode none other.y4m got.y4m
    run 0 1 --mode none - - <other.y4m >piped.y4m
    same got.y4m piped.y4m "a pipe of 4:2:2 gives other bytes"
    [ "$(tail -n +2 got.y4m | wc -c)" = $((3 * (n + 6))) ] || fail "4:2:2: not 3 frames of 160x120"
    tail -c $n got.y4m | head -c $((160 * 120)) >luma.got
    head -c $((2 * n + 160 * 120)) clip.i420 | tail -c $((160 * 120)) >luma.i420
    same luma.got luma.i420 "4:2:2 gives other luma"
    pixels=('W160 H120 Cnone')
else
    pixels=('W160 H120 C422' 'W160 H120 C420p10' 'W160 H120 Cmono' 'W160 H120 XYSCSS=420P10')
fi

# What is no video is refused before an output is made.
for header in "${pixels[@]}" \
    'W160' 'H120 C420' 'W0 H120' 'W160 H-2' 'W160x H120' 'W99999 H120' 'W160 H1'; do
    (echo "YUV4MPEG2 $header"; cat frames) >in.y4m
    run 1 1 in.y4m none.y4m
    [ -e none.y4m ] && fail "an output was made for '$header'"
    rm -f none.y4m
done
for bad in 'RIFF' 'YUV4MPEG W160 H120' ''; do
    printf '%s' "$bad" >in.y4m
    run 1 1 in.y4m none.y4m
done
(head -n 1 clip.y4m; echo 'FRAMES'; cat frames) >in.y4m
run 1 1 in.y4m none.y4m
head -c 100000 /dev/zero >in.y4m
run 1 1 in.y4m none.y4m
run 1 1 - none.y4m <&-
grep -q closed err || fail "a closed standard input is not told"
run 1 1 missing.y4m none.y4m

# A cut-off stream: every whole frame arrives, none of the last one.
head -c $((5 * (n + 6) + 6 + 100)) frames >cut
(head -n 1 clip.y4m; cat cut) >in.y4m
run 1 1 --live in.y4m got.y4m
head -c $(($(wc -c <live.y4m) - n - 6)) live.y4m >whole.y4m
same got.y4m whole.y4m "a truncated stream does not give its whole frames"
head -c $((5 * n + 7)) clip.nv21 >in.nv21
run 0 0 --live --size 160x120 clip.nv21 live.nv21
head -c $((5 * n)) live.nv21 >whole.nv21
run 1 1 --live --size 160x120 in.nv21 got.nv21
same got.nv21 whole.nv21 "a truncated raw stream does not give its whole frames"

# Odd pictures: their even part, and one line that says so.
(echo 'YUV4MPEG2 W161 H121 C420'; for i in 1 2 3; do
    echo FRAME
    head -c $((161 * 121 + 2 * 81 * 61)) clip.nv21
done) >in.y4m
run 0 1 in.y4m got.y4m
[ "$(wc -c <got.y4m)" = $(($(head -n 1 got.y4m | wc -c) + 3 * (n + 6))) ] || fail "odd picture: not 3 frames of 160x120"
head -n 1 got.y4m | grep -q 'W160 H120' || fail "odd picture: header is not of the even size"

# Outputs that cannot be written.
run 1 1 clip.y4m no/such/folder.y4m
run 1 1 clip.y4m .
[ -c /dev/full ] && run 1 1 clip.y4m /dev/full
[ -c /dev/full ] && run 1 1 --trace /dev/full clip.y4m got.y4m
"$clipgen" --size 640x480 --frames 4 --format y4m large.y4m
run 1 1 large.y4m - | head -c 100 >/dev/null
cp clip.y4m self.y4m
run 1 1 self.y4m self.y4m
same clip.y4m self.y4m "the input was overwritten"

# Neither trace nor plot nor report takes the place of the video, whatever the spelling.
mkdir -p folder
for name in ./r.svg "$PWD/r.svg" folder/../r.svg; do
    run 1 1 --trace "$name" clip.y4m r.svg
    run 1 1 --plot "$name" clip.y4m r.svg
    run 1 1 --report "$name" clip.y4m r.svg
    run 1 1 --trace "$name" --plot r.svg --dry-run clip.y4m
    run 1 1 --report "$name" --trace r.svg --dry-run clip.y4m
    run 1 1 --report "$name" --plot r.svg --dry-run clip.y4m
done
run 1 1 --report ./clip.y4m -y --dry-run clip.y4m
run 2 1 --report - --json --dry-run clip.y4m
run 2 1 --report r.html --mode none clip.y4m got.y4m
[ -e r.svg ] && fail "an output was made beside a report of its name"
run 0 0 --dry-run --report r.html clip.y4m
tail -n 1 r.html | grep -q '^</html>$' || fail "the report has no end"
run 0 0 --dry-run --report - - <clip.y4m >r.html
head -n 1 r.html | grep -q '^<!DOCTYPE html>$' || fail "no report on standard output"
[ -c /dev/full ] && run 1 1 --dry-run --report /dev/full clip.y4m
[ -c /dev/full ] && run 1 1 --dry-run --json clip.y4m >/dev/full
run 1 1 --dry-run --json clip.y4m >&-
run 1 1 - got.y4m <&-
# Stacks that no memory holds: no thread can be started. The thread sanitizer's programs do not start at all.
(ulimit -s $((1 << 40)) 2>/dev/null && "$tool" --version >/dev/null 2>&1 || exit 0
    run 1 1 clip.y4m unmade.y4m)
[ -z "$(find . -name 'unmade*' -o -name '*.part')" ] || fail "an unfinished file is left"

# Any number of threads gives the same pictures, of frames that are large enough for more than one.
"$clipgen" --size 1280x768 --frames 3 --format nv21 wide.nv21
for path in --standard --live; do
    run 0 0 $path --size 1280x768 wide.nv21 got.nv21
    for threads in 0 1 2 4 64; do
        run 0 0 $path --threads $threads --size 1280x768 wide.nv21 threads.nv21
        same got.nv21 threads.nv21 "$path: --threads $threads gives other bytes"
    done
done

# The refined path: whatever comes later, every frame arrives, the same from any number of threads.
for path in --live --lookahead=0.2 --whole --window=80 --bilinear --window=auto; do
    run 0 0 --quiet $path clip.y4m got.y4m
    [ "$(wc -c <got.y4m)" = "$(wc -c <clip.y4m)" ] || fail "$path: frames are missing"
    cmp -s got.y4m standard.y4m && fail "$path gives the standard path's bytes"
    run 0 0 --quiet $path --size 1280x768 --threads 1 wide.nv21 got.nv21
    run 0 0 --quiet $path --size 1280x768 --threads 4 wide.nv21 threads.nv21
    same got.nv21 threads.nv21 "$path: --threads gives other bytes"
done
run 0 0 --bilinear clip.y4m got.y4m
cmp -s got.y4m out.y4m && fail "--bilinear gives the bytes of the default interpolation"
run 0 0 --lookahead 0.2 - - <clip.y4m >piped.y4m
run 0 0 --lookahead 0.2 clip.y4m got.y4m
same got.y4m piped.y4m "a pipe gives other bytes from the refined path"
run 1 1 --whole - none.y4m <clip.y4m
# Frames that wait by default take 1 GiB at most.
head -c $((2048 * 1536 * 3 / 2)) /dev/zero >in.nv21
run 0 1 --size 2048x1536 --fps 240 in.nv21 got.nv21
grep -q '227 frames, 0.95 seconds, which take 1 GiB' err || fail "a lookahead of large frames is not shortened"
run 0 0 --lookahead 1 --size 2048x1536 --fps 240 in.nv21 got.nv21

# Modes, sizes, trace, usage.
run 0 0 --mode 1 --out-size 144x108 --trace trace.csv clip.y4m got.y4m
head -n 1 got.y4m | grep -q 'W144 H108' || fail "--out-size is not in the header"
[ "$(wc -l <trace.csv)" = 7 ] || fail "the trace is not one line a frame below its heading"
run 1 1 --mode 1 clip.y4m got.y4m
for size in 78x60 80x58 78x200; do
    run 1 1 --out-size $size clip.y4m got.y4m
    run 0 0 --mode shift --out-size ${size/200/60} clip.y4m got.y4m
done
run 0 0 --out-size 80x60 clip.y4m got.y4m
run 1 1 --split 158 clip.y4m got.y4m
run 0 0 --split 156 clip.y4m got.y4m
"$clipgen" --size 92x32 --frames 3 --format y4m tiny.y4m
run 0 1 tiny.y4m got.y4m
run 0 1 --standard tiny.y4m got.y4m
for usage in '--mode 4 a b' '--size 161x120 a b' '--size 160 a b' '--out-size 0x8 a b' '--format i420 a b' 'a' '--what a b' 'a b c' '--threads -1 a b' '--threads 65 a b' '--threads two a b' \
    '--threads 0x1 a b' '--fps 0x10 --size 8x8 a b' '--fps 29.97/2 --size 8x8 a b' '--start 0.1.9 a b' '--start -1 a b' \
    '--duration 0 a b' '--bitrate 1e6 a b' '--crop 0x10 a b' '--crf 17.5 a b' '--split -4 a b' '--split 0 a b' \
    '--scale 0x8 a b' '--zoom --scale 8x8 a b'; do
    # shellcheck disable=SC2086
    run 2 1 $usage
done
run 0 0 --help >/dev/null

# The programs beside it: a line with their name in front for what they refuse, and nothing overwritten unasked.
refused() { # status, text, program, arguments
    local status=$1 text=$2 got
    shift 2
    "$@" >out 2>err
    got=$?
    [ "$got" = "$status" ] || fail "status $got instead of $status: $*"
    [ "$(wc -l <err)" = 1 ] || fail "not one line on standard error: $*"
    grep -q "^${1##*/}: .*$text" err || fail "no word of '$text': $*"
    [ ! -s out ] || fail "text on standard output: $*"
}
cp clip.y4m kept.y4m
for usage in '' '--frames 0 x.y4m' '--size 161x120 x.y4m' '--format y4n x.y4m' '--what x.y4m'; do
    # shellcheck disable=SC2086
    refused 2 'see --help' "$clipgen" $usage
done
refused 1 'output kept.y4m exists already; give -y' "$clipgen" kept.y4m
refused 1 'truth kept.y4m exists already; give -y' "$clipgen" x.y4m --truth kept.y4m
same clip.y4m kept.y4m "a clip was overwritten unasked"
"$clipgen" --size 160x120 --frames 6 named.y4m && same clip.y4m named.y4m "the ending .y4m does not make Y4M"
"$clipgen" -y --size 160x120 --frames 6 named.y4m --format nv21 && same clip.nv21 named.y4m "-y does not overwrite"
for usage in x.mp4 x x.y4m.gz; do refused 2 "output $usage ends in none of" "$clipgen" $usage; done
[ -z "$(find . -name 'x*')" ] || fail "a clip was made under a name that says nothing of it"
for name in clip.nv21 clip.i420; do
    "$clipgen" --size 160x120 --frames 6 "named.${name#*.}" && same $name "named.${name#*.}" "the ending of $name is not heeded"
done
"$clipgen" --size 160x120 --frames 6 - | cmp -s - clip.nv21 || fail "standard output is not NV21"
for effect in '--flash 3' '--contrast 50' '--rolling 50'; do
    # shellcheck disable=SC2086
    "$clipgen" --size 160x120 --frames 6 $effect - | cmp -s - clip.nv21 && fail "$effect changes nothing"
done
refused 1 'truth names the output' "$clipgen" new.y4m --truth ./new.y4m
refused 1 'path names the input' "$quality" -y clip.y4m out.y4m --path ./clip.y4m
for usage in '' 'clip.y4m' '--trace trace.csv clip.y4m clip.y4m' '--cutoff 0 clip.y4m clip.y4m'; do
    # shellcheck disable=SC2086
    refused 2 'see --help' "$quality" $usage
done
refused 1 'missing.y4m: No such file' "$quality" clip.y4m missing.y4m
refused 1 'path kept.y4m exists already; give -y' "$quality" clip.y4m out.y4m --path kept.y4m
refused 1 'too short' "$quality" clip.y4m out.y4m
[ ! -e failed ]
