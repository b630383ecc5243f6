// The browser of the tests, and what several tests ask of a page.

import assert from "node:assert/strict";
import { chromium } from "playwright-core";

const CHROMIUM = process.env.TVN_CHROMIUM || (process.platform === "darwin"
  ? "/Applications/Google Chrome.app/Contents/MacOS/Google Chrome" : "/usr/bin/chromium");
const ARGUMENTS = [
  "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
  "--disable-background-networking", "--disable-component-update", "--disable-sync",
];

// host_rules: names that mean other computers than the system says, as for Chromium.
export function launch_browser(host_rules = "") {
  const rules = host_rules ? [`--host-resolver-rules=${host_rules}`] : [];
  return chromium.launch({ executablePath: CHROMIUM, args: [...ARGUMENTS, ...rules] });
}

// A fresh page on the address, in Setup. It fails the test on a script error, on a request to
// another host and on anything the page asks for beyond the program's own routes. Sounds are
// listed in window.sounds: a beep by its frequency, the piano note by its name.
export async function open_page(browser, address, options = {}) {
  const context = await browser.newContext({ viewport: { width: 1280, height: 720 }, ...options });
  const page = await context.newPage();
  page.faults = [];
  page.on("pageerror", (error) => page.faults.push(String(error)));
  page.on("request", (request) => {
    const url = request.url();
    if (!url.startsWith(address) && !url.startsWith("data:")) page.faults.push(`asked for ${url}`);
    if (url.endsWith("favicon.ico")) page.faults.push("asked for a favicon");
  });
  page.setDefaultTimeout(10_000);
  await page.addInitScript(record_sounds);
  await page.addInitScript(forget_aria_properties);
  await page.goto(address);
  return page;
}

export async function close_page(page) {
  const { faults } = page;
  await page.context().close();
  assert.deepEqual(faults, []);
}

// Firefox 115 knows ARIA by its attributes only.
function forget_aria_properties() {
  for (const name of Object.getOwnPropertyNames(Element.prototype)) {
    if (name.startsWith("aria") || name === "role") delete Element.prototype[name];
  }
}

function record_sounds() {
  window.sounds = [];
  const { createOscillator, createBufferSource } = AudioContext.prototype;
  AudioContext.prototype.createOscillator = function () {
    const tone = createOscillator.call(this);
    const start = tone.start;
    tone.start = (...when) => {
      window.sounds.push(tone.frequency.value);
      start.apply(tone, when);
    };
    return tone;
  };
  AudioContext.prototype.createBufferSource = function () {
    window.sounds.push("piano");
    return createBufferSource.call(this);
  };
}

// How many pixels of the canvas hold the colour, give or take a little for smoothed edges.
export function count_pixels(page, canvas, colour) {
  return page.evaluate(([id, [red, green, blue]]) => {
    const element = document.getElementById(id);
    const { data } = element.getContext("2d").getImageData(0, 0, element.width, element.height);
    let count = 0;
    for (let i = 0; i < data.length; i += 4) {
      const near = Math.abs(data[i] - red) < 12 && Math.abs(data[i + 1] - green) < 12 &&
        Math.abs(data[i + 2] - blue) < 12;
      if (near && data[i + 3] > 200) ++count;
    }
    return count;
  }, [canvas, colour]);
}

export const HEART_RATE_ORANGE = [0xb5, 0x47, 0x08];
export const TVN_BLUE = [0x00, 0x68, 0xa8];

// Repeats a check that asserts until it holds; after the time is up its failure counts.
export async function eventually(check, within_ms = 5000) {
  const end = Date.now() + within_ms;
  for (;;) {
    try {
      return await check();
    } catch (error) {
      if (Date.now() > end) throw error;
    }
    await new Promise((again) => setTimeout(again, 25));
  }
}

export async function text_becomes(locator, expected, within_ms) {
  await eventually(async () => {
    const text = (await locator.textContent()).trim();
    if (expected instanceof RegExp) assert.match(text, expected);
    else assert.equal(text, expected);
  }, within_ms);
}
