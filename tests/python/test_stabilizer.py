# SPDX-License-Identifier: BSD-2-Clause
"""The Python package: bytes against the tool, memory, bad input, streams, threads."""
import resource
import tempfile
import threading
import unittest
import weakref
from unittest import mock

import numpy as np

from quorvel_stabilizer import MEASURED, NEW_SCENE, Stabilizer
from quorvel_stabilizer._handle import Handle
from support import TOOL, Y4M, by_tool, clip, equal, shake, y4m

W, H = 320, 240


def steady(frames, format="GRAY", **settings):
    with Stabilizer(W, H, format, **settings) as stabilizer:
        return list(stabilizer.stabilize(frames))


def grey(frames=24):
    return [planes[0] for planes in clip("GRAY", W, H, frames)]


def memory_for(count):
    """Lets that many outputs be made, and no more."""
    make, left = Handle.compensate, iter(range(count))

    def compensate(*arguments):
        if next(left, None) is None:
            raise MemoryError
        make(*arguments)

    return mock.patch.object(Handle, "compensate", compensate)


def together(*works):
    threads = [threading.Thread(target=work) for work in works]
    for thread in threads:
        thread.start()
    return lambda: [thread.join(60) for thread in threads]


class Formats(unittest.TestCase):
    @unittest.skipUnless(TOOL, "QUORVEL_TOOL names no tool")
    def test_same_bytes_as_the_tool(self):
        whole = {"cubic": True, "whole": True, "window": 0.9}
        cases = [("I420", "420mpeg2", ["--live"], {"cubic": True}), ("I420", "420mpeg2", ["--whole"], whole),
                 ("I420", "420jpeg", ["--live"], {"cubic": True, "chroma_site": "center"}),
                 ("I420", "420mpeg2", ["--live", "--no-roll", "--bilinear", "--window", "71.3", "--strength", "2.7"],
                  {"roll": False, "window": 0.713, "strength": 2.7})]
        for format, (colour, _, _) in Y4M.items():
            cases.append((format, colour, ["--lookahead", "0.3"], {"lookahead": 9, "window": 0.9, "cubic": True}))
        for format, colour, options, settings in cases:
            frames = clip(format, W, H)
            with tempfile.TemporaryDirectory() as folder:
                expected = by_tool(folder, colour, frames, *options)
            self.assertTrue(y4m(steady(frames, format, **settings)) == expected, (format, colour, options))

    def test_samples_in_another_order(self):
        def pixels(*order):
            return lambda frame: np.dstack([frame[i] for i in order])

        for format, planar, order in (
                ("NV12", "I420", lambda f: (f[0], np.dstack(f[1:]))),
                ("NV21", "I420", lambda f: (f[0], np.dstack(f[1:]).reshape(H // 2, W))),
                ("P010", "I420P10", lambda f: (f[0] << 6, np.dstack(f[1:]) << 6)),
                ("RGB", "I444", pixels(1, 0, 2)), ("BGR", "I444", pixels(2, 0, 1)),
                ("RGBA", "I444", pixels(1, 0, 2, 2)), ("BGRA", "I444", pixels(2, 0, 1, 1))):
            frames = clip(planar, W, H)
            expected = list(map(order, steady(frames, planar)))
            self.assertTrue(equal(steady(map(order, frames), format), expected), format)

    def test_packed(self):
        def pack(frame):
            return np.concatenate([plane.ravel() for plane in frame])

        for width, height in ((W, H), (W - 1, H - 1)):
            frames = clip("I420", width, height)
            with Stabilizer(width, height) as stabilizer:
                expected = list(map(pack, stabilizer.stabilize(frames)))
                self.assertTrue(equal(list(stabilizer.stabilize(map(pack, frames))), expected))
        rows = [pack(frame).reshape(-1, W) for frame in clip("I420", W, H)]
        self.assertEqual({frame.shape for frame in steady(rows, "I420")}, {(H * 3 // 2, W)})


class Memory(unittest.TestCase):
    def test_input_without_a_copy(self):
        frames = grey()
        wide = np.zeros((len(frames), H, W + 7), np.uint8)
        wide[:, :, 3:W + 3] = frames
        bottom_up = [np.ascontiguousarray(frame[::-1])[::-1] for frame in frames]
        read_only = [np.frombuffer(frame.tobytes(), np.uint8).reshape(H, W) for frame in frames]
        for views in (wide[:, :, 3:W + 3], bottom_up, read_only):
            self.assertTrue(equal(steady(views), steady(frames)))
            with Stabilizer(W, H, "GRAY", lookahead=9, copy=False) as stabilizer:
                stabilizer.push(views[0])
                self.assertTrue(np.shares_memory(stabilizer._frames[0].arrays[0], views[0]))

    def test_input_that_needs_a_copy(self):
        frames = [frame.astype(np.uint16) << 8 for frame in grey()]
        for view in (np.asfortranarray, lambda f: np.ascontiguousarray(f[:, ::-1])[:, ::-1],
                     lambda f: f.repeat(2, 1)[:, ::2],
                     lambda f: np.frombuffer(bytes(1) + f.tobytes(), np.uint16, -1, 1).reshape(H, W)):
            self.assertTrue(equal(steady(map(view, frames), "GRAY16"), steady(frames, "GRAY16")))
            stabilizer = Stabilizer(W, H, "GRAY16")
            self.assertTrue(equal(stabilizer.measure(map(view, frames)), stabilizer.measure(frames)))
        still = np.broadcast_to(frames[0][:1], (H, W))
        self.assertTrue(equal(steady([still], "GRAY16"), steady([still.copy()], "GRAY16")))

    def test_out(self):
        wide = np.full((H, W + 9), 7, np.uint8)
        with Stabilizer(W, H, "GRAY", copy=False) as stabilizer:
            for frame, expected in zip(grey(), steady(grey())):
                out = wide[::-1, 4:W + 4]
                self.assertIs(stabilizer.push(frame, out=out)[0], out)
                self.assertTrue(equal(out, expected))
        self.assertTrue((wide[:, :4] == 7).all() and (wide[:, W + 4:] == 7).all())

    def test_out_is_the_input(self):
        for settings in ({}, {"copy": False}, {"lookahead": 9}, {"lookahead": 9, "copy": False}):
            with Stabilizer(W, H, "GRAY", **settings) as stabilizer:
                result = [f.copy() for frame in grey() for f in stabilizer.push(frame, out=frame)]
                result += stabilizer.flush()
            self.assertTrue(equal(result, steady(grey(), **settings)), settings)
        taller = np.zeros((2 * H, W), np.uint8)
        frame = taller[H // 2:H // 2 + H][::-1]
        frame[:] = grey()[0]
        with Stabilizer(W, H, "GRAY") as stabilizer:
            self.assertTrue(equal(stabilizer.push(frame, out=taller[:H]), steady(grey()[:1])))

    def test_one_array_for_all_frames(self):
        array, result = np.empty((H, W), np.uint8), []
        with Stabilizer(W, H, "GRAY", lookahead=9) as stabilizer:
            for frame in grey():
                array[:] = frame
                result += stabilizer.push(array)
                array[:] = 0
            result += stabilizer.flush()
        self.assertTrue(equal(result, steady(grey(), lookahead=9)))

    def test_references_end(self):
        stabilizer, frame = Stabilizer(W, H, "GRAY", lookahead=5, copy=False), grey()[0]
        stabilizer.push(frame)
        self.assertRaisesRegex(ValueError, "waits", stabilizer.push, grey()[1], out=frame)
        gone = weakref.ref(frame)
        del frame
        self.assertIsNotNone(gone())
        stabilizer.flush()
        self.assertIsNone(gone())

    def test_handles_end(self):
        def cycles(count):
            for number in range(count):
                stabilizer = Stabilizer(640, 480, lookahead=5)
                for frame in frames:
                    stabilizer.push(frame)
                if number % 2:
                    stabilizer.close()
            return resource.getrusage(resource.RUSAGE_SELF).ru_maxrss

        frames = clip("I420", 640, 480, 3)
        before = cycles(20)
        self.assertLess(cycles(200) - before, 4096)  # KB; each of them holds more than 1.5 MB


class BadInput(unittest.TestCase):
    def test_settings(self):
        cases = (({"window": 0.59}, "window"), ({"window": float("nan")}, "window"), ({"strength": 5}, "strength"),
                 ({"lookahead": 241}, "lookahead"), ({"lookahead": 9, "whole": True}, "lookahead"),
                 ({"threads": 5}, "threads"), ({"frame_rate": 0.5}, "rate"), ({"frame_rate": (30, 0)}, "rate"),
                 ({"format": "YUV9"}, "I420"), ({"chroma_site": "top"}, "left"), ({"width": 1}, "width"))
        for settings, says in cases:
            with self.subTest(settings), self.assertRaisesRegex(ValueError, says):
                Stabilizer(**{"width": W, "height": H, **settings})
        for rate in (29.97, 30000 / 1001, (30000, 1001), 1, 1000):
            Stabilizer(W, H, frame_rate=rate)
        self.assertRaises(TypeError, Stabilizer, W, H, lookahead=7.5)

    def test_the_stream_goes_on(self):
        frames = clip("I420", W, H)
        y, u, v = frames[0]
        good, pair = (y.copy(), u.copy(), v.copy()), np.empty((H // 2, W), np.uint8)
        read_only = np.frombuffer(y.tobytes(), np.uint8).reshape(H, W)
        bad = [((y, u), {}), ((y, u, u[1:]), {}), (y, {}), ((y.astype(np.uint16), u, v), {}),
               ((y.view(np.int8), u, v), {}), (b"frame", {}), ((y, u, None), {}), (None, {}),
               (np.empty(H * W * 2, np.uint8), {}), (good, {"out": (read_only, u.copy(), v.copy())}),
               (good, {"out": (np.asfortranarray(y), u.copy(), v.copy())}), (good, {"out": y.copy()}),
               (good, {"out": (y.copy(), pair[:, :W // 2], pair[:, W // 2:])}),
               (good, {"out": np.empty((H * 3, W), np.uint8)[::2]})]
        with Stabilizer(W, H, lookahead=9) as stabilizer:
            result = []
            for i, frame in enumerate(frames):
                wrong, arguments = bad[i % len(bad)]
                with self.subTest(i), self.assertRaises((ValueError, TypeError)):
                    stabilizer.push(wrong, **arguments)
                result += stabilizer.push(frame)
            result += stabilizer.flush()
        self.assertTrue(equal(result, steady(frames, "I420", lookahead=9)))
        with self.assertRaisesRegex(ValueError, "samples of uint16, not of >u2"):
            steady([y.astype(">u2")], "GRAY16")

    def test_records_and_closed(self):
        stabilizer, frame = Stabilizer(W, H, "GRAY"), grey()[0]
        motion = stabilizer.measure(grey())
        self.assertRaisesRegex(ValueError, "MOTION", stabilizer.plan, np.zeros(3))
        self.assertRaisesRegex(ValueError, "one record", stabilizer.compensate, frame, motion)
        motion["col"][3] = np.nan
        self.assertRaisesRegex(ValueError, "frame 4: col is nan", stabilizer.plan, motion)
        stabilizer.close()
        stabilizer.close()
        for call in (lambda: stabilizer.push(frame), stabilizer.flush, stabilizer.reset,
                     lambda: stabilizer.compensate(frame, motion[0]), lambda: list(stabilizer.stabilize([]))):
            self.assertRaisesRegex(ValueError, "closed", call)


class Streams(unittest.TestCase):
    def test_delay_and_flush(self):
        for settings, delay in (({}, 0), ({"lookahead": 4}, 0), ({"lookahead": 5}, 5), ({"whole": True}, None)):
            with Stabilizer(W, H, "GRAY", **settings) as stabilizer:
                self.assertEqual(stabilizer.delay, delay)
                waits = 12 if delay is None else delay
                result = [stabilizer.push(frame) for frame in grey(12)]
                self.assertEqual(list(map(len, result)), [0] * waits + [1] * (12 - waits))
                self.assertEqual(stabilizer.waiting, waits)
                result = sum(result, []) + stabilizer.flush()
                self.assertTrue(equal(list(stabilizer.stabilize(grey(12))), result))  # another stream

    def test_a_frame_waits_until_there_is_memory_for_its_output(self):
        with Stabilizer(W, H, "GRAY", lookahead=9) as stabilizer:
            result = [f for frame in grey(12) for f in stabilizer.push(frame)]
            with memory_for(3):
                result += stabilizer.flush()
                self.assertRaises(MemoryError, stabilizer.flush)
            self.assertEqual(stabilizer.waiting, 6)
            self.assertTrue(equal(result + stabilizer.flush(), steady(grey(12), lookahead=9)))

    def test_reset_and_several_outputs_of_a_call(self):
        with Stabilizer(W, H, "GRAY", lookahead=5) as stabilizer:
            flags = []
            for number, frame in enumerate(grey(12)):
                if number == 6:
                    stabilizer.reset()
                result = stabilizer.push(frame, out=np.empty((H, W), np.uint8))
                self.assertFalse(any(np.shares_memory(result[0], other) for other in result[1:]))
                flags += list(stabilizer.motion["flags"])
            stabilizer.flush()
            flags += list(stabilizer.motion["flags"])
        self.assertEqual(flags, ([NEW_SCENE] + [MEASURED] * 5) * 2)

    def test_motion(self):
        path = Stabilizer(W, H, "GRAY").measure(grey(16))
        self.assertEqual(list(path["flags"]), [NEW_SCENE] + [MEASURED] * 15)
        for field, truth, error in zip(("row", "col", "theta"), shake(16).T, (0.6, 0.6, 0.005)):
            self.assertLess(np.abs(path[field][1:] - np.diff(truth)).max(), error, field)

    def test_measured_planned_compensated(self):
        frames = grey()
        for settings in ({}, {"lookahead": 9}, {"whole": True}):
            with Stabilizer(W, H, "GRAY", **settings) as stabilizer:
                path = stabilizer.measure(frames)
                pushed = [(frame, stabilizer.motion) for frame in stabilizer.stabilize(frames)]
                self.assertTrue(np.array_equal(np.concatenate([record for _, record in pushed]), path))
                for source, record, (frame, _) in zip(frames, path, pushed):
                    self.assertTrue(equal(stabilizer.compensate(source, record), frame))
                planned = stabilizer.plan(Stabilizer(W, H, "GRAY").measure(frames))
                for field in ("comp_row", "comp_col", "step"):
                    self.assertLess(np.abs(planned[field] - path[field]).max(), 0.001, (settings, field))
        record = path[0]
        record["comp_row"], record["comp_col"], record["comp_theta"] = 0, 20, 0  # a 16th of the width: the margin
        stabilizer = Stabilizer(W, H, "GRAY")
        aside = stabilizer.compensate(frames[0], record)
        record["comp_col"] = 1e300
        self.assertTrue(equal(stabilizer.compensate(frames[0], record), aside))


class Threads(unittest.TestCase):
    def test_own_and_shared(self):
        frames, expected, results = grey(), steady(grey(), lookahead=9), []
        with Stabilizer(W, H, "GRAY", lookahead=9) as shared:
            record = shared.measure(frames)[3]
            drawn = shared.compensate(frames[3], record)

            def work():
                own = equal(steady(frames, lookahead=9), expected)
                count = sum(len(shared.push(frame)) for frame in frames)
                results.append((own and equal(shared.compensate(frames[3], record), drawn), count))

            together(work, work, work, work)()
            self.assertEqual([right for right, _ in results], [True] * 4)
            self.assertEqual(sum(count for _, count in results) + len(shared.flush()), 4 * len(frames))

    def test_close_during_calls(self):
        stabilizer, frame, refused = Stabilizer(W, H, "GRAY"), grey()[0], []
        record = stabilizer.measure([frame])[0]

        def work():
            try:
                while True:
                    stabilizer.compensate(frame, record)
            except ValueError as error:
                refused.append(str(error))

        join = together(work, work, work)
        stabilizer.close()
        join()
        self.assertEqual(refused, ["this stabilizer is closed"] * 3)


if __name__ == "__main__":
    unittest.main()
