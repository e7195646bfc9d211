# SPDX-License-Identifier: BSD-2-Clause
"""A handle of the library, and its settings."""
import ctypes
from fractions import Fraction
from typing import Any, List, NamedTuple, Optional

from ._formats import View
from ._library import LIBRARY, Compensation, InitParam


class Settings(NamedTuple):
    """In the library's units."""

    width: int
    height: int
    lookahead: int
    window: int
    strength: int
    roll: bool
    cubic: bool
    rate: Fraction
    threads: int


class Handle:
    """Destroyed when the last call that uses it is done, in whichever thread."""

    def __init__(self, settings: Settings) -> None:
        self._pointer: Optional[int] = None
        param = InitParam(3, settings.width, settings.height, settings.width, settings.height)
        self._pointer = LIBRARY.QEL_MVS_CreateStabilizer(param)
        rate = settings.rate
        if not self._pointer or not (
                self.call("SetRefined", 1) and self.call("SetFrameRate", rate.numerator, rate.denominator)
                and self.call("SetWindow", settings.window) and self.call("SetStrength", settings.strength)
                and self.call("SetRoll", settings.roll) and self.call("SetCubic", settings.cubic)
                and self.call("SetThreads", settings.threads) and self.call("SetLookahead", settings.lookahead)):
            raise MemoryError(f"not enough memory to stabilize {settings.width}x{settings.height}")

    def __del__(self, destroy: Any = LIBRARY.QEL_MVS_DestroyStabilizer) -> None:
        destroy(self._pointer)

    def call(self, name: str, *arguments: Any) -> bool:
        return bool(getattr(LIBRARY, "QEL_MVS_" + name)(self._pointer, *arguments))

    def push_frame(self, frame: View) -> List[Compensation]:
        """Measures a frame, and returns the records that are ready."""
        return self._push("PushLuma", frame.planes)

    def push_motion(self, record: Compensation) -> List[Compensation]:
        """Takes the motion of a record, and returns the records that are ready."""
        return self._push("PushMotion", record)

    def end(self) -> List[Compensation]:
        """Ends the stream; returns the records of all frames that wait."""
        self.call("EndStream")
        return self._pull()

    def _push(self, name: str, argument: Any) -> List[Compensation]:
        if not self.call(name, argument):
            raise MemoryError("not enough memory for the motions of a clip of this length")
        return self._pull()

    def _pull(self) -> List[Compensation]:
        records = []
        record = Compensation(size=ctypes.sizeof(Compensation))
        while self.call("PullCompensation", record):
            records.append(record)
            record = Compensation(size=ctypes.sizeof(Compensation))
        return records

    def compensate(self, record: Compensation, source: View, target: View) -> None:
        if not self.call("CompensateFrame", record, source.planes, target.planes, len(source.planes)):
            raise MemoryError("not enough memory to make the output of a frame")
