# SPDX-License-Identifier: BSD-2-Clause
"""The Python package: bytes against the tool, memory, bad input, streams, threads."""
import gc
import resource
import tempfile
import threading
import unittest
import weakref
from unittest import mock

import numpy as np

from quorvel_stabilizer import MEASURED, NEW_SCENE, Stabilizer
from quorvel_stabilizer._handle import Handle
from support import TOOL, by_tool, clip, equal, shake

W, H = 320, 240


def steady(frames, format="GRAY", **settings):
    with Stabilizer(W, H, format, **settings) as stabilizer:
        return list(stabilizer.stabilize(frames))


def memory_for(count):
    """Lets that many outputs be made, and no more."""
    make, left = Handle.compensate, iter(range(count))

    def compensate(*arguments):
        if next(left, None) is None:
            raise MemoryError
        make(*arguments)

    return mock.patch.object(Handle, "compensate", compensate)


def grey(**options):
    return [planes[0] for planes in clip("GRAY", W, H, **options)]


@unittest.skipUnless(TOOL, "QUORVEL_TOOL names no tool")
class Tool(unittest.TestCase):
    """The same bytes as quorvel-stabilize."""

    def compare(self, format, options, colour=None, **settings):
        frames = clip(format, W, H)
        with tempfile.TemporaryDirectory() as folder:
            expected = by_tool(folder, format, frames, *options, colour=colour)
        result = steady([planes[0] for planes in frames] if format[0] == "G" else frames, format, **settings)
        result = [planes if isinstance(planes, tuple) else (planes,) for planes in result]
        self.assertTrue(equal(result, expected), (format, options))

    def test_paths(self):
        self.compare("I420", ["--live"], cubic=True)
        self.compare("I420", ["--lookahead", "0.3"], cubic=True, lookahead=9, window=0.9)
        self.compare("I420", ["--whole"], cubic=True, whole=True, window=0.9)
        self.compare("I420", ["--live", "--no-roll", "--bilinear", "--window", "71.3", "--strength", "2.7"],
                     roll=False, window=0.713, strength=2.7)

    def test_formats(self):
        for format in ("I422", "I444", "GRAY", "GRAY10", "I420P10", "I422P10", "I444P10"):
            self.compare(format, ["--lookahead", "0.3"], cubic=True, lookahead=9, window=0.9)
        self.compare("I420", ["--live"], cubic=True, colour="420jpeg", chroma_site="center")


class Formats(unittest.TestCase):
    """Formats that the tool has not: the same samples in another order give the same pictures."""

    def test_pairs(self):
        frames = clip("I420", W, H)
        expected = [(y, np.dstack([u, v])) for y, u, v in steady(frames, "I420")]
        pairs = [(y, np.dstack([u, v])) for y, u, v in frames]
        for format in ("NV12", "NV21"):
            self.assertTrue(equal(steady(pairs, format), expected), format)
        rows = [(y, uv.reshape(H // 2, W)) for y, uv in pairs]
        self.assertTrue(equal(steady(rows, "NV12"), [(y, uv.reshape(H // 2, W)) for y, uv in expected]))

    def test_p010(self):
        frames = clip("I420P10", W, H)
        high = [(y << 6, np.dstack([u, v]) << 6) for y, u, v in frames]
        expected = [(y << 6, np.dstack([u, v]) << 6) for y, u, v in steady(frames, "I420P10")]
        self.assertTrue(equal(steady(high, "P010"), expected))

    def test_rgb_is_measured_by_green(self):
        frames = clip("I444", W, H)
        expected = steady(frames, "I444")
        for format, order in (("RGB", (1, 0, 2)), ("BGR", (2, 0, 1)), ("RGBA", (1, 0, 2, 2)), ("BGRA", (2, 0, 1, 1))):
            result = steady([np.dstack([planes[i] for i in order]) for planes in frames], format)
            self.assertTrue(equal(result, [np.dstack([planes[i] for i in order]) for planes in expected]), format)

    def test_packed(self):
        for width, height in ((W, H), (W - 1, H - 1)):
            frames = clip("I420", width, height)
            packed = [np.concatenate([plane.ravel() for plane in planes]) for planes in frames]
            with Stabilizer(width, height) as stabilizer:
                expected = list(stabilizer.stabilize(frames))
                result = list(stabilizer.stabilize(packed))
                rows = list(stabilizer.stabilize(f.reshape(-1, width) for f in packed)) if width == W else result
            self.assertTrue(equal(result, [np.concatenate([p.ravel() for p in planes]) for planes in expected]))
            self.assertTrue(equal([f.ravel() for f in rows], result))

    def test_site_of_chroma(self):
        frames = clip("I420", W, H)
        results = [steady(frames, "I420", chroma_site=site) for site in ("left", "center", "topleft")]
        for one, other in ((0, 1), (0, 2), (1, 2)):
            self.assertTrue(equal(results[one][5][0], results[other][5][0]))
            self.assertFalse(equal(results[one][5][1:], results[other][5][1:]))


class Memory(unittest.TestCase):
    """Views, copies, references."""

    def test_views_are_read_where_they_lie(self):
        frames = grey()
        expected = steady(frames)
        wide = np.zeros((len(frames), H, W + 7), np.uint8)
        wide[:, :, 3:W + 3] = frames
        self.assertTrue(equal(steady(wide[:, :, 3:W + 3]), expected))
        bottom_up = [np.ascontiguousarray(frame[::-1])[::-1] for frame in frames]
        self.assertTrue(equal(steady(bottom_up), expected))
        read_only = [np.frombuffer(frame.tobytes(), np.uint8).reshape(H, W) for frame in frames]
        self.assertTrue(equal(steady(read_only), expected))
        with Stabilizer(W, H, "GRAY", lookahead=9, copy=False) as stabilizer:
            for frame in (wide[0, :, 3:W + 3], bottom_up[1], read_only[2]):
                stabilizer.push(frame)
                self.assertTrue(np.shares_memory(stabilizer._frames[-1].arrays[0], frame))

    def test_awkward_strides_are_copied(self):
        frames = grey()
        for view in (lambda f: np.asfortranarray(f), lambda f: np.ascontiguousarray(f[:, ::-1])[:, ::-1],
                     lambda f: f.repeat(2, 1)[:, ::2]):
            self.assertTrue(equal(steady(map(view, frames)), steady(frames)))
        deep = [frame.astype(np.uint16) << 8 for frame in frames]
        odd = [np.frombuffer(bytes(1) + frame.tobytes(), np.uint16, -1, 1).reshape(H, W) for frame in deep]
        self.assertTrue(equal(steady(odd, "GRAY16"), steady(deep, "GRAY16")))
        with self.assertRaisesRegex(ValueError, "samples of uint16, not of >u2"):
            steady([frame.astype(">u2") for frame in deep], "GRAY16")
        still = np.broadcast_to(frames[0][:1], (H, W))
        self.assertTrue(equal(steady([still]), steady([np.ascontiguousarray(still)])))

    def test_out(self):
        frames = grey()
        expected = steady(frames)
        wide = np.full((H, W + 9), 7, np.uint8)
        with Stabilizer(W, H, "GRAY", copy=False) as stabilizer:
            for frame, right in zip(frames, expected):
                out = wide[::-1, 4:W + 4]
                result, = stabilizer.push(frame, out=out)
                self.assertIs(result, out)
                self.assertTrue(equal(out, right))
        self.assertTrue((wide[:, :4] == 7).all() and (wide[:, W + 4:] == 7).all())

    def test_in_place(self):
        for lookahead, copy in ((0, True), (0, False), (9, True), (9, False)):
            expected = steady(grey(), lookahead=lookahead)
            with Stabilizer(W, H, "GRAY", lookahead=lookahead, copy=copy) as stabilizer:
                result = [f.copy() for frame in grey() for f in stabilizer.push(frame, out=frame)]
                result += stabilizer.flush()
            self.assertTrue(equal(result, expected))

        taller = np.zeros((2 * H, W), np.uint8)
        frame, out = taller[H // 2:H // 2 + H][::-1], taller[:H]
        frame[:] = grey()[0]
        with Stabilizer(W, H, "GRAY") as stabilizer:
            self.assertTrue(equal(stabilizer.push(frame, out=out)[0], steady(grey()[:1])[0]))

    def test_one_buffer_for_all_frames(self):
        frames, buffer, result = grey(), np.empty((H, W), np.uint8), []
        with Stabilizer(W, H, "GRAY", lookahead=9) as stabilizer:
            for frame in frames:
                buffer[:] = frame
                result += stabilizer.push(buffer)
                buffer[:] = 0
            result += stabilizer.flush()
        self.assertTrue(equal(result, steady(frames, lookahead=9)))

    def test_references(self):
        stabilizer = Stabilizer(W, H, "GRAY", lookahead=5, copy=False)
        frame = grey()[0]
        gone = weakref.ref(frame)
        stabilizer.push(frame)
        with self.assertRaisesRegex(ValueError, "waits"):
            stabilizer.push(grey()[1], out=frame)
        del frame
        gc.collect()
        self.assertIsNotNone(gone())
        stabilizer.flush()
        self.assertIsNone(gone())


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
            Stabilizer(W, H, frame_rate=rate).close()
        with self.assertRaises(TypeError):
            Stabilizer(W, H, lookahead=7.5)

    def test_frames_that_do_not_fit_leave_the_stream_as_it_was(self):
        frames = clip("I420", W, H)
        y, u, v = frames[0]
        good, shared = (y.copy(), u.copy(), v.copy()), np.empty((H // 2, W), np.uint8)
        read_only = y.copy()
        read_only.flags.writeable = False
        bad = [((y, u), {}), ((y, u, u[1:]), {}), (y, {}), ((y.astype(np.uint16), u, v), {}),
               ((y.view(np.int8), u, v), {}), (b"frame", {}), ((y, u, None), {}), (None, {}),
               ((y.astype(">u2"), u, v), {}), (np.empty(H * W * 2, np.uint8), {}),
               (good, {"out": (read_only, u.copy(), v.copy())}), (good, {"out": (y.copy().T, u.copy(), v.copy())}),
               (good, {"out": (np.asfortranarray(y), u.copy(), v.copy())}), (good, {"out": y.copy()}),
               (good, {"out": (y.copy(), shared[:, :W // 2], shared[:, W // 2:])}),
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

    def test_records(self):
        stabilizer = Stabilizer(W, H, "GRAY")
        motion = stabilizer.measure(grey())
        with self.assertRaisesRegex(ValueError, "MOTION"):
            stabilizer.plan(np.zeros(3))
        with self.assertRaisesRegex(ValueError, "one record"):
            stabilizer.compensate(grey()[0], motion)
        motion["col"][3] = np.nan
        with self.assertRaisesRegex(ValueError, "frame 4: col is nan"):
            stabilizer.plan(motion)

    def test_closed(self):
        stabilizer = Stabilizer(W, H, "GRAY", lookahead=9)
        record = stabilizer.measure(grey())[0]
        stabilizer.push(grey()[0])
        stabilizer.close()
        stabilizer.close()
        for call in (lambda: stabilizer.push(grey()[0]), stabilizer.flush, stabilizer.reset,
                     lambda: stabilizer.compensate(grey()[0], record), lambda: list(stabilizer.stabilize([]))):
            with self.assertRaisesRegex(ValueError, "closed"):
                call()


class Streams(unittest.TestCase):
    def test_delay(self):
        for settings, delay in (({}, 0), ({"lookahead": 4}, 0), ({"lookahead": 5}, 5), ({"whole": True}, None)):
            with Stabilizer(W, H, "GRAY", **settings) as stabilizer:
                self.assertEqual(stabilizer.delay, delay)
                counts = [len(stabilizer.push(frame)) for frame in grey(frames=12)]
                waits = 12 if delay is None else delay
                self.assertEqual(counts, [0] * waits + [1] * (12 - waits))
                self.assertEqual(stabilizer.waiting, waits)
                self.assertEqual(len(stabilizer.flush()), waits)
                self.assertEqual(stabilizer.waiting, 0)

    def test_flush_begins_another_stream(self):
        with Stabilizer(W, H, "GRAY", lookahead=9) as stabilizer:
            self.assertEqual(stabilizer.flush(), [])
            first = [f for frame in grey() for f in stabilizer.push(frame)] + stabilizer.flush()
            self.assertTrue(equal(list(stabilizer.stabilize(grey())), first))
        self.assertEqual(len(first), len(grey()))

    def test_a_frame_waits_until_there_is_memory_for_its_output(self):
        frames = grey(frames=12)
        expected = steady(frames, lookahead=9)
        for full in (0, 1, 3):
            with Stabilizer(W, H, "GRAY", lookahead=9) as stabilizer:
                result = [f for frame in frames for f in stabilizer.push(frame)]
                with memory_for(full):
                    if full == 0:
                        self.assertRaises(MemoryError, stabilizer.flush)
                    else:
                        result += stabilizer.flush()
                self.assertEqual(stabilizer.waiting, 9 - full)
                result += stabilizer.flush()
            self.assertTrue(equal(result, expected))

    def test_reset_starts_a_scene(self):
        with Stabilizer(W, H, "GRAY", lookahead=5) as stabilizer:
            flags = []
            for number, frame in enumerate(grey(frames=12)):
                if number == 6:
                    stabilizer.reset()
                stabilizer.push(frame)
                flags += list(stabilizer.motion["flags"])
            stabilizer.flush()
            flags += list(stabilizer.motion["flags"])
        self.assertEqual(flags, [NEW_SCENE] + [MEASURED] * 5 + [NEW_SCENE] + [MEASURED] * 5)

    def test_motion(self):
        path = Stabilizer(W, H, "GRAY").measure(grey(frames=16))
        self.assertEqual(list(path["flags"]), [NEW_SCENE] + [MEASURED] * 15)
        for field, truth, error in zip(("row", "col", "theta"), shake(16).T, (0.6, 0.6, 0.005)):
            self.assertLess(np.abs(path[field][1:] - np.diff(truth)).max(), error, field)

    def test_motion_again(self):
        frames = grey()
        for settings in ({}, {"lookahead": 9}, {"whole": True}):
            with Stabilizer(W, H, "GRAY", **settings) as stabilizer:
                path = stabilizer.measure(frames)
                pushed, records = [], []
                for frame in stabilizer.stabilize(frames):
                    pushed.append(frame)
                    records.append(stabilizer.motion)
                self.assertTrue(np.array_equal(np.concatenate(records), path))
                self.assertTrue(equal([stabilizer.compensate(*pair) for pair in zip(frames, path)], pushed))
                live = Stabilizer(W, H, "GRAY").measure(frames)
                planned = stabilizer.plan(live)
                for field in ("comp_row", "comp_col", "step"):
                    self.assertLess(np.abs(planned[field] - path[field]).max(), 0.001, (settings, field))

    def test_edited_record(self):
        frame, stabilizer = grey()[0], Stabilizer(W, H, "GRAY")
        record = stabilizer.measure([frame])[0]
        still = stabilizer.compensate(frame, record)
        record["comp_row"], record["comp_col"], record["comp_theta"] = 0, 20, 0  # a 16th of the width: the margin
        aside = stabilizer.compensate(frame, record)
        record["comp_col"] = 1e300
        self.assertTrue(equal(stabilizer.compensate(frame, record), aside))
        self.assertFalse(equal(still, aside))


class Threads(unittest.TestCase):
    def test_threads(self):
        frames, expected, results = grey(), steady(grey(), lookahead=9), {}
        record = Stabilizer(W, H, "GRAY").measure(frames)[3]
        with Stabilizer(W, H, "GRAY", lookahead=9) as shared:
            drawn = shared.compensate(frames[3], record)

            def work(number):
                own = equal(steady(frames, lookahead=9), expected)
                count = sum(len(shared.push(frame)) for frame in frames)
                results[number] = own and equal(shared.compensate(frames[3], record), drawn), count

            workers = [threading.Thread(target=work, args=(number,)) for number in range(4)]
            for worker in workers:
                worker.start()
            for worker in workers:
                worker.join()
            left = len(shared.flush())
        self.assertTrue(all(right for right, _ in results.values()), results)
        self.assertEqual(sum(count for _, count in results.values()) + left, 4 * len(frames))

    def test_close_during_calls(self):
        stabilizer, frame = Stabilizer(W, H, "GRAY"), grey()[0]
        record = stabilizer.measure([frame])[0]
        refused = []

        def work():
            try:
                while True:
                    stabilizer.compensate(frame, record)
            except ValueError as error:
                refused.append(str(error))

        workers = [threading.Thread(target=work) for _ in range(3)]
        for worker in workers:
            worker.start()
        stabilizer.close()
        for worker in workers:
            worker.join(60)
        self.assertEqual(len(refused), 3)


class Handles(unittest.TestCase):
    def test_memory_does_not_grow(self):
        frames = clip("I420", 640, 480, 3)

        def cycles(count):
            for number in range(count):
                stabilizer = Stabilizer(640, 480, lookahead=5)
                for frame in frames:
                    stabilizer.push(frame)
                if number % 2:
                    stabilizer.close()
            return resource.getrusage(resource.RUSAGE_SELF).ru_maxrss

        before = cycles(20)
        self.assertLess(cycles(200) - before, 4096)  # KB; each of them holds more than 1.5 MB


if __name__ == "__main__":
    unittest.main()
