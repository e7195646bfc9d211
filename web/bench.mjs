// SPDX-License-Identifier: BSD-2-Clause
// CPU time of a frame: native on one thread, and the module with vector instructions and without, in turns.
// web/bench.sh runs it; NATIVE and CLIPGEN are programs of a native build.
import { execFileSync } from 'node:child_process';
import { mkdtempSync, openSync, closeSync, readFileSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';

const [native, clipgen, packageFolder, rounds = '7'] = process.argv.slice(2);
const { Stabilizer } = await import(new URL('quorvel-stabilizer.js', packageFolder));
const { formatOf } = await import(new URL('formats.js', packageFolder));
const { settingsOf } = await import(new URL('settings.js', packageFolder));
const { Instance } = await import(new URL('wasm.js', packageFolder));
const builds = ['simd', 'portable'].map((name) => new URL(`quorvel-${name}.wasm`, packageFolder));

const frames = 30;
const sizes = [[1280, 720], [1920, 1080]];
const paths = [
  { name: 'standard', options: { standard: true }, lookahead: -1 },
  { name: 'refined, live', options: {}, lookahead: 0 },
];

const median = (values) => values.toSorted((a, b) => a - b)[values.length >> 1];
const cpu = () => { const { user, system } = process.cpuUsage(); return user + system; };

function timeNative(file, width, height, lookahead) {
  const input = openSync(file);
  const words = ['--time', '3', 'NV12', width, height, lookahead].map(String);
  const text = execFileSync(native, words, { stdio: [input, 'pipe', 'inherit'] });
  closeSync(input);
  return Number(text);
}

// The calls alone: frames are put into the module's memory before the clock starts.
function timeCalls(instance, clip, size) {
  const { calls } = instance;
  let total = 0;
  for (let i = 0; i < frames; i++) {
    instance.bytes(calls.WebInput(), size).set(clip.subarray(i * size, (i + 1) * size));
    const begin = cpu();
    if (!calls.WebPush() || calls.WebPull() !== 1) throw new Error('a frame failed');
    total += cpu() - begin;
  }
  return total / frames;
}

// With the copies in and out, as a program sees it.
async function timePush(stabilizer, clip, size) {
  const begin = cpu();
  for (let i = 0; i < frames; i++) await stabilizer.push(clip.subarray(i * size, (i + 1) * size));
  return (cpu() - begin) / frames;
}

async function start(build, width, height, options) {
  const instance = await Instance.start(build);
  if (!instance.create(settingsOf({ width, height, format: 'NV12', ...options }, formatOf('NV12'))))
    throw new Error('no stabilizer');
  return instance;
}

async function measure(file, width, height, path) {
  const clip = readFileSync(file), size = (width * height * 3) / 2;
  const modules = [];
  for (const build of builds) modules.push(await start(build, width, height, path.options));
  const stabilizer = await Stabilizer.create({ width, height, format: 'NV12', ...path.options });
  const times = { native: [], simd: [], portable: [], push: [] };
  for (let round = -1; round < Number(rounds); round++) { // the first one warms up
    const row = {
      native: timeNative(file, width, height, path.lookahead),
      simd: timeCalls(modules[0], clip, size),
      portable: timeCalls(modules[1], clip, size),
    };
    row.push = await timePush(stabilizer, clip, size);
    if (round >= 0) for (const name of Object.keys(times)) times[name].push(row[name]);
  }
  const ratio = (a, b) => median(times[a].map((t, i) => t / times[b][i]));
  return {
    native: median(times.native), simd: median(times.simd), portable: median(times.portable),
    push: median(times.push),
    simdToNative: ratio('simd', 'native'), simdToPortable: ratio('simd', 'portable'),
  };
}

const folder = mkdtempSync(join(tmpdir(), 'quorvel-'));
try {
  const columns = ['NV12', 'native, µs', 'vectors, µs', 'no vectors, µs', 'vectors / native', 'vectors / none',
    'push(), frames/s'];
  console.log(`| ${columns.join(' | ')} |\n|${'---|'.repeat(columns.length)}`);
  for (const [width, height] of sizes) {
    const file = join(folder, `${height}.nv21`);
    execFileSync(clipgen, ['--size', `${width}x${height}`, '--frames', String(frames), file]);
    for (const path of paths) {
      const t = await measure(file, width, height, path);
      const times = [t.native, t.simd, t.portable].map((time) => time.toFixed(0));
      const row = [`${height}p, ${path.name}`, ...times, t.simdToNative.toFixed(2), t.simdToPortable.toFixed(2)];
      console.log(`| ${[...row, (1e6 / t.push).toFixed(0)].join(' | ')} |`);
    }
  }
} finally {
  rmSync(folder, { recursive: true });
}
