// SPDX-License-Identifier: BSD-2-Clause
// Writes an MP4 file: one track of new pictures, and tracks of sound that are copied as they are.

const u8 = (...values) => Uint8Array.of(...values);
const u16 = (...values) => new Uint8Array(values.flatMap((v) => [(v >> 8) & 255, v & 255]));
function u32(...values) {
  const view = new DataView(new ArrayBuffer(values.length * 4));
  values.forEach((value, i) => view.setUint32(i * 4, value >>> 0));
  return new Uint8Array(view.buffer);
}
const u64 = (value) => u32(Math.floor(value / 2 ** 32), value % 2 ** 32);
const text = (name) => new TextEncoder().encode(name);

function box(name, ...parts) {
  const size = 8 + parts.reduce((sum, part) => sum + part.length, 0);
  const bytes = new Uint8Array(size);
  bytes.set(u32(size));
  bytes.set(text(name), 4);
  let at = 8;
  for (const part of parts) { bytes.set(part, at); at += part.length; }
  return bytes;
}

/** Equal values in a row become one entry: [count, value, ...]. */
function runs(values) {
  const entries = [];
  for (const value of values) {
    if (entries.length && entries[entries.length - 1] === value) entries[entries.length - 2]++;
    else entries.push(1, value);
  }
  return entries;
}

/** The sample entry of pictures, from what the encoder says of itself, with boxes of the old one. */
export function pictureEntry(config, width, height, kept) {
  const fields = [u32(0), u16(0, 1), u32(0, 0, 0, 0), u16(width, height), u32(0x480000, 0x480000, 0), u16(1),
    new Uint8Array(32), u16(24, 0xffff)];
  const kind = config.codec.slice(0, 4);
  let own;
  if (kind === 'avc1') {
    own = box('avcC', new Uint8Array(config.description));
  } else {
    const [profile, level, depth] = config.codec.split('.').slice(1).map(Number);
    own = box('vpcC', u32(1 << 24), u8(profile, level, (depth << 4) | 2, 2, 2, 2), u16(0));
  }
  return box('stsd', u32(0, 1), box(kind, ...fields, own, ...kept));
}

/** Cuts a track into pieces of about a second, so that pictures and sound lie close to each other. */
function pieces(track, index) {
  const list = [];
  let piece = null;
  track.samples.forEach((sample, i) => {
    const seconds = sample.decode / track.timescale;
    if (!piece || seconds >= piece.seconds + 1) {
      piece = { track, index, seconds, first: i, count: 0, bytes: 0 };
      list.push(piece);
    }
    piece.count++;
    piece.bytes += sample.size;
  });
  return list;
}

function sampleTable(track) {
  const { samples, placed } = track;
  const durations = samples.map((s) => s.duration), late = samples.map((s) => s.time - s.decode);
  const chunks = [];
  placed.forEach((piece, i) => {
    if (!i || piece.count !== placed[i - 1].count) chunks.push(i + 1, piece.count, 1);
  });
  const parts = [track.description, box('stts', u32(0, runs(durations).length / 2, ...runs(durations)))];
  if (late.some((value) => value)) parts.push(box('ctts', u32(1 << 24, runs(late).length / 2, ...runs(late))));
  const keys = samples.flatMap((s, i) => (s.key ? [i + 1] : []));
  if (keys.length < samples.length) parts.push(box('stss', u32(0, keys.length, ...keys)));
  parts.push(
    box('stsz', u32(0, 0, samples.length, ...samples.map((s) => s.size))),
    box('stsc', u32(0, chunks.length / 3, ...chunks)),
    box('co64', u32(0, placed.length), ...placed.map((piece) => u64(piece.offset))));
  return box('stbl', ...parts);
}

/** The header of a track as it was in the input, with the number and the length that it has here. */
function trackHeader(track, number, length) {
  const bytes = track.header.slice();
  const view = new DataView(bytes.buffer);
  const long = bytes[8] === 1;
  view.setUint32(long ? 28 : 20, number);
  if (long) view.setBigUint64(36, BigInt(length));
  else view.setUint32(28, length);
  return bytes;
}

function trackBox(track, number, timescale) {
  const ticks = track.samples.reduce((sum, s) => sum + s.duration, 0);
  const length = Math.round((ticks / track.timescale) * timescale);
  const picture = track.kind === 'vide';
  const media = picture ? box('vmhd', u32(1, 0, 0)) : box('smhd', u32(0, 0));
  const minf = box('minf', media, box('dinf', box('dref', u32(0, 1), box('url ', u32(1)))), sampleTable(track));
  const mdia = box('mdia',
    box('mdhd', u32(0, 0, 0, track.timescale, ticks), u16(0x55c4, 0)),
    box('hdlr', u32(0, 0), text(track.kind), u32(0, 0, 0), u8(0)), minf);
  return { length, bytes: box('trak', trackHeader(track, number, length), track.edits || u8(), mdia) };
}

/**
 * The file as a Blob. The tracks are as mp4_reader.js gives them. A sample with `data` holds its bytes;
 * the others are sliced out of the input, which is not loaded.
 */
export function writeMp4(input, timescale, tracks) {
  const order = tracks.flatMap(pieces).sort((a, b) => a.seconds - b.seconds || a.index - b.index);
  for (const track of tracks) track.placed = order.filter((piece) => piece.track === track);
  const head = (start) => {
    let at = start;
    for (const piece of order) { piece.offset = at; at += piece.bytes; }
    const traks = tracks.map((track, i) => trackBox(track, i + 1, timescale));
    const length = Math.max(...traks.map((trak) => trak.length));
    const matrix = u32(0x10000, 0, 0, 0, 0x10000, 0, 0, 0, 0x40000000);
    const mvhd = box('mvhd', u32(0, 0, 0, timescale, length, 0x10000), u16(0x100, 0), u32(0, 0), matrix,
      new Uint8Array(24), u32(tracks.length + 1));
    const all = order.reduce((sum, piece) => sum + piece.bytes, 0);
    return [box('ftyp', text('isom'), u32(0x200), text('isomiso2mp41')),
      box('moov', mvhd, ...traks.map((trak) => trak.bytes)), u32(1), text('mdat'), u64(all + 16)];
  };
  const size = head(0).reduce((sum, part) => sum + part.length, 0); // the same for every start
  const data = order.flatMap((piece) => piece.track.samples.slice(piece.first, piece.first + piece.count))
    .map((sample) => sample.data || input.slice(sample.offset, sample.offset + sample.size));
  return new Blob([...head(size), ...data], { type: 'video/mp4' });
}
