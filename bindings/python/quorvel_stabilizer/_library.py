# SPDX-License-Identifier: BSD-2-Clause
"""Finds libQuorvelStabilizer, and declares its records and functions."""
import ctypes
import os
import pathlib
from ctypes import POINTER, c_int32, c_int64, c_void_p
from typing import Any, List, Tuple

NAME = "libQuorvelStabilizer.so.1"
INTERFACE = (1, 2)  # first two numbers of QEL_MVS_GetVersion


class InitParam(ctypes.Structure):
    _fields_ = [("mode", c_int32), ("in_width", c_int32), ("in_height", c_int32), ("out_width", c_int32),
                ("out_height", c_int32), ("format", c_int32), ("reserved", c_int32)]


class Version(ctypes.Structure):
    _fields_ = [("codebase", c_int32), ("major", c_int32), ("minor", c_int32), ("build", c_int32),
                ("version", ctypes.c_char_p), ("build_date", ctypes.c_char_p), ("copyright", ctypes.c_char_p)]


class Plane(ctypes.Structure):
    _fields_ = [("size", c_int32), ("width", c_int32), ("height", c_int32), ("channels", c_int32),
                ("luma", c_int32), ("sample_bytes", c_int32), ("bits", c_int32), ("lowest_bit", c_int32),
                ("log2_x", c_int32), ("log2_y", c_int32), ("site_x", c_int32), ("site_y", c_int32),
                ("pitch", c_int64), ("pixels", c_void_p)]


class Compensation(ctypes.Structure):
    _fields_ = [("size", c_int32), ("flags", c_int32), ("frame", c_int64), ("row", c_int32), ("col", c_int32),
                ("theta", c_int32), ("step", c_int32), ("motion_row", c_int32), ("motion_col", c_int32),
                ("motion_theta", c_int32), ("reserved", c_int32)]


# Name without its prefix, arguments behind the handle; all return 1 when done and 0 otherwise.
_CALLS: List[Tuple[str, List[Any]]] = [
    ("SetRefined", [c_int32]),
    ("SetLookahead", [c_int32]),
    ("SetWindow", [c_int32]),
    ("SetStrength", [c_int32]),
    ("SetRoll", [c_int32]),
    ("SetFrameRate", [c_int32, c_int32]),
    ("SetCubic", [c_int32]),
    ("SetThreads", [c_int32]),
    ("Reset", []),
    ("PushLuma", [POINTER(Plane)]),
    ("PushMotion", [POINTER(Compensation)]),
    ("PullCompensation", [POINTER(Compensation)]),
    ("EndStream", []),
    ("CompensateFrame", [POINTER(Compensation), POINTER(Plane), POINTER(Plane), c_int32]),
]


def _open() -> ctypes.CDLL:
    given = os.environ.get("QUORVEL_LIBRARY")
    beside = pathlib.Path(__file__).resolve().parent / NAME
    name = given or (str(beside) if beside.exists() else NAME)
    try:
        return ctypes.CDLL(name)
    except OSError as error:
        advice = "QUORVEL_LIBRARY names it" if given else f"install {NAME}, or set QUORVEL_LIBRARY to its file"
        raise ImportError(f"cannot load the stabilizer's library: {error}; {advice}") from error


def _declare(library: ctypes.CDLL) -> None:
    library.QEL_MVS_GetVersion.argtypes = [POINTER(Version)]
    library.QEL_MVS_GetVersion.restype = c_void_p
    library.QEL_MVS_CreateStabilizer.argtypes = [POINTER(InitParam)]
    library.QEL_MVS_CreateStabilizer.restype = c_void_p
    library.QEL_MVS_DestroyStabilizer.argtypes = [c_void_p]
    library.QEL_MVS_DestroyStabilizer.restype = None
    for name, arguments in _CALLS:
        call = getattr(library, "QEL_MVS_" + name)
        call.argtypes = [c_void_p, *arguments]
        call.restype = c_int32


def load() -> Tuple[ctypes.CDLL, str]:
    """The library with its functions declared, and the text of its version."""
    library = _open()
    try:
        _declare(library)
    except AttributeError as error:
        raise ImportError(f"{library._name} is no stabilizer's library, or too old a one: {error}") from error
    version = Version()
    library.QEL_MVS_GetVersion(version)
    if (version.codebase, version.major) != INTERFACE:
        raise ImportError(f"{library._name} has interface {version.codebase}.{version.major}, this package needs "
                          f"{INTERFACE[0]}.{INTERFACE[1]}")
    return library, (version.version or b"").decode()


LIBRARY, VERSION = load()
