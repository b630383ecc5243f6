// What the page costs its browser while a run is on, at two device pixels per pixel:
//
//     TVN_PAGE=<assembled index.html> node benchmarks/page_bench.mjs
//
// A minute of snapshots comes over the stream, twenty a second, with charts as full as the program
// makes them, while the browser traces its main thread: once with numbers that change every second,
// once as a replay at 8x sends them, where elapsed time and slider move every time. Then an hour of
// them is fed as fast as the page takes them, and the heap is read after a garbage collection. On
// Linux WebKitGTK, without a graphics card, then shows a countdown and both of these for 20 s each.
// ./bench page does all of it. TVN_BENCH_SECONDS and TVN_BENCH_MINUTES shorten the parts.

import { readdirSync, readFileSync } from "node:fs";

import { launch_browser, open_page } from "../tests/page/browser.mjs";
import { make_engine_page } from "../tests/page/engine_page.mjs";
import { open_webkit } from "../tests/page/engines.mjs";
import { start_replay } from "../tests/page/fixture.mjs";
import { start_scripted_server } from "../tests/page/scripted_server.mjs";
import { session_at } from "../tests/page/signals.mjs";

const SECONDS = Number(process.env.TVN_BENCH_SECONDS || 60);
const MINUTES = Math.max(2, Number(process.env.TVN_BENCH_MINUTES || 60));
const SNAPSHOT_MS = 50;
const WEBKIT_SECONDS = 20;
const REPLAY_SPEED = 8;
// The program thins its series out to between 600 and this many points.
const MOST_POINTS = 1199;

// The tasks of the page's main thread: start, duration and processor time in milliseconds. The
// processor time leaves out what other programs took in between.
function main_thread_tasks(trace) {
  const { traceEvents } = JSON.parse(trace.toString());
  const threads = traceEvents.filter(({ name, args }) =>
    name === "thread_name" && args.name === "CrRendererMain");
  const tasks = traceEvents.filter(({ name, ph, pid, tid }) =>
    name === "ThreadControllerImpl::RunTask" && ph === "X" &&
    threads.some((thread) => thread.pid === pid && thread.tid === tid));
  // A browser has such a thread for each page it holds; the busiest is the one.
  const of_each = threads.map(({ pid }) => tasks.filter((task) => task.pid === pid));
  const [busiest] = of_each.sort((a, b) => b.length - a.length);
  return busiest.map(({ ts, dur = 0, tdur = dur }) =>
    ({ at: ts / 1000, ms: dur / 1000, cpu_ms: tdur / 1000 }));
}

// Processor time of the main thread per slot of one snapshot.
function time_per_snapshot(tasks) {
  const start = Math.min(...tasks.map(({ at }) => at));
  const slots = Array(Math.floor(SECONDS * 1000 / SNAPSHOT_MS)).fill(0);
  for (const { at, cpu_ms } of tasks) {
    const slot = Math.floor((at - start) / SNAPSHOT_MS);
    if (slot < slots.length) slots[slot] += cpu_ms;
  }
  return slots.filter((ms) => ms > 0).sort((a, b) => a - b);
}

function countdown_snapshot(n) {
  return session_at(8 + n * SNAPSHOT_MS / 1000);
}

// The n-th snapshot of a minute. The series change once a second, as an analysis pass comes then,
// the ECG always.
function calm_snapshot(n) {
  const elapsed = 200 + n * SNAPSHOT_MS / 1000;
  return { ...session_at(Math.floor(elapsed), {}, MOST_POINTS), ecg: session_at(elapsed, {}, 1).ecg,
           elapsed };
}

function replay_snapshot(n) {
  const elapsed = 200 + REPLAY_SPEED * n * SNAPSHOT_MS / 1000;
  const analysed = session_at(200 + REPLAY_SPEED * Math.floor(n * SNAPSHOT_MS / 1000), {},
                              MOST_POINTS);
  const { ecg, frac, cycles_done } = session_at(elapsed, {}, 1);
  return { ...analysed, ecg, cycles_done, frac: frac % 1, elapsed: Math.round(elapsed * 100) / 100 };
}

async function push_for(seconds, server, snapshot_at) {
  const begin = performance.now();
  for (let n = 0; n < seconds * 1000 / SNAPSHOT_MS; ++n) {
    server.push(snapshot_at(n));
    const wait = begin + (n + 1) * SNAPSHOT_MS - performance.now();
    if (wait > 0) await new Promise((next) => setTimeout(next, wait));
  }
}

// A minute in real time.
async function real_time(browser, page, server, snapshot_at) {
  await page.waitForTimeout(1000);  // what follows the click on Start closely is not counted
  await page.evaluate(() => {
    window.shifts = 0;
    window.observer?.disconnect();
    window.observer = new PerformanceObserver((list) => {
      for (const { value } of list.getEntries()) window.shifts += value;
    });
    observer.observe({ type: "layout-shift" });
  });
  await browser.startTracing(page, { categories: ["toplevel"] });
  await push_for(SECONDS, server, snapshot_at);
  const tasks = main_thread_tasks(await browser.stopTracing());
  return { tasks, shifts: await page.evaluate(() => window.shifts) };
}

async function heap_kb(devtools) {
  await devtools.send("HeapProfiler.collectGarbage");
  return (await devtools.send("Runtime.getHeapUsage")).usedSize / 1024;
}

// The hour, fed fast: heap and document nodes after a tenth of it and at its end.
async function fast_hour(page) {
  const devtools = await page.context().newCDPSession(page);
  await devtools.send("Performance.enable");
  const texts = Array.from({ length: 20 }, (_, n) =>
    JSON.stringify(session_at(200 + n / 20, {}, MOST_POINTS)));
  await page.evaluate((all) => { window.texts = all; }, texts);
  const readings = [];
  for (let minute = 1; minute <= MINUTES; ++minute) {
    await page.evaluate(() => {
      for (let n = 0; n < 1200; ++n) {
        stream.onmessage({ data: texts[n % texts.length] });
        paint();
      }
    });
    if (minute === Math.ceil(MINUTES / 10) || minute === MINUTES) {
      const kb = await heap_kb(devtools);
      const { metrics } = await devtools.send("Performance.getMetrics");
      readings.push({ kb, nodes: metrics.find(({ name }) => name === "Nodes").value });
    }
  }
  return readings;
}

// Processor time, in seconds, of what WebKit draws pages with. A tick is a hundredth of a second.
function webkit_time_s() {
  const stats = readdirSync("/proc").filter(Number).map((pid) => {
    try {
      return readFileSync(`/proc/${pid}/stat`, "utf8");
    } catch {
      return "";  // it has ended meanwhile
    }
  });
  const ticks = stats.filter((stat) => stat.includes("(WebKitWebProces)")).map((stat) =>
    stat.slice(stat.lastIndexOf(")")).split(" ").slice(12, 14).map(Number));
  return ticks.flat().reduce((sum, part) => sum + part, 0) / 100;
}

async function share_in_webkit(server) {
  const window = await open_webkit();
  await window.resize(1280, 720);
  await window.go(server.address);
  await start_replay(make_engine_page(window), server);
  const shares = [];
  for (const snapshot_at of [countdown_snapshot, calm_snapshot, replay_snapshot]) {
    await push_for(4, server, snapshot_at);  // its compilers have seen it then
    const before_s = webkit_time_s();
    await push_for(WEBKIT_SECONDS, server, snapshot_at);
    shares.push(((webkit_time_s() - before_s) / WEBKIT_SECONDS * 100).toFixed(0) + " %");
  }
  await window.end();
  return shares;
}

const server = await start_scripted_server(process.env.TVN_PAGE);
const browser = await launch_browser();
const page = await open_page(browser, server.address, { deviceScaleFactor: 2 });
await page.waitForFunction(() => document.querySelector("#recording optgroup"));
await start_replay(page, server);

const rows = [];
for (const [name, snapshot_at] of [["", calm_snapshot], [`${REPLAY_SPEED}x: `, replay_snapshot]]) {
  const { tasks, shifts } = await real_time(browser, page, server, snapshot_at);
  const slots = time_per_snapshot(tasks);
  const share = (part) => slots[Math.floor(slots.length * part)].toFixed(2) + " ms";
  const longest = (what) => Math.max(...tasks.map((task) => task[what])).toFixed(1) + " ms";
  rows.push(
    [name + "main thread per snapshot, median", share(0.5), "below 4 ms"],
    [name + "main thread per snapshot, 99 in 100", share(0.99), ""],
    [name + `longest task in ${SECONDS} s`, longest("ms"), "below 50 ms"],
    [name + "longest by processor time", longest("cpu_ms"), ""],
    [name + `layout shift in ${SECONDS} s`, shifts.toFixed(4), "0"]);
}
const [early, late] = await fast_hour(page);
rows.push(
  [`heap after ${MINUTES / 10} and ${MINUTES} min`,
   `${early.kb.toFixed(0)} and ${late.kb.toFixed(0)} KB`, "no growth"],
  ["document nodes then", `${early.nodes} and ${late.nodes}`, "no growth"]);
await page.context().close();
if (process.platform === "linux") {
  const [countdown, calm, replay] = await share_in_webkit(server);
  rows.push(["WebKitGTK, share of a core: countdown", countdown, "below 50 %"],
            ["WebKitGTK, later", calm, "below 50 %"],
            [`WebKitGTK, replay at ${REPLAY_SPEED}x`, replay, "below 50 %"]);
}
for (const [what, found, limit] of rows) {
  console.log(what.padEnd(42) + found.padEnd(22) + limit);
}
await browser.close();
await server.close();
