# SPDX-License-Identifier: BSD-2-Clause
"""Clips as numpy frames, and the tool's output for them."""
import os
import pathlib
import subprocess

import numpy as np

TOOL, CLIPGEN = os.environ.get("QUORVEL_TOOL", ""), os.environ.get("QUORVEL_CLIPGEN", "")
RATE = 30

# Name of the pixels in a Y4M header, subsampling of the chroma planes, type of the samples.
Y4M = {"GRAY": ("mono", None, np.uint8), "GRAY10": ("mono10", None, np.uint16),
       "I420": ("420mpeg2", (1, 1), np.uint8), "I422": ("422", (1, 0), np.uint8), "I444": ("444", (0, 0), np.uint8),
       "I420P10": ("420p10", (1, 1), np.uint16), "I422P10": ("422p10", (1, 0), np.uint16),
       "I444P10": ("444p10", (0, 0), np.uint16)}


def plane_shapes(name, width, height):
    across, down = Y4M[name][1] or (0, 0)
    chroma = ((height + (1 << down) - 1) >> down, (width + (1 << across) - 1) >> across)
    return [(height, width)] + ([chroma, chroma] if Y4M[name][1] else [])


def shake(frames):
    """Where the camera is in each frame: pixels down and right, radians clockwise."""
    return np.random.default_rng(8).uniform((0, 0, -0.02), (12, 12, 0.02), (frames, 3))


def clip(name, width=320, height=240, frames=24):
    """A shaky camera above a plane of random patches, as tuples of planes; another picture from frame 16 on."""
    random = np.random.default_rng(7)
    dtype = Y4M[name][2]
    scenes = random.integers(0, 256 if dtype == np.uint8 else 1024, (2, 48, 64), dtype)
    scenes = scenes.repeat(12, 1).repeat(12, 2)
    y, x = np.mgrid[0:height, 0:width] - np.array([height - 1, width - 1]).reshape(2, 1, 1) / 2
    result = []
    for number, (down, right, angle) in enumerate(shake(frames)):
        rows = y * np.cos(angle) + x * np.sin(angle) + down + height / 2 + 16
        cols = x * np.cos(angle) - y * np.sin(angle) + right + width / 2 + 32
        picture = scenes[number // 16][rows.astype(int), cols.astype(int)]
        planes = [picture]
        for plane_rows, plane_cols in plane_shapes(name, width, height)[1:]:  # chroma moves the other way
            mirrored = picture[::-2 if plane_rows < height else -1, ::-2 if plane_cols < width else -1]
            planes.append(mirrored // len(planes))
        result.append(tuple(np.ascontiguousarray(plane) for plane in planes))
    return result


def write_y4m(path, colour, frames):
    height, width = frames[0][0].shape
    with open(path, "wb") as file:
        file.write(f"YUV4MPEG2 W{width} H{height} F{RATE}:1 Ip A1:1 C{colour}\n".encode())
        for planes in frames:
            file.write(b"FRAME\n" + b"".join(plane.tobytes() for plane in planes))


def read_y4m(data, name, width, height):
    shapes, dtype = plane_shapes(name, width, height), np.dtype(Y4M[name][2])
    at, frames = data.index(b"\n") + 1, []
    while at < len(data):
        at = data.index(b"\n", at) + 1
        planes = []
        for rows, cols in shapes:
            planes.append(np.frombuffer(data, dtype, rows * cols, at).reshape(rows, cols))
            at += rows * cols * dtype.itemsize
        frames.append(tuple(planes))
    return frames


def by_tool(folder, name, frames, *options, colour=None):
    height, width = frames[0][0].shape
    source = pathlib.Path(folder) / "in.y4m"
    write_y4m(source, colour or Y4M[name][0], frames)
    done = subprocess.run([TOOL, "--quiet", *options, source, "-"], capture_output=True, stdin=subprocess.DEVNULL)
    if done.returncode != 0:
        raise AssertionError(done.stderr.decode())
    return read_y4m(done.stdout, name, width, height)


def equal(one, other):
    """Frames, or lists of them, byte for byte."""
    if isinstance(one, np.ndarray):
        return one.dtype == other.dtype and np.array_equal(one, other)
    return len(one) == len(other) and all(map(equal, one, other))
