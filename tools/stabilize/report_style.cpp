// SPDX-License-Identifier: BSD-2-Clause
#include "stabilize/report_look.h"

// Grey and thin is before, coloured and thick is after, in text as well as in charts. What marks
// scenes and doubts differs by its shape.
const char kReportStyle[] = R"css(
:root { color-scheme: light dark; --page: #fff; --panel: #f5f6f8; --text: #1b1f24; --soft: #59616b;
  --line: #d9dde2; --before: #7d858f; --after: #1558b0; --gap: 1rem; }
@media screen and (prefers-color-scheme: dark) {
  :root { --page: #14171a; --panel: #1e2226; --text: #e8eaed; --soft: #a4adb6; --line: #363c43;
    --before: #8e969f; --after: #6cb0ff; }
}
* { box-sizing: border-box; }
[hidden] { display: none !important; }
body { margin: 0; background: var(--page); color: var(--text);
  font: 16px/1.5 system-ui, -apple-system, "Segoe UI", "DejaVu Sans", sans-serif; }
header, main, footer { max-width: 68rem; margin: 0 auto; padding: 0 1.25rem; }
header { padding-top: 2rem; }
h1 { font-size: 1.6rem; line-height: 1.2; margin: 0; overflow-wrap: anywhere; }
h2 { font-size: 1.2rem; margin: 2.5rem 0 .5rem; }
p { margin: .4rem 0; max-width: 46rem; }
.soft, .unit, footer { color: var(--soft); }
.verdict { font-size: 1.15rem; }
.alert { border-left: 4px solid currentColor; padding: .2rem .8rem; font-weight: 600; }
.bars { display: grid; grid-template-columns: auto 1fr; gap: .35rem .8rem; align-items: center;
  margin: 1rem 0; max-width: 46rem; }
.bars i { display: block; height: .95rem; min-width: 3px; border-radius: 2px; }
.bars span { display: flex; align-items: center; gap: .6rem; white-space: nowrap; }
i.before { background: var(--before); } i.after { background: var(--after); }
.numbers { display: grid; grid-template-columns: repeat(auto-fill, minmax(14rem, 1fr)); gap: var(--gap);
  margin: 1rem 0; padding: 0; }
.numbers > div { background: var(--panel); border-radius: 8px; padding: .8rem 1rem; }
.numbers dt { color: var(--soft); font-size: .9rem; }
.numbers dd { margin: 0; font-size: .88rem; color: var(--soft); }
.numbers dd.value { font-size: 1.35rem; font-weight: 600; color: var(--text); }
.numbers small { font-size: .8rem; font-weight: 400; }
.numbers dd b { color: var(--after); }
.keys { display: flex; flex-wrap: wrap; gap: .3rem 1.4rem; font-size: .9rem; margin: .6rem 0; padding: 0;
  list-style: none; }
.keys svg { width: 2rem; height: .9rem; vertical-align: -.12rem; margin-right: .4rem; }
.tools { position: sticky; top: 0; z-index: 2; display: flex; flex-wrap: wrap; gap: .4rem; align-items: center;
  padding: .5rem 0; background: var(--page); }
.tools output { margin-left: .5rem; font-variant-numeric: tabular-nums; color: var(--soft); }
button { font: inherit; font-size: .9rem; color: inherit; background: var(--panel); padding: .2rem .7rem;
  border: 1px solid var(--line); border-radius: 6px; cursor: pointer; }
button:hover { border-color: var(--soft); }
:focus-visible { outline: 3px solid var(--after); outline-offset: 2px; }
figure { margin: 1rem 0 1.6rem; break-inside: avoid; }
figcaption { font-size: .95rem; font-weight: 600; margin-bottom: .3rem; }
figcaption .unit { font-weight: 400; }
figcaption output { float: right; font-weight: 400; font-variant-numeric: tabular-nums; }
.plot { position: relative; height: 13rem; margin: 0 .8rem 1.8rem 3.6rem; border: 1px solid var(--line); }
.time .plot { cursor: crosshair; touch-action: pan-y; }
.plot svg { position: absolute; inset: 0; width: 100%; height: 100%; pointer-events: none; }
.plot path { fill: none; vector-effect: non-scaling-stroke; stroke-linejoin: round; }
.plot > i { position: absolute; font-style: normal; }
.plot b { position: absolute; font-size: .8rem; font-weight: 400; color: var(--soft); white-space: nowrap;
  line-height: 1; font-variant-numeric: tabular-nums; }
i.x { top: 0; bottom: 0; border-left: 1px solid var(--line); }
i.x b { top: 100%; margin-top: .45rem; transform: translateX(-50%); }
i.y { left: 0; right: 0; border-top: 1px solid var(--line); }
i.y b { right: 100%; margin-right: .5rem; transform: translateY(-50%); }
.plot .band { top: 0; bottom: 0; background: var(--after); opacity: .18; }
.plot .hair { top: 0; bottom: 0; border-left: 1px solid var(--text); }
path.before { stroke: var(--before); stroke-width: 1.3; fill: none; }
path.after { stroke: var(--after); stroke-width: 2.2; fill: none; }
path.scene { stroke: var(--text); stroke-width: 1.2; stroke-dasharray: 5 4; }
path.doubt { stroke: var(--text); stroke-width: 1.5; }
rect { fill: var(--after); }
.frames { list-style: none; display: grid; grid-template-columns: repeat(auto-fill, minmax(20.5rem, 1fr));
  gap: var(--gap); padding: 0; }
.frames li { background: var(--panel); border-radius: 8px; padding: .7rem; break-inside: avoid; }
.frames .pair { display: flex; gap: .5rem; }
.frames span { flex: 0 1 160px; font-size: .8rem; color: var(--soft); }
.frames img { display: block; max-width: 100%; height: auto; }
.frames p { font-size: .9rem; margin: .4rem 0 0; }
.tables { display: grid; grid-template-columns: repeat(auto-fit, minmax(min(20rem, 100%), 1fr)); gap: 0 2.5rem;
  align-items: start; }
table { border-collapse: collapse; width: 100%; font-size: .92rem; margin: .8rem 0; }
caption { text-align: left; font-weight: 600; padding: .3rem 0; }
th, td { text-align: left; vertical-align: top; padding: .3rem .6rem .3rem 0; border-top: 1px solid var(--line);
  overflow-wrap: anywhere; }
th { font-weight: 400; color: var(--soft); width: 7.5rem; }
footer { font-size: .85rem; padding-top: 1.5rem; padding-bottom: 2rem; }
@media (max-width: 30rem) { .frames { grid-template-columns: 1fr; } .plot { margin-left: 2.8rem; } }
@media print {
  @page { margin: 14mm; }
  body { font-size: 10.5pt; }
  header, main, footer { max-width: none; padding: 0; }
  .tools, .help, figcaption output { display: none; }
  .plot { height: 42mm; }
  .numbers { grid-template-columns: repeat(3, 1fr); }
  .frames { grid-template-columns: repeat(2, 1fr); }
  .numbers > div, tr { break-inside: avoid; }
  h2, section > p, .keys { break-after: avoid; }
  * { print-color-adjust: exact; -webkit-print-color-adjust: exact; }
}
)css";
