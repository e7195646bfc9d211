// SPDX-License-Identifier: BSD-2-Clause
// The module gives the native library's bytes, with vector instructions and without.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { builds, makeClip, nativeFrames, Stabilizer, stabilize } from './node_support.mjs';

const luma = [1, 0, 0], half = [1, 1, 1];
const shapes = {
  I420: [luma, half, half],
  NV12: [luma, [2, 1, 1]],
  I420A: [luma, half, half, luma],
  I422: [luma, [1, 1, 0], [1, 1, 0]],
  RGBA: [[4, 0, 0]],
  I420P10: [luma, half, half].map((plane) => [...plane, 2]),
};

// Options of the module, and the arguments of native_frames that mean the same.
const standard = [{ standard: true }, [-1]];
const live = [{}, [0]];
const ahead = (frames) => [{ lookahead: frames }, [frames]];
const everything = [
  { lookahead: 8, window: 0.75, strength: 2, roll: false, cubic: true, frameRate: 60 },
  [8, 768, 2048, 0, 1, 60],
];

const cases = [
  ['I420', 642, 362, standard], // not a multiple of 8
  ['NV12', 640, 480, standard],
  ['NV12', 1280, 720, standard],
  ['I420', 641, 363, live],
  ['NV12', 1280, 720, live],
  ['NV12', 640, 480, ahead(10)],
  ['I420', 320, 240, ahead(3)], // as none
  ['I420A', 322, 241, ahead(5)],
  ['I422', 426, 240, everything],
  ['RGBA', 640, 360, everything],
  ['I420P10', 320, 240, everything],
  ['I420', 64, 48, live], // cropped in the middle
];

for (const [format, width, height, [options, settings]] of cases) {
  test(`${format} ${width}x${height} ${JSON.stringify(options)}`, async () => {
    let clip, expected;
    for (const wasm of builds) {
      const stabilizer = await Stabilizer.create({ width, height, format, wasm, ...options });
      clip ??= makeClip(stabilizer, shapes[format], 30);
      expected ??= nativeFrames(format, width, height, settings, clip);
      const out = await stabilize(stabilizer, clip);
      assert.deepEqual(out.map(({ timestamp }) => timestamp), [...clip.keys()]);
      const bytes = Buffer.concat(out.map(({ frame }) => frame));
      assert.ok(bytes.equals(expected), `${wasm} gives other bytes`);
      assert.ok(!bytes.equals(Buffer.concat(clip)));
      assert.equal(out[0].motion.newScene, true);
      if (!options.standard && height > 72) {
        assert.ok(out[1].motion.measured && Math.hypot(out[1].motion.dx, out[1].motion.dy) > 0.1);
        assert.ok(out[18].motion.newScene || out[19].motion.newScene); // the cut may be a flash at first
      }
      stabilizer.delete();
    }
  });
}
