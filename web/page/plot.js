// SPDX-License-Identifier: BSD-2-Clause
// The path of the picture before and after, over the last frames: one strip for each direction.

const kFrames = 300;
const kFewest = 120; // frames that fill the width: with more the plot becomes denser, until it scrolls
const kLabel = 18; // pixels above a strip for its name
const kLeast = 8; // pixels of path that fill a strip at least: a camera at rest must not look shaky

/** The last frames' paths, and the drawing of them. */
export class PathPlot {
  constructor(canvas) {
    this.canvas = canvas;
    this.points = [];
    this.x = this.y = 0;
    this.wanted = false;
    const again = () => this.draw();
    new ResizeObserver(again).observe(canvas);
    matchMedia('(prefers-color-scheme: dark)').addEventListener('change', again);
  }

  clear() {
    this.points = [];
    this.x = this.y = 0;
    this.draw();
  }

  /** Adds a frame. The sum of the motions is the camera's path; with the compensation it is the output's. */
  add({ dx, dy, shiftX, shiftY, newScene }) {
    if (newScene) this.x = this.y = 0;
    this.x += dx;
    this.y += dy;
    this.points.push({ newScene, before: [this.x, this.y], after: [this.x + shiftX, this.y + shiftY] });
    if (this.points.length > kFrames) this.points.shift();
    if (this.wanted) return;
    this.wanted = true;
    requestAnimationFrame(() => this.draw());
  }

  draw() {
    this.wanted = false;
    const { canvas } = this;
    const scale = devicePixelRatio || 1;
    const width = canvas.clientWidth, height = canvas.clientHeight;
    canvas.width = Math.round(width * scale);
    canvas.height = Math.round(height * scale);
    const pen = canvas.getContext('2d');
    pen.scale(scale, scale);
    const style = getComputedStyle(document.documentElement);
    const colour = (name) => style.getPropertyValue(name).trim();
    const strip = height / 2;
    ['across', 'down'].forEach((name, axis) => {
      const box = { left: 0, top: axis * strip + kLabel, width, height: strip - kLabel };
      this.drawStrip(pen, box, axis, name, colour);
    });
  }

  drawStrip(pen, box, axis, name, colour) {
    const values = this.points.flatMap((p) => [p.before[axis], p.after[axis]]);
    const [least, most] = values.length ? [Math.min(...values), Math.max(...values)] : [0, 0];
    const middle = (least + most) / 2;
    const span = Math.max(most - least, kLeast) * 1.1;
    const at = (value) => box.top + box.height / 2 + ((value - middle) / span) * box.height;
    pen.strokeStyle = colour('--line');
    pen.lineWidth = 1;
    pen.strokeRect(box.left + 0.5, box.top + 0.5, box.width - 1, box.height - 1);
    this.drawLine(pen, box, at, (p) => p.before[axis], colour('--before'), 1.25);
    this.drawLine(pen, box, at, (p) => p.after[axis], colour('--accent'), 2);
    pen.font = '12px system-ui, sans-serif';
    pen.fillStyle = colour('--soft');
    pen.textBaseline = 'top';
    const height = this.points.length ? `, ${Math.round(span)} pixels high` : '';
    pen.fillText(name + height, box.left, box.top - kLabel + 3);
  }

  drawLine(pen, box, at, value, colour, width) {
    pen.beginPath();
    this.points.forEach((point, i) => {
      const x = box.left + (i / Math.max(this.points.length - 1, kFewest)) * box.width;
      if (i === 0 || point.newScene) pen.moveTo(x, at(value(point)));
      else pen.lineTo(x, at(value(point)));
    });
    pen.strokeStyle = colour;
    pen.lineWidth = width;
    pen.lineJoin = 'round';
    pen.stroke();
  }
}
