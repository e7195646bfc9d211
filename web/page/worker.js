// SPDX-License-Identifier: BSD-2-Clause
// Stabilizes live frames and draws them, away from the page's thread.
//
// Messages in:  canvases {before, after}, start {settings, frameRate, run}, settings {settings},
//               stream {readable} or frame {frame, skipped}, end, stop
// Messages out: shape {width, height, lookahead, rate}, path {dx, ...}, figures {...}, ended {dropped},
//               problem {text}; each with the `run` of its start, so that late ones are recognised
import { openStabilizer, readable } from './frames.js';

const kTelling = 500; // milliseconds between two messages with figures
const kGap = 1e6; // microseconds without a frame, after which the path starts anew
const kRateFrames = 20; // distances between frames that tell the frame rate
const kEarly = 5; // milliseconds by which a frame may be shown too early

let before = null, after = null; // drawing contexts
let settings = null;
let session = null; // what belongs to one source; null while nothing runs

function newSession(frameRate, run) {
  return {
    run, stabilizer: null, shape: null, frameRate: Math.max(frameRate || 30, 1), settled: false, stale: false,
    waiting: null, busy: false, ending: false, kept: [], stamps: [], last: null,
    ready: [], timer: 0, dropped: 0, done: 0, spent: 0, told: performance.now(), reader: null,
  };
}

function answer(mine, message) { postMessage({ ...message, run: mine.run }); }

// ---- frames in ----

// The newest frame wins: one that still waits when the next one comes is dropped.
function offer(frame) {
  if (!session || session.ending) return frame.close();
  if (session.waiting) {
    session.waiting.close();
    session.dropped++;
  }
  session.waiting = frame;
  if (!session.busy) work(session);
}

async function readStream(readable, mine) {
  mine.reader = readable.getReader();
  for (;;) {
    const { value, done } = await mine.reader.read();
    if (done) return;
    if (mine === session) offer(value);
    else value.close();
  }
}

// Lets the messages in that came during a frame, so that the newest frame is taken next.
const hop = () => new Promise((resolve) => {
  const { port1, port2 } = new MessageChannel();
  port1.onmessage = () => { port1.close(); resolve(); };
  port2.postMessage(0);
});

async function work(mine) {
  mine.busy = true;
  while (mine === session && (mine.waiting || mine.ending)) {
    let frame = mine.waiting;
    mine.waiting = null;
    try {
      if (!frame) return await finish(mine);
      frame = readable(frame);
      await take(mine, frame);
    } catch (error) {
      const wanted = mine === session; // else it was told to stop, in the middle of a frame
      frame?.close();
      close(mine);
      if (wanted) answer(mine, { type: 'problem', text: `The stabilizer stopped: ${error.message}` });
      return;
    }
    tell(mine);
    await hop();
  }
  mine.busy = false;
}

async function finish(mine) {
  if (mine.stabilizer) {
    const all = new Promise((resolve) => { mine.shown = resolve; });
    receive(mine, await mine.stabilizer.flush());
    await all;
  }
  close(mine);
  answer(mine, { type: 'ended', dropped: mine.dropped });
}

function close(mine) {
  if (mine === session) session = null;
  mine.reader?.cancel().catch(() => {});
  mine.waiting?.close();
  mine.waiting = null;
  drop(mine);
}

// Ends a stabilizer, with the frames that wait in it or for their time.
function drop(mine) {
  mine.stabilizer?.delete();
  mine.stabilizer = null;
  clearTimeout(mine.timer);
  for (const { picture, frame } of [...mine.kept, ...mine.ready]) {
    picture.close();
    frame?.close();
  }
  mine.kept = [];
  mine.ready = [];
}

// ---- one frame ----

async function take(mine, frame) {
  learnRate(mine, frame.timestamp);
  const shape = shapeOf(frame);
  if (!mine.stabilizer || mine.stale || shape !== mine.shape) await renew(mine, frame, shape);
  if (mine.last !== null && Math.abs(frame.timestamp - mine.last) > kGap) await mine.stabilizer.reset();
  mine.last = frame.timestamp;
  const picture = mine.lookahead ? await copyOf(frame) : frame;
  mine.kept.push({ picture, due: performance.now() + (mine.lookahead * 1000) / mine.frameRate });
  const start = performance.now();
  const outputs = await mine.stabilizer.push(picture);
  mine.spent += performance.now() - start;
  mine.done++;
  receive(mine, outputs);
}

const shapeOf = (frame) => [frame.format, frame.visibleRect.width, frame.visibleRect.height, frame.displayWidth,
  frame.displayHeight].join();

// Cameras and decoders lend few frames: those that wait beside a lookahead are copied, and given back.
async function copyOf(frame) {
  const { format, timestamp, displayWidth, displayHeight, visibleRect: { width, height } } = frame;
  const data = new ArrayBuffer(frame.allocationSize());
  const layout = await frame.copyTo(data);
  const colorSpace = frame.colorSpace.toJSON();
  frame.close();
  return new VideoFrame(data, {
    format, timestamp, displayWidth, displayHeight, codedWidth: width, codedHeight: height, layout, colorSpace,
    transfer: [data],
  });
}

async function renew(mine, frame, shape) {
  drop(mine);
  mine.stabilizer = await openStabilizer(frame, settings, mine.frameRate);
  if (mine !== session) throw new Error('stopped'); // the canvases belong to another source now
  mine.lookahead = mine.stabilizer.delay;
  mine.shape = shape;
  mine.stale = false;
  mine.size = [frame.displayWidth, frame.displayHeight];
  for (const { canvas } of [before, after]) [canvas.width, canvas.height] = mine.size;
  answer(mine, {
    type: 'shape', width: mine.size[0], height: mine.size[1], lookahead: mine.lookahead, rate: mine.frameRate,
  });
}

// A file does not tell its rate, and cameras slow down in the dark: the usual distance of frames tells it.
function learnRate(mine, timestamp) {
  if (mine.settled) return;
  mine.stamps.push(timestamp);
  if (mine.stamps.length <= kRateFrames) return;
  mine.settled = true;
  const distances = mine.stamps.slice(1).map((t, i) => t - mine.stamps[i]).sort((a, b) => a - b);
  const rate = 1e6 / Math.max(distances[kRateFrames >> 1], 1000);
  if (Math.abs(rate / mine.frameRate - 1) < 0.2) return;
  mine.frameRate = Math.max(rate, 1);
  mine.stale = true;
}

// ---- frames out ----

// Outputs come in the order of their frames: after a cut, and at the end, many at once. Each is shown at its
// own time.
function receive(mine, outputs) {
  for (const { frame, motion } of outputs) mine.ready.push({ ...mine.kept.shift(), frame, motion });
  if (mine === session) show(mine);
  else drop(mine);
}

function show(mine) {
  clearTimeout(mine.timer);
  while (mine.ready.length && mine.ready[0].due <= performance.now() + kEarly) {
    const { picture, frame, motion } = mine.ready.shift();
    before.drawImage(picture, 0, 0, ...mine.size);
    after.drawImage(frame, 0, 0, ...mine.size);
    picture.close();
    frame.close();
    const { dx: shiftX, dy: shiftY } = motion.compensation;
    answer(mine, { type: 'path', dx: motion.dx, dy: motion.dy, newScene: motion.newScene, shiftX, shiftY });
  }
  if (mine.ready.length) mine.timer = setTimeout(show, mine.ready[0].due - performance.now(), mine);
  else mine.shown?.();
}

function tell(mine) {
  const elapsed = performance.now() - mine.told;
  if (elapsed < kTelling) return;
  answer(mine, {
    type: 'figures', rate: (mine.done * 1000) / elapsed, dropped: mine.dropped,
    milliseconds: mine.spent / Math.max(mine.done, 1),
  });
  mine.told = performance.now();
  mine.done = mine.spent = 0;
}

// ---- messages ----

const handlers = {
  canvases(message) {
    before = message.before.getContext('2d', { alpha: false });
    after = message.after.getContext('2d', { alpha: false });
  },
  start(message) {
    if (session) close(session);
    settings = message.settings;
    session = newSession(message.frameRate, message.run);
  },
  settings(message) {
    settings = message.settings;
    if (session) session.stale = true;
  },
  stream(message) {
    const mine = session;
    readStream(message.readable, mine).catch((error) => answer(mine, { type: 'problem', text: error.message }));
  },
  frame(message) {
    if (session) session.dropped += message.skipped;
    offer(message.frame);
  },
  end() {
    if (!session) return;
    session.ending = true;
    if (!session.busy) work(session);
  },
  stop() { if (session) close(session); },
};
onmessage = (event) => handlers[event.data.type](event.data);
