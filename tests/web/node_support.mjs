// SPDX-License-Identifier: BSD-2-Clause
// Clips, and what the native library makes of them.
import { execFileSync } from 'node:child_process';
import { fileURLToPath } from 'node:url';

const root = new URL('../../', import.meta.url);
const program = (variable, path) => process.env[variable] ?? fileURLToPath(new URL(path, root));
const clipgen = program('QUORVEL_CLIPGEN', 'build/release/quorvel-clipgen');
const native = program('QUORVEL_NATIVE', 'build/release/native_frames');

export const packageUrl = new URL('build/web/package/', root);
export const { Stabilizer } = await import(new URL('quorvel-stabilizer.js', packageUrl));
export const builds = ['quorvel-simd.wasm', 'quorvel-portable.wasm'].map((name) => new URL(name, packageUrl));

const most = { maxBuffer: 2 ** 31 - 1 };
const scenes = new Map();

// Luma planes of a shaky clip with a cut, by their size.
function lumaOf(width, height, frames) {
  const wide = width + (width & 1), high = height + (height & 1);
  const key = `${wide}x${high} ${frames}`;
  if (!scenes.has(key)) {
    const size = ['--size', `${wide}x${high}`, '--frames', `${frames}`];
    scenes.set(key, execFileSync(clipgen, [...size, '--cut', '18', '--shake', '4', '--format', 'i420', '-'], most));
  }
  const clip = scenes.get(key);
  return (frame, x, y) => clip[frame * wide * high * 1.5 + y * wide + x];
}

/** Packed frames. Every plane shows the scene, each channel in other levels. */
export function makeClip(stabilizer, formatShapes, frames) {
  const { width, height, frameBytes, layout } = stabilizer;
  const luma = lumaOf(width, height, frames);
  return Array.from({ length: frames }, (_, frame) => {
    const bytes = new Uint8Array(frameBytes);
    formatShapes.forEach(([channels, log2X, log2Y, sampleBytes = 1], i) => {
      const end = layout[i + 1]?.offset ?? frameBytes, { offset, stride } = layout[i];
      for (let at = offset; at < end; at += sampleBytes) {
        const sample = Math.floor(((at - offset) % stride) / sampleBytes);
        const channel = sample % channels, x = Math.floor(sample / channels) << log2X;
        const y = Math.floor((at - offset) / stride) << log2Y;
        const level = luma(frame, Math.min(x, width - 1), Math.min(y, height - 1));
        const value = level ^ (37 * (i + (channels === 4 ? channel + 3 : channel)));
        if (sampleBytes === 1) bytes[at] = value;
        else [bytes[at], bytes[at + 1]] = [(value << 2) & 255 | frame & 3, value >> 6];
      }
    });
    return bytes;
  });
}

/** What native_frames writes. */
export function nativeFrames(format, width, height, settings, clip) {
  const words = [format, width, height, ...settings].map(String);
  return execFileSync(native, words, { ...most, input: Buffer.concat(clip) });
}

/** Everything that comes out for a clip. */
export async function stabilize(stabilizer, clip, info = () => ({})) {
  const out = [];
  for (const [i, frame] of clip.entries()) out.push(...(await stabilizer.push(frame, { timestamp: i, ...info(i) })));
  out.push(...(await stabilizer.flush()));
  return out;
}
