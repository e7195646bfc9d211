// SPDX-License-Identifier: BSD-2-Clause
// Saves a whole file: every frame of it, at its own times, with its sound as it is. whole_worker.js works.

/**
 * Resolves to {blob, name, frames}, or rejects with a sentence that says why not. Each call has a worker
 * of its own, which ends with it or at the signal.
 */
export function saveWhole(file, settings, progress, signal) {
  const worker = new Worker('whole_worker.js', { type: 'module' });
  const name = `${file.name.replace(/\.[^.]*$/, '')}-steady.mp4`;
  const result = new Promise((resolve, reject) => {
    const fail = (text) => reject(new Error(`${file.name} cannot be saved as a whole: ${text}.`));
    worker.onerror = (event) => fail(event.message || 'the files of the page are missing');
    worker.onmessage = ({ data }) => {
      if (data.type === 'progress') progress(data.part);
      else if (data.type === 'done') resolve({ blob: data.blob, frames: data.frames, name });
      else fail(data.text);
    };
    signal.addEventListener('abort', () => reject(new Error('cancelled')));
  });
  worker.postMessage({ file, settings });
  return result.finally(() => worker.terminate());
}
