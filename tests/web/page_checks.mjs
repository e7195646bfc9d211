// SPDX-License-Identifier: BSD-2-Clause
// The page in Chromium. Started by page_test.sh:
//     node page_checks.mjs PAGE CLIPS CHROMIUM NATIVE [CHECK...]
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { createHash } from 'node:crypto';
import { readdirSync, readFileSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { drop, launch, open, serve, until } from './page_browser.mjs';

const [folder, clips, chromium, native, ...chosen] = process.argv.slice(2);
const { origin, close: closeServer } = await serve(folder, clips);
const { browser, close, folder: folderOfBrowser } = await launch(chromium, join(clips, 'camera.y4m'));
const problems = [];

const text = (page, id) => page.$eval(`#${id}`, (element) => element.textContent);
const pixels = (page, id) => page.$eval(`#${id}`, (canvas) => canvas.toDataURL());
const pause = (milliseconds) => new Promise((resolve) => setTimeout(resolve, milliseconds));
const running = () => parseFloat(document.getElementById('rate').textContent) > 5;
const shows = (id, part) => document.getElementById(id).textContent.includes(part);
const set = (page, id, value) => page.$eval(`#${id}`, (input, to) => {
  input.value = to;
  input.dispatchEvent(new Event('input', { bubbles: true }));
}, value);
const about = (file) => JSON.parse(execFileSync('ffprobe',
  ['-v', 'error', '-count_frames', '-show_streams', '-of', 'json', file])).streams;

async function download(page, name) {
  await until(page, 'no result', () => document.querySelector('#result:not([hidden]), #problem:not([hidden])'));
  assert.equal(await text(page, 'problem'), '');
  const base64 = await page.$eval('#download', async (link) => {
    const bytes = new Uint8Array(await (await fetch(link.href)).arrayBuffer());
    let characters = '';
    for (const byte of bytes) characters += String.fromCharCode(byte);
    return btoa(characters);
  });
  const file = join(clips, name);
  writeFileSync(file, Buffer.from(base64, 'base64'));
  return file;
}

/** The screen, then the camera: frames, plot, divider, settings while it runs, recording, stop. */
async function camera() {
  const page = await open(browser, origin, problems);
  await page.click('#screen');
  await until(page, 'the screen does not run', () => document.getElementById('size').textContent.includes('×'));
  await page.click('#camera');
  await until(page, 'the camera does not run', shows, 'status', 'Camera is running');
  await until(page, 'the camera does not run', running);
  assert.equal(await text(page, 'size'), '640 × 480');
  const [plot, after] = [await pixels(page, 'plot'), await pixels(page, 'after')];
  assert.ok(after.length > 4000, 'the picture is empty');
  await pause(700);
  assert.notEqual(await pixels(page, 'plot'), plot, 'the plot does not move');
  assert.notEqual(await pixels(page, 'after'), after, 'the picture does not move');

  await page.focus('#split');
  for (let i = 0; i < 10; i++) await page.keyboard.press('ArrowRight');
  const split = () => page.$eval('#stage', (stage) => stage.style.getPropertyValue('--split'));
  assert.equal(await split(), '60%');
  const box = await (await page.$('#stage')).boundingBox();
  await page.mouse.click(box.x + box.width / 4, box.y + box.height / 2);
  assert.ok(Math.abs(parseFloat(await split()) - 25) <= 1, 'the divider is not where the mouse was');

  await set(page, 'lookahead', 0.5);
  await until(page, 'no delay', shows, 'delay', 'frames');
  for (const [id, value] of [['window', 60.5], ['strength', 4], ['window', 97.5]]) await set(page, id, value);
  await page.click('#sharper');
  await page.click('#roll');
  await pause(800);
  await until(page, 'it stops after a change of settings', running);
  await set(page, 'lookahead', 0);
  await until(page, 'the delay stays', shows, 'delay', 'none');

  await page.click('#record');
  await pause(1500);
  await page.click('#record');
  const [stream] = about(await download(page, 'recorded.mp4'));
  assert.deepEqual([stream.width, stream.height, stream.nb_read_frames > 10], [640, 480, true]);
  await page.click('#stop');
  assert.equal(await text(page, 'rate'), '–');
  for (let i = 0; i < 4; i++) { // again and again
    await page.click('#camera');
    await until(page, 'the camera does not start again', shows, 'size', '×');
    await page.click('#stop');
  }
  await pause(200);
  assert.equal(await text(page, 'problem'), '');
  await page.close();
}

/**
 * A dropped file to its end, recorded with its sound; then the whole of it saved: all frames and times, the sound
 * as it was.
 */
async function file() {
  const page = await open(browser, origin, problems);
  await set(page, 'lookahead', 0.5);
  await drop(page, 'sound.mp4');
  await until(page, 'the file does not play', running);
  await page.click('#record');
  await until(page, 'the file does not end', () => document.getElementById('play').textContent === 'Play again');
  const recorded = about(await download(page, 'recorded.mp4'));
  assert.deepEqual(recorded.map((stream) => stream.codec_type).sort(), ['audio', 'video']);
  assert.match(await text(page, 'status'), /recording is ready/);
  await set(page, 'lookahead', 1);
  await page.$eval('#result', (element) => { element.hidden = true; });
  await page.click('#whole');
  const saved = await download(page, 'saved.mp4');
  const original = join(clips, 'sound.mp4');
  const fields = ['codec_type', 'width', 'height', 'sample_aspect_ratio', 'nb_read_frames', 'r_frame_rate',
    'start_time', 'duration'];
  const summary = (path) => about(path).map((stream) => fields.map((field) => stream[field]));
  assert.deepEqual(summary(saved), summary(original));
  const sound = (path) => execFileSync('ffmpeg',
    ['-v', 'error', '-i', path, '-map', '0:a', '-c', 'copy', '-f', 'md5', '-']).toString();
  assert.equal(sound(saved), sound(original));
  await page.evaluate(() => ['whole', 'cancel'].forEach((id) => document.getElementById(id).click()));
  await until(page, 'saving is not cancelled', shows, 'status', 'cancelled');
  await page.click('#play');
  await until(page, 'the file does not play again', shows, 'status', 'Playing');
  await page.close();
}

/** What goes wrong ends in a sentence, and the page goes on. */
async function troubles() {
  let page = await open(browser, origin, problems, {
    prepare: () => {
      navigator.mediaDevices.getUserMedia = async () => { throw new DOMException('', window.trouble); };
    },
  });
  const sentences = { NotAllowedError: 'may not use the camera', NotFoundError: 'No camera was found' };
  for (const [name, sentence] of Object.entries(sentences)) {
    await page.evaluate((trouble) => { window.trouble = trouble; }, name);
    await page.click('#camera');
    await until(page, `no sentence for ${name}`, shows, 'problem', sentence);
  }
  await drop(page, 'broken.mp4');
  await until(page, 'no sentence for a broken file', shows, 'problem', 'cannot play broken.mp4');
  await drop(page, 'sound.mp4');
  await until(page, 'a good file does not play after a broken one', running);
  assert.equal(await page.$eval('#problem', (element) => element.hidden), true);
  await page.evaluate(() => {
    Object.defineProperty(document, 'hidden', { value: true });
    document.dispatchEvent(new Event('visibilitychange'));
  });
  await until(page, 'a file plays on while the page is hidden', shows, 'play', 'Play');
  await page.close();

  page = await open(browser, origin, problems, { prepare: () => { delete window.VideoFrame; } });
  assert.match(await text(page, 'problem'), /lacks VideoFrame/);
  await page.close();
}

/** A camera that turns, and odd sizes. The feed is the video element's, as in browsers without track processors. */
async function sizes() {
  const page = await open(browser, origin, problems, {
    prepare: () => {
      delete window.MediaStreamTrackProcessor;
      const canvas = document.createElement('canvas');
      window.turn = (width, height) => Object.assign(canvas, { width, height });
      window.turn(321, 241);
      let n = 0;
      setInterval(() => {
        const pen = canvas.getContext('2d');
        for (let i = 0; i < 200; i++) {
          pen.fillStyle = `hsl(${i * 77}, 60%, 50%)`;
          pen.fillRect((i * 97) % 320 + (n % 3), (i * 61) % 320, 20, 14);
        }
        n++;
      }, 33);
      navigator.mediaDevices.getUserMedia = async () => canvas.captureStream();
    },
  });
  await page.click('#camera');
  await until(page, 'an odd size does not run', shows, 'size', '321 × 241');
  await until(page, 'an odd size does not run', running);
  await set(page, 'lookahead', 0.4);
  await until(page, 'no delay with an odd size', shows, 'delay', 'frames');
  await page.evaluate(() => window.turn(240, 320));
  await until(page, 'the new size does not run', shows, 'size', '240 × 320');
  await until(page, 'nothing is told', shows, 'status', 'has changed');
  await until(page, 'the new size stops', running);
  await page.close();
}

/**
 * Frames that come faster than they are taken: the newest is taken, and every one is either shown or counted. A
 * source that another one replaced in the middle of its first frame tells nothing any more.
 */
async function flood() {
  const page = await open(browser, origin, problems);
  const [shown, dropped, last] = await page.evaluate(() => new Promise((resolve) => {
    const worker = new Worker('worker.js', { type: 'module' });
    const [before, after, picture] = [0, 1, 2].map(() => new OffscreenCanvas(640, 480));
    const settings = { window: 0.875, strength: 1, lookahead: 0, roll: true, cubic: false };
    let paths = 0;
    worker.onmessage = ({ data }) => {
      if (data.run !== 2) resolve([0, 0, `${data.type} of a source that was replaced`]);
      if (data.type === 'path') paths++;
      if (data.type === 'ended') resolve([paths, data.dropped, data.type]);
      if (data.type === 'problem') resolve([0, 0, data.text]);
    };
    worker.postMessage({ type: 'canvases', before, after }, [before, after]);
    picture.getContext('2d').fillRect(0, 0, 100, 100);
    const first = new VideoFrame(picture, { timestamp: 0 });
    worker.postMessage({ type: 'start', settings, frameRate: 30, run: 1 });
    worker.postMessage({ type: 'frame', frame: first, skipped: 0 }, [first]);
    worker.postMessage({ type: 'start', settings, frameRate: 30, run: 2 });
    for (let i = 0; i < 40; i++) {
      const frame = new VideoFrame(picture, { timestamp: i * 33333 });
      worker.postMessage({ type: 'frame', frame, skipped: 1 }, [frame]);
    }
    worker.postMessage({ type: 'end' });
  }));
  assert.equal(last, 'ended');
  assert.equal(shown + dropped, 80);
  assert.ok(shown > 0 && dropped > 40, `${shown} shown, ${dropped} dropped`);
  await page.close();
}

/** Sends a message to a worker with page_frames.js, `number` of those on this page, and waits for the answer. */
const ask = (page, number, message) => page.evaluate((which, question) => new Promise((resolve, reject) => {
  window.players ||= [];
  const worker = window.players[which] ||= new Worker('clips/page_frames.js', { type: 'module' });
  worker.onmessage = ({ data }) => (data.error ? reject(new Error(data.error)) : resolve(data));
  worker.onerror = (event) => reject(new Error(event.message));
  worker.postMessage(question);
}), number, message);

/** The module in a worker gives the bytes of the native library. */
async function bytes() {
  const page = await open(browser, origin, problems);
  const jobs = [['standard', { standard: true }], ['live', { cubic: true }], ['ahead', { lookahead: 15 }]];
  for (const [i, [name, options]] of jobs.entries()) {
    const expected = createHash('sha256').update(readFileSync(join(clips, `${name}.i420`))).digest('hex');
    const all = { width: 320, height: 240, format: 'I420', chromaSite: 'center', ...options };
    const { hash } = await ask(page, i, { clip: '/clips/shaky.i420', options: all });
    assert.equal(hash, expected, name);
  }
  await page.close();
}

// CPU seconds of all workers of the browser, from the first on. Workers have threads of their own.
function workerSeconds() {
  let nanoseconds = 0;
  for (const process of readdirSync('/proc').filter((name) => /^\d+$/.test(name))) {
    try {
      if (!readFileSync(`/proc/${process}/cmdline`, 'utf8').includes(folderOfBrowser)) continue;
      for (const thread of readdirSync(`/proc/${process}/task`)) {
        const at = `/proc/${process}/task/${thread}`;
        if (!readFileSync(`${at}/comm`, 'utf8').startsWith('DedicatedWorker')) continue;
        nanoseconds += Number(readFileSync(`${at}/schedstat`, 'utf8').split(' ')[0]);
      }
    } catch { /* it has ended */ }
  }
  return nanoseconds / 1e9;
}

const kRounds = 3; // of a measurement
const median = (values) => [...values].sort((a, b) => a - b)[values.length >> 1];

// CPU milliseconds that a worker takes for the frames of a clip, without those for putting them there.
async function spent(page, number) {
  const seconds = [];
  for (const calls of [false, true]) {
    const before = workerSeconds();
    await ask(page, number, { rounds: kRounds, calls });
    seconds.push(workerSeconds() - before);
  }
  return ((seconds[1] - seconds[0]) * 1000) / kRounds;
}

/** CPU time of a frame of the standard path: native on one thread, the module with vectors, and without. */
async function speed() {
  for (const [width, height] of [[1280, 720], [1920, 1080]]) {
    const page = await open(browser, origin, problems);
    const clip = join(clips, `${height}.nv12`), frames = readFileSync(clip).length / (width * height * 1.5);
    const options = { width, height, format: 'NV12', standard: true };
    const modules = ['simd', 'portable'];
    for (const [i, name] of modules.entries()) {
      const wasm = `/module/quorvel-${name}.wasm`;
      await ask(page, i, { clip: `/clips/${height}.nv12`, options: { ...options, wasm } });
    }
    const times = { native: [], simd: [], portable: [] };
    for (let round = 0; round < 5; round++) {
      const words = ['--time', kRounds, 'NV12', width, height, -1].map(String);
      times.native.push(execFileSync(native, words, { input: readFileSync(clip) }) / 1000);
      for (const [i, name] of modules.entries()) times[name].push((await spent(page, i)) / frames);
    }
    // Each measurement is compared with that beside it: other programs slow both down.
    const ratio = (above, below) => median(times[above].map((time, i) => time / times[below][i]));
    const toNative = ratio('simd', 'native'), toPortable = ratio('simd', 'portable');
    const [one, simd, portable] = Object.values(times).map((each) => median(each).toFixed(2));
    console.log(`${height} rows, ms a frame: native ${one}, module ${simd}, without vectors ${portable}; the module ` +
      `takes ${toNative.toFixed(2)} x native and ${toPortable.toFixed(2)} x that without vectors`);
    assert.ok(toNative <= 3.5 && toPortable <= 0.35, 'the module is slow');
    await page.close();
  }
}

try {
  const checks = [camera, file, troubles, sizes, flood, bytes, speed];
  for (const test of checks.filter(({ name }) => !chosen.length || chosen.includes(name))) {
    const start = Date.now();
    await test();
    console.log(`${test.name}: ${((Date.now() - start) / 1000).toFixed(1)} s`);
  }
  assert.deepEqual(problems, []);
} catch (error) {
  console.log(error.stack, problems);
  process.exitCode = 1;
}
await close();
closeServer();
