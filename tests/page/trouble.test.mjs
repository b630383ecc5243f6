// What the page shows when something is wrong, and while it waits.

import assert from "node:assert/strict";
import { test } from "node:test";
import { eventually, text_becomes } from "./browser.mjs";
import { button, in_session, requests_for, share_browser, show, shown_texts, start_replay,
         with_page } from "./fixture.mjs";
import { snapshot } from "./scripted_server.mjs";

share_browser();

const LOST = "Connection to Talvern Live lost. Is its window still open?";
const banner = (page) => page.locator("#trouble");

test("a lost stream dims the last picture until it is back", in_session(async (page, server) => {
  await show(page, server, { elapsed: 50, tvn: 0.5 });
  await show(page, server, { elapsed: 66, hr: 71.6, tvn: 0.5 });
  const looks = () => page.evaluate(() => [
    getComputedStyle(document.getElementById("hr-value")).color,
    getComputedStyle(document.querySelector("#coupled.lit")).backgroundColor,
    getComputedStyle(document.getElementById("ecg-canvas")).opacity]);
  const usual = await looks();
  assert.ok(await banner(page).isHidden());
  await server.close();
  await text_becomes(banner(page), LOST);
  assert.equal(await banner(page).getAttribute("role"), "alert");
  // A call that waits for an answer then is no news.
  await page.evaluate(() => count_overdue(1));
  await text_becomes(banner(page), LOST);
  await page.evaluate(() => count_overdue(-1));
  await text_becomes(banner(page), LOST);
  assert.deepEqual(await looks(), ["rgb(91, 100, 114)", "rgb(91, 100, 114)", "0.35"]);
  assert.equal(await page.locator("#hr-value").textContent(), "72");
  await server.reopen();
  await eventually(() => assert.equal(server.streams(), 1), 8000);
  assert.ok(await banner(page).isVisible());
  await show(page, server, { hr: 80, tvn: 0.5, elapsed: 66 });
  assert.ok(await banner(page).isHidden());
  assert.deepEqual(await looks(), usual);
  assert.equal(await page.locator("#hr-value").textContent(), "80");
}));

test("a program that hangs, its stream open, is noticed until it goes on",
  in_session(async (page, server) => {
    await show(page, server, { hr: 64 });
    assert.ok(await banner(page).isHidden());
    await text_becomes(banner(page), LOST);
    await show(page, server, { hr: 65 });
    assert.ok(await banner(page).isHidden());
    await text_becomes(page.locator("#status-word"), "Recording");
    await button(page, "New session").click();
    await page.waitForTimeout(3000);
    assert.ok(await banner(page).isHidden());
  }));

test("a stream that never gives a good snapshot is noticed, and not called a recording",
  in_session(async (page, server) => {
    const end = Date.now() + 2600;
    while (Date.now() < end) {
      server.push('{"mode":"live","name_id":"cut');
      await page.waitForTimeout(50);
    }
    await text_becomes(banner(page), LOST);
    await text_becomes(page.locator("#status-word"), "No connection");
    await show(page, server, { name_id: "Anna" });
    assert.ok(await banner(page).isHidden());
    await text_becomes(page.locator("#status-word"), "Recording");
    // A window that changes its size draws the last picture again.
    await text_becomes(page.locator("#status-word"), "No connection");
    await page.setViewportSize({ width: 1000, height: 700 });
    await page.waitForTimeout(200);
    await text_becomes(page.locator("#status-word"), "No connection");
    assert.equal(await page.title(), "No connection · Anna");
  }));

test("a call without an answer for five seconds says so until it is answered",
  with_page(async (page, server) => {
    server.replies["/scan"] = () => new Promise(() => {});
    await button(page, "Scan for devices").click();
    await start_replay(page, server);
    const release = hold(server, "/stop");
    await show(page, server);
    await button(page, "Stop").click();
    await eventually(() => assert.equal(requests_for(server, "/stop").length, 1));
    const stream_for = async (ms) => {
      const end = Date.now() + ms;
      for (let hr = 60; Date.now() < end; ++hr) {
        await show(page, server, { hr });
        await page.waitForTimeout(200);
      }
    };
    await stream_for(4000);
    assert.ok(await banner(page).isHidden());
    await stream_for(1500);
    await text_becomes(banner(page), "No answer for 5 s. Close other tabs of Talvern Live.");
    release({ ok: true });
    await eventually(async () => assert.ok(await banner(page).isHidden()));
  }, (server) => { server.replies["/bt_available"] = { available: true }; }));

test("a stream that is answered wrongly is opened again", with_page(async (page, server) => {
  server.refuse_streams = true;
  await page.getByLabel("Open a recording").check();
  await page.getByLabel("Recording", { exact: true }).selectOption("Sample 1.txt");
  await button(page, "Start recording").click();
  await text_becomes(banner(page), LOST);
  server.refuse_streams = false;
  await eventually(() => assert.equal(server.streams(), 1));
  await show(page, server, { hr: 64 });
  assert.ok(await banner(page).isHidden());
}));

test("Setup without the program says so and fills its lists when it is back",
  in_session(async (page, server) => {
    await server.close();
    await button(page, "New session").click();
    await text_becomes(banner(page), LOST);
    await server.reopen();
    await eventually(async () => assert.ok(await banner(page).isHidden()));
    assert.equal(await page.locator("#recording option").count(), 3);
    await start_replay(page, server);
  }));

// Stops the clock by which the page measures a stall. The result lets time pass.
async function hold_clock(page) {
  await page.evaluate(() => {
    window.clock_ms = performance.now();
    performance.now = () => window.clock_ms;
  });
  return (ms) => page.evaluate((passed) => { window.clock_ms += passed; }, ms);
}

test("a live run whose time stands still says so, and what to do",
  in_session(async (page, server) => {
    const pass = await hold_clock(page);
    const live = (elapsed, changes) => show(page, server,
      { mode: "live", elapsed, total: 256, hr: 60, ...changes });
    await live(20);
    await pass(1950);
    await live(20);
    assert.ok(await banner(page).isHidden());
    await pass(100);
    await live(20);
    const advice =
      "Wet the electrodes and come closer. If it stays silent: Save, then start again.";
    const told = (text) => text_becomes(page.locator("#trouble-text"), text);
    await text_becomes(page.locator("#trouble-seconds"), "No data from the strap for 2 s");
    await told(advice);
    assert.deepEqual(await shown_texts(page, "#trouble"),
                     ["No data from the strap for 2 s", advice]);
    await live(20, { bt_status: "Streaming ECG…" });
    await told(advice);
    await live(20, { bt_status: "Disconnected." });
    await told("Disconnected. " + advice);
    const colour = () => page.locator("#hr-value").evaluate((e) => getComputedStyle(e).color);
    assert.equal(await colour(), "rgb(91, 100, 114)");
    await pass(1000);
    await live(20);
    await text_becomes(page.locator("#trouble-seconds"), "No data from the strap for 3 s");
    await live(20.6);
    assert.ok(await banner(page).isHidden());
    assert.equal(await colour(), "rgb(181, 71, 8)");
    for (const quiet of [{ running: false }, { mode: "replay" }]) {
      await live(30, quiet);
      await pass(2200);
      await live(30, quiet);
      assert.ok(await banner(page).isHidden());
    }
  }));

test("the whole readout of a silent strap is dimmed", in_session(async (page, server) => {
  const pass = await hold_clock(page);
  const live = { mode: "live", total: 256, hr: 60, tvn: 0.5 };
  await show(page, server, { ...live, elapsed: 50 });
  await show(page, server, { ...live, elapsed: 66 });
  const looks = () => page.evaluate(() => [
    ...["hr-value", "tvn-value"].map((id) => getComputedStyle(document.getElementById(id)).color),
    ...["gauge-fill", "coupled"].map((id) =>
      getComputedStyle(document.getElementById(id)).backgroundColor),
    getComputedStyle(document.getElementById("gauge-knob"), "::before").borderTopColor]);
  const grey = "rgb(91, 100, 114)";
  assert.ok(!(await looks()).includes(grey));
  await pass(2100);
  await show(page, server, { ...live, elapsed: 66 });
  assert.deepEqual(await looks(), Array(5).fill(grey));
}));

test("a strap that never sent is given 15 s, then what its link says and what helps",
  in_session(async (page, server) => {
    const pass = await hold_clock(page);
    const live = (bt_status, elapsed = 0) =>
      show(page, server, { mode: "live", elapsed, total: 256, bt_status });
    await live("Starting…");
    await pass(14_900);
    await live("Connecting…");
    assert.ok(await banner(page).isHidden());
    await pass(200);
    for (const [says, helps] of [
      ["Connecting…", "Wear the strap, wet its electrodes and close apps that hold it."],
      ["Starting…", "Wear the strap, wet its electrodes and close apps that hold it."],
      ["Bluetooth is turned off.", "Turn it on, then start again."],
      ["Bluetooth permission denied. Enable it in System Settings › Privacy › Bluetooth.",
       "Then start again."],
      ["Device not found. Try scanning again.",
       "Wear the strap, wet its electrodes and close apps that hold it."],
      ["Connected. Discovering services…", "Take the strap off for a minute, then start again."],
      ["Streaming ECG…", "Wet the electrodes and come closer, then start again."],
      ["Connection failed: unknown", "Wet the electrodes and come closer, then start again."],
      ["Disconnected.", "Wet the electrodes and come closer, then start again."]]) {
      await live(says);
      await text_becomes(page.locator("#trouble-text"), `${says} ${helps}`);
      await text_becomes(page.locator("#trouble-seconds"), "");
    }
    // The first sample starts the other count.
    await live("Streaming ECG…", 0.6);
    assert.ok(await banner(page).isHidden());
    await pass(2100);
    await live("Streaming ECG…", 0.6);
    await text_becomes(page.locator("#trouble-seconds"), "No data from the strap for 2 s");
  }));

test("a stall ends with its session", in_session(async (page, server) => {
  const pass = await hold_clock(page);
  const connecting = { mode: "live", elapsed: 0 };
  await show(page, server, connecting);
  await button(page, "New session").click();
  await eventually(async () => assert.ok(await page.locator("#setup").isVisible()));
  await pass(2100);
  await start_replay(page, server);
  await show(page, server, connecting);
  assert.ok(await banner(page).isHidden());
}));

test("help for a strap that is not listed", with_page(async (page) => {
  const help = page.getByText("Wear it, wet its electrodes, and close phone apps that hold it.",
                              { exact: true });
  assert.equal(await help.count(), 1);
  assert.ok(await help.isHidden());
  await page.getByText("Why is my strap not listed?").click();
  assert.ok(await help.isVisible());
}));

// Holds the reply of a path back. The result releases it with the given reply.
function hold(server, path) {
  let release;
  const reply = new Promise((give) => { release = give; });
  server.replies[path] = () => reply;
  return release;
}

async function waits(page, name) {
  await eventually(async () => assert.equal(
    await button(page, name).getAttribute("aria-busy"), "true"));
  assert.ok(await button(page, name).isDisabled());
}

async function is_back(page, name) {
  await eventually(async () => assert.ok(await button(page, name).isEnabled(), name));
  assert.equal(await button(page, name).getAttribute("aria-busy"), "false");
}

test("a waiting button is disabled and busy, and comes back when the call fails",
  with_page(async (page, server) => {
    let release = hold(server, "/scan");
    await button(page, "Scan for devices").click();
    await text_becomes(page.locator("#scan-line"), "Scanning for Bluetooth devices (~10 s)…");
    await waits(page, "Scan for devices");
    release(null);
    await is_back(page, "Scan for devices");
    await text_becomes(page.locator("#scan-line"), "Scan failed: no answer");
    await page.getByLabel("Open a recording").check();
    await page.getByLabel("Recording", { exact: true }).selectOption("Sample 1.txt");
    release = hold(server, "/start_replay");
    await button(page, "Start recording").click();
    await waits(page, "Start recording");
    release(null);
    await is_back(page, "Start recording");
    await text_becomes(page.locator("#start-hint"), "Could not start.");
  }, (server) => { server.replies["/bt_available"] = { available: true }; }));

test("so do the buttons of a session", in_session(async (page, server) => {
  await show(page, server);
  for (const [name, path] of [["Save", "/export"], ["Compute TFR", "/tfr"], ["Stop", "/stop"]]) {
    const release = hold(server, path);
    await button(page, name).click();
    await waits(page, name);
    await show(page, server, { hr: 60 });
    await waits(page, name);
    release(null);
    await is_back(page, name);
  }
  await show(page, server);
  await text_becomes(page.locator("#tfr-hint"), "Could not stop: no answer");
  const release = hold(server, "/stop");
  await button(page, "New session").click();
  await waits(page, "New session");
  release({ ok: true });
  await eventually(async () => assert.ok(await page.locator("#setup").isVisible()));
}));

test("a failed stop is an alert, until the run has ended all the same",
  in_session(async (page, server) => {
    const hint = page.locator("#tfr-hint");
    await show(page, server);
    server.replies["/stop"] = null;
    await button(page, "Stop").click();
    await is_back(page, "Stop");
    await show(page, server, { hr: 60 });
    await text_becomes(hint, "Could not stop: no answer");
    assert.equal(await hint.getAttribute("role"), "alert");
    await show(page, server, { running: false, cycles_done: 1 });
    await text_becomes(hint, "Compute the TFR, or press Save to keep the run.");
    assert.equal(await hint.getAttribute("role"), "paragraph");
  }));

test("what an earlier session asked for does not reach the next one",
  in_session(async (page, server) => {
    Object.assign(server.replies, { "/export": { ok: true }, "/tfr": { ok: true },
                                    "/tfr_status": { status: "done" },
                                    "/status": snapshot({ running: false }) });
    const next_session = async () => {
      await button(page, "New session").click();
      await eventually(async () => assert.ok(await page.locator("#setup").isVisible()));
      await start_replay(page, server);
      await show(page, server);
    };
    const untouched = async () => {
      await page.waitForTimeout(100);
      for (const name of ["Save", "Compute TFR"]) await is_back(page, name);
      assert.ok(await page.locator("#results").isHidden());
      assert.equal(await page.locator("figure").count(), 0);
    };
    // The start of a job.
    await show(page, server);
    let release = hold(server, "/export");
    await button(page, "Save").click();
    await waits(page, "Save");
    await next_session();
    release({ ok: true });
    await untouched();
    await page.waitForTimeout(1600);
    assert.equal(requests_for(server, "/export_status").length, 0);
    // A job's last poll, and its pictures.
    server.replies["/export"] = { ok: true };
    release = hold(server, "/export_status");
    const release_images = hold(server, "/tfr_images");
    await button(page, "Save").click();
    await button(page, "Compute TFR").click();
    for (const path of ["/export_status", "/tfr_images"]) {
      await eventually(() => assert.equal(requests_for(server, path).length, 1));
    }
    await next_session();
    release({ status: "done", result: { folder: "old" } });
    release_images({ images: { tfr3: "data:,", tfr10: "data:," } });
    await untouched();
  }));

test("a scan goes on while Setup is entered again", with_page(async (page, server) => {
  const release = hold(server, "/scan");
  await button(page, "Scan for devices").click();
  await waits(page, "Scan for devices");
  await start_replay(page, server);
  await button(page, "New session").click();
  await eventually(() => assert.equal(requests_for(server, "/bt_available").length, 1));
  await page.getByLabel("Live").check();
  await page.waitForTimeout(100);
  await waits(page, "Scan for devices");
  release({ success: true, devices: [] });
  await is_back(page, "Scan for devices");
}, (server) => { server.replies["/bt_available"] = { available: true }; }));
