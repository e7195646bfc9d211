// SPDX-License-Identifier: BSD-2-Clause
// The page: buttons, settings and what is told. The pictures themselves pass through worker.js.
import { feed, openCamera, openFile, openScreen } from './sources.js';
import { PathPlot } from './plot.js';
import { Recorder, recordedType, Sound } from './recorder.js';
import { saveWhole } from './whole.js';

const $ = (id) => document.getElementById(id);
const plot = new PathPlot($('plot'));
let worker = null;
let source = null; // null while nothing runs
let run = 0; // counts the starts
let unfeed = null;
let sound = null, recorder = null, saving = null;
let shape = null; // of the pictures: width, height, lookahead, rate
let heard = 0; // when the worker last told figures

// ---- what is told ----

function tell(text) { $('status').textContent = text; }

function complain(text) {
  $('problem').textContent = text;
  $('problem').hidden = !text;
}

/** What the page cannot do without and this browser lacks, or an empty list. */
function missing() {
  const needed = {
    'WebAssembly': 'WebAssembly' in window,
    'workers': 'Worker' in window,
    'OffscreenCanvas': 'OffscreenCanvas' in window && 'transferControlToOffscreen' in HTMLCanvasElement.prototype,
    'VideoFrame (WebCodecs)': 'VideoFrame' in window,
    'requestVideoFrameCallback': 'requestVideoFrameCallback' in HTMLVideoElement.prototype,
  };
  return Object.keys(needed).filter((name) => !needed[name]);
}

function showFigures({ rate, milliseconds, dropped }) {
  heard = performance.now();
  $('rate').textContent = rate.toFixed(1);
  $('time').textContent = `${milliseconds.toFixed(1)} ms`;
  $('dropped').textContent = dropped;
}

function showShape(next) {
  const changed = shape && source && (shape.width !== next.width || shape.height !== next.height);
  shape = next;
  $('stage').style.setProperty('--ratio', next.width / next.height);
  $('stage').dataset.state = 'running';
  const seconds = next.lookahead / next.rate;
  $('delay').textContent = next.lookahead ? `${seconds.toFixed(2)} s, ${next.lookahead} frames` : 'none';
  $('size').textContent = `${next.width} × ${next.height}`;
  sound?.setDelay(seconds);
  plot.clear();
  if (!changed) return;
  tell(`The size has changed to ${next.width} × ${next.height}.`);
  if (recorder) stopRecording('The size of the picture has changed, so the recording ends here.');
}

function showButtons() {
  const file = source?.kind === 'file';
  $('play').hidden = !file;
  $('stop').disabled = !source;
  $('whole').hidden = !file;
  $('whole').disabled = Boolean(saving);
  $('record').disabled = !source || !recordedType();
  $('record').textContent = recorder ? 'Stop recording' : 'Record';
  $('record').setAttribute('aria-pressed', Boolean(recorder));
  for (const kind of ['camera', 'screen']) $(kind).setAttribute('aria-pressed', source?.kind === kind);
  if (file) $('play').textContent = source.video.ended ? 'Play again' : source.video.paused ? 'Play' : 'Pause';
}

// ---- running ----

async function choose(open) {
  await stop();
  complain('');
  tell('Opening…');
  try {
    const opened = await open();
    await stop(); // of one that was chosen in the meantime
    source = opened;
  } catch (error) {
    if (!source) tell('Nothing is running.');
    return complain(error.message);
  }
  const ended = { camera: 'The camera gives no more pictures.', screen: 'The screen is no longer shared.' };
  if (source.track) source.track.onended = () => end(ended[source.kind]);
  else prepareFile();
  start();
}

function start() {
  const { label, kind, frameRate } = source;
  shape = null;
  plot.clear();
  worker.postMessage({ type: 'start', settings: settings(), frameRate, run: ++run });
  unfeed = feed(source, worker);
  tell(kind === 'file' ? `Playing ${label}.` : `${label} is running.`);
  showButtons();
}

function prepareFile() {
  const { video } = source;
  try {
    sound = new Sound(video);
  } catch {
    sound = null; // no way to delay the sound: it plays as it is
  }
  video.onplay = video.onpause = showButtons;
  video.onended = () => { worker.postMessage({ type: 'end' }); showButtons(); };
  video.onerror = () => end(`${source.label} cannot be decoded from here on.`);
  sound?.resume();
  video.play().catch(() => tell('Press Play to begin.'));
}

function playOrPause() {
  const { video } = source;
  if (!video.paused) return video.pause();
  if (video.ended) {
    unfeed();
    start();
  }
  sound?.resume();
  video.play().catch(() => {}); // what is wrong with a file is told by its onerror
}

/** Ends what runs, with a sentence on why. */
async function end(text) {
  await stop();
  complain(text);
}

async function stop() {
  if (!source) return;
  const old = source;
  if (recorder) await stopRecording();
  if (source !== old) return; // another call has stopped it meanwhile
  source = null;
  unfeed();
  worker.postMessage({ type: 'stop' });
  old.video.onplay = old.video.onpause = old.video.onended = old.video.onerror = null;
  if (old.track) old.track.onended = null;
  old.stop();
  sound?.close();
  sound = null;
  for (const id of ['rate', 'time', 'delay', 'dropped', 'size']) $(id).textContent = '–';
  tell('Stopped.');
  showButtons();
}

// ---- settings ----

function settings() {
  const number = (id) => Number($(id).value);
  return {
    window: number('window') / 100, strength: number('strength'), lookahead: number('lookahead'),
    roll: $('roll').checked, cubic: $('sharper').checked,
  };
}

function showSettings() {
  const { window: part, strength, lookahead } = settings();
  const text = {
    window: `${(part * 100).toFixed(1)} %`, strength: `${strength.toFixed(2)} s`,
    lookahead: lookahead ? `${lookahead.toFixed(1)} s` : 'none',
  };
  for (const output of document.querySelectorAll('#settings output')) {
    output.value = text[output.htmlFor.value];
    $(output.htmlFor.value).setAttribute('aria-valuetext', output.value);
  }
}

let changed = 0;
function settingsChanged() {
  showSettings();
  clearTimeout(changed);
  changed = setTimeout(() => worker.postMessage({ type: 'settings', settings: settings() }), 150);
}

// ---- results ----

function offerResult({ blob, name }, facts) {
  const link = $('download');
  if (link.href) URL.revokeObjectURL(link.href);
  link.href = URL.createObjectURL(blob);
  link.download = name;
  link.textContent = `Download ${name}`;
  $('facts').textContent = `${(blob.size / 1e6).toFixed(1)} MB${facts}`;
  $('result').hidden = false;
}

function startRecording() {
  if (source.video.ended) playOrPause();
  try {
    recorder = new Recorder($('after'), sound, source.label.replace(/\.[^.]*$/, ''));
    tell('Recording the stabilized picture.');
  } catch (error) {
    complain(`This browser cannot record the picture: ${error.message}`);
  }
  showButtons();
}

async function stopRecording(text = '') {
  const old = recorder;
  recorder = null;
  showButtons();
  const result = await old.stop();
  if (result.blob.size) offerResult(result, ', recorded as it played');
  tell(result.blob.size ? text || 'The recording is ready.' : 'There was no picture to record.');
}

async function saveFile() {
  const { file, video } = source;
  saving = new AbortController();
  video.pause();
  complain('');
  $('saving').hidden = false;
  showButtons();
  tell(`Saving ${file.name}, every frame of it.`);
  try {
    const progress = (part) => { $('progress').value = part; };
    const result = await saveWhole(file, settings(), progress, saving.signal);
    offerResult(result, `, ${result.frames} frames`);
    tell('The file is ready.');
  } catch (error) {
    tell(saving.signal.aborted ? 'Saving was cancelled.' : 'Nothing was saved.');
    if (!saving.signal.aborted) complain(`${error.message} Record saves it as it plays.`);
  }
  saving = null;
  $('saving').hidden = true;
  showButtons();
}

// ---- beginning ----

function showSplit() {
  $('stage').style.setProperty('--split', `${$('split').value}%`);
  $('split').setAttribute('aria-valuetext', `${Math.round($('split').value)} % before`);
}

const answers = {
  shape: showShape,
  figures: showFigures,
  path: (message) => plot.add(message),
  problem: (message) => end(message.text),
  ended({ dropped }) {
    $('dropped').textContent = dropped;
    tell(`${source.label} has been played to its end.`);
    if (recorder) stopRecording();
    showButtons();
  },
};

function startWorker() {
  worker = new Worker('worker.js', { type: 'module' });
  worker.onmessage = ({ data }) => {
    if (source && data.run === run) answers[data.type](data); // else it is late: of a source that was stopped
  };
  worker.onerror = (event) => {
    end(`The stabilizer could not be started: ${event.message || 'its files are missing.'}`);
  };
  const [before, after] = ['before', 'after'].map((id) => $(id).transferControlToOffscreen());
  worker.postMessage({ type: 'canvases', before, after }, [before, after]);
}

// A hidden page shows no frames of a file, so the file waits. A camera goes on where the browser lets it.
function hiddenOrShown() {
  if (source?.kind !== 'file' || source.video.ended) return;
  if (document.hidden && !source.video.paused) {
    source.video.pause();
    source.waits = true;
    recorder?.pause();
  } else if (!document.hidden && source.waits) {
    source.waits = false;
    recorder?.resume();
    source.video.play().catch(() => {});
  }
}

function acceptDrops() {
  addEventListener('dragover', (event) => { event.preventDefault(); document.body.classList.add('dragging'); });
  addEventListener('dragleave', () => document.body.classList.remove('dragging'));
  addEventListener('drop', (event) => {
    event.preventDefault();
    document.body.classList.remove('dragging');
    const file = event.dataTransfer.files[0];
    if (file) choose(() => openFile(file));
  });
}

function begin() {
  $('screen').hidden = !navigator.mediaDevices?.getDisplayMedia; // phones have none
  $('camera').onclick = () => choose(openCamera);
  $('screen').onclick = () => choose(openScreen);
  $('open').onclick = () => $('file').click();
  $('file').onchange = () => {
    const file = $('file').files[0];
    $('file').value = ''; // so that the same file can be chosen again
    if (file) choose(() => openFile(file));
  };
  $('play').onclick = playOrPause;
  $('stop').onclick = stop;
  $('record').onclick = () => (recorder ? stopRecording() : startRecording());
  $('whole').onclick = saveFile;
  $('cancel').onclick = () => saving?.abort();
  $('split').oninput = showSplit;
  $('view').onchange = (event) => { $('stage').dataset.view = event.target.value; };
  $('settings').oninput = settingsChanged;
  $('settings').onreset = () => setTimeout(settingsChanged); // after the form's own work
  document.addEventListener('visibilitychange', hiddenOrShown);
  setInterval(() => { if (source && performance.now() - heard > 2000) $('rate').textContent = '0'; }, 1000);
  acceptDrops();
  startWorker();
}

showSettings();
const lacks = missing();
if (lacks.length) {
  complain(`This browser lacks ${lacks.join(', ')}. The page needs Chrome 94, Safari 16.4, Firefox 132, or newer.`);
  for (const button of document.querySelectorAll('.sources button')) button.disabled = true;
} else {
  begin();
}
