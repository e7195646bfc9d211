#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""camera_path.py CLIP PICTURE [--lookahead FRAMES | --whole] [--window PART]

Draws the camera's path before and after stabilization. CLIP is a Y4M file, or any video that the ffmpeg program
reads. Needs matplotlib.
"""
import argparse
import contextlib
import subprocess
import sys
from fractions import Fraction
from typing import IO, Any, Iterator, Tuple

import matplotlib
import numpy as np

from quorvel_stabilizer import NEW_SCENE, Motion, Stabilizer

matplotlib.use("Agg")
from matplotlib import pyplot  # noqa: E402

LIGHT, DARK, CUT = "#9a9a9a", "#1f5fa8", "#c0392b"


@contextlib.contextmanager
def open_clip(name: str) -> Iterator[IO[bytes]]:
    """A stream of Y4M with 8-bit 4:2:0 frames."""
    if name.endswith(".y4m"):
        with open(name, "rb") as file:
            yield file
        return
    command = ["ffmpeg", "-v", "error", "-i", name, "-pix_fmt", "yuv420p", "-f", "yuv4mpegpipe", "-"]
    with subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE) as process:
        assert process.stdout is not None
        yield process.stdout
    if process.returncode != 0:
        sys.exit(f"{name}: ffmpeg failed")


def read_header(stream: IO[bytes], name: str) -> Tuple[int, int, Fraction]:
    words = stream.readline(4096).decode("ascii", "replace").split()
    tags = {word[0]: word[1:] for word in reversed(words[1:])}
    if words[:1] != ["YUV4MPEG2"] or not tags.get("C", "420jpeg") in ("420jpeg", "420mpeg2", "420paldv", "420"):
        sys.exit(f"{name}: no Y4M with 8-bit 4:2:0 frames")
    return int(tags["W"]), int(tags["H"]), Fraction(tags["F"].replace(":", "/"))


def read_luma(stream: IO[bytes], width: int, height: int) -> Iterator[Any]:
    size = width * height + 2 * ((width + 1) // 2) * ((height + 1) // 2)
    while stream.readline(4096).startswith(b"FRAME"):
        data = stream.read(size)
        if len(data) != size:
            sys.exit("the clip ends within a frame")
        yield np.frombuffer(data, np.uint8, width * height).reshape(height, width)


def draw(path: Motion, rate: Fraction, title: str, picture: str) -> None:
    time = np.arange(len(path)) / float(rate)
    rows = [("right, pixels", "col", 1.0), ("down, pixels", "row", 1.0), ("roll, degrees", "theta", 180 / np.pi)]
    figure, axes = pyplot.subplots(3, sharex=True, figsize=(8, 6), constrained_layout=True)
    for axis, (label, field, unit) in zip(axes, rows):
        before = np.cumsum(path[field]) * unit
        axis.plot(time, before, color=LIGHT, linewidth=1.2, label="before")
        axis.plot(time, before + path["comp_" + field] * unit, color=DARK, linewidth=1.6, label="after")
        for cut in time[1:][(path["flags"][1:] & NEW_SCENE) != 0]:
            axis.axvline(cut, color=CUT, linewidth=0.8)
        axis.set_ylabel(label)
        axis.grid(color="#e6e6e6")
        for side in ("top", "right"):
            axis.spines[side].set_visible(False)
    axes[0].set_title(title, loc="left")
    axes[0].legend(frameon=False, ncol=2, loc="lower right", bbox_to_anchor=(1, 1))
    axes[2].set_xlabel("seconds")
    figure.align_ylabels()
    figure.savefig(picture, dpi=100)


def main() -> None:
    parser = argparse.ArgumentParser(description="Draws the camera's path before and after stabilization.")
    parser.add_argument("clip", help="a Y4M file, or any video that the ffmpeg program reads")
    parser.add_argument("picture", help="the picture to write: .png, .svg or .pdf")
    parser.add_argument("--lookahead", type=int, default=0, help="frames, 5 to 240")
    parser.add_argument("--whole", action="store_true", help="plan the whole clip")
    parser.add_argument("--window", type=float, default=0.875, help="part of each side that is shown, 0.6 to 0.98")
    options = parser.parse_args()
    with open_clip(options.clip) as stream:
        width, height, rate = read_header(stream, options.clip)
        with Stabilizer(width, height, "GRAY", lookahead=options.lookahead, whole=options.whole,
                        window=options.window, frame_rate=rate) as stabilizer:
            path = stabilizer.measure(read_luma(stream, width, height))
    ahead = f"lookahead of {options.lookahead} frames" if options.lookahead else "no lookahead"
    way = "whole clip" if options.whole else ahead
    draw(path, rate, f"The camera's path, {way}", options.picture)
    print(f"{len(path)} frames, {np.count_nonzero(path['flags'] & NEW_SCENE)} scenes")


if __name__ == "__main__":
    main()
