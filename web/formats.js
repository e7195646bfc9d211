// SPDX-License-Identifier: BSD-2-Clause
// Pixel formats, under the names that WebCodecs has for them, and how their planes lie in memory.

const eightBits = { sampleBytes: 1, bits: 8, luma: 0, standard: false, fromVideoFrames: false };

// planes: channels, and the binary logarithms of how many pixels of the picture a sample spans, x and y.
const luma = [1, 0, 0], half = [1, 1, 1];
const i420 = { ...eightBits, planes: [luma, half, half] };
const pairs = { ...eightBits, planes: [luma, [2, 1, 1]], standard: true };
const rgba = { ...eightBits, luma: 1, planes: [[4, 0, 0]], fromVideoFrames: true }; // green is the luma

export const formats = {
  I420: { ...i420, standard: true },
  NV12: pairs,
  NV21: pairs,
  RGBA: rgba,
  RGBX: rgba,
  BGRA: rgba,
  BGRX: rgba,
  I420A: { ...eightBits, planes: [luma, half, half, luma] },
  I422: { ...eightBits, planes: [luma, [1, 1, 0], [1, 1, 0]] },
  I444: { ...eightBits, planes: [luma, luma, luma] },
  I420P10: { ...i420, sampleBytes: 2, bits: 10 },
  I420P12: { ...i420, sampleBytes: 2, bits: 12 },
};

export function formatOf(name) {
  if (!Object.hasOwn(formats, name))
    throw new TypeError(`format is ${name}: it must be one of ${Object.keys(formats).join(', ')}`);
  return formats[name];
}

// Rows of a plane, and their bytes.
function shapeOf(format, plane, width, height) {
  const [channels, log2X, log2Y] = format.planes[plane];
  return { row: Math.ceil(width / 2 ** log2X) * channels * format.sampleBytes, rows: Math.ceil(height / 2 ** log2Y) };
}

/** Plane after plane, without gaps. */
export function packedLayout(format, width, height) {
  let size = 0;
  const layout = format.planes.map((_, i) => {
    const { row, rows } = shapeOf(format, i, width, height);
    const plane = { offset: size, stride: row };
    size += row * rows;
    return plane;
  });
  return { layout, size };
}

/** An exception when a layout does not fit the format, or a buffer of `length` bytes. */
export function checkLayout(format, width, height, layout, length) {
  if (!Array.isArray(layout) || layout.length !== format.planes.length)
    throw new TypeError(`layout must have ${format.planes.length} planes`);
  layout.forEach(({ offset, stride }, i) => {
    const { row, rows } = shapeOf(format, i, width, height);
    const good = Number.isInteger(offset) && Number.isInteger(stride) && offset >= 0 && stride >= row;
    if (!good || offset + stride * (rows - 1) + row > length)
      throw new RangeError(`plane ${i} with offset ${offset} and stride ${stride} does not fit ${length} bytes`);
  });
}

/** Copies a frame from one layout to a packed one. */
export function copyPlanes(format, width, height, from, layout, to, packed) {
  if (layout === packed) return to.set(from);
  layout.forEach(({ offset, stride }, i) => {
    const { row, rows } = shapeOf(format, i, width, height);
    for (let y = 0; y < rows; y++) {
      const start = offset + y * stride;
      to.set(from.subarray(start, start + row), packed[i].offset + y * row);
    }
  });
}


