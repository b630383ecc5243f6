// A person's way through the page in the two engines that the other tests do not use, against the
// real program: setup, a run, a marker, saving, the pictures.

import assert from "node:assert/strict";
import { after, before, test } from "node:test";
import { eventually } from "./browser.mjs";
import { open_firefox, open_webkit } from "./engines.mjs";
import { start_program } from "./real_program.mjs";

let address, end;
before(async () => {
  ({ address, end } = await start_program(process.env.TVN_PROGRAM, 19300));
}, { timeout: 60_000 });
after(() => end?.());

const text_of = (window, id) =>
  window.run("return document.getElementById(arguments[0]).textContent.trim()", id);

const text_becomes = (window, id, expected, within_ms = 15_000) => eventually(async () => {
  const text = await text_of(window, id);
  if (expected instanceof RegExp) assert.match(text, expected);
  else assert.equal(text, expected);
}, within_ms);

const pixels_drawn = (window, id) => window.run(`
  const canvas = document.getElementById(arguments[0]);
  const { data } = canvas.getContext("2d").getImageData(0, 0, canvas.width, canvas.height);
  return data.filter((value, index) => index % 4 === 3 && value > 100).length`, id);

const scroll_room = (window) => window.run(`
  const { scrollWidth, scrollHeight } = document.documentElement;
  return [scrollWidth - innerWidth, scrollHeight - innerHeight]`);

async function frames_per_second(window) {
  await window.run(`
    const ask = window.requestAnimationFrame.bind(window);
    window.drawn = 0;
    window.requestAnimationFrame = (draw) => ask((ms) => { window.drawn++; draw(ms); });`);
  const begin = performance.now();
  await new Promise((passed) => setTimeout(passed, 3000));
  return await window.run("return window.drawn") / (performance.now() - begin) * 1000;
}

async function story(window, most_frames) {
  await window.resize(1280, 720);
  await window.go(address);
  await window.run("window.faults = []; addEventListener('error', (e) => faults.push(e.message));" +
    "addEventListener('unhandledrejection', (e) => faults.push(String(e.reason)))");
  await text_becomes(window, "status-word", "Setup");
  await window.click("#presets button:last-child");
  await text_becomes(window, "cycle-line", "Cycle 10 s · 0.1000 Hz");
  await window.click("#sources label:last-child");
  await window.click("#speeds button:last-child");
  await eventually(() => window.click("#recording option[value='Sample 1.txt']"));
  await window.click("#start");

  await text_becomes(window, "status-word", "Recording");
  await text_becomes(window, "meta-line",
                     "Male, 40 · In 2 s, out 8 s · Cycle 10 s · Expected 0.1 Hz");
  await text_becomes(window, "hr-value", /^\d{2,3}$/);
  await text_becomes(window, "tvn-value", /^[+−][01]\.\d\d$/);
  assert.match(await window.run("return gauge.getAttribute('aria-valuetext')"),
               /^[+−][01]\.\d\d$/);
  assert.deepEqual(await scroll_room(window), [0, 0]);
  for (const chart of ["ecg-canvas", "trend-canvas"]) {
    await eventually(async () => assert.ok(await pixels_drawn(window, chart) > 500, chart));
  }
  const drawn = await frames_per_second(window);
  assert.ok(drawn > 4 && drawn <= most_frames, `${drawn} frames a second`);
  await window.press("5");
  await text_becomes(window, "markers-line", /^Markers: 5 at \d+\.\d s$/);
  await window.click("#stop");
  await text_becomes(window, "status-word", "Stopped");

  await window.click("#save");
  await text_becomes(window, "export-line", /^Exported to exports\/\w+/, 60_000);
  await window.click("#tfr");
  await eventually(async () => assert.deepEqual(
    await window.run("return [...document.querySelectorAll('figure img')].map((image) => " +
                     "[image.naturalWidth, image.naturalHeight])"),
    [[1200, 480], [1200, 480]]), 60_000);
  assert.deepEqual(await window.run("return faults"), []);
}

// Without a graphics card WebKitGTK makes its whole window anew for each frame, so it draws every
// other snapshot; they come twenty times a second.
const ENGINES = [["WebKit", open_webkit, 12.5], ["Firefox", open_firefox, 21]];
for (const [name, open, most_frames] of ENGINES) {
  const skip = name === "WebKit" && process.platform === "darwin" &&
    "WebKitGTK is tested on Linux";
  test(`a run from setup to pictures, in ${name}`, { skip, timeout: 120_000 }, async () => {
    const window = await open();
    try {
      await story(window, most_frames);
    } finally {
      await window.end();
    }
  });
}
