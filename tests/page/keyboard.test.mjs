// Everything by the keyboard alone.

import assert from "node:assert/strict";
import { test } from "node:test";
import { eventually, text_becomes } from "./browser.mjs";
import { button, in_session, requests_for, share_browser, show, with_page } from "./fixture.mjs";

share_browser();

// Tabs on from here: the names of what gets the focus, each with a visible ring.
async function tab_through(page, steps) {
  const names = [];
  for (let i = 0; i < steps; ++i) {
    await page.keyboard.press("Tab");
    const { name, ring } = await page.evaluate(() => {
      const { activeElement: at } = document;
      const { outlineStyle, outlineWidth } = getComputedStyle(at);
      return { name: at.labels?.[0]?.textContent || at.getAttribute("aria-label") || at.textContent,
               ring: outlineStyle !== "none" && Number.parseFloat(outlineWidth) >= 2 };
    });
    assert.ok(ring, `${name} shows no focus`);
    names.push(name.trim());
  }
  return names;
}

test("Setup in reading order", with_page(async (page) => {
  assert.deepEqual(await tab_through(page, 16), ["About", "Name or ID-code", "16 s cycle",
    "10 s cycle", "In-period", "Out-period", "Sex", "Age", "Live", "Device", "Scan for devices",
    "Why is my strap not listed?", "Start recording", "Import sample rate", "Import file…",
    "Import folder…"]);
}, (server) => { server.replies["/bt_available"] = { available: true }; }));

test("Setup to Session without a mouse", with_page(async (page, server) => {
  await page.getByLabel("Live").focus();
  await page.keyboard.press("ArrowDown");
  assert.deepEqual(await tab_through(page, 1), ["Recording"]);
  await page.keyboard.press("S");
  await page.keyboard.press("S");
  await tab_through(page, 4);
  await page.keyboard.press("Space");
  assert.deepEqual(await tab_through(page, 1), ["Start recording"]);
  await page.keyboard.press("Enter");
  await eventually(() => assert.equal(server.streams(), 1));
  assert.equal(await page.evaluate(() => document.activeElement.id), "session-title");
  assert.match(requests_for(server, "/start_replay")[0].url,
               /^\/start_replay\?dir=samples&file=Sample%20\d\.txt&speed=8&/);
  await show(page, server);
  assert.deepEqual(await tab_through(page, 7), ["Stop", "Save", "Compute TFR", "New session",
    "Position", "Sound", "Pacer"]);
}));

const marks = (server) => requests_for(server, "/mark").map(({ url }) => url);

test("a marker shows at once and is not counted twice", in_session(async (page, server) => {
  let answer;
  server.replies["/mark"] = () => new Promise((give) => { answer = give; });
  const line = page.locator("#markers-line");
  await show(page, server, { elapsed: 12.3 });
  await page.keyboard.press("4");
  await text_becomes(line, "Markers: 4 at 12.3 s");
  await eventually(() => assert.ok(answer));
  answer({ ok: true });
  await page.waitForFunction(() => pending_marks.every((mark) => mark.answered));
  await show(page, server, { elapsed: 12.4, markers: [{ t: 12.3, k: 4 }] });
  await text_becomes(line, "Markers: 4 at 12.3 s");
}));

test("held keys and combinations set no marker", in_session(async (page, server) => {
  await show(page, server);
  for (const key of ["Control+1", "Alt+2", "Meta+3", "0", "Shift+A"]) {
    await page.keyboard.press(key);
  }
  await page.keyboard.down("5");
  await page.keyboard.down("5");  // the repeat of a held key
  await page.keyboard.up("5");
  await eventually(() => assert.deepEqual(marks(server), ["/mark?key=5"]));
}));

test("after a key on the slider the marker keys work again", in_session(async (page, server) => {
  const slider = page.getByLabel("Position");
  await show(page, server, { frac: 0.25 });
  await slider.focus();
  await page.keyboard.press("3");  // belongs to the slider
  await page.keyboard.down("ArrowRight");
  await page.keyboard.down("ArrowRight");
  await page.keyboard.up("ArrowRight");
  await eventually(() => assert.deepEqual(requests_for(server, "/seek").map(({ url }) => url),
    ["/seek?frac=0.251", "/seek?frac=0.252"]));
  assert.ok(!await slider.evaluate((element) => element === document.activeElement));
  await page.keyboard.press("8");
  await eventually(() => assert.deepEqual(marks(server), ["/mark?key=8"]));
  await show(page, server, { frac: 0.5 });
  assert.equal(await slider.inputValue(), "500");
}));

test("a button keeps the marker keys working; About closes with Escape",
  in_session(async (page, server) => {
    await show(page, server);
    await page.getByRole("switch", { name: "Sound" }).click();
    await page.keyboard.press("2");
    await eventually(() => assert.deepEqual(marks(server), ["/mark?key=2"]));
    await button(page, "About").click();
    await page.keyboard.press("Escape");
    assert.ok(await page.locator("dialog").isHidden());
  }));
