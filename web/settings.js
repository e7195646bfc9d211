// SPDX-License-Identifier: BSD-2-Clause
// Options of a stabilizer, checked and turned into the numbers that the library takes.

const chromaSites = { left: [0, 2], center: [2, 2], topleft: [0, 0] };

function shown(value) {
  return typeof value === 'string' ? `'${value}'` : String(value);
}

function inRange(name, value, least, most) {
  if (typeof value !== 'number' || !(value >= least && value <= most))
    throw new RangeError(`${name} is ${shown(value)}: it must be a number from ${least} to ${most}`);
  return value;
}

function whole(name, value, least, most) {
  if (!Number.isInteger(value)) throw new RangeError(`${name} is ${shown(value)}: it must be a whole number`);
  return inRange(name, value, least, most);
}

// In 1024ths, rounded to one that lies in the range.
function parts(name, value, least, most) {
  const number = Math.round(inRange(name, value, least, most) * 1024);
  return Math.min(Math.max(number, Math.ceil(least * 1024)), Math.floor(most * 1024));
}

// The rate as a fraction, a number to a thousandth. The library takes 1 to 1000 frames a second.
function rateOf(rate) {
  if (Array.isArray(rate) && rate.length === 2) {
    const [frames, seconds] = rate.map((part) => whole('a part of frameRate', part, 1, 0x7fffffff));
    inRange('frameRate', frames / seconds, 1, 1000);
    return [frames, seconds];
  }
  inRange('frameRate', rate, 1, 1000);
  return Number.isInteger(rate) ? [rate, 1] : [Math.round(rate * 1000), 1000];
}

/** The words of Settings in module.cpp, or an exception that names an option. */
export function settingsOf(options, format) {
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
    parts('window', window, 0.6, 0.98),
    parts('strength', strength, 0.25, 4),
    roll ? 1 : 0, cubic ? 1 : 0, ...rateOf(frameRate),
  ];
}
