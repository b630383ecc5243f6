// Which run the page shows: the way back to it, one that goes on elsewhere, one that was replaced.

import assert from "node:assert/strict";
import { test } from "node:test";
import { eventually, text_becomes } from "./browser.mjs";
import { button, in_session, requests_for, share_browser, show, start_replay, with_page }
  from "./fixture.mjs";
import { IDLE, snapshot } from "./scripted_server.mjs";

share_browser();

const LIVE = { mode: "live", source_label: "Live — Polar H10", total: 256, elapsed: 20,
               name_id: "Anna", bt_status: "Streaming ECG…" };
const PIXEL = "data:image/png;base64,iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR4" +
  "2mNk+M9QDwADhgGAWjR9awAAAABJRU5ErkJggg==";

const back = (page) => button(page, "Back to the last session");
const note = (page) => page.getByText("A recording is running.", { exact: true });
const is_setup = (page) => eventually(async () =>
  assert.ok(await page.locator("#setup").isVisible()));

// Saves and computes, so that export line and pictures are on show.
async function make_results(page, server) {
  Object.assign(server.replies, {
    "/export": { ok: true }, "/tfr": { ok: true }, "/tfr_status": { status: "done" },
    "/tfr_images": { images: { tfr3: PIXEL, tfr10: PIXEL } },
    "/export_status": { status: "done", result: { folder: "Anna_export", files: ["a.pdf"] } } });
  await button(page, "Save").click();
  await button(page, "Compute TFR").click();
  await text_becomes(page.locator("#export-line"), "Exported to exports/Anna_export");
  await eventually(async () => assert.equal(await page.locator("figure").count(), 2));
}

const DONE = { tfr_status: "done", export_status: "done", saved_as: "Anna.csv" };

test("Setup leads back to the run that was left, with its results",
  in_session(async (page, server) => {
    await show(page, server, { ...LIVE, cycles_done: 2 });
    await make_results(page, server);
    const stopped = { ...LIVE, ...DONE, cycles_done: 2, running: false };
    await show(page, server, stopped);
    server.replies["/status"] = snapshot(stopped);
    await button(page, "New session").click();
    await is_setup(page);
    await eventually(async () => assert.ok(await back(page).isVisible()));
    assert.ok(await note(page).isHidden());
    server.requests.length = 0;
    await back(page).click();
    await eventually(() => assert.equal(server.streams(), 1));
    assert.equal(await page.evaluate(() => document.activeElement.id), "session-title");
    await show(page, server, stopped);
    await text_becomes(page.locator("#session-title"), "Live recording · Anna");
    await text_becomes(page.locator("#status-word"), "Stopped");
    await text_becomes(page.locator("#export-line"), "Exported to exports/Anna_export");
    assert.equal(await page.locator("figure").count(), 2);
    assert.deepEqual(server.requests, []);
  }));

test("nothing to go back to is not offered", with_page(async (page, server) => {
  assert.ok(await back(page).isHidden());
  assert.ok(await note(page).isHidden());
  assert.equal(requests_for(server, "/status").length, 0);
  // No answer means none.
  await start_replay(page, server);
  server.replies["/status"] = null;
  await button(page, "New session").click();
  await is_setup(page);
  await eventually(() => assert.ok(requests_for(server, "/status").length >= 1));
  await page.waitForTimeout(100);
  assert.ok(await back(page).isHidden());
}));

test("a page opened while a run goes on says so, and leads to it without a request",
  with_page(async (page, server) => {
    await eventually(async () => assert.ok(await note(page).isVisible()));
    assert.ok(await button(page, "Scan for devices").isDisabled());
    // A key in Setup is no marker of that run.
    await page.keyboard.press("5");
    await back(page).click();
    await eventually(() => assert.equal(server.streams(), 1));
    await text_becomes(page.locator("#status-word"), "Recording");
    await show(page, server, LIVE);
    await text_becomes(page.locator("#session-title"), "Live recording · Anna");
    assert.deepEqual(server.requests, []);
    // After its end Setup is as ever.
    server.replies["/status"] = snapshot({ ...LIVE, running: false });
    await button(page, "New session").click();
    await is_setup(page);
    await eventually(async () => assert.ok(await note(page).isHidden()));
    assert.ok(await button(page, "Scan for devices").isEnabled());
  }, (server) => {
    server.replies["/bt_available"] = { available: true };
    server.replies["/status"] = snapshot(LIVE);
  }));

// Another tab starts a run: one change after the other that tells.
for (const [what, changes] of Object.entries({
  "another recording": { mode: "replay", source_label: "Sample 2.txt", running: true },
  "another length": { total: 99 },
  "the same strap from its start": { ...LIVE, elapsed: 0.6, ...DONE },
  "the results' jobs undone": { ...DONE, tfr_status: "idle" },
  "the export undone": { ...DONE, export_status: "idle" },
})) {
  test(`results go when another run appears: ${what}`, in_session(async (page, server) => {
    const before = changes.mode === "live" ? { ...LIVE, ...DONE } : { ...DONE, elapsed: 20 };
    await show(page, server, before);
    await make_results(page, server);
    await show(page, server, { ...before, elapsed: 21 });
    assert.equal(await page.locator("figure").count(), 2);
    await show(page, server, { ...before, ...changes });
    assert.ok(await page.locator("#results").isHidden());
    assert.equal(await page.locator("figure").count(), 0);
    await text_becomes(page.locator("#export-line"), "");
  }));
}

test("results go when a stopped run goes on: it is another", in_session(async (page, server) => {
  const stopped = { ...LIVE, ...DONE, running: false };
  await show(page, server, stopped);
  await make_results(page, server);
  await show(page, server, { ...stopped, running: true, elapsed: stopped.elapsed + 200 });
  assert.ok(await page.locator("#results").isHidden());
}));

test("a jump back, other words for the person and a first marker are the same run",
  in_session(async (page, server) => {
    await show(page, server, { ...DONE, elapsed: 50 });
    await make_results(page, server);
    await show(page, server, { ...DONE, elapsed: 10, name_id: "Bert", indur: 2, outdur: 8,
                               cycle_seconds: 10, markers: [{ t: 9, k: 1 }] });
    assert.equal(await page.locator("figure").count(), 2);
    await text_becomes(page.locator("#export-line"), "Exported to exports/Anna_export");
  }));

test("a program that was started again is told as such", in_session(async (page, server) => {
  await show(page, server, { ...LIVE, ...DONE });
  await make_results(page, server);
  await show(page, server, IDLE);
  await text_becomes(page.locator("#trouble"),
    "The program was started again; the earlier run is not there.");
  await text_becomes(page.locator("#status-word"), "No recording");
  await text_becomes(page.locator("#session-title"), "No recording");
  await text_becomes(page.locator("#meta-line"), "");
  assert.ok(await page.locator("#results").isHidden());
  assert.ok(await button(page, "Stop").isDisabled());
  assert.ok(!await page.locator("#countdown").evaluate((e) => e.classList.contains("shown")));
  // Nothing is lost by leaving now.
  assert.ok(await page.evaluate(() =>
    window.dispatchEvent(new Event("beforeunload", { cancelable: true }))));
  await show(page, server, LIVE);
  assert.ok(await page.locator("#trouble").isHidden());
}));

test("the tab's title tells state and person", with_page(async (page, server) => {
  assert.equal(await page.title(), "Setup · Talvern Live");
  await start_replay(page, server);
  await show(page, server, { name_id: "Anna" });
  assert.equal(await page.title(), "Recording · Anna");
  await show(page, server, { name_id: "Anna", running: false });
  assert.equal(await page.title(), "Stopped · Anna");
  await show(page, server, { name_id: "" });
  assert.equal(await page.title(), "Recording · Talvern Live");
  await button(page, "New session").click();
  await is_setup(page);
  assert.equal(await page.title(), "Setup · Talvern Live");
}));
