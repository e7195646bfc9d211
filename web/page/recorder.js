// SPDX-License-Identifier: BSD-2-Clause
// Records the stabilized picture in real time, with the sound of a file.

const kTypes = [
  'video/mp4;codecs=avc1.640028,mp4a.40.2', 'video/mp4;codecs=avc1.640028,opus', 'video/webm;codecs=vp9,opus',
  'video/webm;codecs=vp8,opus', 'video/webm', 'video/mp4',
];

/** The first kind of file that this browser records, or null where it records none. */
export function recordedType() {
  if (!('MediaRecorder' in window)) return null;
  return kTypes.find((type) => MediaRecorder.isTypeSupported(type)) || null;
}

/**
 * Plays the sound of a video element as late as its picture. One for each element: an element has one
 * such outlet for life.
 */
export class Sound {
  constructor(video) {
    this.context = new AudioContext();
    this.delay = this.context.createDelay(10);
    this.outlet = this.context.createMediaStreamDestination();
    this.context.createMediaElementSource(video).connect(this.delay);
    this.delay.connect(this.context.destination);
    this.delay.connect(this.outlet);
  }

  setDelay(seconds) { this.delay.delayTime.value = seconds; }
  resume() { return this.context.resume(); }
  close() { return this.context.close(); }
  get tracks() { return this.outlet.stream.getAudioTracks(); }
}

/** Records a canvas; stop() gives {blob, name}. */
export class Recorder {
  constructor(canvas, sound, name) {
    const type = recordedType();
    const stream = canvas.captureStream();
    for (const track of sound ? sound.tracks : []) stream.addTrack(track);
    this.video = stream.getVideoTracks()[0];
    this.name = `${name}-steady.${type.includes('mp4') ? 'mp4' : 'webm'}`;
    this.parts = [];
    const pixels = canvas.width * canvas.height;
    this.recorder = new MediaRecorder(stream, { mimeType: type, videoBitsPerSecond: Math.max(2e6, pixels * 6) });
    this.recorder.ondataavailable = (event) => this.parts.push(event.data);
    this.ended = new Promise((resolve) => { this.recorder.onstop = resolve; });
    this.recorder.start(1000);
  }

  pause() { if (this.recorder.state === 'recording') this.recorder.pause(); }
  resume() { if (this.recorder.state === 'paused') this.recorder.resume(); }

  async stop() {
    if (this.recorder.state !== 'inactive') this.recorder.stop();
    await this.ended;
    this.video.stop();
    const type = this.recorder.mimeType.split(';')[0];
    return { blob: new Blob(this.parts, { type }), name: this.name };
  }
}
