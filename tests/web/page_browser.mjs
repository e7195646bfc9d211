// SPDX-License-Identifier: BSD-2-Clause
// What the test of the page and its pictures share: a server, and Chromium with the page open.
import { createServer } from 'node:http';
import { mkdtempSync, readFileSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join, normalize } from 'node:path';
import puppeteer from 'puppeteer-core';

const types = {
  html: 'text/html', css: 'text/css', js: 'text/javascript', svg: 'image/svg+xml', wasm: 'application/wasm',
};

/** Serves a folder, and another one below /clips/. */
export async function serve(folder, clips) {
  const server = createServer((request, answer) => {
    let path = normalize(decodeURIComponent(request.url.split('?')[0]));
    if (path === '/') path = '/index.html';
    const file = path.startsWith('/clips/') ? join(clips, path.slice(7)) : join(folder, path);
    try {
      const bytes = readFileSync(file);
      answer.writeHead(200, { 'content-type': types[file.split('.').pop()] || 'application/octet-stream' });
      answer.end(bytes);
    } catch {
      answer.writeHead(404).end();
    }
  });
  await new Promise((resolve) => server.listen(0, '127.0.0.1', resolve));
  return { origin: `http://localhost:${server.address().port}`, close: () => server.close() };
}

/** Chromium with a camera that plays a file. */
export async function launch(chromium, camera) {
  const folder = mkdtempSync(join(tmpdir(), 'page-test-'));
  const browser = await puppeteer.launch({
    executablePath: chromium, headless: true, userDataDir: folder, timeout: 20000,
    args: ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
      '--disable-component-update', '--disable-sync', '--use-fake-ui-for-media-stream', '--mute-audio',
      '--use-fake-device-for-media-stream',
      `--use-file-for-fake-video-capture=${camera}`],
  });
  const close = async () => {
    await browser.close();
    rmSync(folder, { recursive: true, force: true });
  };
  return { browser, close, folder };
}

/** Opens the page. What goes wrong, or leaves the served folder, is added to `problems`. */
export async function open(browser, origin, problems, { prepare, size = [1280, 900], dark = false } = {}) {
  const page = await browser.newPage();
  await page.setViewport({ width: size[0], height: size[1] });
  await page.emulateMediaFeatures([{ name: 'prefers-color-scheme', value: dark ? 'dark' : 'light' }]);
  page.on('pageerror', (error) => problems.push(`page error: ${error.message}`));
  page.on('console', (line) => {
    if (['error', 'warn'].includes(line.type())) problems.push(`console: ${line.text()}`);
  });
  page.on('request', (request) => {
    const { protocol, origin: from } = new URL(request.url());
    if (from !== origin && !['blob:', 'data:'].includes(protocol)) problems.push(`request to ${request.url()}`);
  });
  page.on('requestfailed', (request) => { // a file that is closed while it loads is no failure
    if (!request.url().startsWith('blob:')) problems.push(`failed: ${request.url()}`);
  });
  page.on('response', (answer) => {
    if (answer.status() >= 400) problems.push(`${answer.status()}: ${answer.url()}`);
  });
  if (prepare) await page.evaluateOnNewDocument(prepare);
  await page.goto(origin);
  return page;
}

/** Drops a clip of the server on the page, as a user would. */
export async function drop(page, name) {
  await page.evaluate(async (file) => {
    const blob = await (await fetch(`clips/${file}`)).blob();
    const dataTransfer = new DataTransfer();
    dataTransfer.items.add(new File([blob], file));
    dispatchEvent(new DragEvent('drop', { dataTransfer, cancelable: true }));
  }, name);
}

/** Waits until a function of the page is true; `what` names it where it never is. */
export async function until(page, what, test, ...values) {
  try {
    return await page.waitForFunction(test, { timeout: 15000, polling: 50 }, ...values);
  } catch {
    const seen = await page.$$eval('#status, #problem, dd', (all) => all.map((each) => each.textContent));
    throw new Error(`${what}; the page shows ${seen.join(' | ')}`);
  }
}
