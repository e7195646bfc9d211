// SPDX-License-Identifier: BSD-2-Clause
// A worker of the page's test: plays packed frames of a file through the module.
//
// Message in: {clip, rounds, options}. Message out: {hash, milliseconds}: the SHA-256 of all outputs of the
// first round, and the median time of a frame of the later ones.
import { Stabilizer } from '/module/quorvel-stabilizer.js';

async function play(clip, options, rounds) {
    const bytes = new Uint8Array(await (await fetch(clip)).arrayBuffer());
    const stabilizer = await Stabilizer.create(options);
    const frame = (i) => bytes.subarray(i * stabilizer.frameBytes, (i + 1) * stabilizer.frameBytes);
    const frames = bytes.length / stabilizer.frameBytes;
    const outputs = [], times = [];
    const keep = (ready) => outputs.push(...ready.map((each) => each.frame));
    for (let i = 0; i < frames; i++) keep(await stabilizer.push(frame(i)));
    if (rounds === 1) keep(await stabilizer.flush());
    const hash = await crypto.subtle.digest('SHA-256', await new Blob(outputs).arrayBuffer());
    for (let i = 0; i < frames * (rounds - 1); i++) {
        const start = performance.now();
        await stabilizer.push(frame(i % frames));
        times.push(performance.now() - start);
    }
    const hex = [...new Uint8Array(hash)].map((byte) => byte.toString(16).padStart(2, '0')).join('');
    return { hash: hex, milliseconds: times.sort((a, b) => a - b)[times.length >> 1] };
}

onmessage = async ({ data: { clip, options, rounds } }) => {
    try {
        postMessage(await play(clip, options, rounds));
    } catch (error) {
        postMessage({ error: error.message });
    }
};
