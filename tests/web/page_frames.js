// SPDX-License-Identifier: BSD-2-Clause
// A worker of the page's test: plays packed frames of a file through the module.
//
// Messages in:  {clip, options} plays a file once; {rounds, calls} plays it again, outputs unread. Without
//               `calls` frames are only put into the module's memory.
// Messages out: {hash}, the SHA-256 of all outputs of the first time; {} after the rounds; or {error}.
import { Stabilizer } from '/module/quorvel-stabilizer.js';
import { Instance } from '/module/wasm.js';

let instance = null, frames = [];

// The stabilizer keeps its instance to itself.
const start = Instance.start;
Instance.start = async (source) => (instance = await start.call(Instance, source));

async function first({ clip, options }) {
  const bytes = new Uint8Array(await (await fetch(clip)).arrayBuffer());
  const stabilizer = await Stabilizer.create(options);
  const size = stabilizer.frameBytes;
  frames = Array.from({ length: bytes.length / size }, (_, i) => bytes.subarray(i * size, (i + 1) * size));
  const outputs = [];
  for (const frame of frames) outputs.push(...(await stabilizer.push(frame)));
  outputs.push(...(await stabilizer.flush()));
  const all = await new Blob(outputs.map((each) => each.frame)).arrayBuffer();
  const hash = new Uint8Array(await crypto.subtle.digest('SHA-256', all));
  return { hash: [...hash].map((byte) => byte.toString(16).padStart(2, '0')).join('') };
}

function again({ rounds, calls }) {
  const { WebInput, WebPush, WebPull } = instance.calls;
  for (let i = 0; i < rounds * frames.length; i++) {
    const frame = frames[i % frames.length];
    instance.bytes(WebInput(), frame.length).set(frame);
    if (calls && !(WebPush() && WebPull() === 1)) throw new Error('a frame failed');
  }
  return {};
}

onmessage = async ({ data }) => {
  try {
    postMessage(await (data.clip ? first(data) : again(data)));
  } catch (error) {
    postMessage({ error: error.message });
  }
};
