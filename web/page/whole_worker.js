// SPDX-License-Identifier: BSD-2-Clause
// Stabilizes a whole MP4 or MOV file: decodes its pictures, encodes the stable ones, copies its sound.
//
// Message in: {file, settings}. Messages out: progress {part}, done {blob, frames}, failed {text}
import { openStabilizer, readable } from './frames.js';
import { decoderConfig, readMp4 } from './mp4_reader.js';
import { pictureEntry, writeMp4 } from './mp4_writer.js';

const kWaiting = 6; // frames in decoder and encoder
const kKeyEvery = 2; // seconds from one key frame to the next
const kBits = 0.15; // of a pixel
const kCodecs = ['avc1.640034', 'avc1.42e034', 'vp09.00.62.08'];

// Tracks, and what the decoder of the pictures needs.
async function tablesOf(file) {
  try {
    const tables = await readMp4(file);
    return { ...tables, ...decoderConfig(tables.video) };
  } catch (error) {
    const odd = error instanceof TypeError || error instanceof RangeError;
    throw odd ? new Error('its tables are damaged') : error;
  }
}

function rateOf(video) {
  const ticks = video.samples.reduce((sum, sample) => sum + sample.duration, 0);
  return Math.min(Math.max((video.samples.length * video.timescale) / Math.max(ticks, 1), 1), 1000);
}

async function startDecoder(job) {
  const { supported } = await VideoDecoder.isConfigSupported(job.config);
  if (!supported) throw new Error(`this browser does not decode ${job.config.codec}`);
  job.decoder = new VideoDecoder({
    output: (frame) => { job.ready.push(frame); job.wake?.(); },
    error: (error) => { job.error = error; job.wake?.(); },
  });
  job.decoder.ondequeue = () => job.wake?.();
  job.decoder.configure(job.config);
}

async function startEncoder(job, { visibleRect: { width, height } }) {
  const bitrate = Math.max(1e6, Math.round(width * height * job.rate * kBits));
  for (const codec of kCodecs) {
    const config = { codec, width, height, bitrate, framerate: job.rate, latencyMode: 'quality' };
    if (codec.startsWith('avc1')) config.avc = { format: 'avc' };
    if (!(await VideoEncoder.isConfigSupported(config).catch(() => ({}))).supported) continue;
    job.encoder = new VideoEncoder({
      output: (chunk, facts) => addCoded(job, chunk, facts.decoderConfig),
      error: (error) => { job.error = error; job.wake?.(); },
    });
    job.encoder.ondequeue = () => job.wake?.();
    return job.encoder.configure(config);
  }
  throw new Error(`this browser does not encode pictures of ${width} x ${height}`);
}

function addCoded(job, chunk, config) {
  const data = new Uint8Array(chunk.byteLength);
  chunk.copyTo(data);
  job.coded.push({ data, size: data.length, key: chunk.type === 'key', stamp: chunk.timestamp });
  job.coding ||= config;
}

async function stabilize(job, given) {
  const frame = readable(given);
  const { width, height } = frame.visibleRect;
  if (!job.stabilizer) {
    await startEncoder(job, frame);
    job.stabilizer = await openStabilizer(frame, job.settings, job.rate);
    job.size = [width, height];
  }
  if (width !== job.size[0] || height !== job.size[1]) throw new Error('its pictures change their size');
  const outputs = await job.stabilizer.push(frame);
  frame.close();
  encode(job, outputs);
}

function encode(job, outputs) {
  for (const { frame } of outputs) {
    const keyFrame = job.frames % Math.round(kKeyEvery * job.rate) === 0;
    job.encoder.encode(frame, { keyFrame });
    frame.close();
    job.frames++;
  }
}

/** Takes decoded frames until no more than `most` are under way. */
async function settle(job, most) {
  for (;;) {
    if (job.error) throw new Error(`at frame ${job.frames + 1}: ${job.error.message}`);
    const frame = job.ready.shift();
    if (frame) {
      if (frame.timestamp >= 0) await stabilize(job, frame); // earlier ones are never shown
      else frame.close();
    } else if (job.decoder.decodeQueueSize > most || (job.encoder?.encodeQueueSize || 0) > most) {
      await new Promise((resolve) => { job.wake = resolve; });
    } else {
      return;
    }
  }
}

/** The track of new pictures, at the times of the old ones: so the old list of edits is right for it, too. */
function newTrack(job, times) {
  const coded = job.coded.map((each) => ({ ...each, time: times.get(each.stamp) }));
  const shown = [...coded].sort((a, b) => a.time - b.time);
  const first = shown[0].time;
  const length = job.video.samples.reduce((sum, sample) => sum + sample.duration, 0);
  const samples = coded.map((each, i) => ({
    ...each, decode: shown[i].time - first,
    duration: Math.max((shown[i + 1]?.time ?? first + length) - shown[i].time, 1),
  }));
  return { ...job.video, samples, description: pictureEntry(job.coding, ...job.size, job.kept) };
}

async function save(file, settings) {
  if (!('VideoDecoder' in self && 'VideoEncoder' in self)) throw new Error('this browser lacks WebCodecs');
  const { timescale, video, sounds, config, kept } = await tablesOf(file);
  const job = { video, config, kept, settings, rate: rateOf(video), ready: [], coded: [], frames: 0, error: null };
  const times = new Map();
  await startDecoder(job);
  for (const [i, sample] of video.samples.entries()) {
    const timestamp = Math.round(((sample.time - video.start) * 1e6) / video.timescale);
    times.set(timestamp, sample.time);
    const data = await file.slice(sample.offset, sample.offset + sample.size).arrayBuffer();
    job.decoder.decode(new EncodedVideoChunk({ type: sample.key ? 'key' : 'delta', timestamp, data }));
    await settle(job, kWaiting);
    if (i % 10 === 0) postMessage({ type: 'progress', part: i / video.samples.length });
  }
  await Promise.all([job.decoder.flush(), settle(job, 0)]);
  await settle(job, 0);
  if (!job.stabilizer) throw new Error('it has no pictures');
  encode(job, await job.stabilizer.flush());
  await job.encoder.flush();
  if (job.error) throw job.error;
  const tracks = [newTrack(job, times), ...sounds];
  return { blob: writeMp4(file, timescale, tracks), frames: job.frames };
}

onmessage = async ({ data: { file, settings } }) => {
  try {
    postMessage({ type: 'done', ...(await save(file, settings)) });
  } catch (error) {
    postMessage({ type: 'failed', text: error.message });
  }
};
