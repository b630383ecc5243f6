import assert from "node:assert/strict";
import { test } from "node:test";
import { eventually, text_becomes } from "./browser.mjs";
import { button, in_session, record_waits, requests_for, share_browser, shown_texts, start_replay,
         with_page } from "./fixture.mjs";
import { snapshot } from "./scripted_server.mjs";

share_browser();

const export_line = (page) => page.locator("#export-line");
const tfr_line = (page) => page.locator("#tfr-line");
const EXPORTING = "Exporting — saving raw data, computing the TFR and writing the PDF + CSV " +
  "(up to ~1 minute)…";
const PIXEL = "data:image/png;base64,iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR4" +
  "2mNk+M9QDwADhgGAWjR9awAAAABJRU5ErkJggg==";

async function enabled(page, name) {
  await eventually(async () => assert.ok(await button(page, name).isEnabled()));
}

test("Save exports, polls until done and lists the result", in_session(async (page, server) => {
  server.replies["/export"] = { ok: true, status: "exporting" };
  const polls = [{ status: "exporting" }, null, { status: "done", result: {
    folder: "anna_export", files: ["anna.edf", "<b>.pdf"], errors: ["no TFR"] } }];
  server.replies["/export_status"] = () => polls.shift();
  await record_waits(page);
  await button(page, "Save").click();
  await text_becomes(export_line(page), EXPORTING);
  assert.ok(await button(page, "Save").isDisabled());
  await text_becomes(export_line(page), "Exported to exports/anna_export",
                     8000);
  assert.deepEqual(await page.locator("#export-list li").allTextContents(),
                   ["anna.edf", "<b>.pdf", "no TFR"]);
  await enabled(page, "Save");
  assert.deepEqual(await page.evaluate(() => [...new Set(window.waits)]), [1500]);
  assert.equal(requests_for(server, "/save").length, 0);
  // The stated line stays as it is; where to look is said beside it.
  const note = page.locator("#export-note");
  await text_becomes(note, "In the data folder, usually Documents/TVN-Live. " +
    "A taken name gets a number.");
  // Not all of it could be written: said at once.
  assert.equal(await export_line(page).getAttribute("role"), "alert");
  for (const [answer, line, role, list] of [
    [{ status: "done", result: { folder: "anna_export" } },
     "Exported to exports/anna_export", "paragraph", []],
    [{ status: "error", error: "disk full" }, "Export failed: disk full", "alert", []],
  ]) {
    server.replies["/export_status"] = answer;
    await button(page, "Save").click();
    await text_becomes(export_line(page), line, 8000);
    assert.equal(await export_line(page).getAttribute("role"), role);
    assert.deepEqual(await page.locator("#export-list li").allTextContents(), list);
    await text_becomes(note, role === "alert" ? "" : /Documents/);
    await enabled(page, "Save");
  }
}));

test("Save and Compute TFR keep the focus, and the view of a run in its place",
  in_session(async (page, server) => {
    Object.assign(server.replies, {
      "/export": { ok: true }, "/tfr": { ok: true }, "/tfr_status": { status: "done" },
      "/tfr_images": { images: { tfr3: PIXEL, tfr10: PIXEL } },
      "/export_status": { status: "done", result: { folder: "a", files: Array(40).fill("b") } } });
    const focused = () => page.evaluate(() => document.activeElement.id);
    const scrolled = () => page.evaluate(() => scrollY);
    const hint = page.locator("#tfr-hint");
    server.push(snapshot({ hr: 61 }));
    await text_becomes(page.locator("#hr-value"), "61");
    for (const [name, id] of [["Save", "save"], ["Compute TFR", "tfr"]]) {
      await button(page, name).focus();
      await page.keyboard.press("Enter");
      await eventually(async () => assert.ok(await button(page, name).isDisabled()));
      await enabled(page, name);
      assert.equal(await focused(), id);
      assert.equal(await scrolled(), 0);
    }
    server.push(snapshot({ hr: 62 }));
    await text_becomes(hint, "The results are below.");
    // Whoever went on meanwhile is not called back.
    await button(page, "Save").focus();
    await page.keyboard.press("Enter");
    await eventually(async () => assert.ok(await button(page, "Save").isDisabled()));
    await button(page, "New session").focus();
    await enabled(page, "Save");
    assert.equal(await focused(), "new-session");
    // Once the run is over, results may be shown.
    server.push(snapshot({ running: false, hr: 63 }));
    await text_becomes(page.locator("#hr-value"), "63");
    await button(page, "Save").click();
    await enabled(page, "Save");
    assert.ok(await scrolled() > 0);
  }));

// A program that was started again meanwhile knows of none.
test("an export that ends without a word is told as failed", in_session(async (page, server) => {
  server.replies["/export"] = { ok: true, status: "exporting" };
  server.replies["/export_status"] = { status: "idle" };
  await button(page, "Save").click();
  await text_becomes(export_line(page), "Export failed: no result");
  assert.equal(await export_line(page).getAttribute("role"), "alert");
  await enabled(page, "Save");
}));

test("a refused or unanswered export says so", in_session(async (page, server) => {
  for (const [reply, text] of [
    [{ ok: false, error: "Export is not available." }, "Export failed: Export is not available."],
    [null, "Export failed: no answer"], ["<html>", "Export failed: no answer"]]) {
    server.replies["/export"] = reply;
    await button(page, "Save").click();
    await text_becomes(export_line(page), text);
    assert.equal(await export_line(page).getAttribute("role"), "alert");
    await enabled(page, "Save");
  }
  assert.equal(requests_for(server, "/export_status").length, 0);
}));

test("an export result may lack its lists", in_session(async (page, server) => {
  server.replies["/export"] = { ok: true, status: "exporting" };
  server.replies["/export_status"] = { status: "done", result: { folder: "a\tb" } };
  await button(page, "Save").click();
  await text_becomes(export_line(page), "Exported to exports/a\tb");
  assert.equal(await page.locator("#export-list li").count(), 0);
}));

test("the TFR is polled and shown as two figures", in_session(async (page, server) => {
  server.replies["/tfr"] = { ok: true, status: "computing" };
  const polls = [{ status: "computing" }, { status: "done" }];
  server.replies["/tfr_status"] = () => polls.shift();
  server.replies["/tfr_images"] = { status: "done", images: { tfr3: PIXEL, tfr10: PIXEL + "#" } };
  await button(page, "Compute TFR").click();
  assert.ok(await button(page, "Compute TFR").isDisabled());
  await text_becomes(tfr_line(page), "Computing the TFR…");
  assert.ok(await tfr_line(page).isVisible());
  assert.equal(await tfr_line(page).getAttribute("role"), "paragraph");
  await eventually(async () => assert.deepEqual(
    await page.locator("figcaption").allTextContents(),
    ["High frequency resolution (n = 10)", "High time resolution (n = 3)"]), 8000);
  assert.deepEqual(await page.locator("figure img").evaluateAll((all) => all.map((i) => i.src)),
                   [PIXEL + "#", PIXEL]);
  assert.equal(await page.getByRole("img", { name: "Time-frequency picture", exact: true }).count(),
               2);
  const axis = ["Frequency (Hz)", "0.18", "0.10", "0.02"];
  assert.deepEqual(await shown_texts(page, "#results"), [
    "High frequency resolution (n = 10)", ...axis, "High time resolution (n = 3)", ...axis]);
  await enabled(page, "Compute TFR");
  // It need not be suggested any more.
  server.push(snapshot({ running: false, cycles_done: 1, hr: 63 }));
  await text_becomes(page.locator("#hr-value"), "63");
  await text_becomes(page.locator("#tfr-hint"), "");
}));

test("a TFR that does not come says why, once", in_session(async (page, server) => {
  const started = { ok: true, status: "computing" };
  const done = { status: "done" };
  for (const [reply, status, images, text] of [
    [{ ok: false, error: "Not now." }, null, null, "Could not compute TFR: Not now."],
    [null, null, null, "Could not compute TFR: no answer"],
    [started, { status: "error", error: "Not enough data recorded yet." }, null,
     "Could not compute TFR: Not enough data recorded yet."],
    [started, { status: "error", error: "Could not compute TFR: no beats" }, null,
     "Could not compute TFR: no beats"],
    [started, done, null, "Could not compute TFR: no answer"],
    [started, done, { status: "done", images: null }, "Could not compute TFR: no answer"]]) {
    Object.assign(server.replies, { "/tfr": reply, "/tfr_status": status, "/tfr_images": images });
    await button(page, "Compute TFR").click();
    await text_becomes(tfr_line(page), text);
    assert.equal(await tfr_line(page).getAttribute("role"), "alert");
    await enabled(page, "Compute TFR");
  }
}));

test("after a stop with a full cycle the TFR is suggested", in_session(async (page, server) => {
  const hint = page.locator("#tfr-hint");
  server.push(snapshot({ running: true, cycles_done: 2, hr: 61 }));
  await text_becomes(page.locator("#hr-value"), "61");
  await text_becomes(hint, "");
  server.push(snapshot({ running: false, cycles_done: 0.99, hr: 62 }));
  await text_becomes(page.locator("#hr-value"), "62");
  await text_becomes(hint, "");
  server.push(snapshot({ running: false, cycles_done: 1 }));
  await text_becomes(hint, "Compute the TFR, or press Save to keep the run.");
}));

test("a new session leaves nothing of the last one", in_session(async (page, server) => {
  server.replies["/export"] = { ok: true, status: "exporting" };
  server.replies["/export_status"] = { status: "exporting" };
  await button(page, "Save").click();
  await text_becomes(export_line(page), EXPORTING);
  server.replies["/status"] = snapshot({ running: false, export_status: "exporting" });
  await button(page, "New session").click();
  await eventually(async () => assert.ok(await page.locator("#setup").isVisible()));
  await start_replay(page, server);
  await text_becomes(export_line(page), "");
  assert.ok(await button(page, "Save").isEnabled());
  const polled = requests_for(server, "/export_status").length;
  await page.waitForTimeout(1700);
  assert.equal(requests_for(server, "/export_status").length, polled);
}));

test("About opens and closes", with_page(async (page) => {
  await button(page, "About").click();
  assert.ok(await page.getByRole("dialog", { name: "About", exact: true }).isVisible());
  assert.deepEqual(await shown_texts(page, "dialog"), [
    "About Talvern Live",
    "Heart-rate biofeedback for paced breathing. TVN says, from −1 to +1, how closely your " +
    "beat-to-beat intervals follow the breathing rhythm that you set; while it stays positive " +
    "for a full cycle, a piano note plays.",
    "Everything stays on this computer, by default in Documents/TVN-Live.",
    "For training and research; not a medical device.", "Close"]);
  await button(page, "Close").click();
  assert.ok(await page.locator("dialog").isHidden());
}));
