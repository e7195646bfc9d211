#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# docs/figures/web.sh: takes web.png, a picture of the page with a real clip, anew. Needs chromium, npm and
# ffmpeg, and what tests/web/page_test.sh has installed in build/web/page-test.
set -euo pipefail
cd "$(dirname "$0")/../.."
work=build/web/page-test
web/serve.sh --files
cp tests/web/page_browser.mjs $work/
cat >$work/picture.mjs <<'SCRIPT'
import { drop, launch, open, serve, until } from './page_browser.mjs';

const { origin, close: closeServer } = await serve('build/web/page', 'examples/clips');
const { browser, close } = await launch(process.argv[2], '');
const page = await open(browser, origin, [], { size: [1180, 870] });
await page.$eval('#lookahead', (input) => { input.value = 1; input.dispatchEvent(new Event('input', { bubbles: true })); });
await drop(page, 'car.mp4');
await until(page, 'the clip does not play', () => parseFloat(document.getElementById('rate').textContent) > 20);
await new Promise((resolve) => setTimeout(resolve, 3700));
await page.screenshot({ path: process.argv[3] });
await close();
closeServer();
SCRIPT
node $work/picture.mjs "$(command -v chromium)" $work/page.png
ffmpeg -v error -y -i $work/page.png -vf 'split[a][b];[a]palettegen=160[p];[b][p]paletteuse=dither=none' \
    -frames:v 1 docs/figures/web.png
size=$(stat -c %s docs/figures/web.png)
echo "docs/figures/web.png: $size bytes"
((size < 300000)) || { echo "too large for the repository"; exit 1; }
