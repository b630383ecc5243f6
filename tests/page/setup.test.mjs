import assert from "node:assert/strict";
import { test } from "node:test";
import { eventually, text_becomes } from "./browser.mjs";
import { button, requests_for, share_browser, shown_texts, start_replay, with_page }
  from "./fixture.mjs";

share_browser();

const cycle_line = (page) => page.locator("#cycle-line");
const start_hint = (page) => page.locator("#start-hint");

// The hint at Start, seen and told at once.
async function warns(page, text) {
  await text_becomes(start_hint(page), text);
  assert.ok(await start_hint(page).isVisible());
  assert.equal(await start_hint(page).getAttribute("role"), "alert");
}

test("what Setup says, with a strap and with a recording", with_page(async (page) => {
  assert.deepEqual(await shown_texts(page, "body"), [
    "Talvern Live", "v", "1.0.0", "About", "Setup",
    "Person and breathing", "Name or ID-code", "16 s cycle", "10 s cycle",
    "In-period", "Out-period", "Cycle 16 s · 0.0625 Hz", "Sex", "Age",
    "Source of the ECG", "Live", "Open a recording", "Device", "Scan for devices",
    "Why is my strap not listed?", "Start recording", "Files of your own",
    "A raw ECG text, one sample per line at the rate given here, replays at once; " +
    "a Kubios RR export or a folder becomes reports.",
    "Import sample rate", "Import file…", "Import folder…", "Batch process…"]);
  for (const [list, options] of [["Sex", ["Male", "Female"]], ["Device", ["Scan, then select"]]]) {
    assert.deepEqual(await page.getByLabel(list).locator("option").allTextContents(), options);
  }
  const unit = (label) => page.getByLabel(label).evaluate(({ parentElement }) =>
    getComputedStyle(parentElement, "::after").content);
  for (const [label, expected] of [["In-period", '"s"'], ["Out-period", '"s"'],
                                   ["Import sample rate", '"Hz"'], ["Age", "none"]]) {
    assert.equal(await unit(label), expected);
  }
  await page.getByLabel("Open a recording").check();
  assert.deepEqual(await shown_texts(page, ".card:has(#sources)"), [
    "Source of the ECG", "Live", "Open a recording", "Recording", "Speed", "1×", "2×", "4×", "8×",
    "Start recording"]);
}, (server) => { server.replies["/bt_available"] = { available: true }; }));

test("cycle line takes a decimal comma and rounds to 0.01 s", with_page(async (page) => {
  await text_becomes(cycle_line(page), "Cycle 16 s · 0.0625 Hz");
  await page.getByLabel("In-period").fill("1,95");
  await page.getByLabel("Out-period").fill("8");
  await text_becomes(cycle_line(page), "Cycle 9.95 s · 0.1005 Hz");
  await page.getByLabel("In-period").fill("0.1");
  await page.getByLabel("Out-period").fill("0.2");
  await text_becomes(cycle_line(page), "Cycle 0.3 s · 3.3333 Hz");
}));

test("a cycle of 0 shows 0", with_page(async (page) => {
  await page.getByLabel("In-period").fill("five");
  await page.getByLabel("Out-period").fill("");
  await text_becomes(cycle_line(page), "Cycle 0 s · 0 Hz");
}));

test("presets fill the fields and the one that fits is marked", with_page(async (page) => {
  const pressed = (name) => button(page, name).getAttribute("aria-pressed");
  assert.equal(await pressed("16 s cycle"), "true");
  await button(page, "10 s cycle").click();
  assert.equal(await page.getByLabel("In-period").inputValue(), "2");
  assert.equal(await page.getByLabel("Out-period").inputValue(), "8");
  await text_becomes(cycle_line(page), "Cycle 10 s · 0.1000 Hz");
  assert.equal(await pressed("10 s cycle"), "true");
  assert.equal(await pressed("16 s cycle"), "false");
  await page.getByLabel("In-period").fill("3");
  assert.equal(await pressed("10 s cycle"), "false");
}));

test("the recording list has both groups with their folder words", with_page(async (page) => {
  const groups = await page.evaluate(() =>
    [...document.querySelectorAll("#recording optgroup")].map((group) => [group.label,
      ...[...group.children].map((option) => [option.dataset.dir, option.value])]));
  assert.equal(await page.locator("#recording > option").textContent(), "Select a recording");
  assert.deepEqual(groups, [
    ["Saved recordings", ["saved", "a <b>\t\"c\".csv"]],
    ["Bundled samples", ["samples", "Sample 1.txt"], ["samples", "Sample 2.txt"]]]);
  // The program copies the tab unescaped into its reply.
}, (server) => {
  server.replies["/recordings"] =
    '{"saved":["a <b>\t\\"c\\".csv"],"samples":["Sample 1.txt","Sample 2.txt"]}';
}));

test("start sends the parameters in order, as typed and encoded",
  with_page(async (page, server) => {
    await page.getByLabel("Name or ID-code").fill("Åsa & co/1+2");
    await page.getByLabel("In-period").fill("1,95");
    await page.getByLabel("Out-period").fill("8");
    await page.getByLabel("Sex").selectOption("F");
    await page.getByLabel("Age").fill("33");
    await page.getByLabel("Import sample rate").fill("360");
    await page.getByLabel("Open a recording").check();
    await button(page, "8×").click();
    assert.equal(await button(page, "8×").getAttribute("aria-pressed"), "true");
    assert.equal(await button(page, "2×").getAttribute("aria-pressed"), "false");
    await start_replay(page, server, "Sample 2.txt");
    assert.deepEqual(requests_for(server, "/start_replay").map((request) => request.url), [
      "/start_replay?dir=samples&file=Sample%202.txt&speed=8" +
      "&name=%C3%85sa%20%26%20co%2F1%2B2&indur=1%2C95&outdur=8&sex=F&age=33&fs=360"]);
    assert.ok(await page.locator("#session").isVisible());
  }));

test("the default speed is 2 and a saved recording carries its folder word",
  with_page(async (page, server) => {
    await start_replay(page, server, "mine.csv");
    assert.deepEqual(requests_for(server, "/start_replay").map((request) => request.url), [
      "/start_replay?dir=saved&file=mine.csv&speed=2" +
      "&name=&indur=5&outdur=11&sex=M&age=40&fs=130"]);
  }, (server) => {
    server.replies["/recordings"] = { saved: ["mine.csv"], samples: [] };
  }));

test("without a selection there is a hint, and nothing is sent, until there is one",
  with_page(async (page, server) => {
    await button(page, "Scan for devices").click();
    await text_becomes(page.locator("#scan-line"), /^Found 3/);
    server.requests.length = 0;
    await button(page, "Start recording").click();
    await warns(page, "Scan and select your Polar H10 first.");
    await page.getByLabel("Device").selectOption("CC");
    await text_becomes(start_hint(page), "");
    await page.getByLabel("Open a recording").check();
    await button(page, "Start recording").click();
    await warns(page, "Pick or import a recording.");
    assert.deepEqual(server.requests, []);
    await page.getByLabel("Recording", { exact: true }).selectOption("Sample 1.txt");
    await text_becomes(start_hint(page), "");
  }, (server) => {
    server.replies["/bt_available"] = { available: true };
    server.replies["/scan"] = { success: true, devices: DEVICES };
  }));

const SAVED = ["anna_on2_off8.5_F33_20260101-101500.csv", "anna_markers.csv", "plain.csv",
               "Live_____Polar_H10_on5_off11_M50_20260101-111500.csv",
               "x_on1_off2_M1_20260101-111500.csv_on5_off11_F71_20260101-121500.csv",
               "recovered_anna_on5_off11_F33_20260101-131500.csv",
               "imported_recovered_Live_____Polar_H10_on5_off11_M50_20260101-101500_20260102.csv"];

test("a saved recording fills in its person's values, which stay editable",
  with_page(async (page, server) => {
    const values = () => page.evaluate(() =>
      ["name", "indur", "outdur", "sex", "age"].map((id) => document.getElementById(id).value));
    const choose = (file) => page.getByLabel("Recording", { exact: true }).selectOption(file);
    await page.getByLabel("Open a recording").check();
    await page.getByLabel("Name or ID-code").fill("Bert");
    await choose(SAVED[0]);
    assert.deepEqual(await values(), ["anna", "2", "8.5", "F", "33"]);
    await text_becomes(cycle_line(page), "Cycle 10.5 s · 0.0952 Hz");
    await text_becomes(start_hint(page), "Filled in from the recording; change what is not right.");
    assert.equal(await start_hint(page).getAttribute("role"), "paragraph");
    await choose(SAVED[3]);
    assert.deepEqual(await values(), ["", "5", "11", "M", "50"]);
    await choose(SAVED[4]);
    assert.deepEqual((await values()).slice(1), ["5", "11", "F", "71"]);
    // The same person's, whatever became of the recording.
    await choose(SAVED[5]);
    assert.equal((await values())[0], "anna");
    await choose(SAVED[6]);
    assert.equal((await values())[0], "");
    await choose(SAVED[4]);
    await page.getByLabel("Age").fill("72");
    await choose("plain.csv");
    await text_becomes(start_hint(page), "");
    assert.equal((await values())[4], "72");
    await start_replay(page, server, SAVED[0]);
    assert.match(requests_for(server, "/start_replay")[0].url,
                 /&name=anna&indur=2&outdur=8.5&sex=F&age=33&fs=130$/);
  }, (server) => { server.replies["/recordings"] = { saved: SAVED, samples: ["Sample 1.txt"] }; }));

test("a list of markers is no recording to choose", with_page(async (page) => {
  assert.deepEqual(await page.locator("#recording option").evaluateAll((all) =>
    all.filter(({ disabled }) => disabled).map(({ value }) => value)), ["anna_markers.csv"]);
}, (server) => { server.replies["/recordings"] = { saved: SAVED, samples: [] }; }));

test("a period that is no number is marked before Start, and sent as typed",
  with_page(async (page, server) => {
    const marked = (id) => page.locator(`#${id}:invalid`).count();
    for (const id of ["indur", "outdur"]) {
      for (const [text, expected] of [["", 1], ["five", 1], ["-5", 1], ["5 s", 1], ["  ", 1],
        [".", 1], ["5", 0], ["1,95", 0], ["1.95", 0], [" 5 ", 0], ["0", 0], [".5", 0], ["5.", 0]]) {
        await page.locator("#" + id).fill(text);
        assert.equal(await marked(id), expected, `${id} "${text}"`);
      }
    }
    await page.getByLabel("In-period").fill("");
    await start_replay(page, server);
    assert.match(requests_for(server, "/start_replay")[0].url, /&indur=&outdur=5\.&/);
  }));

test("a name has a hundred characters at most", with_page(async (page) => {
  await page.getByLabel("Name or ID-code").focus();
  await page.keyboard.insertText("n".repeat(150));
  assert.equal((await page.getByLabel("Name or ID-code").inputValue()).length, 100);
}));

test("a refused start shows the reason and stays in Setup", with_page(async (page, server) => {
  server.replies["/start_replay"] = { error: "file not found" };
  server.status["/start_replay"] = 404;
  await page.getByLabel("Open a recording").check();
  await page.getByLabel("Recording", { exact: true }).selectOption("Sample 1.txt");
  await button(page, "Start recording").click();
  await warns(page, "file not found");
  server.replies["/start_replay"] = { ok: false };
  await button(page, "Start recording").click();
  await warns(page, "Could not start.");
  server.replies["/start_replay"] = null;
  await button(page, "Start recording").click();
  await eventually(async () => assert.ok(await button(page, "Start recording").isEnabled()));
  assert.ok(await page.locator("#setup").isVisible());
}));

const BLUETOOTH_NOTE = "Bluetooth is not available on this computer. " +
  "Use “Open a recording” to replay or import files.";

test("without Bluetooth, Scan is disabled and the note says why", with_page(async (page) => {
  await eventually(async () => assert.ok(await button(page, "Scan for devices").isDisabled()));
  const note = (await page.locator("#bluetooth-note").innerText()).replace(/\s+/g, " ");
  assert.equal(note, BLUETOOTH_NOTE);
}));

const DEVICES = [{ name: "", address: "AA" }, { name: "Watch", address: "BB" },
                 { name: "POLAR H10 12", address: "CC" }];

test("a scan lists Polar devices first and a start names the device",
  with_page(async (page, server) => {
    let answer;
    server.replies["/scan"] = () => answer;
    answer = { success: true, devices: DEVICES };
    assert.ok(await page.locator("#bluetooth-note").isHidden());
    await button(page, "Scan for devices").click();
    await text_becomes(page.locator("#scan-line"), "Found 3 device(s). Select your Polar H10.");
    assert.deepEqual(await page.locator("#device option").allTextContents(),
                     ["Select a device", "POLAR H10 12\u00a0\u00a0—\u00a0\u00a0CC",
                      "(unknown)\u00a0\u00a0—\u00a0\u00a0AA",
                      "Watch\u00a0\u00a0—\u00a0\u00a0BB"]);
    await page.getByLabel("Device").selectOption("CC");
    await button(page, "Start recording").click();
    await eventually(() => assert.equal(requests_for(server, "/start_live").length, 1));
    assert.equal(requests_for(server, "/start_live")[0].url,
                 "/start_live?address=CC&device=POLAR%20H10%2012" +
                 "&name=&indur=5&outdur=11&sex=M&age=40&fs=130");
  }, (server) => { server.replies["/bt_available"] = { available: true }; }));

test("polar anywhere in a name goes first; a device without a name is called by its address",
  with_page(async (page, server) => {
    server.replies["/scan"] = { success: true, devices: [
      { name: "Watch", address: "BB" }, { name: "", address: "A&A" },
      { name: "my poLaR strap", address: "CC" }] };
    await button(page, "Scan for devices").click();
    await text_becomes(page.locator("#scan-line"), "Found 3 device(s). Select your Polar H10.");
    const values = await page.locator("#device option").evaluateAll((all) =>
      all.map(({ value }) => value));
    assert.deepEqual(values, ["", "CC", "BB", "A&A"]);
    await page.getByLabel("Device").selectOption("A&A");
    await button(page, "Start recording").click();
    await eventually(() => assert.equal(requests_for(server, "/start_live").length, 1));
    assert.match(requests_for(server, "/start_live")[0].url,
                 /^\/start_live\?address=A%26A&device=&name=/);
  }, (server) => { server.replies["/bt_available"] = { available: true }; }));

test("a scan that finds nothing or fails says so", with_page(async (page, server) => {
  server.replies["/scan"] = { success: true, devices: [] };
  await button(page, "Scan for devices").click();
  await text_becomes(page.locator("#device option"), "none found");
  await text_becomes(page.locator("#scan-line"),
    "No devices found. Wear the strap, wet its electrodes and scan again.");
  assert.ok(await page.locator("#scan-line").isVisible());
  await button(page, "Start recording").click();
  await text_becomes(start_hint(page), "Scan and select your Polar H10 first.");
  server.replies["/scan"] = { success: false, reason: "Bluetooth is off." };
  await button(page, "Scan for devices").click();
  await text_becomes(page.locator("#scan-line"), "Bluetooth is off.");
  assert.ok(await button(page, "Scan for devices").isEnabled());
}, (server) => { server.replies["/bt_available"] = { available: true }; }));

test("numbers outside their limits are marked, and sent as typed",
  with_page(async (page, server) => {
    const invalid = () => page.locator(":invalid").evaluateAll((all) => all.map(({ id }) => id));
    assert.deepEqual(await invalid(), []);
    await page.getByLabel("Age").fill("150");
    await page.getByLabel("Import sample rate").fill("512.5");
    assert.deepEqual(await invalid(), ["age"]);
    assert.equal(await page.getByLabel("Age").evaluate((e) => getComputedStyle(e).borderStyle),
                 "dashed");
    await page.getByLabel("Import sample rate").fill("5");
    assert.deepEqual(await invalid(), ["age", "fs"]);
    await start_replay(page, server);
    assert.match(requests_for(server, "/start_replay")[0].url, /&age=150&fs=5$/);
  }));
