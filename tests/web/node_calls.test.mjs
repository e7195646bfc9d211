// SPDX-License-Identifier: BSD-2-Clause
// What the module takes, refuses and hands through; memory.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { mkdtempSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { test } from 'node:test';
import { fileURLToPath } from 'node:url';
import { builds, makeClip, packageUrl, Stabilizer, stabilize } from './node_support.mjs';

const nv12 = [[1, 0, 0], [2, 1, 1]];
const size = { width: 320, height: 240, format: 'NV12' };
const create = (options) => Stabilizer.create({ ...size, ...options });
const stamps = (out) => out.map(({ timestamp }) => timestamp);
const joined = (out) => Buffer.concat(out.map(({ frame }) => frame));

test('impossible options are refused, each by its name', async () => {
  const wrong = {
    width: [0, 1, 16385, 1.5, '320', NaN], height: [-1, undefined], format: ['nv12', 'toString', null],
    lookahead: [-1, 241, 2.5], window: [0.5, 1, '0.9', NaN], strength: [0, 5],
    frameRate: [0, 1001, [30], [30, 0], [1, 2]], chromaSite: ['right', 'toString'],
  };
  for (const [name, values] of Object.entries(wrong))
    for (const value of values)
      await assert.rejects(create({ [name]: value }), (error) => /TypeError|RangeError/.test(error.name) &&
        error.message.includes(name), `${name} ${value}`);
  for (const options of [{ lookahead: 5 }, { format: 'RGBA' }, { width: 321 }, { format: 'I420', height: 239 }])
    await assert.rejects(create({ standard: true, ...options }), /standard path/);
  await assert.rejects(create({ wasm: new Uint8Array([0, 97, 115, 109]) }), WebAssembly.CompileError);
  await assert.rejects(create({ wasm: new URL('missing.wasm', import.meta.url) }), /missing\.wasm/);
  await assert.rejects(Stabilizer.create(), TypeError);
  assert.throws(() => new Stabilizer(), /Stabilizer\.create/);
});

test('a refused frame leaves the stream as it was', async () => {
  const [plain, disturbed] = await Promise.all([create({ lookahead: 5 }), create({ lookahead: 5 })]);
  const clip = makeClip(plain, nv12, 20), expected = await stabilize(plain, clip);
  const packed = disturbed.layout, { frameBytes } = disturbed;
  const out = [];
  for (const [timestamp, frame] of clip.entries()) {
    for (const bad of [frame.subarray(1), new Uint8Array(0), null, undefined, 'frame', {}, 5])
      await assert.rejects(disturbed.push(bad), /^(TypeError|RangeError)/);
    for (const layout of [[], [packed[0]], [packed[0], { offset: frameBytes, stride: 320 }], [packed[0], {}],
      [{ offset: 0, stride: 319 }, packed[1]], [{ offset: -1, stride: 320 }, packed[1]], 5])
      await assert.rejects(disturbed.push(frame, { layout }), /layout|plane/);
    out.push(...(await disturbed.push(frame, { timestamp })));
  }
  out.push(...(await disturbed.flush()));
  assert.deepEqual(stamps(out), stamps(expected));
  assert.ok(joined(out).equals(joined(expected)));
});

test('frames with gaps between rows and planes, in any kind of buffer', async () => {
  const [plain, padded] = await Promise.all([create(), create()]);
  const clip = makeClip(plain, nv12, 6), expected = await stabilize(plain, clip);
  const stride = 352, layout = [{ offset: 100, stride }, { offset: 100 + 240 * stride + 9, stride }];
  const wide = clip.map((frame) => {
    const bytes = new Uint8Array(layout[1].offset + 119 * stride + 320).fill(77); // no gap after the last row
    for (let y = 0; y < 360; y++)
      bytes.set(frame.subarray(y * 320, y * 320 + 320), y * stride + (y < 240 ? 100 : 109));
    return bytes;
  });
  const out = await stabilize(padded, wide.map((bytes, i) => (i % 2 ? bytes.buffer : new DataView(bytes.buffer))),
    () => ({ layout }));
  assert.ok(joined(out).equals(joined(expected)));
});

test('calls are served in order, and time stamps are handed through', async () => {
  const stabilizer = await create({ lookahead: 5 });
  assert.deepEqual([stabilizer.delay, (await create({ lookahead: 4 })).delay], [5, 0]);
  const clip = makeClip(stabilizer, nv12, 12);
  const times = clip.map((_, i) => (i === 7 ? -3 : i * 1000)); // one backwards
  const calls = clip.map((frame, i) => stabilizer.push(frame, { timestamp: times[i], duration: i }));
  const out = (await Promise.all([...calls, stabilizer.flush()])).flat();
  assert.deepEqual(stamps(out), times);
  assert.deepEqual(out.map(({ duration }) => duration), [...clip.keys()]);
  assert.deepEqual(await stabilizer.flush(), []);
});

for (const options of [{ standard: true }, {}, { lookahead: 5 }])
  test(`a stream after flush() is as that of another stabilizer ${JSON.stringify(options)}`, async () => {
    const stabilizer = await create(options);
    const clip = makeClip(stabilizer, nv12, 12);
    const first = await stabilize(stabilizer, clip), second = await stabilize(stabilizer, clip);
    assert.ok(joined(second).equals(joined(first)) && second.length === 12);
    for (const frame of clip.slice(0, 6)) await stabilizer.push(frame);
    await stabilizer.reset();
    const rest = await stabilize(stabilizer, clip.slice(6), (i) => ({ timestamp: 100 + i }));
    assert.equal(rest.find(({ timestamp }) => timestamp === 100).motion.newScene, true);
    stabilizer.delete();
    await assert.rejects(stabilizer.push(clip[0]), /deleted/);
    await assert.rejects(stabilizer.flush(), /deleted/);
    stabilizer.delete();
  });

// The least of a browser's classes; the tests in a browser have the real ones.
class FakeVideoFrame {
  constructor(pixels, init) {
    Object.assign(this, { pixels: pixels.slice(), colorSpace: null, displayWidth: init.codedWidth }, init);
    this.visibleRect = { width: init.codedWidth, height: init.codedHeight };
  }
  async copyTo(target, { layout }) {
    this.copied = { target, layout };
    await new Promise(setImmediate);
    target.set(this.pixels);
  }
}

test('VideoFrames go straight into the memory of the module', async (t) => {
  const [stabilizer, plain] = await Promise.all([create({ lookahead: 5 }), create({ lookahead: 5 })]);
  const clip = makeClip(stabilizer, nv12, 12), expected = await stabilize(plain, clip);
  globalThis.VideoFrame = FakeVideoFrame;
  t.after(() => delete globalThis.VideoFrame);
  const shape = { format: 'NV12', codedWidth: 320, codedHeight: 240 };
  const frames = clip.map((pixels, i) => new FakeVideoFrame(pixels, { ...shape, timestamp: i, displayWidth: 400, rotation: 90 }));
  const calls = frames.map((frame) => stabilizer.push(frame)); // growth while others wait
  for (const bad of [{ codedWidth: 640 }, { format: 'I420' }, { format: null }])
    await assert.rejects(stabilizer.push(new FakeVideoFrame(clip[0], { ...shape, ...bad })), /VideoFrame/);
  for (const times of [{ timestamp: NaN }, { timestamp: 2 ** 53 }, { duration: -1 }])
    await assert.rejects(stabilizer.push(frames[0], times), /VideoFrame/);
  const out = (await Promise.all([...calls, stabilizer.flush()])).flat();
  assert.deepEqual(stamps(out), stamps(expected));
  for (const { frame } of out)
    assert.ok(frame instanceof FakeVideoFrame && frame.displayWidth === 400 && frame.rotation === 90);
  assert.ok(Buffer.concat(out.map(({ frame }) => frame.pixels)).equals(joined(expected)));
  assert.deepEqual(frames[0].copied.layout, stabilizer.layout);
  assert.ok(frames[0].copied.target.buffer !== clip[0].buffer);
});

// The module with a limit of 256 pages, 16 MB, in the section that declares its memory.
function limited(bytes) {
  const number = (at, n = 0, scale = 1) => { // 7 bits a byte, the lowest first; and where it ends
    n += (bytes[at] & 127) * scale;
    return bytes[at] < 128 ? [n, at + 1] : number(at + 1, n, scale * 128);
  };
  for (let at = 8; ;) {
    const id = bytes[at], [length, start] = number(at + 1);
    if (id === 5) {
      assert.deepEqual([bytes[start], bytes[start + 1]], [1, 1]); // one memory, which has a limit
      bytes.set([0x80, 0x82, 0x00], number(start + 2)[1]);
      return bytes;
    }
    at = start + length;
  }
}

test('where memory is short, calls are rejected and nothing is lost', async () => {
  const wasm = await WebAssembly.compile(limited(readFileSync(builds[0])));
  await assert.rejects(create({ wasm, width: 4000, height: 3000 }), /not enough memory/);
  const stabilizer = await create({ wasm, lookahead: 200 });
  const frame = makeClip(stabilizer, nv12, 1)[0];
  let taken = 0;
  await assert.rejects(async () => {
    for (; taken < 200; taken++) await stabilizer.push(frame, { timestamp: taken });
  }, /not enough memory/);
  assert.ok(taken > 50 && taken < 150);
  assert.deepEqual(stamps(await stabilizer.flush()), [...Array(taken).keys()]);
  for (let stream = 0; stream < 300; stream++) { // and nothing is left of a stream that has ended
    assert.equal((await stabilizer.push(frame)).length, 0);
    assert.equal((await stabilizer.flush()).length, 1);
  }
});

test('a thousand stabilizers leave no memory behind', async () => {
  const use = async (times) => {
    for (let i = 0; i < times; i++) {
      const stabilizer = await create({ width: 640, height: 480, lookahead: i % 2 ? 5 : 0 });
      await stabilizer.push(new Uint8Array(stabilizer.frameBytes));
      if (i % 3) stabilizer.delete(); // and some are forgotten
    }
    globalThis.gc?.();
    await new Promise((resolve) => setTimeout(resolve, 50));
    return process.memoryUsage().rss / 2 ** 20;
  };
  const before = await use(200), after = await use(1000);
  assert.ok(after < before + 100, `${before} MB, then ${after} MB`);
});

test('the npm package has all that it needs, and nothing that runs at its installation', (t) => {
  const folder = mkdtempSync(join(tmpdir(), 'quorvel-'));
  t.after(() => rmSync(folder, { recursive: true }));
  const { dependencies, scripts, version } = JSON.parse(readFileSync(new URL('package.json', packageUrl)));
  assert.deepEqual([dependencies, scripts], [undefined, undefined]);
  const tarball = fileURLToPath(new URL(`../quorvel-stabilizer-${version}.tgz`, packageUrl));
  execFileSync('npm', ['install', '--silent', '--offline', '--no-audit', '--prefix', folder, tarball]);
  writeFileSync(join(folder, 'program.mjs'), `
    import { Stabilizer } from 'quorvel-stabilizer';
    const stabilizer = await Stabilizer.create({ width: 320, height: 240, format: 'RGBA' });
    console.log((await stabilizer.push(new Uint8Array(stabilizer.frameBytes)))[0].frame.length);`);
  assert.equal(String(execFileSync(process.execPath, [join(folder, 'program.mjs')])), '307200\n');
});
