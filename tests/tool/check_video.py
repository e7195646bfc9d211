#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""quorvel-stabilize with real files, end to end; what goes in is made on the fly by the ffmpeg program.

    check_video.py TOOL CLIPGEN SOURCE_FOLDER [fast]
"""
import base64
import concurrent.futures
import hashlib
import html.parser
import json
import os
import pathlib
import pty
import random
import re
import select
import shlex
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import typing

TOOL, CLIPGEN, ROOT = sys.argv[1:4]
FAST = sys.argv[4:] == ["fast"]
FRAMES, W, H = 40, 320, 240
failures = []


def check(condition, what):
    if not condition:
        failures.append(what)
        print("FAILED:", what)


def run(*args, status=0, say="", stdin=None, binary=False, **options):
    """Runs the tool; `say` is a pattern that its messages must match, none may come without one."""
    args = [arg if isinstance(arg, bytes) else str(arg) for arg in args]
    done = subprocess.run([TOOL, *args], stdin=stdin or subprocess.DEVNULL, capture_output=True, **options)
    text = done.stderr.decode()
    check(done.returncode == status, f"status {done.returncode}, not {status}: {args}\n{text}")
    check(say is None or (re.search(say, text) if say else not text), f"messages do not match '{say}': {args}\n{text}")
    return done.stdout if binary else done.stdout.decode()


def ffmpeg(*args, stdin=subprocess.DEVNULL):
    return subprocess.run(["ffmpeg", "-v", "error", "-y", *map(str, args)], check=True,
                          stdin=stdin, capture_output=True).stdout


def probe(file, *args, quiet=False):
    """`quiet`: it must find nothing to complain of."""
    done = subprocess.run(["ffprobe", "-v", "error", "-of", "json", *args, str(file)], check=True, capture_output=True)
    check(not quiet or not done.stderr, f"ffprobe of {file}: {done.stderr.decode()}")
    return json.loads(done.stdout)


def packets(file, kind):
    """Times, relative to the first of the file, and sizes of a kind of packets, in the order of time."""
    found = probe(file, "-select_streams", kind, "-show_entries", "packet=pts_time,size")["packets"]
    found = sorted((float(p.get("pts_time", 0)), int(p["size"])) for p in found)
    return [round(t, 3) for t, _ in found], [size for _, size in found]


def pixels(file, *filters):
    """Raw I420 frames."""
    return ffmpeg("-noautorotate", "-i", file, *filters, "-f", "rawvideo", "-pix_fmt", "yuv420p", "-fps_mode", "passthrough", "-")


def steady(file, *options):
    """What the tool makes of the same pictures when they come as a Y4M stream of the same rate, not through FFmpeg."""
    rate = probe(file, "-show_streams", "-select_streams", "v")["streams"][0]["avg_frame_rate"].replace("/", ":")
    data = ffmpeg("-noautorotate", "-i", file, "-fps_mode", "passthrough", "-pix_fmt", "yuv420p", "-f", "yuv4mpegpipe", "-")
    head = data.index(b"\n")
    pathlib.Path("same.y4m").write_bytes(re.sub(rb" F\S+", f" F{rate}".encode(), data[:head]) + data[head:])
    run("-y", *options, "same.y4m", "same.i420.y4m")
    return pixels("same.i420.y4m")


def stdin_of(data):
    file = tempfile.TemporaryFile()
    file.write(data)
    file.seek(0)
    return file


def sources():
    subprocess.run([CLIPGEN, "--size", f"{W}x{H}", "--frames", str(FRAMES), "--format", "y4m", "clip.y4m"], check=True)
    tone = ["-f", "lavfi", "-i", "sine=440:r=44100:d=1.3", "-map", "0:v", "-map", "1:a"]
    h264 = ["-pix_fmt", "yuv420p", "-c:v", "libx264", "-preset", "ultrafast"]
    pathlib.Path("text.srt").write_text("1\n00:00:00,200 --> 00:00:00,900\nHello\n")
    pathlib.Path("chapters").write_text(";FFMETADATA1\ntitle=A walk\n[CHAPTER]\nTIMEBASE=1/1000\n"
                                        "START=0\nEND=700\ntitle=One\n[CHAPTER]\nTIMEBASE=1/1000\n"
                                        "START=700\nEND=1300\ntitle=Two\n")
    colours = ["-color_range", "tv", "-colorspace", "bt709", "-color_trc", "bt709", "-color_primaries", "bt709"]
    ffmpeg("-i", "clip.y4m", *tone[:4], "-i", "text.srt", "-i", "chapters", *tone[4:], "-map", "2:s",
           "-map_metadata", "3", *h264, *colours, "-aspect", "2:1", "-c:a", "aac", "-c:s", "mov_text", "a.mp4")
    yield "a.mp4"
    if FAST:
        return
    ffmpeg("-i", "clip.y4m", *tone, "-c:v", "ffv1", "-c:a", "flac", "b.mkv")
    ffmpeg("-i", "clip.y4m", *tone, "-c:v", "libvpx-vp9", "-cpu-used", "8", "-c:a", "libopus", "c.webm")
    ffmpeg("-i", "a.mp4", "-map", "0:v", "-map", "0:a", "-map", "0:s", "-c", "copy", "-metadata:s:v", "rotate=90", "d.mov")
    ffmpeg("-i", "clip.y4m", *tone, "-vf", "select='not(eq(mod(n,5),3))'", "-fps_mode", "vfr", *h264, "e.mp4")
    ffmpeg("-i", "clip.y4m", *tone, *h264, "-c:a", "mp2", "f.ts")
    ffmpeg("-i", "clip.y4m", *tone, "-c:v", "mpeg4", "-q:v", "2", "-c:a", "pcm_s16le", "g.avi")
    yield from ("b.mkv", "c.webm", "d.mov", "e.mp4", "f.ts", "g.avi")


def same_but_steady():
    """Frames, times and everything beside the pictures arrive; the pictures are those of raw input."""
    shown = ["-show_entries", "stream=sample_aspect_ratio,color_range,color_space,color_transfer,color_primaries:"
             "stream_side_data=rotation:format_tags=title:chapter=start_time,end_time:chapter_tags=title",
             "-show_chapters", "-select_streams", "v"]
    for source in sources():
        ending = {".webm": ".mkv", ".ts": ".mkv", ".avi": ".mkv"}.get(pathlib.Path(source).suffix,
                                                                     pathlib.Path(source).suffix)
        out, exact = "out" + ending, "exact.mkv"
        run("-y", source, out)
        for kind in ("v", "a", "s"):
            (times, sizes), (new_times, new_sizes) = packets(source, kind), packets(out, kind)
            first, new_first = (times or [0])[0], (new_times or [0])[0]
            off = [abs(t - first - u + new_first) for t, u in zip(times, new_times)]
            check(len(times) == len(new_times) and max(off, default=0) <= 0.0011, f"{source}: times of {kind}")
            check(kind == "v" or sizes == new_sizes, f"{source}: packets of {kind}")
        check(len(packets(source, "v")[0]) > 30, f"{source}: is no test")
        if ending in (".mp4", ".mov"):
            check(probe(source, *shown) == probe(out, *shown), f"{source}: tags\n{probe(source, *shown)}\n"
                  f"{probe(out, *shown)}")
        run("-y", "--codec", "ffv1", source, exact, say=None if "mov" in source or source == "a.mp4" else "")
        check(pixels(exact) == steady(source), f"{source}: other pictures")
        if source == "d.mov":
            check("90" in str(probe(out, *shown)), "the rotation is no test")


def roads():
    """Pipes, FIFO, standard output, parts, and containers of no ending give the same pictures."""
    want = steady("b.mkv", "--live")
    with open("b.mkv", "rb") as file:
        out = run("-", "-", stdin=file, binary=True, say="pictures only")
    pathlib.Path("piped.y4m").write_bytes(out)
    check(pixels("piped.y4m") == want, "pipe to Y4M")
    os.mkfifo("fifo")
    with subprocess.Popen("cat b.mkv >fifo", shell=True):
        run("--codec", "ffv1", "fifo", "fifo.mkv")
    check(pixels("fifo.mkv") == want, "FIFO")
    out = run("--output-format", "mp4", "--codec-option", "qp=0", "b.mkv", "-", binary=True, say="left out|^$")
    pathlib.Path("piped.mp4").write_bytes(out)
    check(len(packets("piped.mp4", "v")[0]) == FRAMES, "MP4 to a pipe")
    for codec in ("copy", "ac3", "eac3"):
        ffmpeg("-i", "a.mp4", "-map", "0:v", "-map", "0:a", "-c:v", "copy", "-c:a", codec, "in.ts")
        for container in ("mp4", "matroska"):
            out = run("--output-format", container, "in.ts", "-", binary=True)
            sound = ffmpeg("-i", "pipe:0", "-map", "0:a", "-f", "s16le", "-", stdin=stdin_of(out))
            check(len(sound) > 44100 * 2, f"sound ({codec}) to a pipe of {container}: {len(sound)} bytes")
    run("--start", "0.5", "--duration", "0.5", "a.mp4", "part.mp4")
    check(packets("part.mp4", "v")[0] == [round(i / 30, 3) for i in range(15)], "a part's times")
    check(20 <= len(packets("part.mp4", "a")[0]) <= 24, "a part's sound")
    run("--start", "0.5", "--duration", "0:0.5", "clip.y4m", "part.y4m")
    check(len(pixels("part.y4m")) == 15 * W * H * 3 // 2, "a part of a Y4M stream")
    run("--size", f"{W}x{H}", "--fps", "30000/1001", "--codec", "ffv1", "clip.nv21", "raw.mkv")
    check(packets("raw.mkv", "v")[0][-1] == round(39 * 1001 / 30000, 3), "frame rate of raw frames")


def delays():
    """Through a pipe, a picture comes out before the next one goes in, unless a lookahead is asked for."""
    data = pathlib.Path("clip.y4m").read_bytes()
    head, size = data.index(b"\n") + 1, len(b"FRAME\n") + W * H * 3 // 2
    ends = range(head + size, len(data) + 1, size)
    for args, late in [([], 0), (["--window", "80", "--strength", "2"], 0), (["--standard"], 0), (["--lookahead", "0.2"], 6)]:
        with subprocess.Popen([TOOL, "--quiet", *args, "-", "-"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, bufsize=0) as tool:
            given, got = 0, 0
            for number, end in enumerate(ends):
                while given < end:
                    given += tool.stdin.write(data[given:end])
                wanted = ends[number - late] if number >= late else 0
                while got < wanted and select.select([tool.stdout], [], [], 30)[0]:
                    part = tool.stdout.read(wanted - got)
                    got += len(part)
                    if not part:
                        break
                if got < wanted:
                    check(False, f"{args}: frame {number + 1 - late} waits for a later one than frame {number + 1}")
                    tool.kill()
                    break
            else:
                tool.stdin.close()
                got += len(tool.stdout.read())
                check(got == len(data), f"{args}: {got} bytes come out of {len(data)}")


def views():
    """Crop, zoom, before and after."""
    size = W * H * 3 // 2
    before, after = pixels("b.mkv"), steady("b.mkv")
    row = 100 * W  # of the last frame
    last = (FRAMES - 1) * size + row
    for args, width, height, part in [
            (["--split", "160"], W, H, lambda p: p[last:last + 160] == before[last:last + 160] and
             p[last + 162:last + W] == after[last + 162:last + W]),
            (["--side-by-side"], 2 * W, H, lambda p: p[2 * last:2 * last + W] == before[last:last + W] and
             p[2 * last + W:2 * last + 2 * W] == after[last:last + W]),
            (["--mode", "none"], W, H, lambda p: p == before),
            (["--mode", "shift"], 288, 216, lambda p: p[:288] == before[12 * W + 16:12 * W + 16 + 288]),
            (["--crop", "20"], 256, 192, lambda p: p[:256] == before[24 * W + 32:24 * W + 32 + 256]),
            (["--crop", "20", "--zoom"], W, H, lambda p: p[:W] != after[:W])]:
        run("-y", "--codec", "ffv1", *args, "b.mkv", "view.mkv")
        stream = probe("view.mkv", "-show_streams", "-select_streams", "v")["streams"][0]
        check((stream["width"], stream["height"]) == (width, height), f"size of {args}")
        check(part(pixels("view.mkv")), f"pictures of {args}")
    before = pixels("d.mov")  # a quarter counterclockwise: its first rows are shown on the left
    for args, rows in [(["--side-by-side"], H), (["--split", "60"], 60)]:
        run("-y", "--codec", "ffv1", *args, "d.mov", "view.mkv", say=None)
        check(pixels("view.mkv")[:rows * W] == before[:rows * W], f"{args}: before is not shown on the left of a turned picture")


def pixel_formats():
    """What is not 8-bit 4:2:0 is converted and said to be; odd sizes lose their last row and column."""
    for name, codec in [("yuv420p10le", "ffv1"), ("yuv422p", "ffv1"), ("yuv444p", "ffv1"), ("bgr0", "ffv1"),
                        ("gray", "ffv1"), ("yuvj420p", "mjpeg")]:
        ffmpeg("-i", "clip.y4m", "-c:v", codec, "-pix_fmt", name, "in.mkv")
        run("-y", "--standard", "in.mkv", "out.mkv", say="" if codec == "mjpeg" else f"{name}.*converted to 8-bit 4:2:0")
        stream = probe("out.mkv", "-show_streams")["streams"][0]
        check(stream["pix_fmt"] in ("yuv420p", "yuvj420p"), f"{name}: {stream['pix_fmt']}")
        data = pixels("out.mkv")
        luma = sum(data[:W * H]) / (W * H)
        source = pixels("in.mkv")
        check(len(data) == FRAMES * W * H * 3 // 2, f"{name}: frames")
        check(abs(luma - sum(source[:W * H]) / (W * H)) < 4, f"{name}: another brightness")
    ffmpeg("-i", "clip.y4m", "-vf", "crop=319:239:0:0:exact=1,format=yuv444p", "-c:v", "ffv1", "in.mkv")
    run("-y", "in.mkv", "out.mkv", say="319x239, only 318x238, the even part, is used")
    ffmpeg("-i", "clip.y4m", "-vf", "tinterlace=4", "-c:v", "libx264", "-flags", "+ildct", "in.mkv")
    run("-y", "in.mkv", "interlaced.mkv", status=1, say="interlaced.*--force")
    check(not os.path.exists("interlaced.mkv"), "an output for refused input")
    run("-y", "--force", "in.mkv", "out.mkv", say="interlaced")


def sizes_that_change():
    for name, scale in (("1", "320:240"), ("2", "240:180")):
        ffmpeg("-i", "clip.y4m", "-vf", "scale=" + scale, "-c:v", "libx264", "-preset", "ultrafast", name + ".h264")
    pathlib.Path("both.h264").write_bytes(pathlib.Path("1.h264").read_bytes() + pathlib.Path("2.h264").read_bytes())
    run("-y", "both.h264", "out.mkv", "--trace", "t.csv", say="240x180 from frame 41 on, they are scaled to 320x240")
    check(len(packets("out.mkv", "v")[0]) == 2 * FRAMES, "frames of both sizes")
    resets = [line.split(",")[0] for line in open("t.csv") if line.rstrip().endswith(",1")]
    check(resets == ["41"], f"resets in the trace: {resets}")


def damage():
    """What can be decoded is delivered, and the status tells; nothing is left of what cannot be used."""
    ffmpeg("-i", "a.mp4", "-c", "copy", "-movflags", "faststart", "-map", "0:v", "-map", "0:a", "fast.mp4")
    for source in ("b.mkv", "fast.mp4", "g.avi"):
        data = pathlib.Path(source).read_bytes()
        cut = "cut" + source[-4:]
        pathlib.Path(cut).write_bytes(data[:len(data) // 2])
        run("-y", "--report", "cut.html", cut, "out.mkv", status=1, say="cut short or damaged.*missing")
        check("error: " + cut in ReportPage("cut.html").page, f"{cut}: the report does not tell the fault")
        decodable = len(pixels(cut)) // (W * H * 3 // 2)
        check(5 < len(packets("out.mkv", "v")[0]) == decodable < FRAMES, f"{cut}: {decodable} can be decoded")
    data = bytearray(pathlib.Path("a.mp4").read_bytes())
    for at in range(3000, len(data) // 2, 2000):
        data[at:at + 16] = bytes(16)
    pathlib.Path("holes.mp4").write_bytes(data)
    run("-y", "holes.mp4", "out.mp4", status=1, say="damaged")
    check(len(packets("out.mp4", "v")[0]) > FRAMES // 2, "pictures around damage")
    pathlib.Path("headless.mp4").write_bytes(pathlib.Path("a.mp4").read_bytes()[:20000])
    pathlib.Path("text.dat").write_text("no video at all\n" * 100)
    ffmpeg("-f", "lavfi", "-i", "sine=d=1", "sound.m4a")
    ffmpeg("-i", "clip.y4m", "-frames:v", "0", "-c:v", "ffv1", "none.mkv")
    for name, say in [("headless.mp4", "moov"), ("text.dat", "cannot read|no video"),
                      ("sound.m4a", "no video"), ("none.mkv", "no frame|End of file"), ("absent.mp4", "No such file")]:
        run(name, "never.mp4", status=1, say=say)
    check(not list(pathlib.Path().glob("never.mp4*")), "outputs of inputs that cannot be used")


def full_disk():
    os.mkdir("small")
    if subprocess.run(["mount", "-t", "tmpfs", "-o", "size=100k", "tmpfs", "small"], capture_output=True).returncode:
        print("SKIPPED: full disk (no tmpfs may be mounted here)")
        return
    try:
        for args in (["--trace", "small/t.csv"], ["--plot", "small/p.svg"], ["--plot", "small/p.png"],
                     ["--report", "small/r.html"]):
            pathlib.Path("small/rest").write_bytes(bytes(99 << 10))
            if shutil.which("gnuplot") or args[0] != "--plot":
                run("--dry-run", *args, "a.mp4", status=1, say="No space|is there room")
        os.remove("small/rest")
        for name, codec in (("full.mkv", "ffv1"), ("full.y4m", "ffv1"), ("full.mp4", "mjpeg")):
            run("--codec", codec, "b.mkv", "small/" + name, status=1, say="No space left")
        check(os.listdir("small") == [], f"left on a full disk: {os.listdir('small')}")
    finally:
        subprocess.run(["umount", "small"], check=True)


class Case(typing.NamedTuple):
    """A clip, what is done with it, and what must come of it."""
    make: str                 # shell command that makes it out of clip.y4m or a.mp4; $ff is ffmpeg without its chatter
    args: str                 # of the tool, as a shell splits them; the output is named out.*
    say: str = ""             # pattern of the messages; none may come without one
    status: int = 0
    facts: dict = {}          # of the output, as facts() names them; None: there is no such thing
    frames: typing.Optional[int] = FRAMES  # of the output; None: not looked at
    pictures: tuple = ()      # (file, first): the output's pictures are those of the file from this frame on
    near: str = ""            # a file whose pictures the output's look like
    sound: float = None       # seconds from the first picture to the first sound that is no silence

# Made inputs that are read as what they are.
INPUTS = [
    Case("$ff -i a.mp4 -map 0:v -map 0:a -c copy -metadata title=Trip in.mkv", "in.mkv out.mkv", facts={"format.tags.title": "Trip"}),
    Case("$ff -i a.mp4 -map 0:v -map 0:a -c:v libx264 -g 60 -bf 3 -c:a aac in.ts", "--start 0.5 --mode none --codec ffv1 in.ts out.mkv",
         frames=FRAMES - 15, pictures=("in.ts", 15), facts={"a.codec_name": "aac"}),
    Case("$ff -i clip.y4m -c:v mpeg2video -q:v 2 -bf 2 -g 12 in.mpg", "--start 0.5 --mode none --codec ffv1 in.mpg out.mkv",
         frames=FRAMES - 15, pictures=("in.mpg", 15), facts={"v.start_time": "0.000000"}),
    Case("$ff -i clip.y4m -c:v libx264 -g 20 -bf 3 in.h264", "--start 1.2 --mode none --codec ffv1 in.h264 out.mkv",
         frames=4, pictures=("in.h264", 36), facts={"v.start_time": "0.000000"}),
    Case("$ff -i clip.y4m -c:v mpeg4 -q:v 2 -bf 2 in.avi", "--start 0.5 --mode none --codec ffv1 in.avi out.mkv",
         frames=FRAMES - 15, pictures=("in.avi", 15), facts={"v.start_time": "0.000000"}),
    Case("$ff -i clip.y4m -c:v libx264 -bf 2 in.avi", "--mode none --codec ffv1 in.avi out.mkv", pictures=("in.avi", 0),
         facts={"v.start_time": "0.000000"}),
    Case("$ff -i clip.y4m -c:v libx264 -x264-params open-gop=1:keyint=10:bframes=3 in.mkv",
         "--start 1.2 --duration 0.1 --mode none --codec ffv1 in.mkv out.mkv", frames=3, pictures=("in.mkv", 36)),
    Case("", "--start 9 a.mp4 out.mkv", say="--start.*over before, it is 1.3 seconds", status=1),
    Case("", "--start 9 clip.y4m out.mkv", say="--start.*over before, it is 1.3 seconds", status=1),
    Case("$ff -i a.mp4 -map 0:v -map 0:a -map_chapters -1 -c copy -output_ts_offset 100 in.mp4", "in.mp4 out.mp4",
         facts={"format.start_time": "0.000000", "v.nb_frames": str(FRAMES), "a.count": 1}),
    Case("$ff -i a.mp4 -map 0:v -map 0:a -c copy -output_ts_offset 100 in.mkv", "in.mkv out.mkv", facts={"format.start_time": "0.000000"}),
    Case("$ff -i clip.y4m -itsoffset 1 -f lavfi -i sine=d=2 -c:v mpeg4 -c:a mp2 in.avi", "in.avi out.mkv", facts={"a.count": 1}),
    Case("$ff -i clip.y4m -pix_fmt yuv422p10le -strict -1 in.y4m", "--standard in.y4m out.y4m", say="yuv422p10le.*converted to 8-bit 4:2:0"),
    Case("$ff -i clip.y4m -pix_fmt gray in.y4m", "--standard in.y4m out.mkv", say="gray.*converted to 8-bit 4:2:0"),
    Case("$ff -i clip.y4m img%03d.png", "--input-option framerate=30 img%03d.png out.mkv", say="rgb24.*converted to yuv444p", facts={"v.r_frame_rate": "30/1"}),
    Case("", "--input-format lavfi --duration 1 testsrc2=size=320x240:rate=25 out.mkv", frames=25),
    Case("mkfifo in.mp4; cat a.mp4 >in.mp4 2>/dev/null &", "in.mp4 out.mkv", say="index.*faststart", status=1),
    Case("$ff -i clip.y4m -c:v libtheora -q:v 8 in.ogv; printf 'wrong here' | dd of=in.ogv bs=1 seek=100000 conv=notrunc 2>/dev/null",
         "in.ogv out.mkv", say="cut short or damaged, CRC mismatch; the .* frames", status=1, frames=None),
    Case(": >in.mp4", "in.mp4 out.mkv", say="in.mp4 is empty", status=1),
]
# Encoders, containers, tags.
HEVC = "$ff -i clip.y4m -c:v libx265 -preset ultrafast -x265-params log-level=none"
HDR = (HEVC + ":master-display='G(13250,34500)B(7500,3000)R(34000,16000)WP(15635,16450)L(10000000,1)':max-cll=1000,400"
       " -pix_fmt yuv420p10le -color_trc smpte2084 in.mp4")
FIELDS = "$ff -i clip.y4m -vf tinterlace=4 -c:v libx264 -preset ultrafast -flags +ildct -x264opts tff=1 in.mkv"
CAMERA = ("$ff -i clip.y4m -c:v libx264 -preset ultrafast -movflags use_metadata_tags -timecode 01:00:00:00 "
          "-metadata com.apple.quicktime.make=Maker in.mov")
CAMERA_TAGS = {"format.tags.com.apple.quicktime.make": "Maker", "v.tags.timecode": "01:00:00:00"}
OUTPUTS = [
    Case("", "a.mp4 out.mp4", facts={"v.codec_name": "h264", "v.display_aspect_ratio": "2:1", "index": "front"}),
    Case("", "a.mp4 out.y4m", say="pictures only", facts={"v.r_frame_rate": "30/1", "v.sample_aspect_ratio": "3:2",
                                                          "v.field_order": "progressive", "v.color_range": "tv"}),
    Case("$ff -i clip.y4m -c:v libx264 -preset ultrafast -chroma_sample_location left -color_range pc in.mkv",
         "in.mkv out.y4m", say="pictures only", facts={"v.chroma_location": "left", "v.color_range": "pc"}),
    Case("$ff -i clip.y4m -f rawvideo -pix_fmt nv21 in.nv21", "--mode none --size 320x240 --fps 24 in.nv21 out.y4m",
         facts={"v.r_frame_rate": "24/1"}, pictures=("clip.y4m", 0)),
    Case("$ff -i a.mp4 -map 0:v -c copy in.ts", "--mode none in.ts out.ts", facts={"v.codec_name": "h264"}, near="a.mp4"),
    Case("$ff -i a.mp4 -map 0:v -c copy in.h264", "--mode none in.h264 out.mpg", facts={"v.codec_name": "h264"}, near="a.mp4"),
    Case("$ff -r 13 -i clip.y4m -c:v mpeg2video -r 25 -q:v 2 in.ts", "--mode none in.ts out.mpg",
         facts={"v.codec_name": "mpeg2video", "v.r_frame_rate": "25/1"}, frames=None, near="in.ts"),
    Case("$ff -r 13 -i clip.y4m -c:v ffv1 in.mkv", "--mode none in.mkv out.mpg", facts={"v.codec_name": "mpeg2video"}, near="clip.y4m"),
    Case("$ff -i clip.y4m -c:v ffv1 in.mkv", "--mode none in.mkv out.ogv", facts={"v.codec_name": "theora", "v.r_frame_rate": "30/1"},
         near="clip.y4m"),
    Case("$ff -i clip.y4m -c:v ffv1 in.mkv", "in.mkv out.h264", facts={"v.codec_name": "h264", "v.r_frame_rate": "30/1"}),
    Case(HEVC + " in.mkv", "--mode none in.mkv out.ts", facts={"v.codec_name": "hevc"}, near="in.mkv"),
    Case(HEVC + " in.mkv", "in.mkv out.avi", facts={"v.codec_name": "h264"}),
    Case("$ff -i clip.y4m -c:v libvpx-vp9 -cpu-used 8 in.webm", "--mode none --preset fast in.webm out.mp4",
         facts={"v.codec_name": "vp9"}, near="in.webm"),
    Case("", "--mode none --codec libsvtav1 --preset ultrafast clip.y4m out.mp4", facts={"v.codec_name": "av1"}, near="clip.y4m"),
    Case("", "--preset bogus a.mp4 out.mp4", status=1, say="--preset bogus: .* libx264 .*give ultrafast"),
    Case("", "--crf 60 a.mp4 out.mp4", status=1, say="--crf 60: .* 0 to 51"),
    Case("", "clip.y4m out.gif", status=1, say="encoder gif takes no .* such files cannot be written; give OUTPUT the ending .mp4"),
    Case("", "clip.y4m out%03d.png", status=1, say="encoder png takes no .* give OUTPUT the ending .jpg"),
    Case("", "a.mp4 out.jpg", status=1, say="one picture cannot hold a video.*such as out%03d.jpg\n$"),
    Case(HDR, "--standard in.mp4 out.mkv", say="8-bit(.|\n)*stay HDR but keep 8 of their 10 bits",
         facts={"v.codec_name": "hevc", "v.color_transfer": "smpte2084", "v.side_data_list.0.max_content": 1000,
                "v.side_data_list.1.max_luminance": "1000/1"}),
    Case(HDR, "in.mp4 out.avi", say="mastering data is left out"),
    Case(FIELDS, "--force in.mkv out.mp4", say="interlaced", frames=FRAMES // 2, facts={"v.field_order": "tt"}),
    Case(FIELDS, "--force --codec mpeg2video in.mkv out.mpg", say="interlaced", frames=FRAMES // 2, facts={"v.field_order": "tt"}),
    Case(FIELDS, "--force in.mkv out.y4m", say="interlaced", frames=FRAMES // 2, facts={"v.field_order": "tt"}),
    Case(CAMERA, "in.mov out.mov", facts=CAMERA_TAGS),
    Case(CAMERA, "in.mov out.m4v", facts=CAMERA_TAGS),
    Case(CAMERA, "--start 0.5 in.mov out.mp4", facts={"v.tags.timecode": "01:00:00:15"}, frames=FRAMES - 15),
    Case(CAMERA, "in.mov out.mkv", facts={"format.tags.COM.APPLE.QUICKTIME.MAKE": "Maker", "v.tags.TIMECODE": "01:00:00:00"}),
    Case(CAMERA, "in.mov out.ts", say="time code .01:00:00:00. is left out(.|\n)*quicktime.make. is left out"),
]
# Sound and subtitles. What `noise` makes is silent for half a second.
X264 = "-c:v libx264 -preset ultrafast -pix_fmt yuv420p"
NOISE = """-f lavfi -i "aevalsrc='gte(t,0.5)*(random(0)-0.5)':s=48000:d=1.3" """
noise = lambda codec, file, more="": f"$ff -i clip.y4m {more} {NOISE}-map 0 -map 1 {X264} -c:a {codec} {file}; "
TEXT = "$ff -i a.mp4 -i text.srt -map 0:v -map 0:a -map 1 -c copy -c:s srt in.mkv"
OTHER_STREAMS = [
    Case("", "a.mp4 out.mp4", facts={"a.codec_name": "aac", "a.count": 1}),
    Case("", "--no-audio a.mp4 out.mp4", facts={"a.count": None, "s.count": 1}),
    Case(noise("flac", "in.mkv"), "in.mkv out.mov", r"sound \(flac\) is converted to aac, mov files cannot hold it",
         facts={"a.codec_name": "aac"}, sound=0.5),
    Case(noise("pcm_s16le", "in.mov", "-itsoffset -0.2"), "in.mov out.ts", "converted to aac, mpegts files", sound=0.3),
    Case(noise("flac", "in.mkv", "-itsoffset 0.25"), "--output-format mpegts --codec mpeg4 in.mkv out.ts", "converted to aac",
         sound=0.75),
    Case(noise("flac", "a.mkv") + "$ff -i a.mkv -c copy -bsf:a 'noise=drop=between(pts\\,200\\,300)' in.mkv", "in.mkv out.mov",
         "converted to aac", sound=0.5),
    Case(noise("flac", "in.mkv"), "--start 0.3 --duration 0.5 in.mkv out.mov", "converted to aac", frames=15, sound=0.2),
    Case(noise("aac", "in.mp4"), "in.mp4 out.mpg", "converted to mp2, mpeg files", facts={"a.codec_name": "mp2"}, sound=0.5),
    Case("", "a.mp4 out.ogv", "converted to vorbis, og[gv] files.*\n.*mov_text.*left out", facts={"a.codec_name": "vorbis"}),
    Case(noise("aac", "in.mp4"), "in.mp4 out.ogv", "converted to vorbis", sound=0.5),
    Case(noise("libopus", "in.mkv"), "in.mkv out.avi", "converted to mp3, avi files", facts={"a.codec_name": "mp3"}, sound=0.5),
    Case(noise("libmp3lame", "in.mkv", "-itsoffset 1"), "in.mkv out.avi", "to mp3, avi files cannot begin it later", sound=1.5),
    Case(noise("aac", "in.ts"), "in.ts out.mp4", facts={"a.codec_name": "aac", "a.codec_tag_string": "mp4a"}, sound=0.5),
    Case(noise("aac", "in.ts"), "in.ts out.mkv", facts={"a.profile": "LC", "format.nb_streams": 2}, sound=0.5),
    Case(noise("aac", "in.mp4"), "in.mp4 out.ts", facts={"a.codec_name": "aac"}, sound=0.5),
    Case(noise("aac", "a.ts") + "$ff -i a.ts -c copy -bsf:a noise=amount=100 in.ts 2>/dev/null", "in.ts out.ogv",
         r"sound \(aac\) is damaged, there is silence where", facts={"a.codec_name": "vorbis"}),
    Case("$ff -i a.mp4 -map 0:v -map 0:a -map 0:a -c copy in.mp4", "in.mp4 out.mpg",
         r"stream 1 \(sound, aac\) is converted to mp2.*\n.*stream 2 \(sound, aac\) is", facts={"a.count": 2}),
    Case("", "a.mp4 out.mkv", r"subtitles \(mov_text\) are converted to subrip", facts={"s.codec_name": "subrip"}),
    Case(TEXT, "in.mkv out.mp4", r"subtitles \(subrip\) are converted to mov_text", facts={"s.codec_name": "mov_text"}),
    Case(TEXT, "--codec libvpx in.mkv out.webm", "to opus, webm.*\n.*to webvtt", facts={"s.codec_name": "webvtt", "a.codec_name": "opus"}),
    Case(TEXT, "in.mkv out.ts", r"stream 2 \(subtitle\) \(subrip\) is left out, mpegts", facts={"s.count": None, "a.codec_name": "aac"}),
    Case(TEXT, "in.mkv out.h264", "^.*note: h264 files hold nothing but pictures.*\n$", facts={"a.count": None}),
]
# Options, views, reports.
OPTIONS = [
    Case("", "--start 0.5 --mode none --codec ffv1 a.mp4 out.mkv", say="converted to subrip", frames=FRAMES - 15, pictures=("a.mp4", 15)),
    Case("", "--scale 160x120 a.mp4 out.mp4", facts={"v.width": 160, "v.height": 120, "v.display_aspect_ratio": "2:1"}),
    Case("", "--crop 20 --scale 640x240 --split 600 a.mp4 out.mp4", facts={"v.width": 640, "v.display_aspect_ratio": "2:1"}),
    Case("", "--out-size 160x120 --scale 100x76 --side-by-side clip.y4m out.mkv", facts={"v.width": 200, "v.height": 76}),
    Case("", "--mode none --scale 320x242 clip.y4m out.y4m", facts={"v.height": 242, "v.sample_aspect_ratio": "121:120"}),
    Case("", "--out-size 100x80 a.mp4 out.mp4", say="give --out-size 160x120 or more, or --scale 100x80", status=1),
    Case("", "--split 700 a.mp4 out.mp4", say="320 columns wide, give a column from 2 to 316", status=1),
    Case("$ff -i a.mp4 -map 0:v -c copy -metadata:s:v rotate=90 in.mp4", "--split 239 in.mp4 out.mp4", say="240 col.*to 236", status=1),
]
# The refined path: pixels stay what they are.
made = lambda pixels: f"$ff -i clip.y4m -pix_fmt {pixels} -c:v ffv1 in.mkv"
REFINED = [
    Case("", "--live a.mp4 out.mp4", facts={"v.pix_fmt": "yuv420p", "v.width": 320, "v.display_aspect_ratio": "2:1", "a.count": 1}),
    Case("$ff -i clip.y4m -f rawvideo -pix_fmt nv21 in.nv21", "--lookahead 0.4 --size 320x240 in.nv21 out.y4m", facts={"v.pix_fmt": "yuv420p"}),
    Case(made("yuv422p10le"), "--lookahead 0.4 --window 90 --codec libx264 in.mkv out.mp4", facts={"v.pix_fmt": "yuv422p10le"}),
    Case(made("yuv444p10le"), "--whole --no-roll in.mkv out.y4m", say="pictures only", facts={"v.pix_fmt": "yuv444p10le"}),
    Case("$ff -i clip.y4m -pix_fmt yuv422p in.y4m", "--live --split in.y4m out.y4m", facts={"v.pix_fmt": "yuv422p"}),
    Case(made("gray"), "--live --scale 160x120 --side-by-side --codec ffv1 in.mkv out.mkv", facts={"v.pix_fmt": "gray", "v.width": 320}),
    Case(made("yuv420p12le"), "--live --codec libx264 in.mkv out.mkv", say=r"\(yuv420p12le\) are converted to yuv420p10le, the encoder libx264"),
    Case(made("bgr0"), "--live in.mkv out.mkv", say=r"\(bgr0\) are converted to yuv444p", facts={"v.pix_fmt": "yuv444p"}),
    Case("", "--live --codec ffv1 --input-format lavfi --duration 1 testsrc2=size=320x240:rate=25,format=p010le out.mkv", frames=25,
         facts={"v.pix_fmt": "yuv420p10le"}),
    Case(HDR, "in.mp4 out.mkv",
         facts={"v.codec_name": "hevc", "v.pix_fmt": "yuv420p10le", "v.color_transfer": "smpte2084",
                "v.side_data_list.0.max_content": 1000, "v.side_data_list.1.max_luminance": "1000/1"}),
    Case(made("yuv420p10le"), "in.mkv out.mkv", facts={"v.codec_name": "h264", "v.pix_fmt": "yuv420p10le"}),
    Case(made("yuv422p10le"), "in.mkv out.y4m", say="pictures only", facts={"v.pix_fmt": "yuv422p10le"}),
    Case("$ff -f lavfi -i testsrc2=size=320x240:duration=0.4,format=yuv420p -c:v ffv1 in.mkv", "in.mkv out.y4m", say="pictures only",
         frames=10, facts={"v.chroma_location": "left"}),
    Case("$ff -r 60 -i clip.y4m -c:v ffv1 in.mkv", "--lookahead 8 in.mkv out.mkv", say="shortened to 240 frames, 4.00 seconds, the most"),
    Case("$ff -i a.mp4 -map 0:v -c copy in.h264; $ff -i clip.y4m -vf scale=240:180 -c:v libx264 more.h264; cat more.h264 >>in.h264",
         "--live in.h264 out.mkv", say="320x240; the stabilizer starts anew", frames=2 * FRAMES),
    Case("$ff -i clip.y4m -c:v ffv1 a.mkv; head -c $(($(stat -c %s a.mkv) / 2)) a.mkv >in.mkv", "--whole in.mkv out.mkv", status=1,
         say="^[^\n]*cut short[^\n]*\n$", frames=None),
    Case("", "--whole - out.y4m", status=1, say="--whole reads the input twice.*--lookahead"),
    Case("mkfifo in.y4m", "--whole in.y4m out.y4m", status=1, say="--whole reads the input twice"),
    Case("", "--window auto --no-roll a.mp4 out.mp4", say="--window auto: [0-9]+ % of each side, shake above 1 Hz", facts={"a.count": 1}),
    Case("", "--window auto --whole --strength 2 --start 0.2 --duration 0.5 a.mp4 out.mp4", frames=15, say=" 90 % of each side, too short a clip"),
    Case("", "--window auto - out.y4m", status=1, say="--window auto reads the input twice.*a window in percent"),
    Case("", "--whole absent.mp4 out.mp4", status=1, say="No such file"),
    Case("", "--mode shift --live a.mp4 out.mp4", status=2, say="--mode chooses the standard path, which has no --live"),
    Case("", "--window 90 --crop 10 a.mp4 out.mp4", status=2, say="--crop chooses the standard path, which has no --window"),
    Case("", "--standard --no-roll a.mp4 out.mp4", status=2, say="--standard chooses the standard path, which has no --no-roll"),
    Case("", "--live --lookahead 1 a.mp4 out.mp4", status=2, say="--l.* excludes --l"),
    Case("", "--window 59.9 a.mp4 out.mp4", status=2, say="--window.*from 60 to 98, nor auto"),
]


def facts(file):
    """What ffprobe says of a file: format.*, and v.*, a.*, s.*, d.* of the first stream of a kind, nested names by dots."""
    told = {}

    def flatten(name, value):
        items = value.items() if isinstance(value, dict) else enumerate(value) if isinstance(value, list) else None
        if items is None:
            told.setdefault(name, value)
        for key, part in items or ():
            flatten(f"{name}.{key}", part)

    found = probe(file, "-show_format", "-show_streams", "-show_chapters", quiet=True)
    for stream in found["streams"]:
        kind = stream["codec_type"][0]
        if f"{kind}.codec_type" not in told:
            flatten(kind, stream)
        told[f"{kind}.count"] = told.get(f"{kind}.count", 0) + 1
    flatten("format", found["format"])
    told["chapters"] = len(found["chapters"])
    data = pathlib.Path(file).read_bytes()
    told["index"] = "front" if 0 < data.find(b"moov") < data.find(b"mdat") else "end"
    return told


def likeness(file, other):
    """Signal to noise of the pictures in decibels, whatever their times."""
    same_times = "[0:v]settb=1/25,setpts=N[a];[1:v]settb=1/25,setpts=N[b];[a][b]psnr=stats_file=-"
    last = ffmpeg("-i", file, "-i", other, "-lavfi", same_times, "-f", "null", "-").decode().splitlines()[-1]
    return float(re.search(r"psnr_avg:(\S+)", last)[1])


def first_sound(file):
    """Seconds from the first picture until the sound is no silence any more."""
    picture = probe(file, "-select_streams", "v", "-read_intervals", "%+#1", "-show_entries", "frame=best_effort_timestamp_time")
    text = subprocess.run(["ffmpeg", "-hide_banner", "-nostdin", "-copyts", "-i", str(file), "-map", "0:a", "-af",
                           "silencedetect=n=-30dB:d=0.1", "-f", "null", "-"], capture_output=True, check=True).stderr.decode()
    found = re.search(r"silence_end: ([-\d.]+)", text)
    begin = float(picture["frames"][0].get("best_effort_timestamp_time", 0))  # AVI with B-frames tells none
    return float(found[1]) - begin if found else -1


def run_case(case):
    """In a folder of its own."""
    with tempfile.TemporaryDirectory() as folder:
        for name in ("clip.y4m", "a.mp4", "text.srt"):
            os.link(name, os.path.join(folder, name))
        script = f'ff="ffmpeg -v error -y -nostdin"; {case.make}'
        subprocess.run(["bash", "-ec", script], check=True, stdin=subprocess.DEVNULL, cwd=folder)
        run(*shlex.split(case.args), status=case.status, say=case.say, cwd=folder)
        outs = sorted(pathlib.Path(folder).glob("out.*"))
        check(bool(outs) or case.status, f"no output: {case.args}")
        if not outs:
            return
        told = facts(outs[0])
        for name, value in case.facts.items():
            check(told.get(name) == value, f"{name} is {told.get(name)}, not {value}: {case.make}; {case.args}")
        size = os.path.getsize(outs[0])
        count = len(packets(outs[0], "v")[0]) if size else 0
        check(case.frames in (count, None), f"{count} frames, not {case.frames}: {case.make}; {case.args}")
        if case.near:
            alike = likeness(outs[0], os.path.join(folder, case.near))
            check(alike > 38, f"pictures of {alike:.1f} dB: {case.make}; {case.args}")
        if case.sound is not None:
            begin = first_sound(outs[0])
            check(abs(begin - case.sound) < 0.008, f"sound at {begin}, not {case.sound}: {case.make}; {case.args}")
        if case.pictures:
            name, first = case.pictures
            whole, part = pixels(os.path.join(folder, name)), pixels(outs[0])
            frame = len(part) // max(count, 1)
            check(part == whole[first * frame:(first + count) * frame], f"other pictures: {case.make}; {case.args}")


def cases():
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        list(pool.map(run_case, INPUTS + OUTPUTS + OTHER_STREAMS + OPTIONS + REFINED))


def interruptions():
    """Ctrl-C at any time ends with a file that plays; so does a pipe in which nothing moves."""
    feed = "ffmpeg -v quiet -re -f lavfi -i testsrc2=s=320x240:r=60 -c:v ffv1 -f matroska -"
    for command, wait, *path in [(feed, random.uniform(1.5, 2.5)), (feed, random.uniform(1.5, 2.5), "--lookahead=1"),
                                 ("cat clip.y4m; sleep 60", 1.5)]:
        with subprocess.Popen(command, shell=True, stdout=subprocess.PIPE, start_new_session=True) as feeder:
            with subprocess.Popen([TOOL, "-y", *path, "--report", "stopped.html", "-", "stopped.mp4"], stdin=feeder.stdout,
                                  stderr=subprocess.PIPE) as tool:
                time.sleep(wait)
                tool.send_signal(signal.SIGINT)
                begin = time.monotonic()
                text = tool.communicate()[1].decode()
            os.killpg(feeder.pid, signal.SIGKILL)
        check(tool.returncode == 130 and time.monotonic() - begin < 10, f"{tool.returncode} after Ctrl-C\n{text}")
        check(os.path.exists("stopped.mp4") and len(pixels("stopped.mp4")) > 0, f"plays after {wait:.2f} s\n{text}")
        check("was interrupted" in ReportPage("stopped.html").page, "the report of an interrupted run")
        check(not list(pathlib.Path().glob("*.part")), "a temporary file is left")


def paths():
    """Nothing is overwritten unasked, and never the input, by whatever name."""
    shutil.copy("a.mp4", "kept.mp4")
    run("a.mp4", "kept.mp4", status=1, say="exists already; give -y")
    os.symlink("a.mp4", "soft.mp4")
    os.link("a.mp4", "hard.mp4")
    before = pathlib.Path("a.mp4").read_bytes()
    for name in ("a.mp4", "soft.mp4", "hard.mp4", "./a.mp4"):
        run("-y", "a.mp4", name, status=1, say="same file")
        run("-y", "--dry-run", "a.mp4", "--trace", name, status=1, say="names the input")
    check(pathlib.Path("a.mp4").read_bytes() == before, "the input was changed")
    os.symlink("kept.mp4", "link.mp4")
    run("-y", "a.mp4", "link.mp4")
    check(os.path.islink("link.mp4") and pathlib.Path("kept.mp4").read_bytes() != before, "a link is followed")
    for name, first, more in [("o%02d.jpg", "o01.jpg", FRAMES - 1), ("o.m3u8", "o.m3u8", 1)]:
        folder = pathlib.Path("of" + pathlib.Path(name).suffix)
        folder.mkdir()
        run("a.mp4", folder / name, say=None)
        made = os.listdir(folder)
        check(first in made and len(made) == 1 + more and not [m for m in made if "part" in m or "%" in m], f"{name}: {made}")
        run("a.mp4", folder / name, status=1, say=f"{first} exists already; give -y")
    run("a.mp4", "nameless", status=1, say="what kind of file.*--output-format")
    for args, say in [(["a.mp4"], "OUTPUT"), (["a.mp4", "b", "--zoom"], "--zoom"), (["--crf", "99", "a", "b"], "--crf"),
                      (["--start", "1:x", "a", "b"], "--start"), (["--bitrate", "x", "a", "b"], "--bitrate"),
                      (["--crop", "60", "a", "b"], "--crop"), (["--dry-run", "a", "b"], "--dry-run"),
                      (["--plot", "p.gif", "a", "b"], "--plot"), (["--json", "a", "-"], "--json")]:
        run(*args, status=2, say=say)
    run("--preview", "a.mp4", status=1, say="no display|without", env={"PATH": os.environ["PATH"]})
    try:
        terminal = pty.openpty()[1]
        done = subprocess.run([TOOL, "a.mp4", "-"], stdout=terminal, stderr=subprocess.PIPE)
        check(done.returncode == 1 and b"terminal" in done.stderr, f"video to a terminal: {done}")
    except OSError as error:
        print("SKIPPED: video to a terminal:", error)
    for args, say in [(["--codec", "nope"], "--codec nope"), (["--codec", "ffv1", "--crf", "20"], "--crf"),
                      (["--codec-option", "nope=1"], "--codec-option.*nope"),
                      (["--input-format", "nope"], "--input-format nope")]:
        run(*args, "a.mp4", "never.mkv", status=1, say=say)


def reports():
    out = json.loads(run("--dry-run", "--json", "--trace", "t.json", "--quiet", "a.mp4"))
    trace = json.load(open("t.json"))
    check(out["frames"] == FRAMES == len(trace) and out["measured"] == FRAMES - 1, f"summary {out}")
    check(out["motion_left_rms"]["pixels"] < out["motion_rms"]["pixels"] * 0.7, f"shake {out}")
    check(out["window"] == 90, f"the default window is {out['window']}")
    check(json.loads(run("--dry-run", "--json", "-", stdin=open("clip.y4m", "rb")))["window"] == 87.5, "the window of standard input")
    check(json.loads(run("--dry-run", "--json", "--standard", "a.mp4"))["window"] is None, "the standard path has a window")
    check(trace[3]["measured"] == 1 and abs(trace[3]["time_s"] - 0.1) < 1e-3, "the trace")
    os.link("a.mp4", b"name \xff\xe4")
    out = json.loads(run("--dry-run", "--json", b"name \xff\xe4"))
    check(out["input"] == "name \ufffd\ufffd", f"name in the summary: {out['input']}")
    if shutil.which("gnuplot"):
        run("--dry-run", "--plot", "p.svg", "a.mp4")
        check("<svg" in pathlib.Path("p.svg").read_text(), "the plot")
    run("--dry-run", "--plot", "q.svg", "a.mp4", status=1, say="gnuplot-nox", env={"PATH": "/nowhere"})


class ReportPage(html.parser.HTMLParser):
    """Of a report: its elements, whether they are nested well, its numbers, the found frames, and their pictures."""

    def __init__(self, file):
        super().__init__()
        self.open, self.ids, self.wanted, self.links, self.images, self.texts, self.faults = [], [], [], [], [], [], []
        self.page = pathlib.Path(file).read_text()
        self.feed(self.page)
        self.close()
        texts = dict((name, value) for name, value in re.findall(r"<dt>(.*?)</dt><dd class=\"value\">(.*?)</dd>", self.page))
        self.numbers = {name: [float(n) for n in re.findall(r"\d+(?:\.\d+)?", value)] for name, value in texts.items()}
        self.found = re.findall(r"frames? (\d+)(?: to (\d+))?: ([^;<]*)", self.page)
        check(not self.open and not self.faults, f"{file}: {self.open} {self.faults}")
        check(len(set(self.ids)) == len(self.ids) and set(self.wanted) <= set(self.ids), f"{file}: names of elements")
        check(not self.links and not re.search(r"https?:|@import|url\(", self.page), f"{file}: {self.links} from outside")
        check("nan" not in self.page and ">inf" not in self.page, f"{file}: a value that is no number")

    def handle_starttag(self, tag, attributes):
        attributes = dict(attributes)
        if tag not in ("meta", "img", "path", "rect"):
            self.open.append(tag)
        self.ids += [attributes["id"]] if "id" in attributes else []
        self.wanted += attributes.get("aria-labelledby", "").split()
        self.links += [value for name, value in attributes.items() if name in ("src", "href") and not value.startswith("data:")]
        if tag == "img":
            self.images.append(base64.b64decode(attributes["src"].removeprefix("data:image/bmp;base64,"), validate=True))
            self.faults += [] if attributes.get("alt") else ["a picture without a text"]

    def handle_startendtag(self, tag, attributes):
        pass

    def handle_endtag(self, tag):
        if not self.open or self.open.pop() != tag:
            self.faults.append(f"</{tag}> at {self.getpos()}")


def report_pages():
    """One page whatever the path is; its numbers are those of --json, its pictures those of the frames."""
    ffmpeg("-i", "clip.y4m", "-f", "lavfi", "-i", "testsrc2=size=320x240:rate=30:duration=1.5", "-lavfi",
           "[0]format=yuv444p[a];[1]format=yuv444p[b];[a][b]concat", "-c:v", "ffv1", "cut.mkv")
    for options in ("", "--live", "--whole", "--window=auto", "--standard", "--standard --crop=20 --zoom", "--no-roll --scale=160x100",
                    "--side-by-side", "--split")[:2 if FAST else None]:
        run("-y", "--quiet", "--dry-run", *options.split(), "--trace", "t.json", "--report", "r.html", "cut.mkv")
        out = json.loads(run("-y", "--quiet", "--json", *options.split(), "--report", "r.html", "cut.mkv", "out.y4m"))
        page, trace = ReportPage("r.html"), json.load(open("t.json"))
        told = page.numbers
        shake = [out["motion_rms"]["pixels"], out["motion_left_rms"]["pixels"]]
        check(told["From frame to frame"] == [round(value + 1e-9, 2) for value in shake], f"{options}: {told}, not {shake}")
        check(told["Scenes"] == [out["resets"] + 1], f"{options}: {told['Scenes']} scenes")
        check(told["Frames not measured"] == [out["frames"] - out["measured"] - out["resets"] - 1], f"{options}: {told} of {out}")
        check(out["window"] in (None, told["Visible part"][0]), f"{options}: {told['Visible part']} is visible")
        check(0 < told["Shake above 1 Hz"][1] < told["Shake above 1 Hz"][0], f"{options}: {told['Shake above 1 Hz']}")
        cuts = [line["frame"] for line in trace if line["reset"]]
        listed = [range(int(first), int(last or first) + 1) for first, last, _ in page.found]
        check(cuts and all(any(cut in frames for frames in listed) for cut in cuts), f"{options}: {page.found}, not {cuts}")
        check(len(page.images) == 2 * len(page.found), f"{options}: {len(page.images)} pictures")
    raw = ["--size", f"{W}x{H}"]
    for pixel, codec, file, *args in [
            ("yuv420p", "ffv1", "in.mkv"), ("yuv422p10le", "ffv1", "in.mkv"), ("yuv444p16le", "ffv1", "in.mkv"), ("gray", "ffv1", "in.mkv"),
            ("bgr0", "ffv1", "in.mkv"), ("yuvj420p", "mjpeg", "in.mkv"), ("yuv420p", "mpeg4", "in.mov"),
            ("nv21", "rawvideo", "in.raw", *raw)][:2 if FAST else None]:
        turned = {"in.mov": ["-metadata:s:v", "rotate=90"], "in.raw": ["-f", "rawvideo"]}.get(file, [])
        ffmpeg("-i", "cut.mkv", "-c:v", codec, "-q:v", "2", "-pix_fmt", pixel, *turned, file)
        run("-y", "--live", "--dry-run", "--report", "r.html", *args, file, say=None)
        source = file if "gray" in pixel or "mov" in file else "cut.mkv"
        page = ReportPage("r.html")
        pathlib.Path("thumbnail.bmp").write_bytes(page.images[0])
        number = int(page.found[0][0]) - 1
        ffmpeg("-i", source, "-vf", f"select=eq(n\\,{number}),format=gbrp,scale='min(160,iw*120/ih)':'min(120,ih*160/iw)':flags=area", "-frames:v",
               "1", "want.png")
        alike = likeness("thumbnail.bmp", "want.png")
        check(alike > 36, f"a thumbnail of {pixel} in {file} is like its frame by {alike:.1f} dB only")
    ffmpeg("-f", "lavfi", "-i", "nullsrc=size=96x72:rate=30:duration=20,geq='random(1)*255*gt(mod(N\\,7)\\,2)'", "-c:v", "ffv1", "noise.mkv")
    run("-y", "--quiet", "--dry-run", "--report", "r.html", "noise.mkv")
    page = ReportPage("r.html")
    check(len(page.found) == 20 and re.search(r"20 of \d+ are shown", page.page), f"{len(page.found)} frames in doubt are shown")
    check(len(page.page) < 5e6 and int(page.found[-1][0]) > 500 > 100 > int(page.found[0][0]), f"not evenly chosen: {page.found}")
    subprocess.run([CLIPGEN, "-y", "--size", f"{W}x{H}", "--frames", "120", "--motion", "swing", "--frequency", "4", "--shake", "3",
                    "--roll", "0", "--pan", "0", "swing.y4m"], check=True)
    run("-y", "--quiet", "--dry-run", "--report", "r.html", "swing.y4m")
    page = ReportPage("r.html")
    strongest = re.search(r"strongest near 4 Hz: (\S+) pixels before, (\S+) after", page.page)
    for before in (float(strongest[1]) if strongest else 0, page.numbers["Shake above 1 Hz"][0]):
        check(abs(before - 18 ** 0.5) < 0.2, f"a swing of 3 pixels each way at 4 Hz is told as {before} pixels: {strongest}")
    os.link("a.mp4", b"<b>&\"'\xff.mp4")
    run("-y", "--dry-run", "--report", "r.html", b"<b>&\"'\xff.mp4")
    check("<h1>&lt;b&gt;&amp;&quot;'\ufffd.mp4</h1>" in ReportPage("r.html").page, "a name in the page")


def option_names():
    """The help, the manual page and the completion know the same options."""
    dashed = r"(?<![\w-])(--[a-z][a-z-]+)"
    text = run("--help").split("Examples:")[0]
    told = set(re.findall(r"^  (?:-\w,)?" + dashed, text, re.M))
    manual = pathlib.Path(ROOT, "docs/man/quorvel-stabilize.1").read_text().replace("\\-", "-")
    paged = set(re.findall(dashed, "\n".join(re.findall(r"^\.TP\n(\..*)", manual, re.M))))
    script = pathlib.Path(ROOT, "tools/stabilize/quorvel-stabilize.bash").read_text()
    completed = set(subprocess.run(
        ["bash", "-c", script + '\nCOMP_WORDS=(quorvel-stabilize --); COMP_CWORD=1; _quorvel_stabilize; '
         'printf "%s\\n" "${COMPREPLY[@]}"'], capture_output=True, text=True, check=True).stdout.split())
    check(len(told) > 25 and told == paged, f"help and manual page differ: {told ^ paged}")
    check(told == completed, f"help and completion differ: {told ^ completed}")


def other_programs():
    """quorvel-quality reads what the tool reads, and measures the same of the same pictures."""
    subprocess.run([CLIPGEN, "--size", f"{W}x{H}", "--frames", "60", "shaky.y4m"], check=True)
    ffmpeg("-i", "shaky.y4m", "-c:v", "ffv1", "shaky.mkv")
    run("shaky.y4m", "steady.y4m")
    run("--codec", "ffv1", "shaky.mkv", "steady.mkv")
    quality = pathlib.Path(CLIPGEN).with_name("quorvel-quality")
    said = [subprocess.run([quality, "shaky." + kind, "steady." + kind], check=True, capture_output=True, text=True).stdout
            for kind in ("y4m", "mkv")]
    check("0 frames not recognised" in said[0] and said[0] == said[1], f"quality of Y4M and of Matroska: {said}")


def camera_paths():
    """The refined path is the steadier, what stands still stays so, and the standard path's bytes stay what they are."""
    digest = hashlib.sha256(run("--standard", "clip.y4m", "-", binary=True)).hexdigest()
    check(digest == "1c35a8ad369874d5e9b9ce70774d4e92e0280ab77bdc2b17b28134fb2a44b942", f"other pictures from the standard path: {digest}")
    subprocess.run([CLIPGEN, "--size", f"{W}x{H}", "--frames", "90", "--shake", "5", "--roll", "6", "shaking.y4m"], check=True)
    quality = pathlib.Path(CLIPGEN).with_name("quorvel-quality")
    left = {}
    for option in ("--standard", "--live", "--lookahead=0.7", "--whole"):
        run("-y", option, "shaking.y4m", "calm.y4m")
        said = subprocess.run([quality, "shaking.y4m", "calm.y4m"], check=True, capture_output=True, text=True).stdout
        left[option] = sum(float(value) for value in re.findall(r"^(?:row|column|roll) .*\s(\S+)$", said, re.M))
    check(left["--whole"] < left["--lookahead=0.7"] < left["--live"] < left["--standard"] / 2, f"shake left: {left}")
    for option in ("--live", "--lookahead=0.7", "--whole"):
        window = json.loads(run("-y", "--json", "--quiet", option, "--window=auto", "shaking.y4m", "fit.y4m"))["window"]
        run("-y", option, f"--window={window}", "shaking.y4m", "calm.y4m")
        check(60 <= window < 95, f"{option}: the window is {window}")
        check(likeness("fit.y4m", "calm.y4m") > 60, f"{option}: other pictures when the window is chosen first")
    subprocess.run([CLIPGEN, "--size", f"{W}x{H}", "--frames", "90", "--shake", "5", "--pan", "60", "panning.y4m"], check=True)
    window = json.loads(run("-y", "--dry-run", "--json", "--quiet", "--live", "--window=auto", "panning.y4m"))["window"]
    check(66 <= window <= 80, f"a pan that no window follows evenly is shown in one of {window}")
    ffmpeg("-i", "clip.y4m", "-frames:v", "1", "-vf", "noise=alls=4:all_seed=1", "still.y4m")
    ffmpeg("-stream_loop", "39", "-i", "still.y4m", "-c:v", "ffv1", "still.mkv")
    for option in ("--live", "--lookahead=0.5", "--whole"):
        run("-y", "--codec", "ffv1", option, "still.mkv", "calm.mkv")
        data, size = pixels("calm.mkv"), W * H * 3 // 2
        check(len(data) == FRAMES * size and data == data[:size] * FRAMES, f"{option}: a still clip moves")


def main():
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        steps = [same_but_steady, option_names, paths, reports, report_pages, other_programs, camera_paths]
        if not FAST:
            ready = lambda: ffmpeg("-i", "clip.y4m", "-f", "rawvideo", "-pix_fmt", "nv21", "clip.nv21")
            steps += [ready, roads, delays, views, pixel_formats, sizes_that_change, cases, damage, full_disk, interruptions]
        for step in steps:
            step()
        os.chdir("/")
    sys.exit(1 if failures else 0)


if not shutil.which("ffmpeg") or "with FFmpeg" not in run("--version"):
    print("SKIPPED: the tool is built without FFmpeg, or there is no ffmpeg program")
    sys.exit(77)
main()
