// The page against the real executable: the whole job that a person does with it.
//
// TVN_PROGRAM names the executable.

import assert from "node:assert/strict";
import { mkdirSync, readdirSync, readFileSync, statSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { after, before, test } from "node:test";
import { close_page, count_pixels, eventually, HEART_RATE_ORANGE, launch_browser, open_page,
         text_becomes, TVN_BLUE } from "./browser.mjs";
import { start_program } from "./real_program.mjs";

const FIRST_PORT = 18700;

let browser, folder, address, end;

before(async () => {
  ({ folder, address, end } = await start_program(process.env.TVN_PROGRAM, FIRST_PORT));
  browser = await launch_browser();
}, { timeout: 60_000 });

after(async () => {
  await browser?.close();
  await end?.();
});

const button = (page, name) => page.getByRole("button", { name, exact: true });
const number = (page, id) => page.locator("#" + id).textContent().then(Number);

async function replay(page, file) {
  await page.getByLabel("Open a recording").check();
  await button(page, "8×").click();
  await eventually(() => page.getByLabel("Recording", { exact: true })
    .selectOption(file, { timeout: 100 }));
  await button(page, "Start recording").click();
}

// A regular heart at 75 beats per minute, swinging a little with a 10 s breath: narrow R waves
// and broad T waves over reproducible noise, in the whole numbers a recorder writes.
function ecg_text(seconds, rate) {
  const beats = [0.5];
  while (beats.at(-1) < seconds) {
    beats.push(beats.at(-1) + 0.8 + 0.04 * Math.sin(2 * Math.PI * beats.at(-1) / 10));
  }
  const bump = (t, centre, width) => Math.exp(-(((t - centre) / width) ** 2));
  let seed = 1;
  const noise = () => {
    seed = (seed * 48271) % 2147483647;
    return seed / 2147483647 - 0.5;
  };
  const sample = (t) => beats.filter((beat) => Math.abs(t - beat) < 0.6).reduce(
    (sum, beat) => sum + 900 * bump(t, beat, 0.015) + 150 * bump(t, beat + 0.28, 0.06), 0);
  return Array.from({ length: seconds * rate },
    (_, i) => Math.round(sample(i / rate) + 12 * noise())).join("\n") + "\n";
}

test("a sample replays to the export button and, saved, comes back with its marker",
  async () => {
    const page = await open_page(browser, address);
    await page.getByLabel("Name or ID-code").fill("page test");
    await replay(page, "Sample 1.txt");

    await text_becomes(page.locator("#session-title"), "Playback · page test");
    assert.ok(await page.evaluate(() => document.querySelector("header img").naturalWidth) > 0);
    await page.waitForFunction(() => piano !== null && piano.duration > 0.2);
    await text_becomes(page.locator("#source-label"), "Sample 1.txt");
    await eventually(async () =>
      assert.ok(await count_pixels(page, "ecg-canvas", HEART_RATE_ORANGE) > 500));
    await text_becomes(page.locator("#hr-value"), /^\d+$/);
    const bpm = await number(page, "hr-value");
    assert.ok(bpm >= 40 && bpm <= 130, String(bpm));
    await text_becomes(page.locator("#tvn-value"), /^[+−][01]\.\d\d$/, 15_000);
    assert.ok(await page.evaluate(() => last_snapshot.elapsed) >= 32);
    await eventually(async () =>
      assert.ok(await count_pixels(page, "trend-canvas", TVN_BLUE) > 20));

    await page.keyboard.press("5");
    const markers = page.locator("#markers-line");
    await text_becomes(markers, /^Markers: 5 at \d+\.\d s$/);
    await page.waitForFunction(() => last_snapshot.markers.length === 1 &&
      pending_marks.length === 0 && paint_request === 0);
    const marked = await markers.textContent();
    await button(page, "Stop").click();
    await text_becomes(page.locator("#status-word"), "Stopped");
    await button(page, "Save").click();
    await text_becomes(page.locator("#export-line"), "Exported to exports/page_test_export", 60_000);
    await eventually(async () => assert.ok(await button(page, "Save").isEnabled()));
    const exported = (ending) => join(folder, "data/exports/page_test_export/page_test" + ending);
    for (const ending of ["_HR.txt", ".edf", "_TVN_logpower.csv", "_report.pdf"]) {
      assert.ok(statSync(exported(ending)).size > 0, ending);
    }
    assert.match(readFileSync(exported("_markers.csv"), "utf8"),
                 /^marker,sample_index,seconds\n5,\d+,\d+\.\d{3}\n$/);
    const [file] = readdirSync(join(folder, "data/recordings"))
      .filter((name) => /^page_test_on5_off11_M40_[\d-]+\.csv$/.test(name));
    assert.equal(readFileSync(exported("_ECG.txt"), "utf8"),
                 readFileSync(join(folder, "data/recordings", file), "utf8"));
    const saved = readFileSync(join(folder, "data/recordings", file), "utf8");
    const seconds = (saved.split("\n").length - 1) / 130;
    const elapsed = await page.evaluate(() => last_snapshot.elapsed);
    assert.ok(Math.abs(seconds - elapsed) <= 0.05, `${seconds} s saved of ${elapsed} s`);

    await button(page, "New session").click();
    await replay(page, file);
    await text_becomes(page.locator("#source-label"), file);
    await text_becomes(markers, marked);
    await close_page(page);
  });

test("a 360 Hz recording is imported and replays at its own pace", async () => {
  const page = await open_page(browser, address);
  await page.getByLabel("Open a recording").check();
  await button(page, "8×").click();
  await page.getByLabel("Import sample rate").fill("360");
  const chooser = page.waitForEvent("filechooser");
  await button(page, "Import file…").click();
  await (await chooser).setFiles({ name: "my 360 Hz.txt", mimeType: "text/plain",
                                   buffer: Buffer.from(ecg_text(60, 360)) });
  await text_becomes(page.locator("#source-label"), "Imported — my 360 Hz.txt");
  await text_becomes(page.locator("#position-total"), "60 s total · drag to jump");
  await text_becomes(page.locator("#status-word"), "Stopped", 15_000);
  // Beats 0.8 +- 0.04 s apart: 71 to 79 per minute.
  const bpm = await number(page, "hr-value");
  assert.ok(bpm >= 68 && bpm <= 82, String(bpm));
  assert.ok(await count_pixels(page, "ecg-canvas", HEART_RATE_ORANGE) > 500);
  assert.equal(readdirSync(join(folder, "data/recordings"))
    .filter((name) => /^imported_my_360_Hz_\d{8}-\d{6}\.csv$/.test(name)).length, 1);
  await close_page(page);
});

test("a page that is reloaded in a run leads back to it, and so does Setup after it", async () => {
  const page = await open_page(browser, address);
  await page.getByLabel("Name or ID-code").fill("Rita");
  await replay(page, "Sample 2.txt");
  await text_becomes(page.locator("#session-title"), "Playback · Rita");
  const elapsed = () => page.evaluate(() => last_snapshot.elapsed);
  await eventually(async () => assert.ok(await elapsed() > 1));
  await page.reload();
  await page.getByText("A recording is running").waitFor();
  await button(page, "Back to the last session").click();
  await text_becomes(page.locator("#session-title"), "Playback · Rita");
  await eventually(async () => assert.ok(await elapsed() > 1));
  await button(page, "New session").click();
  await button(page, "Back to the last session").waitFor();
  await page.getByText("A recording is running").waitFor({ state: "hidden" });
  await button(page, "Back to the last session").click();
  await text_becomes(page.locator("#status-word"), "Stopped");
  assert.equal(await page.title(), "Stopped · Rita");
  await close_page(page);
});

test("jumping back and forth in a recording", async () => {
  const page = await open_page(browser, address);
  await replay(page, "Sample 2.txt");
  await text_becomes(page.locator("#source-label"), "Sample 2.txt");
  const elapsed = () => page.evaluate(() => last_snapshot.elapsed);
  await page.getByLabel("Position").fill("500");
  await eventually(async () => assert.ok(await elapsed() >= 128));
  await page.getByLabel("Position").fill("100");
  await eventually(async () => assert.ok(await elapsed() < 60));
  await button(page, "New session").click();
  await text_becomes(page.locator("#status-word"), "Setup");
  await close_page(page);
});

test("the time-frequency pictures of a run are drawn", async () => {
  const page = await open_page(browser, address);
  await replay(page, "Sample 2.txt");
  await text_becomes(page.locator("#cycles"), /^[2-9]\.\d \/ 16$/, 15_000);
  await button(page, "Stop").click();
  await button(page, "Compute TFR").click();
  await page.getByText("High frequency resolution (n = 10)").waitFor();
  const pictures = page.locator("img[src^='data:image/png']");
  await eventually(async () => assert.deepEqual(
    await pictures.evaluateAll((all) => all.map((img) => [img.naturalWidth, img.naturalHeight])),
    [[1200, 480], [1200, 480]]));
  await close_page(page);
});

test("an RR export and a folder of recordings become reports", async () => {
  const page = await open_page(browser, address);
  const hint = page.locator("#import-hint");
  const intervals = Array.from({ length: 60 }, (_, i) => `,${i},${780 + i % 9 * 10}`).join("\n");
  let chooser = page.waitForEvent("filechooser");
  await button(page, "Import file…").click();
  await (await chooser).setFiles({ name: "berta.csv", mimeType: "text/csv",
                                   buffer: Buffer.from("Kubios\nRR INTERVAL DATA\n" + intervals) });
  const done = "✓ Done — 1 report(s) written to Documents/TVN-Live/exports.";
  await text_becomes(hint, done, 30_000);

  const study = join(folder, "study");
  mkdirSync(join(study, "day 1"), { recursive: true });
  writeFileSync(join(study, "day 1", "morning.txt"), ecg_text(40, 130));
  writeFileSync(join(study, "evening.txt"), ecg_text(50, 130));
  chooser = page.waitForEvent("filechooser");
  await button(page, "Import folder…").click();
  await (await chooser).setFiles(study);
  await text_becomes(hint, /^Uploading… |^Processing/);
  await text_becomes(hint, done, 30_000);
  const reports = readdirSync(join(folder, "data/exports"));
  assert.ok(reports.includes("berta_export"), String(reports));
  assert.match(
    readFileSync(join(folder, "data/exports/study_export/study_TVN_logpower.csv"), "utf8"),
    /^cycle,morning,evening\n/);
  await close_page(page);
});

test("what the program cannot do is said, and the button given back", async () => {
  const page = await open_page(browser, address);
  await button(page, "Start recording").click();
  await text_becomes(page.locator("#start-hint"), "Scan and select your Polar H10 first.");
  const chooser = page.waitForEvent("filechooser");
  await button(page, "Import file…").click();
  await (await chooser).setFiles({ name: "letter.txt", mimeType: "text/plain",
                                   buffer: Buffer.from("Dear reader\n") });
  await text_becomes(page.locator("#import-hint"), "That file did not look like a raw ECG " +
    "(.txt/.csv with one sample per line) or a Kubios export.");
  assert.ok(await button(page, "Import file…").isEnabled());
  await close_page(page);
});
