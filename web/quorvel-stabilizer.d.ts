// SPDX-License-Identifier: BSD-2-Clause
/// <reference lib="dom" />

/** Formats of frames, by the names that WebCodecs has for them. NV21 has V before U. */
export type PixelFormat =
  | 'I420' | 'NV12' | 'NV21' | 'I420A' | 'I422' | 'I444' | 'I420P10' | 'I420P12'
  | 'RGBA' | 'RGBX' | 'BGRA' | 'BGRX';

export interface StabilizerOptions {
  /** Pixels, 2 to 16384. Of a VideoFrame, those of its visibleRect. */
  width: number;
  height: number;
  format: PixelFormat;
  /**
   * How many of the following frames are looked at, 0 (default) to 240. Frames come out so much later, and
   * the picture is steadier. 1 to 4 count as 0, since so short a lookahead is no gain.
   */
  lookahead?: number;
  /** The part of each side that is shown, 0.6 to 0.98. The rest is the margin for the shake. Default 0.875. */
  window?: number;
  /** How calm the picture is, in seconds, 0.25 to 4. Default 1. */
  strength?: number;
  /** Whether rotation is taken out too. Default true. */
  roll?: boolean;
  /** Bicubic samples: sharper, and slower. Default false. */
  cubic?: boolean;
  /** Frames a second, 1 to 1000; or [numerator, denominator]. A mean will do. Default 30. */
  frameRate?: number | [number, number];
  /** Where the chroma samples of 4:2:0 and 4:2:2 lie. Default 'left', as in most video. */
  chromaSite?: 'left' | 'center' | 'topleft';
  /**
   * The library's ordinary path in place of the refined one: faster, less steady. It takes I420, NV12 and NV21 of
   * even sizes and has no lookahead; of the other options it reads none. Default false.
   */
  standard?: boolean;
  /** The WebAssembly module, or where it lies. By default it is looked for beside quorvel-stabilizer.js. */
  wasm?: WebAssembly.Module | BufferSource | URL | string;
}

/** A frame of bytes is packed, plane after plane without gaps, unless `layout` says otherwise. */
export type Frame = VideoFrame | ImageData | ArrayBuffer | ArrayBufferView;

export interface FrameInfo {
  /**
   * Handed through to the output; it may go backwards. With a VideoFrame it is microseconds below 2^53, as its
   * constructor takes them. Default: that of the VideoFrame, or 0.
   */
  timestamp?: number;
  /** The same, not negative. Default: that of the VideoFrame, or null. */
  duration?: number | null;
  /** Of a frame of bytes: where each plane begins, and the bytes from row to row. VideoFrame.copyTo returns it. */
  layout?: { offset: number; stride: number }[];
}

export interface Motion {
  /**
   * Pixels, right and down, and radians: what is at (x, y) from the middle of the frame was at
   * (x + dx - roll * y, y + dy + roll * x) from the middle of the frame before.
   */
  dx: number;
  dy: number;
  roll: number;
  /**
   * The middle of the output shows the point (dx, dy) right of and below the input's. The picture is sampled along
   * axes that are turned by `roll` radians, clockwise, and enlarged by `zoom`.
   */
  compensation: { dx: number; dy: number; roll: number; zoom: number };
  /** The path starts anew: at the first frame, after reset(), at a cut; on the standard path without a motion too. */
  newScene: boolean;
  /** Whether the motion was measured; otherwise it is 0. */
  measured: boolean;
  /** It may be a flash: the view stays where it is. */
  held: boolean;
}

export interface StableFrame<F> {
  /** Of the size and format of the input: a VideoFrame, to be closed by the caller, an ImageData, or packed bytes. */
  frame: F;
  timestamp: number;
  duration: number | null;
  motion: Motion;
}

/** The kind of frame that comes out for one that goes in. */
export type OutputOf<F extends Frame> = F extends VideoFrame | ImageData ? F : Uint8Array;

/**
 * Takes the shake out of one stream of frames. It works in a window, in a worker, and in node, on the thread that
 * calls it: in a page, use it in a worker.
 *
 * Calls are served in the order in which they are made. What a call refuses, it refuses before anything has
 * changed: the stream goes on with the next frame.
 */
export class Stabilizer {
  private constructor();

  /** All formats. */
  static readonly formats: readonly PixelFormat[];

  /** Rejects with a RangeError or TypeError that names the option, or with an Error where memory is short. */
  static create(options: StabilizerOptions): Promise<Stabilizer>;

  readonly width: number;
  readonly height: number;
  readonly format: PixelFormat;
  /** The lookahead that is in effect: frames that go in before the first comes out. */
  readonly delay: number;
  /** Bytes of a packed frame, and where its planes lie. */
  readonly frameBytes: number;
  readonly layout: { offset: number; stride: number }[];

  /**
   * Takes a frame and gives those that are ready: one without a lookahead; with one none at first, then one, and at
   * a cut all that waited. Do not change or close the frame before the promise settles; afterwards it is the
   * caller's again. Each frame comes out as the kind that it went in as.
   *
   * A VideoFrame has the stabilizer's format; stabilizers of RGBA, RGBX, BGRA and BGRX take others too, where the
   * browser can convert them.
   */
  push<F extends Frame>(frame: F, info?: FrameInfo): Promise<StableFrame<OutputOf<F>>[]>;

  /** Gives all frames that wait. The next frame begins a new stream. */
  flush<F extends VideoFrame | ImageData | Uint8Array = VideoFrame>(): Promise<StableFrame<F>[]>;

  /** The next frame begins a scene: call it at a known cut, and where frames are missing. */
  reset(): Promise<void>;

  /** Releases the memory and the frames that wait. Calls that follow are rejected. */
  delete(): void;
}
