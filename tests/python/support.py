# SPDX-License-Identifier: BSD-2-Clause
"""Clips as numpy frames, and the tool's output for them."""
import os
import pathlib
import subprocess

import numpy as np

TOOL, CLIPGEN = os.environ.get("QUORVEL_TOOL", ""), os.environ.get("QUORVEL_CLIPGEN", "")

# Name of the pixels in a Y4M header, subsampling of the two planes of chroma down and across, type of the samples.
Y4M = {"GRAY": ("mono", None, np.uint8), "GRAY10": ("mono10", None, np.uint16),
       "I420": ("420mpeg2", (2, 2), np.uint8), "I422": ("422", (1, 2), np.uint8), "I444": ("444", (1, 1), np.uint8),
       "I420P10": ("420p10", (2, 2), np.uint16), "I422P10": ("422p10", (1, 2), np.uint16),
       "I444P10": ("444p10", (1, 1), np.uint16)}


def shake(frames):
    """Where the camera is in each frame: pixels down and right, radians clockwise."""
    return np.random.default_rng(8).uniform((0, 0, -0.02), (12, 12, 0.02), (frames, 3))


def clip(name, width=320, height=240, frames=24):
    """A shaky camera above a plane of random patches, as tuples of planes; another picture from frame 16 on."""
    _, chroma, dtype = Y4M[name]
    scenes = np.random.default_rng(7).integers(0, 256 if dtype == np.uint8 else 1024, (2, 48, 64), dtype)
    scenes = scenes.repeat(12, 1).repeat(12, 2)
    y, x = np.mgrid[0:height, 0:width] - np.array([height - 1, width - 1]).reshape(2, 1, 1) / 2
    result = []
    for number, (down, right, angle) in enumerate(shake(frames)):
        rows = y * np.cos(angle) + x * np.sin(angle) + down + height / 2 + 16
        cols = x * np.cos(angle) - y * np.sin(angle) + right + width / 2 + 32
        planes = [scenes[number // 16][rows.astype(int), cols.astype(int)]]
        if chroma:  # it moves the other way
            mirrored = planes[0][::-chroma[0], ::-chroma[1]]
            planes += [mirrored // 2, mirrored // 3]
        result.append(tuple(planes))
    return result


def y4m(frames):
    """What a Y4M file has behind its header."""
    return b"".join(b"FRAME\n" + b"".join(plane.tobytes() for plane in planes) for planes in frames)


def by_tool(folder, colour, frames, *options):
    height, width = frames[0][0].shape
    source = pathlib.Path(folder) / "in.y4m"
    source.write_bytes(f"YUV4MPEG2 W{width} H{height} F30:1 Ip A1:1 C{colour}\n".encode() + y4m(frames))
    done = subprocess.run([TOOL, "--quiet", *options, source, "-"], capture_output=True, stdin=subprocess.DEVNULL)
    if done.returncode != 0:
        raise AssertionError(done.stderr.decode())
    return done.stdout.split(b"\n", 1)[1]


def equal(one, other):
    """Frames, or lists of them, byte for byte."""
    if isinstance(one, np.ndarray):
        return one.dtype == other.dtype and np.array_equal(one, other)
    return len(one) == len(other) and all(map(equal, one, other))
