// SPDX-License-Identifier: BSD-2-Clause
// What the live worker and the one for whole files share.
import { Stabilizer } from './module/quorvel-stabilizer.js';

/** A stabilizer for frames like this VideoFrame, with the page's settings. */
export function openStabilizer(frame, settings, rate) {
  const { width, height } = frame.visibleRect;
  const lookahead = Math.min(Math.round(settings.lookahead * rate), 240);
  return Stabilizer.create({ ...settings, width, height, format: frame.format, frameRate: rate, lookahead });
}

let canvas = null;

/**
 * The frame itself, where it is upright and in a format that the stabilizer takes; else a copy that is, and
 * the frame is closed. Hardware decoders may not let a page read their pixels, and phones turn pictures.
 */
export function readable(frame) {
  if (Stabilizer.formats.includes(frame.format) && !frame.rotation && !frame.flip) return frame;
  const { displayWidth: width, displayHeight: height, timestamp } = frame;
  canvas ||= new OffscreenCanvas(width, height);
  if (canvas.width !== width) canvas.width = width;
  if (canvas.height !== height) canvas.height = height;
  canvas.getContext('2d', { alpha: false, willReadFrequently: true }).drawImage(frame, 0, 0, width, height);
  frame.close();
  return new VideoFrame(canvas, { timestamp });
}
