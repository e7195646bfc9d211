# SPDX-License-Identifier: BSD-2-Clause
"""The stabilizer: frames in, steady frames out."""
import math
import numbers
import operator
import threading
from collections import deque
from fractions import Fraction
from types import TracebackType
from typing import Any, Deque, Iterable, Iterator, List, Optional, Tuple, Type, Union

import numpy.typing as npt

from ._formats import Format, Frame, View, overlap
from ._handle import Handle, Settings
from ._library import Compensation
from ._motion import to_motion, to_records

Motion = npt.NDArray[Any]
Rate = Union[int, float, Fraction, Tuple[int, int]]

_LEAST_LOOKAHEAD, _MOST_LOOKAHEAD = 5, 240
_WHOLE_CLIP = -1  # of QEL_MVS_SetLookahead
_SIDES = (2, 16384)


def _within(name: str, value: Any, least: float, most: float) -> None:
    known = isinstance(value, numbers.Real)
    if not known:
        raise TypeError(f"{name} is {value!r}, it must be a number")
    if not least <= value <= most:
        raise ValueError(f"{name} is {value}, it must be {least} to {most}")


def _whole_number(name: str, value: int, least: int, most: int) -> int:
    _within(name, value, least, most)
    try:
        return operator.index(value)
    except TypeError:
        raise TypeError(f"{name} is {value}, it must be a whole number") from None


def _parts(name: str, value: float, least: float, most: float) -> int:
    """In 1024ths, rounded into the range."""
    _within(name, value, least, most)
    return min(max(int(value * 1024 + 0.5), math.ceil(least * 1024)), math.floor(most * 1024))


def _fraction(rate: Rate) -> Fraction:
    if isinstance(rate, tuple):
        if len(rate) != 2:
            raise ValueError(f"frame_rate is {rate}, it must be a number or two")
        rate = Fraction(*rate) if rate[1] > 0 else 0
    _within("frame_rate", rate, 1, 1000)
    exact = Fraction(rate)
    return exact if max(exact.numerator, exact.denominator) < 2**31 else exact.limit_denominator(1001)


class Stabilizer:
    """Takes the shake out of a stream of frames.

    A frame is one numpy array, or a tuple of planes: height x width for grey, height x width x channels for RGB
    and its kin, a tuple or one packed array for YUV. FORMATS has the names of the formats.

    Arrays are read and written where they lie. Rows may be any distance apart, also backwards, but the pixels of
    a row must be contiguous, and so must a packed frame. Input that is not is copied once; as `out` it is refused.

    A frame that does not fit (ValueError, TypeError) leaves the stream as it was. Any thread may call. Calls that
    take frames wait for each other; `compensate`, `measure` and `plan` do not.
    """

    def __init__(self, width: int, height: int, format: str = "I420", *, lookahead: int = 0,
                 window: float = 0.875, strength: float = 1.0, roll: bool = True, cubic: bool = False,
                 frame_rate: Rate = 30, threads: int = 0, whole: bool = False, copy: bool = True,
                 chroma_site: str = "left") -> None:
        """
        width, height -- of the frames, pixels
        format        -- one of FORMATS
        lookahead     -- frames that are taken into account before one comes out, 0 to 240; 1 to 4 count as 0
        window        -- part of each side that is shown, enlarged to full size, 0.6 to 0.98
        strength      -- how calm, in seconds, 0.25 to 4
        roll          -- whether rotations are taken out too
        cubic         -- bicubic interpolation, sharper and slower than bilinear
        frame_rate    -- frames a second, 1 to 1000: a number, or a pair (30000, 1001)
        threads       -- 1 to 4 at most; 0 lets the library choose
        whole         -- all frames are taken into account: none comes out before flush()
        copy          -- frames that wait are copied, so that the caller may reuse a buffer at once. With False
                         they are held by reference: leave them unchanged until they come out
        chroma_site   -- where the samples of subsampled chroma lie: left (video), center (JPEG), topleft (HDR)
        """
        width, height = _whole_number("width", width, *_SIDES), _whole_number("height", height, *_SIDES)
        lookahead = _whole_number("lookahead", lookahead, 0, _MOST_LOOKAHEAD)
        if whole and lookahead:
            raise ValueError("whole takes all frames into account: leave out lookahead")
        self._format = Format(format, width, height, chroma_site)
        self._settings = Settings(width, height, _WHOLE_CLIP if whole else lookahead,
                                  _parts("window", window, 0.6, 0.98), _parts("strength", strength, 0.25, 4),
                                  bool(roll), bool(cubic), _fraction(frame_rate),
                                  _whole_number("threads", threads, 0, 4))
        self._delay = None if whole else lookahead if lookahead >= _LEAST_LOOKAHEAD else 0
        self._copy = copy and self._delay != 0
        self._lock = threading.Lock()
        self._handle: Optional[Handle] = Handle(self._settings)
        self._frames: Deque[View] = deque()  # that wait, the oldest first
        self._records: Deque[Compensation] = deque()  # of the oldest of these
        self._returned: List[Compensation] = []

    def __enter__(self) -> "Stabilizer":
        return self

    def __exit__(self, kind: Optional[Type[BaseException]], error: Optional[BaseException],
                 trace: Optional[TracebackType]) -> None:
        self.close()

    def close(self) -> None:
        """Frees all memory. Frames that still wait are dropped. May be called twice."""
        with self._lock:
            self._handle = None
            self._frames.clear()
            self._records.clear()

    @property
    def delay(self) -> Optional[int]:
        """Frames by which the output lags behind the input; None for a whole clip."""
        return self._delay

    @property
    def waiting(self) -> int:
        """Frames that were pushed and have not come out."""
        return len(self._frames)

    @property
    def motion(self) -> Motion:
        """A record (dtype MOTION) of each frame that the last push or flush returned, or stabilize yielded."""
        return to_motion(self._returned)

    def push(self, frame: Frame, *, out: Optional[Frame] = None) -> List[Frame]:
        """Takes the next frame, and returns those that are ready: none, one, or at a cut several.

        The first of them is written to `out`, if given, the others to new arrays of the form that their input had.
        `out` may be the frame itself, which is then copied first.
        """
        with self._lock:
            self._take(frame, out)
            return self._draw_all(out)

    def flush(self) -> List[Frame]:
        """Ends the stream and returns the frames that wait. The next push begins another stream."""
        with self._lock:
            self._end()
            return self._draw_all(None)

    def reset(self) -> None:
        """Makes the next frame start a scene, as after a cut or where frames are missing. None is lost."""
        with self._lock:
            self._current().call("Reset")

    def stabilize(self, frames: Iterable[Frame]) -> Iterator[Frame]:
        """Each of the frames, steady, as soon as it is ready. After an error flush() has those that wait."""
        for frame in frames:
            with self._lock:
                self._take(frame, None)
            yield from self._draw_each()
        with self._lock:
            self._end()
        yield from self._draw_each()

    def measure(self, frames: Iterable[Frame]) -> Motion:
        """The records of a clip, planned with these settings, without making an output. Changes no stream."""
        handle = Handle(self._settings)
        return self._path(handle, (handle.push_frame(self._format.read(frame)) for frame in frames))

    def plan(self, motion: Motion) -> Motion:
        """The records of a clip planned again with these settings, from its motions. Changes no stream.

        Flags and motions are read (row, col, theta). Measure with the same frame rate and without a lookahead.
        """
        handle = Handle(self._settings)
        return self._path(handle, map(handle.push_motion, to_records(motion)))

    def compensate(self, frame: Frame, record: Motion, *, out: Optional[Frame] = None) -> Frame:
        """The output of one frame by a record: an element of what `measure`, `plan` or `motion` gave, or edited.

        The record is limited so that the view stays inside the frame. Changes no stream.
        """
        handle = self._current()
        records = to_records(record)
        if len(records) != 1:
            raise ValueError(f"compensate takes one record, not {len(records)}")
        return self._draw(handle, self._source(frame, out, False), records[0], out)

    def _current(self) -> Handle:
        handle = self._handle
        if handle is None:
            raise ValueError("this stabilizer is closed")
        return handle

    def _source(self, frame: Frame, out: Optional[Frame], copy: bool) -> View:
        """The planes of a frame, apart from those of `out`."""
        source = self._format.read(frame, copy)
        if out is not None and overlap(source, self._format.write(out)):
            source = self._format.read(frame, copy=True)
        return source

    def _take(self, frame: Frame, out: Optional[Frame]) -> None:
        handle = self._current()
        source = self._source(frame, out, self._copy)
        if out is not None:
            target = self._format.write(out)
            if any(overlap(waiting, target) for waiting in self._frames):
                raise ValueError("out: its memory is that of a frame that waits")
        self._frames.append(source)
        try:
            self._records.extend(handle.push_frame(source))
        except MemoryError:
            self._frames.pop()
            raise

    def _end(self) -> None:
        handle, following = self._current(), Handle(self._settings)
        self._records.extend(handle.end())
        self._handle = following

    def _draw(self, handle: Handle, source: View, record: Compensation, out: Optional[Frame]) -> Frame:
        frame = self._format.empty_like(source) if out is None else out
        handle.compensate(record, source, self._format.write(frame))
        return frame

    def _draw_next(self, out: Optional[Frame]) -> Frame:
        """The oldest frame; it still waits when there is no memory to make it."""
        frame = self._draw(self._current(), self._frames[0], self._records[0], out)
        self._frames.popleft()
        self._returned.append(self._records.popleft())
        return frame

    def _draw_all(self, out: Optional[Frame]) -> List[Frame]:
        frames: List[Frame] = []
        self._returned = []
        while self._records:
            try:
                frames.append(self._draw_next(out if not frames else None))
            except MemoryError:
                if not frames:
                    raise
                break  # the next call returns the rest
        return frames

    def _draw_each(self) -> Iterator[Frame]:
        while True:
            with self._lock:
                if not self._records:
                    return
                self._returned = []
                frame = self._draw_next(None)
            yield frame

    @staticmethod
    def _path(handle: Handle, pushes: Iterable[List[Compensation]]) -> Motion:
        records = [record for ready in pushes for record in ready]
        return to_motion(records + handle.end())
