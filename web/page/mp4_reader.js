// SPDX-License-Identifier: BSD-2-Clause
// Reads the tables of an MP4 or MOV file: where the samples of its tracks lie, and when they are shown.
// Only the tables are loaded; whoever wants a sample slices it out of the file.

const kMostTables = 256e6; // bytes; more than that belongs to no video that a page could keep
const kMostSamples = 4e6; // of a track: each is a record in memory. Uncompressed sound has more in two minutes

const nameOf = (view, at) => String.fromCharCode(...[0, 1, 2, 3].map((i) => view.getUint8(at + i)));

/** The boxes from one byte to another, as a map from a name to a list of {start, end, whole}. */
function boxes(view, from, to) {
  const found = {};
  for (let at = from; at + 8 <= to;) {
    let size = view.getUint32(at), head = 8;
    if (size === 1) { size = Number(view.getBigUint64(at + 8)); head = 16; }
    if (size === 0) size = to - at;
    if (size < head || at + size > to) throw new Error('its tables are damaged');
    (found[nameOf(view, at + 4)] ||= []).push({ start: at + head, end: at + size, whole: at });
    at += size;
  }
  return found;
}

/** Finds the box `moov` without loading the pictures, which may come first. */
async function loadTables(file) {
  for (let at = 0; at + 8 <= file.size;) {
    const head = new DataView(await file.slice(at, at + 16).arrayBuffer());
    let size = head.getUint32(0);
    if (size === 1 && head.byteLength === 16) size = Number(head.getBigUint64(8));
    if (size === 0) size = file.size - at;
    if (nameOf(head, 4) === 'moov' && size <= kMostTables)
      return new DataView(await file.slice(at, at + size).arrayBuffer());
    if (size < 8) break;
    at += size;
  }
  throw new Error('it is no MP4 or MOV file');
}

/** Calls each(count, value...) for the entries of a table of 32-bit numbers, `fields` of them in each entry. */
function entries(view, box, fields, each) {
  const count = view.getUint32(box.start + 4);
  if (box.start + 8 + count * fields * 4 > box.end) throw new Error('its tables are damaged');
  for (let i = 0; i < count; i++) {
    const at = box.start + 8 + i * fields * 4;
    each(...Array.from({ length: fields }, (_, f) => view.getUint32(at + f * 4)));
  }
}

function sampleSizes(view, table) {
  const same = view.getUint32(table.stsz[0].start + 4), count = view.getUint32(table.stsz[0].start + 8);
  if (count > kMostSamples) throw new Error('it has too many samples, as with uncompressed sound');
  if (same) return new Array(count).fill(same);
  const sizes = [];
  entries(view, { ...table.stsz[0], start: table.stsz[0].start + 4 }, 1, (size) => sizes.push(size));
  return sizes;
}

function chunkStarts(view, table) {
  const starts = [];
  if (table.stco) entries(view, table.stco[0], 1, (start) => starts.push(start));
  else entries(view, table.co64[0], 2, (high, low) => starts.push(high * 2 ** 32 + low));
  return starts;
}

/** A table of [how many, value] as a list of values, `most` at most. */
function spread(view, box, most) {
  const values = [];
  entries(view, box, 2, (count, value) => {
    for (let k = 0; k < count && values.length < most; k++) values.push(value);
  });
  return values;
}

/** Where each sample begins: its chunk's start, and the samples in front of it in the chunk. */
function sampleOffsets(view, table, sizes) {
  const starts = chunkStarts(view, table), runs = [], offsets = [];
  entries(view, table.stsc[0], 3, (first, count) => runs.push({ first: first - 1, count }));
  runs.forEach(({ first, count }, i) => {
    const last = Math.min(runs[i + 1]?.first ?? starts.length, starts.length);
    for (let chunk = first; chunk < last; chunk++) {
      let offset = starts[chunk];
      for (let k = 0; k < count && offsets.length < sizes.length; k++) {
        offsets.push(offset);
        offset += sizes[offsets.length - 1];
      }
    }
  });
  return offsets;
}

/** The samples of a track in the order of decoding: {offset, size, decode, time, duration, key}. */
function readSamples(view, table) {
  const sizes = sampleSizes(view, table), offsets = sampleOffsets(view, table, sizes);
  const durations = spread(view, table.stts[0], sizes.length);
  const late = table.ctts ? spread(view, table.ctts[0], sizes.length) : [];
  const keys = new Set();
  if (table.stss) entries(view, table.stss[0], 1, (number) => keys.add(number - 1));
  if (offsets.length < sizes.length || durations.length < sizes.length) throw new Error('its tables are damaged');
  let decode = 0;
  return sizes.map((size, i) => {
    const time = decode + (late[i] | 0), key = !table.stss || keys.has(i);
    const sample = { offset: offsets[i], size, decode, time, duration: durations[i], key };
    decode += durations[i];
    return sample;
  });
}

/** From which time of the track on it is shown: what its list of edits cuts off at the start. */
function startOf(view, trak) {
  if (!trak.edts) return 0;
  const list = boxes(view, trak.edts[0].start, trak.edts[0].end).elst?.[0];
  if (!list) return 0;
  const long = view.getUint8(list.start) === 1;
  const count = view.getUint32(list.start + 4);
  for (let i = 0; i < count; i++) {
    const at = list.start + 8 + i * (long ? 20 : 12);
    const time = long ? Number(view.getBigInt64(at + 8)) : view.getInt32(at + 4);
    if (time >= 0) return time; // -1 is a pause in front
  }
  return 0;
}

function readTrack(view, box) {
  const trak = boxes(view, box.start, box.end);
  const mdia = boxes(view, trak.mdia[0].start, trak.mdia[0].end);
  const minf = boxes(view, mdia.minf[0].start, mdia.minf[0].end);
  const table = boxes(view, minf.stbl[0].start, minf.stbl[0].end);
  const copy = (b) => new Uint8Array(view.buffer, b.whole, b.end - b.whole);
  const mdhd = mdia.mdhd[0].start;
  return {
    kind: nameOf(view, mdia.hdlr[0].start + 8), // vide, soun, ...
    timescale: view.getUint32(mdhd + (view.getUint8(mdhd) === 1 ? 20 : 12)),
    header: copy(trak.tkhd[0]), edits: trak.edts && copy(trak.edts[0]), description: copy(table.stsd[0]),
    start: startOf(view, trak), samples: readSamples(view, table),
  };
}

/** What a decoder needs to know, and the boxes with colours and shape of the pixels, for another track. */
export function decoderConfig(track) {
  const view = new DataView(track.description.buffer, track.description.byteOffset, track.description.byteLength);
  const entry = 16; // after the header of stsd
  const kind = nameOf(view, entry + 4);
  const inner = boxes(view, entry + 86, entry + view.getUint32(entry));
  const bytes = (box) => track.description.slice(box.start, box.end);
  const hex = (value) => value.toString(16).padStart(2, '0');
  const two = (value) => String(value).padStart(2, '0');
  const config = { codedWidth: view.getUint16(entry + 32), codedHeight: view.getUint16(entry + 34) };
  const kept = [...(inner.colr || []), ...(inner.pasp || [])].map((b) => track.description.slice(b.whole, b.end));
  if (inner.avcC) {
    config.description = bytes(inner.avcC[0]);
    config.codec = `${kind}.${[...config.description.slice(1, 4)].map(hex).join('')}`;
  } else if (inner.hvcC) {
    config.description = bytes(inner.hvcC[0]);
    config.codec = hevcName(kind, config.description);
  } else if (inner.vpcC) {
    const [profile, level, depth] = bytes(inner.vpcC[0]).slice(4);
    config.codec = `vp09.${two(profile)}.${two(level)}.${two(depth >> 4)}`;
  } else if (inner.av1C) {
    config.description = bytes(inner.av1C[0]);
    const [, level, depth] = config.description;
    const bits = depth & 0x40 ? (depth & 0x20 ? 12 : 10) : 8;
    config.codec = `av01.${level >> 5}.${two(level & 31)}${depth & 0x80 ? 'H' : 'M'}.${two(bits)}`;
  } else {
    throw new Error(`its pictures are of the kind ${kind}`);
  }
  return { config, kept };
}

function hevcName(kind, record) {
  let flags = 0;
  for (let bit = 0; bit < 32; bit++) if (record[2 + (bit >> 3)] & (0x80 >> (bit & 7))) flags |= 1 << bit;
  const profile = `${['', 'A', 'B', 'C'][record[1] >> 6]}${record[1] & 31}`;
  const tail = [...record.slice(6, 12)];
  while (tail.length && !tail[tail.length - 1]) tail.pop();
  const tier = record[1] & 0x20 ? 'H' : 'L';
  const hex = (value) => value.toString(16);
  return [kind, profile, hex(flags >>> 0), `${tier}${record[12]}`, ...tail.map(hex)].join('.');
}

/** The tracks of a file: {timescale, video, sounds}. */
export async function readMp4(file) {
  const view = await loadTables(file);
  const moov = boxes(view, 8, view.byteLength);
  if (moov.mvex) throw new Error('it is an MP4 file in fragments');
  const mvhd = moov.mvhd[0].start;
  const timescale = view.getUint32(mvhd + (view.getUint8(mvhd) === 1 ? 20 : 12));
  const tracks = (moov.trak || []).map((box) => readTrack(view, box)).filter((track) => track.samples.length);
  const video = tracks.find((track) => track.kind === 'vide');
  if (!video) throw new Error('it has no pictures');
  return { timescale, video, sounds: tracks.filter((track) => track.kind === 'soun') };
}
