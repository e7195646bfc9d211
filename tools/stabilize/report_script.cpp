// SPDX-License-Identifier: BSD-2-Clause
#include "stabilize/report_look.h"

// Without it the charts are still pictures of the whole clip.
const char kReportScript[] = R"js(
'use strict';
(() => {
const parse = path => [...path.matchAll(/(-?[\d.]+) (-?[\d.]+)/g)].map(m => [+m[1], +m[2]]);
const charts = [...document.querySelectorAll('.chart.time')].map(figure => {
  const [drawing, marks] = figure.querySelectorAll('svg');
  const lines = [...drawing.querySelectorAll('path')].map(path =>
    ({name: path.getAttribute('class'), points: parse(path.getAttribute('d'))}));
  const [left, top, width, height] = drawing.getAttribute('viewBox').split(' ').map(Number);
  return {figure, drawing, marks, lines, left, top, width, height, plot: figure.querySelector('.plot'),
    out: figure.querySelector('output'), sign: +figure.dataset.sign, least: +figure.dataset.least,
    whole: figure.dataset.whole, unit: figure.dataset.unit};
});
if (!charts.length) return;
const first = charts[0].left, last = first + charts[0].width;
let from = first, to = last;

const round = (span, most) => {
  const power = 10 ** Math.floor(Math.log10(span / most));
  return power * ([1, 2, 5].find(factor => factor * power * most >= span) || 10);
};
const timeStep = (span, most) => span / most <= 5 ? round(span, most) :
  [10, 15, 30, 60, 120, 300, 600, 900, 1800].find(step => step * most >= span) || Math.ceil(span / most / 3600) * 3600;
const number = (value, decimals) => String(+value.toFixed(decimals));
const clock = time => {
  time = Math.round(time * 100) / 100;
  if (time < 60) return number(time, 2) + ' s';
  const minutes = Math.floor(time / 60), rest = number(time % 60, 2), two = text => (parseFloat(text) < 10 ? '0' : '') + text;
  return (minutes >= 60 ? Math.floor(minutes / 60) + ':' + two(String(minutes % 60)) : minutes) + ':' + two(rest);
};
const tick = (chart, look, part, label) => {
  const line = document.createElement('i'), text = document.createElement('b');
  line.className = look;
  line.style[look === 'x' ? 'left' : 'top'] = 100 * part + '%';
  text.textContent = label;
  line.append(text);
  chart.plot.prepend(line);
};
const bound = (points, time) => { // index of the first point that is not earlier
  let low = 0, high = points.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (points[middle][0] < time) low = middle + 1; else high = middle;
  }
  return low;
};
const rows = chart => { // what is seen of the lines, with some room
  if (chart.whole || (from === first && to === last)) return [chart.top, chart.height];
  let least = Infinity, most = -Infinity;
  for (const {points} of chart.lines)
    for (let i = Math.max(bound(points, from) - 1, 0); i < points.length && (points[i][0] <= to || points[i - 1]?.[0] < to); i++) {
      least = Math.min(least, points[i][1]);
      most = Math.max(most, points[i][1]);
    }
  const span = Math.max(most - least, chart.least / 4) * 1.1;
  return [(least + most - span) / 2, span];
};
const draw = () => {
  for (const chart of charts) {
    const [top, height] = rows(chart), width = to - from;
    chart.drawing.setAttribute('viewBox', [from, top, width, height].join(' '));
    chart.marks.setAttribute('viewBox', [from, 0, width, 1].join(' '));
    chart.plot.querySelectorAll('.x, .y').forEach(line => line.remove());
    const across = timeStep(width, Math.max(2, Math.min(9, chart.plot.clientWidth / 80)));
    for (let at = Math.ceil(from / across - 1e-6) * across; at <= to + across / 1e6; at += across)
      tick(chart, 'x', (at - from) / width, clock(at));
    const down = round(height, 5), decimals = Math.max(0, -Math.floor(Math.log10(down) + 1e-9));
    for (let at = Math.ceil(top / down - 1e-9) * down; at <= top + height * (1 + 1e-9); at += down)
      tick(chart, 'y', (at - top) / height, number(chart.sign * at || 0, decimals));
  }
  where.textContent = clock(from) + ' to ' + clock(to);
};
const show = (a, b) => {
  const width = Math.min(Math.max(b - a, Math.min(0.2, last - first)), last - first);
  from = Math.min(Math.max((a + b - width) / 2, first), last - width);
  to = from + width;
  if (to > last - 1e-9) to = last;
  draw();
};
const zoom = (factor, at = (from + to) / 2) => show(at - (at - from) * factor, at + (to - at) * factor);
const move = part => show(from + part * (to - from), to + part * (to - from));
const keys = {'+': () => zoom(0.5), '=': () => zoom(0.5), '-': () => zoom(2), ArrowLeft: () => move(-0.25),
  ArrowRight: () => move(0.25), Home: () => show(first, first + to - from), End: () => show(last - to + from, last),
  '0': () => show(first, last), Escape: () => show(first, last)};

const tools = document.querySelector('.tools'), where = document.createElement('output');
for (const [label, name, key] of [['+', 'Zoom in', '+'], ['\u2212', 'Zoom out', '-'], ['\u2190', 'Earlier', 'ArrowLeft'],
  ['\u2192', 'Later', 'ArrowRight'], ['Whole clip', 'Show the whole clip', '0']]) {
  const button = document.createElement('button');
  button.type = 'button';
  button.textContent = label;
  button.setAttribute('aria-label', name);
  button.title = name;
  button.addEventListener('click', keys[key]);
  tools.append(button);
}
where.setAttribute('aria-live', 'polite');
tools.append(where);
tools.hidden = document.querySelector('.help').hidden = false;

for (const chart of charts) {
  const plot = chart.plot;
  const timeAt = event => {
    const box = plot.getBoundingClientRect();
    return from + Math.min(Math.max((event.clientX - box.left) / box.width, 0), 1) * (to - from);
  };
  const overlay = look => {
    const bar = document.createElement('i');
    bar.className = look;
    bar.hidden = true;
    plot.append(bar);
    return bar;
  };
  const band = overlay('band'), hair = overlay('hair');
  const place = (bar, a, b) => {
    bar.hidden = false;
    bar.style.left = 100 * (a - from) / (to - from) + '%';
    bar.style.width = 100 * (b - a) / (to - from) + '%';
  };
  const tell = time => {
    place(hair, time, time);
    const values = chart.lines.map(({name, points}) => {
      const after = Math.min(bound(points, time), points.length - 1), before = Math.max(after - 1, 0);
      const point = points[time - points[before][0] < points[after][0] - time ? before : after];
      return (chart.lines.length > 1 ? name + ' ' : '') + number(chart.sign * point[1] || 0, 2);
    });
    chart.out.textContent = clock(time) + ': ' + values.join(', ');
  };
  plot.tabIndex = 0;
  plot.setAttribute('role', 'group');
  plot.setAttribute('aria-label', chart.figure.querySelector('title').textContent +
    ': plus and minus zoom, arrows move, 0 shows the whole clip');
  plot.addEventListener('keydown', event => {
    if (!keys[event.key] || event.ctrlKey || event.altKey || event.metaKey) return;
    keys[event.key]();
    event.preventDefault();
  });
  plot.addEventListener('wheel', event => {
    if (document.activeElement !== plot && !event.ctrlKey) return; // the page scrolls
    zoom(event.deltaY < 0 ? 0.8 : 1.25, timeAt(event));
    event.preventDefault();
  }, {passive: false});
  let begin = null;
  plot.addEventListener('pointerdown', event => {
    if (event.button !== 0) return;
    begin = timeAt(event);
    plot.setPointerCapture(event.pointerId);
  });
  plot.addEventListener('pointermove', event => {
    const time = timeAt(event);
    tell(time);
    if (begin !== null) place(band, Math.min(begin, time), Math.max(begin, time));
  });
  plot.addEventListener('pointerup', event => {
    const time = timeAt(event);
    if (begin !== null && Math.abs(time - begin) > 0.01 * (to - from)) show(Math.min(begin, time), Math.max(begin, time));
    begin = null;
    band.hidden = true;
  });
  plot.addEventListener('pointercancel', () => { begin = null; band.hidden = true; });
  plot.addEventListener('pointerleave', () => { hair.hidden = true; chart.out.textContent = ''; });
  plot.addEventListener('dblclick', () => show(first, last));
}
addEventListener('resize', draw);
draw();
})();
)js";
