// SPDX-License-Identifier: BSD-2-Clause
// Finds, compiles and starts the WebAssembly module, and gives access to its memory. Each stabilizer has an
// instance of its own, whose memory is released when nothing refers to the stabilizer any more.

// A function with one vector instruction: engines without them refuse it.
const vectorProbe = new Uint8Array([
  0, 97, 115, 109, 1, 0, 0, 0, 1, 5, 1, 96, 0, 1, 123, 3, 2, 1, 0, 10, 10, 1, 8, 0, 65, 0, 253, 15, 253, 98, 11,
]);

/** Where the module for this engine lies, beside this file. */
export function moduleUrl() {
  return WebAssembly.validate(vectorProbe)
    ? new URL('./quorvel-simd.wasm', import.meta.url)
    : new URL('./quorvel-portable.wasm', import.meta.url);
}

async function read(url) {
  if (url.protocol === 'file:' && globalThis.process?.versions?.node) {
    const files = 'node:fs/promises'; // in a variable: bundlers for browsers leave it alone
    const { readFile } = await import(files);
    return readFile(url);
  }
  const response = await fetch(url);
  if (!response.ok) throw new Error(`${url}: ${response.status} ${response.statusText}`);
  return response.arrayBuffer();
}

const compiled = new Map(); // by address

function compile(source) {
  if (source instanceof WebAssembly.Module) return source;
  if (source instanceof ArrayBuffer || ArrayBuffer.isView(source)) return WebAssembly.compile(source);
  const url = new URL(source, globalThis.location?.href ?? import.meta.url);
  if (!compiled.has(url.href)) {
    const module = read(url).then((bytes) => WebAssembly.compile(bytes));
    module.catch(() => compiled.delete(url.href)); // the next stabilizer tries again
    compiled.set(url.href, module);
  }
  return compiled.get(url.href);
}

// The module imports a few system calls of the C library. It never makes one: it has no files and no threads.
function noSystem(module) {
  const imports = {};
  for (const { module: from, name, kind } of WebAssembly.Module.imports(module)) {
    imports[from] ??= {};
    if (kind === 'function') imports[from][name] = () => 0;
  }
  return imports;
}

/** Calls of web/module.cpp, and views of its memory. A view is good until the next call: memory may grow. */
export class Instance {
  static async start(source = moduleUrl()) {
    const module = await compile(source);
    const instance = await WebAssembly.instantiate(module, noSystem(module));
    return new Instance(instance.exports);
  }

  constructor(exports) {
    this.calls = exports;
    exports._initialize();
  }

  /** Makes the stream; false: not enough memory. */
  create(settings) {
    this.words(this.calls.WebSettings(), settings.length).set(settings);
    return this.calls.WebCreate() === 1;
  }

  bytes(address, length) {
    return new Uint8Array(this.calls.memory.buffer, address >>> 0, length);
  }

  words(address, length) {
    return new Int32Array(this.calls.memory.buffer, address >>> 0, length);
  }
}
