// SPDX-License-Identifier: BSD-2-Clause
// Quorvel stabilizer for browsers and node. quorvel-stabilizer.d.ts documents what is exported.
import { checkLayout, copyPlanes, formatOf, formats, packedLayout } from './formats.js';
import { settingsOf } from './settings.js';
import { Instance } from './wasm.js';

const newScene = 1, measured = 2, held = 4; // flags of a record

const isVideoFrame = (frame) => typeof VideoFrame === 'function' && frame instanceof VideoFrame;
const isImageData = (frame) => typeof ImageData === 'function' && frame instanceof ImageData;

function bytesOf(frame) {
  if (frame instanceof ArrayBuffer) return new Uint8Array(frame);
  if (ArrayBuffer.isView(frame)) return new Uint8Array(frame.buffer, frame.byteOffset, frame.byteLength);
  throw new TypeError('a frame must be a VideoFrame, an ImageData, an ArrayBuffer or a view of one');
}

// Those that a VideoFrame cannot have: its constructor would refuse them when the frame comes out.
function checkTimes(timestamp, duration) {
  const fits = (time) => Number.isSafeInteger(Math.trunc(time));
  if (!fits(timestamp) || (duration !== null && !(fits(duration) && duration > -1)))
    throw new TypeError(`timestamp ${timestamp}, duration ${duration}: no VideoFrame can have these`);
}

export class Stabilizer {
  #instance;
  #options;
  #format;
  #layout; // of a frame in the module's memory
  #size;
  #waiting = []; // what comes out with each frame that waits
  #queue = Promise.resolve();

  static formats = Object.freeze(Object.keys(formats));

  static async create(options) {
    if (options === null || typeof options !== 'object')
      throw new TypeError('no options: width, height and format are needed');
    const format = formatOf(options.format);
    const settings = settingsOf(options, format);
    const instance = await Instance.start(options.wasm);
    if (!instance.create(settings))
      throw new Error(`not enough memory for a stabilizer of ${options.width}x${options.height} pixels`);
    const { wasm: _, ...kept } = options;
    return new Stabilizer(instance, kept, format);
  }

  constructor(instance, options, format) {
    if (!(instance instanceof Instance)) throw new TypeError('use Stabilizer.create');
    this.#instance = instance;
    this.#format = format;
    this.#options = options;
    const { layout, size } = packedLayout(format, options.width, options.height);
    this.#layout = layout;
    this.#size = size;
  }

  get width() { return this.#options.width; }
  get height() { return this.#options.height; }
  get format() { return this.#options.format; }
  get layout() { return this.#layout.map((plane) => ({ ...plane })); }
  get frameBytes() { return this.#size; }

  get delay() {
    const { lookahead = 0 } = this.#options;
    return lookahead < 5 ? 0 : lookahead;
  }

  push(frame, info) {
    return this.#inTurn(async () => {
      const about = this.#check(frame, info ?? {});
      const address = this.#calls.WebInput();
      if (!address) throw new Error('not enough memory for another frame; none was lost');
      const target = this.#instance.bytes(address, this.#size);
      if (about.kind === 'video') await this.#copyVideoFrame(frame, target);
      else copyPlanes(this.#format, this.width, this.height, about.bytes, about.layout, target, this.#layout);
      if (!this.#calls.WebPush()) throw new Error('not enough memory to stabilize this frame; it was not taken');
      delete about.bytes;
      this.#waiting.push(about);
      return this.#pull();
    });
  }

  flush() {
    return this.#inTurn(() => {
      this.#calls.WebEnd();
      return this.#pull();
    });
  }

  reset() {
    return this.#inTurn(() => this.#calls.WebReset());
  }

  delete() {
    this.#instance = null;
    this.#waiting = [];
  }

  // Calls are served in the order in which they are made, one after the other.
  #inTurn(call) {
    const turn = this.#queue.then(call);
    this.#queue = turn.catch(() => {});
    return turn;
  }

  get #calls() {
    if (!this.#instance) throw new Error('this stabilizer was deleted');
    return this.#instance.calls;
  }

  get #takes() {
    return `the stabilizer takes ${this.format} of ${this.width}x${this.height}`;
  }

  // What comes out with the frame, and how to read it; or an exception, before anything has changed.
  #check(frame, info) {
    const { timestamp = frame?.timestamp ?? 0, duration = frame?.duration ?? null } = info;
    const about = { timestamp, duration };
    if (isVideoFrame(frame)) {
      checkTimes(timestamp, duration);
      return { ...about, kind: 'video', ...this.#checkVideoFrame(frame) };
    }
    if (isImageData(frame)) {
      if (!this.format.startsWith('RGB')) throw new TypeError(`ImageData is RGBA, ${this.#takes}`);
      this.#checkSize('ImageData', frame.width, frame.height);
      const { colorSpace, data } = frame;
      return { ...about, kind: 'image', colorSpace, bytes: bytesOf(data), layout: this.#layout };
    }
    const bytes = bytesOf(frame);
    if (!info.layout && bytes.length !== this.#size)
      throw new RangeError(`a frame of ${bytes.length} bytes, ${this.#takes}, ${this.#size} bytes`);
    if (info.layout) checkLayout(this.#format, this.width, this.height, info.layout, bytes.length);
    return { ...about, kind: 'bytes', bytes, layout: info.layout ?? this.#layout };
  }

  #checkSize(what, width, height) {
    if (width !== this.width || height !== this.height)
      throw new RangeError(`${what} of ${width}x${height}, ${this.#takes}`);
  }

  #checkVideoFrame(frame) {
    if (!frame.visibleRect) throw new TypeError('this VideoFrame is closed');
    this.#checkSize('VideoFrame', frame.visibleRect.width, frame.visibleRect.height);
    const same = frame.format === this.format;
    if (!same && (!frame.format || !this.#format.fromVideoFrames))
      throw new TypeError(`this VideoFrame is ${frame.format ?? 'of no readable format'}, ${this.#takes}`);
    const { displayWidth, displayHeight, rotation, flip } = frame;
    return { displayWidth, displayHeight, rotation, flip, colorSpace: same ? frame.colorSpace?.toJSON() : undefined };
  }

  // Straight into the module's memory. A frame of another format is converted by the browser.
  async #copyVideoFrame(frame, target) {
    const options = { layout: this.#layout };
    if (frame.format !== this.format) options.format = this.format;
    await frame.copyTo(target, options);
  }

  #pull() {
    const ready = [];
    for (;;) {
      const result = this.#calls.WebPull();
      if (result < 0 && !ready.length) throw new Error('not enough memory for the output; none was lost');
      if (result <= 0) return ready;
      const { kind, timestamp, duration, ...rest } = this.#waiting.shift();
      const motion = this.#motion(), frame = this.#output(kind, timestamp, duration, rest);
      ready.push({ frame, timestamp, duration, motion });
    }
  }

  #output(kind, timestamp, duration, { layout: _, colorSpace, ...display }) {
    const { width, height, format } = this;
    const pixels = this.#instance.bytes(this.#calls.WebOutput(), this.#size);
    if (kind === 'video') {
      const init = { format, codedWidth: width, codedHeight: height, timestamp, layout: this.#layout, ...display };
      if (duration !== null) init.duration = duration;
      if (colorSpace) init.colorSpace = colorSpace;
      return new VideoFrame(pixels, init);
    }
    if (kind === 'image') return new ImageData(new Uint8ClampedArray(pixels), width, height, { colorSpace });
    return pixels.slice();
  }

  #motion() {
    const record = this.#instance.words(this.#calls.WebRecord(), 8);
    const [flags, row, col, theta, step, motionRow, motionCol, motionTheta] = record;
    const pixel = 65536, radian = 16777216;
    return {
      dx: motionCol / pixel, dy: motionRow / pixel, roll: motionTheta / radian,
      compensation: { dx: col / pixel, dy: row / pixel, roll: theta / radian, zoom: pixel / step },
      newScene: (flags & newScene) !== 0,
      measured: (flags & measured) !== 0,
      held: (flags & held) !== 0,
    };
  }
}
