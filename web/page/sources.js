// SPDX-License-Identifier: BSD-2-Clause
// Where pictures come from: a camera, the screen, or a file. All of them play in a video element that is
// not shown, and each is a record
//
//     {kind, label, video, track, frameRate, file, stop()}
//
// What fails throws an Error whose message is a sentence for the user.

/** Asks for a camera; on a phone for the one at its back. */
export async function openCamera() {
  const stream = await ask(() => navigator.mediaDevices.getUserMedia({
    video: {
      width: { ideal: 1280 }, height: { ideal: 720 }, frameRate: { ideal: 30 }, facingMode: 'environment',
    },
  }), {
    NotAllowedError: 'The browser may not use the camera. Allow it beside the address, then try again.',
    NotFoundError: 'No camera was found.',
    NotReadableError: 'The camera cannot be read. Another program may be using it.',
  });
  return openStream('camera', 'Camera', stream);
}

/** Asks for a screen, a window or a tab. */
export async function openScreen() {
  const stream = await ask(() => navigator.mediaDevices.getDisplayMedia({ video: { frameRate: 30 } }), {
    NotAllowedError: 'No screen was chosen.',
    NotFoundError: 'There is no screen that can be captured.',
    NotReadableError: 'The system does not let the browser capture this screen.',
  });
  return openStream('screen', 'Screen', stream);
}

/** Opens a video file. It begins to play, with its sound, when the page asks it to. */
export async function openFile(file) {
  const video = makeVideo();
  const address = URL.createObjectURL(file);
  const source = {
    kind: 'file', label: file.name, video, track: null, frameRate: 0, file,
    stop() {
      video.pause();
      video.removeAttribute('src');
      video.load();
      URL.revokeObjectURL(address);
    },
  };
  video.src = address;
  try {
    await loaded(video);
    if (!video.videoWidth) throw new Error();
  } catch {
    source.stop();
    throw new Error(`This browser cannot play ${file.name}: it is no video, or of a kind that it does not know.`);
  }
  return source;
}

async function ask(open, sentences) {
  if (!navigator.mediaDevices) throw new Error('Camera and screen need a page from https or localhost.');
  try {
    return await open();
  } catch (error) {
    if (error instanceof TypeError) throw new Error('This browser cannot capture the screen.');
    throw new Error(sentences[error.name] || `The picture could not be opened: ${error.message}`);
  }
}

async function openStream(kind, label, stream) {
  const video = makeVideo();
  const track = stream.getVideoTracks()[0];
  const stop = () => {
    for (const each of stream.getTracks()) each.stop();
    video.srcObject = null;
  };
  video.muted = true;
  video.srcObject = stream;
  try {
    await loaded(video);
    await video.play();
  } catch {
    stop();
    throw new Error(`The ${kind} gives no pictures.`);
  }
  return { kind, label, video, track, frameRate: track.getSettings().frameRate || 0, file: null, stop };
}

function makeVideo() {
  const video = document.createElement('video');
  video.playsInline = true;
  return video;
}

function loaded(video) {
  const patience = 10000; // milliseconds
  return new Promise((resolve, reject) => {
    const late = setTimeout(() => reject(new Error('late')), patience);
    video.onloadedmetadata = () => { clearTimeout(late); resolve(); };
    video.onerror = () => { clearTimeout(late); reject(video.error || new Error('unreadable')); };
  });
}

/**
 * Sends the frames of a source to a worker until the returned function is called. The frames of a track
 * go there without the page's thread where the browser can do that; else the video element hands out
 * each frame that it shows. Frames that the element skipped are told to the worker as well.
 */
export function feed(source, worker) {
  if (source.track && 'MediaStreamTrackProcessor' in window) {
    const { readable } = new MediaStreamTrackProcessor({ track: source.track, maxBufferSize: 3 });
    worker.postMessage({ type: 'stream', readable }, [readable]);
    return () => {}; // ends with the track
  }
  const { video } = source;
  let handle = 0, presented = 0;
  const take = (now, facts) => {
    handle = video.requestVideoFrameCallback(take);
    const skipped = presented ? Math.max(facts.presentedFrames - presented - 1, 0) : 0;
    presented = facts.presentedFrames;
    try {
      const frame = new VideoFrame(video, { timestamp: Math.round(facts.mediaTime * 1e6) });
      worker.postMessage({ type: 'frame', frame, skipped }, [frame]);
    } catch { /* the element has no picture at the moment; the next one will do */ }
  };
  handle = video.requestVideoFrameCallback(take);
  return () => video.cancelVideoFrameCallback(handle);
}
