# SPDX-License-Identifier: BSD-2-Clause
"""Frames as numpy arrays, described to the library as planes of memory."""
import ctypes
from typing import Any, Dict, List, NamedTuple, Optional, Tuple, Union

import numpy as np
import numpy.typing as npt

from ._library import Plane

Array = npt.NDArray[Any]
Frame = Union[Array, Tuple[Array, ...]]

_MOST_PITCH = 2**31 - 1  # of the library


class _Layout(NamedTuple):
    planes: Tuple[Tuple[int, int, int], ...]  # channels, log2 of the subsampling across and down
    dtype: Any = np.uint8
    bits: int = 8
    lowest_bit: int = 0
    luma: int = 0  # channel of the first plane


_FULL, _HALF, _QUARTER = (1, 0, 0), (1, 1, 0), (1, 1, 1)
_PAIRS = ((1, 0, 0), (2, 1, 1))
_RGB = _Layout(((3, 0, 0),), luma=1)
_RGBA = _Layout(((4, 0, 0),), luma=1)

_LAYOUTS: Dict[str, _Layout] = {
    "GRAY": _Layout((_FULL,)),
    "RGB": _RGB,
    "BGR": _RGB,
    "RGBA": _RGBA,
    "BGRA": _RGBA,
    "NV12": _Layout(_PAIRS),
    "NV21": _Layout(_PAIRS),
    "I420": _Layout((_FULL, _QUARTER, _QUARTER)),
    "I422": _Layout((_FULL, _HALF, _HALF)),
    "I444": _Layout((_FULL, _FULL, _FULL)),
    "P010": _Layout(_PAIRS, np.uint16, 10, 6),
    "GRAY10": _Layout((_FULL,), np.uint16, 10),
    "GRAY16": _Layout((_FULL,), np.uint16, 16),
    "I420P10": _Layout((_FULL, _QUARTER, _QUARTER), np.uint16, 10),
    "I422P10": _Layout((_FULL, _HALF, _HALF), np.uint16, 10),
    "I444P10": _Layout((_FULL, _FULL, _FULL), np.uint16, 10),
}

FORMATS: Tuple[str, ...] = tuple(_LAYOUTS)

# Of subsampled planes, in quarters of a pixel: right, down.
_SITES = {"left": (0, 2), "center": (2, 2), "topleft": (0, 0)}


class View:
    """A frame's planes as the library takes them; it keeps their arrays alive."""

    def __init__(self, planes: "ctypes.Array[Plane]", arrays: List[Array], whole: Optional[Tuple[int, ...]]) -> None:
        self.planes = planes
        self.arrays = arrays
        self.whole = whole  # shape of a frame that is one array; None: a tuple of planes

    def extents(self) -> List[Tuple[int, int]]:
        """The first address of each plane, and the one after its last."""
        found = []
        for plane in self.planes:
            row = plane.width * plane.channels * plane.sample_bytes
            rest = (plane.height - 1) * plane.pitch
            found.append((plane.pixels + min(rest, 0), plane.pixels + max(rest, 0) + row))
        return found


def overlap(one: View, other: View) -> bool:
    """By the library's rule: gaps between the rows of a plane count as its memory."""
    return any(a < d and c < b for a, b in one.extents() for c, d in other.extents())


def _fits(array: Array) -> bool:
    """Whether the library can work where the array lies: pixels side by side, rows apart."""
    row = array[:1]
    apart = array.shape[0] == 1 or row.nbytes <= abs(array.strides[0]) <= _MOST_PITCH
    return bool(row.flags.c_contiguous and array.flags.aligned and apart)


class Format:
    """One pixel format at one size."""

    def __init__(self, name: str, width: int, height: int, chroma_site: str) -> None:
        if name not in _LAYOUTS:
            raise ValueError(f"there is no format {name!r}; there are {', '.join(FORMATS)}")
        if chroma_site not in _SITES:
            raise ValueError(f"there is no chroma_site {chroma_site!r}; there are {', '.join(_SITES)}")
        self.name, self.width, self.height = name, width, height
        self._layout = _LAYOUTS[name]
        self._dtype = np.dtype(self._layout.dtype)
        site_x, site_y = _SITES[chroma_site]
        self._templates = (Plane * len(self._layout.planes))()
        for plane, (channels, log2_x, log2_y) in zip(self._templates, self._layout.planes):
            plane.size, plane.channels, plane.luma = ctypes.sizeof(Plane), channels, self._layout.luma
            plane.width = (width + (1 << log2_x) - 1) >> log2_x
            plane.height = (height + (1 << log2_y) - 1) >> log2_y
            plane.sample_bytes, plane.bits = self._dtype.itemsize, self._layout.bits
            plane.lowest_bit = self._layout.lowest_bit
            plane.log2_x, plane.log2_y = log2_x, log2_y
            plane.site_x, plane.site_y = site_x if log2_x else 0, site_y if log2_y else 0
        self._samples = sum(p.width * p.height * p.channels for p in self._templates)

    def read(self, frame: Frame, copy: bool = False) -> View:
        """An input frame; `copy` copies it in any case, else it is copied where its strides ask for it."""
        return self._view(frame, copy, may_copy=True)

    def write(self, frame: Frame) -> View:
        """A frame to be written where it lies."""
        if isinstance(frame, np.ndarray) and self._planar() and not frame.flags.c_contiguous:
            raise ValueError("out: a packed frame must be contiguous; give its planes as a tuple")
        view = self._view(frame, copy=False, may_copy=False)
        extents = sorted(view.extents())
        if any(end > begin for (_, end), (begin, _) in zip(extents, extents[1:])):
            raise ValueError("out: the memory of its planes overlaps, or that of one lies in the gaps of another")
        return view

    def empty_like(self, view: View) -> Frame:
        """New memory for a frame of the same form."""
        if view.whole is not None:
            return np.empty(view.whole, self._dtype)
        return tuple(np.empty(plane.shape, self._dtype) for plane in view.arrays)

    def _planar(self) -> bool:
        return len(self._templates) > 1

    def _split(self, frame: Frame, copy: bool) -> List[Array]:
        arrays = [frame] if isinstance(frame, np.ndarray) else frame
        if not isinstance(arrays, (list, tuple)) or not all(isinstance(array, np.ndarray) for array in arrays):
            raise TypeError(f"a frame is a numpy array, or a tuple of them, and not {type(frame).__name__}")
        for array in arrays:
            if array.dtype != self._dtype:
                raise ValueError(f"{self.name} has samples of {self._dtype}, not of {array.dtype}")
        if copy:
            arrays = [np.array(array, order="C") for array in arrays]
        if isinstance(frame, np.ndarray) and self._planar():
            return self._unpack(arrays[0])
        if len(arrays) != len(self._templates):
            raise ValueError(f"{self.name} has {len(self._templates)} planes, not {len(arrays)}")
        return list(arrays)

    def _unpack(self, frame: Array) -> List[Array]:
        rows = f" or ({self._samples // self.width}, {self.width})" if self._samples % self.width == 0 else ""
        if frame.size != self._samples or frame.ndim > 2 or (frame.ndim == 2 and frame.shape[1] != self.width):
            raise ValueError(f"a packed {self.name} frame of {self.width}x{self.height} has the shape "
                             f"({self._samples},){rows}, not {frame.shape}")
        flat, arrays = frame.reshape(-1), []
        for plane in self._templates:
            row = plane.width * plane.channels
            arrays.append(flat[:row * plane.height].reshape(plane.height, row))
            flat = flat[row * plane.height:]
        return arrays

    def _view(self, frame: Frame, copy: bool, may_copy: bool) -> View:
        arrays = self._split(frame, copy)
        planes = type(self._templates).from_buffer_copy(self._templates)
        for i, plane in enumerate(planes):
            where = f"plane {i} of {self.name}" if self._planar() else self.name
            self._check_shape(where, plane, arrays[i])
            if not _fits(arrays[i]):
                if not may_copy:
                    raise ValueError(f"out: {where} has strides {arrays[i].strides}: its pixels must lie side by "
                                     "side and its rows apart")
                arrays[i] = np.array(arrays[i], order="C")
            if not may_copy and not arrays[i].flags.writeable:
                raise ValueError(f"out: {where} is read-only")
            plane.pitch = arrays[i].strides[0] if plane.height > 1 else arrays[i].nbytes
            plane.pixels = arrays[i].ctypes.data
        return View(planes, arrays, frame.shape if isinstance(frame, np.ndarray) else None)

    def _check_shape(self, where: str, plane: Plane, array: Array) -> None:
        shapes: List[Tuple[int, ...]] = [(plane.height, plane.width, plane.channels)]
        if plane.channels == 1:
            shapes = [(plane.height, plane.width)]
        elif plane.channels == 2:  # pairs of chroma are often kept as rows of samples
            shapes.append((plane.height, plane.width * 2))
        if array.shape not in shapes:
            expected = " or ".join(map(str, shapes))
            raise ValueError(f"{where} at {self.width}x{self.height} has the shape {expected}, not {array.shape}")
