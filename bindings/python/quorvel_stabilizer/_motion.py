# SPDX-License-Identifier: BSD-2-Clause
"""Records of motion and compensation as structured numpy arrays."""
import ctypes
from typing import Any, Iterable, List

import numpy as np
import numpy.typing as npt

from ._library import Compensation

#: A record: how the camera moved since the frame before (row, col, theta), and where the output of the frame is
#: taken from (comp_row, comp_col, comp_theta, step). Pixels of the picture, down and right; radians, clockwise;
#: input pixels for one of the output. 64-bit floats hold the library's numbers exactly.
MOTION = np.dtype([("frame", np.int64), ("flags", np.int32), ("row", np.float64), ("col", np.float64),
                   ("theta", np.float64), ("comp_row", np.float64), ("comp_col", np.float64),
                   ("comp_theta", np.float64), ("step", np.float64)])

#: Bits of `flags`: the frame starts a scene; its motion was measured; it may be a flash.
NEW_SCENE, MEASURED, HELD = 1, 2, 4

# Field of MOTION, field of the library's record, units of the latter in one of the former.
_FIELDS = [("frame", "frame", 1), ("flags", "flags", 1), ("row", "motion_row", 1 << 16),
           ("col", "motion_col", 1 << 16), ("theta", "motion_theta", 1 << 24), ("comp_row", "row", 1 << 16),
           ("comp_col", "col", 1 << 16), ("comp_theta", "theta", 1 << 24), ("step", "step", 1 << 16)]


def to_motion(records: Iterable[Compensation]) -> npt.NDArray[Any]:
    rows = [tuple(getattr(record, theirs) / unit if unit > 1 else getattr(record, theirs)
                  for _, theirs, unit in _FIELDS) for record in records]
    return np.array(rows, MOTION)


def to_records(motion: Any) -> List[Compensation]:
    """Of an array, or of one element of it. What the library's integers cannot hold is limited."""
    if not isinstance(motion, (np.ndarray, np.void)) or motion.dtype != MOTION:
        raise ValueError("records of motion are an array of the dtype MOTION, or an element of one")
    records = []
    for row in np.atleast_1d(np.asarray(motion)).ravel():
        record = Compensation(size=ctypes.sizeof(Compensation))
        for ours, theirs, unit in _FIELDS:
            if not np.isfinite(row[ours]):
                raise ValueError(f"record of frame {row['frame']}: {ours} is {row[ours]}")
            value = int(np.rint(row[ours] * unit)) if unit > 1 else int(row[ours])
            setattr(record, theirs, min(max(value, -2**31), 2**31 - 1) if unit > 1 else value)
        records.append(record)
    return records
