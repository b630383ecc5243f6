// Sound, the screen that stays on, the question before closing, the pacer, and a covered window.

import assert from "node:assert/strict";
import { test } from "node:test";
import { eventually, text_becomes } from "./browser.mjs";
import { button, in_session, share_browser, show, start_replay, with_page } from "./fixture.mjs";
import { snapshot } from "./scripted_server.mjs";
import { session_at } from "./signals.mjs";

share_browser();

const sounds = (page) => page.evaluate(() => window.sounds);
const turn = (page, name) => page.getByRole("switch", { name }).click();

test("the audio context is made by the click on Start, and not before",
  with_page(async (page, server) => {
    assert.equal(await page.evaluate(() => audio), null);
    await start_replay(page, server);
    await eventually(async () => assert.equal(await page.evaluate(() => audio.state), "running"));
    await page.waitForFunction(() => piano !== null);
    // The next one wakes it again.
    await page.evaluate(() => audio.suspend());
    await button(page, "New session").click();
    await eventually(async () => assert.ok(await page.locator("#setup").isVisible()));
    await start_replay(page, server);
    await eventually(async () => assert.equal(await page.evaluate(() => audio.state), "running"));
  }));

test("a tone rises in 10 ms and dies away exponentially", in_session(async (page) => {
  const asked = await page.evaluate(() => {
    const calls = [];
    for (const name of ["setValueAtTime", "linearRampToValueAtTime",
                        "exponentialRampToValueAtTime"]) {
      const original = AudioParam.prototype[name];
      AudioParam.prototype[name] = function (value, when) {
        calls.push([name, when]);
        return original.call(this, value, when);
      };
    }
    const { createOscillator } = AudioContext.prototype;
    AudioContext.prototype.createOscillator = function () {
      const tone = createOscillator.call(this);
      queueMicrotask(() => calls.push([tone.type, tone.frequency.value]));
      return tone;
    };
    beep(660, 0.12);
    return Promise.resolve().then(() => calls);
  });
  const start = asked[0][1];
  for (const call of asked.slice(0, 3)) call[1] = Math.round((call[1] - start) * 1000);
  assert.deepEqual(asked, [["setValueAtTime", 0], ["linearRampToValueAtTime", 10],
                           ["exponentialRampToValueAtTime", 120], ["sine", 660]]);
}));

test("the sound is on, and a switch mutes all of it", in_session(async (page, server) => {
  const sound = page.getByRole("switch", { name: "Sound" });
  assert.equal(await sound.getAttribute("aria-checked"), "true");
  await page.waitForFunction(() => piano !== null);
  await turn(page, "Sound");
  assert.equal(await sound.getAttribute("aria-checked"), "false");
  for (const elapsed of [30, 31, 32, 50, 66]) await show(page, server, { elapsed, tvn: 0.5 });
  assert.deepEqual(await sounds(page), []);
  await turn(page, "Sound");
  await page.waitForTimeout(1250);
  await show(page, server, { elapsed: 82, tvn: 0.5 });
  assert.deepEqual(await sounds(page), ["piano"]);
}));

test("a covered window draws nothing, while beeps and reward go on",
  in_session(async (page, server) => {
    await page.waitForFunction(() => piano !== null);
    await show(page, server, session_at(29, { hr: 60 }));
    await page.evaluate(() => {
      window.drawn = 0;
      // Browsers give a covered or hidden window no frames.
      window.kept_frame = window.requestAnimationFrame;
      window.requestAnimationFrame = () => 1;
      const { stroke } = CanvasRenderingContext2D.prototype;
      CanvasRenderingContext2D.prototype.stroke = function (...path) {
        ++window.drawn;
        stroke.apply(this, path);
      };
    });
    for (const elapsed of [30, 31, 32, 50, 66]) {
      server.push(session_at(elapsed, { elapsed, tvn: 0.5, hr: 99 }));
    }
    await eventually(async () => assert.deepEqual(await sounds(page), [660, 660, 880, "piano"]));
    assert.equal(await page.evaluate(() => window.drawn), 0);
    await text_becomes(page.locator("#hr-value"), "60");
    assert.equal(await page.locator("#coupled.lit").count(), 1);
    await page.evaluate(() => {
      window.requestAnimationFrame = window.kept_frame;
      paint_request = 0;
    });
    await show(page, server, session_at(70, { hr: 99 }));
    await text_becomes(page.locator("#hr-value"), "99");
    assert.ok(await page.evaluate(() => window.drawn) > 0);
  }));

test("the screen stays on while a run is on, and again when the page returns",
  in_session(async (page, server) => {
    await page.evaluate(() => {
      window.locks = [];
      Object.defineProperty(navigator, "wakeLock", { value: { request: async (kind) => {
        window.locks.push(kind);
        return { release: async () => window.locks.push("released") };
      } } });
      window.covered = false;
      Object.defineProperty(document, "hidden", { get: () => window.covered });
    });
    const locks = () => page.evaluate(() => window.locks);
    const cover = (covered) => page.evaluate((to) => {
      window.covered = to;
      document.dispatchEvent(new Event("visibilitychange"));
    }, covered);
    await show(page, server);
    await show(page, server, { elapsed: 11 });
    assert.deepEqual(await locks(), ["screen"]);
    await cover(true);
    assert.deepEqual(await locks(), ["screen"]);
    await cover(false);
    assert.deepEqual(await locks(), ["screen", "screen"]);
    await show(page, server, { running: false });
    assert.deepEqual(await locks(), ["screen", "screen", "released"]);
    await cover(false);
    assert.equal((await locks()).length, 3);
  }));

test("a browser that refuses the lock does no harm", in_session(async (page, server) => {
  await page.evaluate(() => Object.defineProperty(navigator, "wakeLock", { value: undefined }));
  await show(page, server, { hr: 61 });
  await text_becomes(page.locator("#hr-value"), "61");
}));

// Whether the browser asks before the page is left: older ones for a text, newer ones when the event
// was cancelled.
async function asks(page) {
  const [cancelled, text] = await page.evaluate(() => {
    const event = document.createEvent("BeforeUnloadEvent");
    event.initEvent("beforeunload", false, true);
    return [!window.dispatchEvent(event), event.returnValue !== ""];
  });
  assert.equal(cancelled, text);
  return cancelled;
}

test("closing asks while anything of a live run is not saved", in_session(async (page, server) => {
  assert.equal(await asks(page), false);
  for (const [changes, expected] of [
    [{ mode: "live", elapsed: 5 }, true], [{ mode: "live", elapsed: 5, running: false }, true],
    [{ mode: "live", elapsed: 5, saved_as: "a.csv" }, false],
    [{ mode: "live", elapsed: 5.6, saved_as: "a.csv" }, true],
    [{ mode: "live", elapsed: 5.6, saved_as: "b.csv", running: false }, false],
    [{ mode: "live", elapsed: 0 }, false], [{ mode: "replay", elapsed: 5 }, false],
    [{ mode: "live", elapsed: 5 }, true]]) {
    await show(page, server, changes);
    assert.equal(await asks(page), expected, JSON.stringify(changes));
  }
  // In Setup too, as long as the program has it.
  server.replies["/status"] = snapshot({ mode: "live", elapsed: 5, running: false });
  await button(page, "New session").click();
  const back = button(page, "Back to the last session");
  await eventually(async () => assert.ok(await back.isVisible()));
  assert.equal(await asks(page), true);
}));

test("a page opened beside an unsaved run asks too", with_page(async (page) => {
  assert.equal(await asks(page), true);
}, (server) => {
  server.replies["/status"] = snapshot({ mode: "live", elapsed: 5, running: true });
}));

test("the pacer follows the breath, and moves nothing when it comes",
  in_session(async (page, server) => {
    const places = () => page.evaluate(() =>
      [...document.querySelectorAll("output, canvas, button")].map((element) =>
        JSON.stringify(element.getBoundingClientRect())));
    const pacer = page.locator("#pacer");
    const size = () => page.evaluate(() =>
      Number(document.getElementById("pacer-disc").style.transform.match(/[\d.]+/)[0]));
    await show(page, server, { elapsed: 0 });
    assert.ok(await pacer.isHidden());
    const before = await places();
    await turn(page, "Pacer");
    assert.ok(await pacer.isVisible());
    assert.deepEqual(await places(), before);
    // In 5 s, out 11 s: empty at 0, full at 5, half empty at 10.5, empty again at 16.
    for (const [elapsed, word, share] of [[0, "Breathe in", 0], [2.5, "Breathe in", 0.5],
      [5, "Breathe out", 1], [10.5, "Breathe out", 0.5], [16, "Breathe in", 0],
      [34.5, "Breathe in", 0.5]]) {
      await show(page, server, { elapsed });
      await text_becomes(pacer, word);
      const expected = 0.25 + 0.75 * share;
      assert.ok(Math.abs(await size() - expected) < 1e-9, `${elapsed}`);
    }
  }));

// A strap's samples come in bursts: the elapsed time stands for half a second and then jumps.
test("the pacer moves evenly between a strap's bursts", in_session(async (page, server) => {
  await page.locator("#pacer-switch").click();
  const sizes = [];
  const begin = performance.now();
  for (let n = 0; n < 50; ++n) {
    server.push(snapshot({ mode: "live", elapsed: 20 + Math.floor(n / 10) * 0.5, indur: 30,
                           outdur: 30, cycle_seconds: 60 }));
    const wait = begin + (n + 1) * 50 - performance.now();
    await page.waitForTimeout(Math.max(0, wait));
    sizes.push(await page.evaluate(() =>
      new DOMMatrix(getComputedStyle(document.getElementById("pacer-disc")).transform).a));
  }
  // 0.75 in 30 s: 0.0125 in half a second, which came at once.
  const steps = sizes.slice(1).map((size, n) => size - sizes[n]);
  assert.ok(Math.max(...steps) < 0.008, `${steps.map((step) => step.toFixed(4))}`);
  const still = steps.map((step) => step < 0.0002 ? "-" : "+").join("");
  assert.ok(!still.includes("-----"), still);
  assert.ok(sizes.at(-1) > sizes[0] + 0.04);
}));
