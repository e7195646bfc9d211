# SPDX-License-Identifier: BSD-2-Clause
"""Video stabilization of numpy frames by libQuorvelStabilizer.

    from quorvel_stabilizer import Stabilizer

    with Stabilizer(1280, 720, "BGR", lookahead=30) as stabilizer:
        for steady in stabilizer.stabilize(frames):
            show(steady)
"""
from ._formats import FORMATS, Frame
from ._library import VERSION as LIBRARY_VERSION
from ._motion import HELD, MEASURED, MOTION, NEW_SCENE
from ._stabilizer import Motion, Stabilizer

__version__ = "1.0.0"

__all__ = ["FORMATS", "Frame", "HELD", "LIBRARY_VERSION", "MEASURED", "MOTION", "Motion", "NEW_SCENE", "Stabilizer"]
