// SPDX-License-Identifier: BSD-2-Clause
// Quorvel stabilizer for browsers and node. quorvel-stabilizer.d.ts documents what is exported.
import { Instance } from './wasm.js';
import { checkLayout, copyPlanes, formatOf, formats, packedLayout } from './formats.js';

const newScene = 1, measured = 2, held = 4; // flags of a record

const chromaSites = { left: [0, 2], center: [2, 2], topleft: [0, 0] };

function inRange(name, value, least, most) {
  if (typeof value !== 'number' || !(value >= least && value <= most))
    throw new RangeError(`${name} is ${value}: it must be a number from ${least} to ${most}`);
  return value;
}

function whole(name, value, least, most) {
  if (!Number.isInteger(value)) throw new RangeError(`${name} is ${value}: it must be a whole number`);
  return inRange(name, value, least, most);
}

// Whole numbers that are the rate, or close to it: the library takes 1 to 1000 frames a second.
function rateOf(rate) {
  if (Array.isArray(rate) && rate.length === 2) {
    const [frames, seconds] = rate.map((part) => whole('a part of frameRate', part, 1, 0x7fffffff));
    inRange('frameRate', frames / seconds, 1, 1000);
    return [frames, seconds];
  }
  inRange('frameRate', rate, 1, 1000);
  return Number.isInteger(rate) ? [rate, 1] : [Math.round(rate * 1000), 1000];
}

// The words of Settings in module.cpp.
function settingsOf(options, format) {
  const { width, height, standard = false, lookahead = 0, window = 7 / 8, strength = 1 } = options;
  const { roll = true, cubic = false, frameRate = 30, chromaSite = 'left' } = options;
  whole('width', width, 2, 16384);
  whole('height', height, 2, 16384);
  if (!Object.hasOwn(chromaSites, chromaSite))
    throw new TypeError(`chromaSite is ${chromaSite}: it must be one of ${Object.keys(chromaSites).join(', ')}`);
  if (standard) {
    if (!format.standard) throw new TypeError(`the standard path takes I420, NV12 and NV21, not ${options.format}`);
    if (width % 2 || height % 2) throw new RangeError('the standard path takes even widths and heights');
    if (lookahead !== 0) throw new RangeError('the standard path has no lookahead');
  }
  const shapes = [0, 1, 2, 3].flatMap((i) => format.planes[i] ?? [0, 0, 0]);
  return [
    width, height, format.sampleBytes, format.bits, format.luma, format.planes.length, ...shapes,
    ...chromaSites[chromaSite], standard ? 1 : 0, format.planes.length === 2 ? 1 : 0,
    whole('lookahead', lookahead, 0, 240),
    inRange('window', Math.round(window * 1024), 615, 1003),
    inRange('strength', Math.round(strength * 1024), 256, 4096),
    roll ? 1 : 0, cubic ? 1 : 0, ...rateOf(frameRate),
  ];
}

const isVideoFrame = (frame) => typeof VideoFrame === 'function' && frame instanceof VideoFrame;
const isImageData = (frame) => typeof ImageData === 'function' && frame instanceof ImageData;

function bytesOf(frame) {
  if (frame instanceof ArrayBuffer) return new Uint8Array(frame);
  if (ArrayBuffer.isView(frame)) return new Uint8Array(frame.buffer, frame.byteOffset, frame.byteLength);
  throw new TypeError('a frame must be a VideoFrame, an ImageData, an ArrayBuffer or a view of one');
}

export class Stabilizer {
  #instance;
  #options;
  #format;
  #layout; // of a frame in the module's memory
  #size;
  #waiting = []; // what is handed through with each frame
  #queue = Promise.resolve();

  static formats = Object.freeze(Object.keys(formats));

  static async create(options) {
    const format = formatOf(options.format);
    const settings = settingsOf(options, format);
    const instance = await Instance.start(options.wasm);
    instance.words(instance.calls.WebSettings(), settings.length).set(settings);
    if (!instance.calls.WebCreate())
      throw new Error(`not enough memory for a stabilizer of ${options.width}x${options.height} pixels`);
    return new Stabilizer(instance, options, format);
  }

  constructor(instance, options, format) {
    if (!(instance instanceof Instance)) throw new TypeError('use Stabilizer.create');
    this.#instance = instance;
    this.#format = format;
    this.#options = Object.freeze({ ...options });
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

  push(frame, info = {}) {
    return this.#inTurn(async () => {
      const about = this.#check(frame, info);
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

  // What is known of a frame, or an exception before anything has changed.
  #check(frame, info) {
    const { timestamp = frame?.timestamp ?? 0, duration = frame?.duration ?? null } = info;
    const about = { timestamp, duration };
    if (isVideoFrame(frame)) return { ...about, kind: 'video', ...this.#checkVideoFrame(frame) };
    if (isImageData(frame)) {
      if (!this.format.startsWith('RGB')) throw new TypeError(`ImageData is RGBA, the stabilizer takes ${this.format}`);
      this.#checkSize('ImageData', frame.width, frame.height);
      return { ...about, kind: 'image', colorSpace: frame.colorSpace, bytes: bytesOf(frame.data), layout: this.#layout };
    }
    const bytes = bytesOf(frame);
    if (!info.layout && bytes.length !== this.#size)
      throw new RangeError(`a frame of ${bytes.length} bytes: ${this.format} of ${this.width}x${this.height} has ${this.#size}`);
    if (info.layout) checkLayout(this.#format, this.width, this.height, info.layout, bytes.length);
    return { ...about, kind: 'bytes', bytes, layout: info.layout ?? this.#layout };
  }

  #checkSize(what, width, height) {
    if (width !== this.width || height !== this.height)
      throw new RangeError(`${what} of ${width}x${height}: the stabilizer takes ${this.width}x${this.height}`);
  }

  #checkVideoFrame(frame) {
    if (!frame.visibleRect) throw new TypeError('this VideoFrame is closed');
    this.#checkSize('VideoFrame', frame.visibleRect.width, frame.visibleRect.height);
    const same = frame.format === this.format;
    if (!same && (!frame.format || !this.#format.fromVideoFrames))
      throw new TypeError(`this VideoFrame is ${frame.format ?? 'of no readable format'}, the stabilizer takes ${this.format}`);
    const { displayWidth, displayHeight } = frame;
    return { displayWidth, displayHeight, colorSpace: same ? frame.colorSpace?.toJSON() : undefined };
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
      ready.push({ frame: this.#output(kind, timestamp, duration, rest), timestamp, duration, motion: this.#motion() });
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
