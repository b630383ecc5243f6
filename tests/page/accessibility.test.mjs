// axe-core over every state of the page, and what it cannot see: names, regions, summaries.

import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { createRequire } from "node:module";
import { test } from "node:test";
import { close_page, eventually, open_page } from "./browser.mjs";
import { in_session, shared_browser, share_browser, show, with_page } from "./fixture.mjs";
import { start_scripted_server } from "./scripted_server.mjs";
import { session_at } from "./signals.mjs";
import { STATES } from "./states.mjs";

share_browser();

const AXE = readFileSync(createRequire(import.meta.url).resolve("axe-core/axe.min.js"), "utf8");

async function violations(page) {
  await page.evaluate(AXE);
  const found = await page.evaluate(async () => (await axe.run()).violations);
  return found.map(({ id, nodes }) => `${id}: ${nodes.map(({ html }) => html).join(" ")}`);
}

for (const colorScheme of ["light", "dark"]) {
  for (const [state, [prepare, act]] of Object.entries(STATES)) {
    test(`axe finds nothing in ${state}, ${colorScheme}`, async () => {
      const server = await start_scripted_server(process.env.TVN_PAGE);
      prepare(server);
      const page = await open_page(shared_browser(), server.address, { colorScheme });
      try {
        await page.waitForFunction(() => document.querySelector("#recording optgroup"));
        await act(page, server);
        // The finished look, not a moment of the spinner or of the way there.
        await page.emulateMedia({ reducedMotion: "reduce" });
        assert.deepEqual(await violations(page), []);
        await close_page(page);
      } finally {
        await page.context().close();
        await server.close();
      }
    });
  }
}

test("every control has its text as its name", with_page(async (page) => {
  const by_name = (role, name) => page.getByRole(role, { name, exact: true, includeHidden: true });
  for (const [role, names] of Object.entries({
    button: ["16 s cycle", "10 s cycle", "Scan for devices", "Start recording", "Import file…",
             "Import folder…", "Batch process…", "1×", "2×", "4×", "8×", "Stop", "Save",
             "Compute TFR", "New session", "About"],
    textbox: ["Name or ID-code", "In-period", "Out-period"],
    spinbutton: ["Age", "Import sample rate"], combobox: ["Sex", "Device", "Recording"],
    radio: ["Live", "Open a recording"], slider: ["Position"], switch: ["Sound", "Pacer"],
    meter: ["TVN"], status: ["Heart rate", "TVN"], group: ["Speed"],
    radiogroup: ["Source of the ECG"], progressbar: ["Files done", "Countdown to TVN"],
    img: ["ECG", "Trend"], dialog: ["About"] })) {
    for (const name of names) assert.equal(await by_name(role, name).count(), 1, `${role} ${name}`);
  }
}));

test("one polite region tells the state; numbers are outputs that are not told",
  in_session(async (page, server) => {
    assert.equal(await page.locator("[role=status]").count(), 1);
    await show(page, server, { running: false, hr: 71.6, tvn: -0.25 });
    assert.equal((await page.locator("[role=status]").textContent()).trim(), "Stopped");
    const outputs = await page.locator("output").evaluateAll((all) =>
      all.map((output) => [output.getAttribute("aria-live"), output.textContent]));
    assert.deepEqual(outputs, [["off", "72"], ["off", "−0.25"], ["off", "0.6 / 16"],
                               ["off", "10.0 s"]]);
  }));

// A region is told of only when it was one before its text came; the seconds of a stall, which
// count on, never are.
test("which lines a reader is told of", with_page(async (page) => {
  const lines = await page.locator("[aria-live]").evaluateAll((all) =>
    all.map((line) => [line.id, line.getAttribute("aria-live")]));
  const ids = (wanted) => lines.filter(([, live]) => live === wanted).map(([id]) => id).sort();
  assert.deepEqual(ids("polite"), ["export-line", "import-hint", "scan-line", "start-hint",
                                   "tfr-hint", "tfr-line"]);
  assert.deepEqual(ids("off"), ["cycles", "elapsed", "hr-value", "trouble-seconds", "tvn-value"]);
}));

test("the gauge is a meter with a value text", in_session(async (page, server) => {
  const values = () => page.getByRole("meter").evaluate((gauge) =>
    ["min", "max", "now", "text"].map((name) => gauge.getAttribute("aria-value" + name)));
  await show(page, server, { tvn: -0.256 });
  assert.deepEqual(await values(), ["-1", "1", "-0.256", "−0.26"]);
  await show(page, server, { tvn: null });
  assert.deepEqual(await values(), ["-1", "1", "0", "–"]);
}));

test("the pictures' summaries are rewritten every ten seconds at most",
  in_session(async (page, server) => {
    const summaries = () => page.evaluate(() =>
      [...document.querySelectorAll("canvas[role=img]")].map((canvas) =>
        canvas.getAttribute("aria-label")));
    await show(page, server, session_at(60, { hr: 61, tvn: -0.5 }));
    const first = await summaries();
    assert.match(first[0], /^ECG .* 61 bpm/);
    assert.match(first[1], /^Heart rate 61 bpm, TVN −0\.50, .* \d\d to \d\d bpm$/);
    await show(page, server, session_at(61, { hr: 62, tvn: -0.4 }));
    assert.deepEqual(await summaries(), first);
    await page.evaluate(() => { summary_at -= 10_001; });
    await show(page, server, session_at(62, { hr: 63, tvn: 0.4 }));
    assert.match((await summaries())[1], /63 bpm, TVN \+0\.40/);
  }));

test("a failure is an alert, a success is not", with_page(async (page, server) => {
  const line = page.locator("#scan-line");
  server.replies["/scan"] = { success: false, reason: "Bluetooth is off." };
  await page.getByRole("button", { name: "Scan for devices" }).click();
  await eventually(async () => assert.equal(await line.getAttribute("role"), "alert"));
  assert.equal(await line.getAttribute("aria-live"), "assertive");
  server.replies["/scan"] = { success: true, devices: [{ name: "Polar", address: "A" }] };
  await page.getByRole("button", { name: "Scan for devices" }).click();
  await eventually(async () => assert.match(await line.textContent(), /^Found 1/));
  assert.equal(await line.getAttribute("role"), "paragraph");
  assert.equal(await line.getAttribute("aria-live"), "polite");
}, (server) => { server.replies["/bt_available"] = { available: true }; }));

test("without motion nothing moves by itself", in_session(async (page) => {
  const moving = await page.evaluate(() => {
    set_busy("save", true);
    return [...document.querySelectorAll("*")].filter((element) => {
      const { animationName, transitionDuration } = getComputedStyle(element);
      return animationName !== "none" || transitionDuration !== "0s";
    }).map(({ id }) => id);
  });
  assert.deepEqual(moving, []);
}, { reducedMotion: "reduce" }));
