#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""The page of quorvel-stabilize --report in a browser: it zooms, fits, follows light and dark, and can be printed.

    check_report.py TOOL CLIPGEN
"""
import html
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

TOOL, CLIPGEN = sys.argv[1:3]
CHROMIUM = shutil.which("chromium") or shutil.which("chromium-browser") or shutil.which("google-chrome")
failures = []

# Errors are caught from the first script on; the probe plays a user, and leaves what it saw in the page.
LISTEN = """<script>
window.faults = [];
addEventListener('error', event => faults.push(event.message));
console.error = console.warn = text => faults.push(text);
</script>"""
PROBE = """<script>
const chart = document.querySelector('.chart.time'), plot = chart.querySelector('.plot'), seen = {};
const box = plot.getBoundingClientRect();
const view = () => [...document.querySelectorAll('.chart.time svg:first-of-type')].map(
  svg => svg.getAttribute('viewBox').split(' ').map(Number));
const key = name => plot.dispatchEvent(new KeyboardEvent('keydown', {key: name, bubbles: true, cancelable: true}));
const point = (kind, part) => plot.dispatchEvent(new PointerEvent(kind,
  {clientX: box.left + box.width * part, clientY: box.top + 9, pointerId: 1, bubbles: true}));
const note = name => seen[name] = view();
const wheel = () => plot.dispatchEvent(new WheelEvent('wheel',
  {deltaY: -100, clientX: box.left + box.width / 2, bubbles: true, cancelable: true}));
plot.setPointerCapture = () => {}; // there is no real pointer
note('whole'); wheel(); note('unfocused'); plot.focus();
wheel(); note('wheel'); key('0'); note('reset');
key('+'); note('plus'); key('ArrowRight'); note('right'); key('-'); key('-'); note('minus');
point('pointerdown', 0.25); point('pointermove', 0.5);
seen.told = chart.querySelector('output').textContent;
point('pointerup', 0.5); note('drag');
document.querySelector('.tools button:last-of-type').click(); note('button');
seen.faults = faults;
seen.labels = [...plot.querySelectorAll('i b')].map(label => label.textContent);
seen.page = getComputedStyle(document.body).backgroundColor;
seen.text = getComputedStyle(document.body).color;
seen.wide = document.documentElement.scrollWidth - innerWidth;
seen.pictures = [...document.images].map(image => image.naturalWidth);
document.documentElement.dataset.seen = JSON.stringify(seen);
</script>"""


def check(condition, what):
    if not condition:
        failures.append(what)
        print("FAILED:", what)


def browse(*args):
    with tempfile.TemporaryDirectory() as profile:
        return subprocess.run(
            [CHROMIUM, "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
             "--disable-background-networking", "--disable-component-update", "--disable-sync",
             f"--user-data-dir={profile}", *args], check=True, capture_output=True, text=True, timeout=120).stdout


def visit(*args):
    """What the probe saw."""
    return json.loads(html.unescape(re.search(r'data-seen="([^"]*)"', browse(*args, "--dump-dom", pathlib.Path("probe.html").absolute().as_uri()))[1]))


def brightness(colour):
    return sum(map(int, re.findall(r"\d+", colour)[:3])) / 3


def zooming(seen):
    first, width = seen["whole"][0][0], seen["whole"][0][2]

    def shows(name, begin, part):
        for view in seen[name]:  # all charts show the same time
            off = max(abs(view[0] - first - begin * width), abs(view[2] - part * width))
            check(off < 0.01 * width, f"{name}: {view} of {first} to {first + width}")

    for name, begin, part in [("unfocused", 0, 1), ("wheel", 0.1, 0.8), ("reset", 0, 1), ("plus", 0.25, 0.5), ("right", 0.375, 0.5),
                              ("minus", 0, 1), ("drag", 0.25, 0.25), ("button", 0, 1)]:
        shows(name, begin, part)
    check(seen["button"] == seen["whole"], "the whole clip looks different after a zoom")
    check(seen["drag"][0][3] < seen["whole"][0][3], "the values' scale does not follow a zoom")
    check(re.fullmatch(r"[\d.]+ s: before -?[\d.]+, after -?[\d.]+", seen["told"]), f"values: {seen['told']}")
    check(sum(label.endswith(" s") for label in seen["labels"]) >= 3 and len(seen["labels"]) < 25, f"labels: {seen['labels']}")


def main():
    subprocess.run([CLIPGEN, "--size", "320x240", "--frames", "120", "--shake", "5", "--cut", "60", "clip.y4m"], check=True)
    subprocess.run([TOOL, "--quiet", "--dry-run", "--report", "report.html", "clip.y4m"], check=True)
    page = pathlib.Path("report.html").read_text()
    pathlib.Path("probe.html").write_text(page.replace("<head>", "<head>" + LISTEN, 1).replace("</body>", PROBE + "</body>", 1))
    light = visit("--window-size=1200,900", "--blink-settings=preferredColorScheme=1")
    dark = visit("--window-size=500,900", "--blink-settings=preferredColorScheme=0")
    for seen in (light, dark):
        check(not seen["faults"], f"errors: {seen['faults']}")
        check(seen["wide"] <= 0, f"{seen['wide']} pixels wider than the window")
        check(len(seen["pictures"]) >= 2 and set(seen["pictures"]) == {160}, f"pictures: {seen['pictures']}")
        zooming(seen)
    check(brightness(light["page"]) > 200 > 100 > brightness(light["text"]), f"light: {light['page']}")
    check(brightness(dark["page"]) < 60 < 200 < brightness(dark["text"]), f"dark: {dark['page']}")
    browse("--print-to-pdf=page.pdf", pathlib.Path("report.html").absolute().as_uri())
    check(pathlib.Path("page.pdf").read_bytes().startswith(b"%PDF"), "the printed page")


if not CHROMIUM:
    print("SKIPPED: there is no chromium")
    sys.exit(77)
with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    main()
    os.chdir("/")
sys.exit(1 if failures else 0)
