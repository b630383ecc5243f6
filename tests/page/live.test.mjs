// A live run on the page: the real executable, and a bluetoothd of the test's own that plays a
// strap. Everything is found by its accessible name or its text.
//
// TVN_PROGRAM names the executable, TVN_FAKE_BLUETOOTHD the fake, TVN_SAMPLE what the strap sends.

import assert from "node:assert/strict";
import { spawn } from "node:child_process";
import { after, before, test } from "node:test";
import { close_page, eventually, launch_browser, open_page } from "./browser.mjs";
import { printed, start_program } from "./real_program.mjs";

const FIRST_PORT = 18800;
// Ten times real time, so that the score is there after a few seconds.
const SPEED = "10";
const { TVN_PROGRAM, TVN_FAKE_BLUETOOTHD, TVN_SAMPLE } = process.env;
if (!TVN_PROGRAM || !TVN_FAKE_BLUETOOTHD || !TVN_SAMPLE) {
  throw new Error("TVN_PROGRAM, TVN_FAKE_BLUETOOTHD and TVN_SAMPLE must be set");
}

let browser, bluetoothd, address, end;

before(async () => {
  bluetoothd = spawn(TVN_FAKE_BLUETOOTHD, [TVN_SAMPLE, SPEED],
                     { stdio: ["pipe", "pipe", "inherit"] });
  const [, bus] = await printed(bluetoothd, /^(unix:.*)$/m);
  ({ address, end } =
    await start_program(TVN_PROGRAM, FIRST_PORT, { DBUS_SYSTEM_BUS_ADDRESS: bus }));
  browser = await launch_browser();
}, { timeout: 60_000 });

after(async () => {
  await browser?.close();
  await end?.();
  bluetoothd?.stdin.end();
});

const button = (page, name) => page.getByRole("button", { name, exact: true });
const shown = (page, text, timeout = 15_000) =>
  page.getByText(text).first().waitFor({ state: "visible", timeout });

test("a strap is found, chosen and seen within seconds, and its loss is told", async () => {
  const page = await open_page(browser, address);
  await page.getByLabel("Name or ID-code").fill("Eva");
  await button(page, "Scan for devices").click();
  await shown(page, "Scanning for Bluetooth devices (~10 s)…");
  await shown(page, "Found 1 device(s). Select your Polar H10.", 20_000);
  const devices = page.getByLabel("Device", { exact: true });
  assert.match(await devices.textContent(), /Polar H10 12345678.+—.+A0:9E:1A:12:34:56/);
  await devices.selectOption("A0:9E:1A:12:34:56");
  await button(page, "Start recording").click();

  await shown(page, "Live recording · Eva");
  await shown(page, "Live — Polar H10 12345678");
  await shown(page, "Bluetooth: Streaming ECG…");
  const snapshot = async () => (await fetch(address + "status")).json();
  await eventually(async () => assert.ok((await snapshot()).ecg.length > 400), 15_000);
  await eventually(async () => assert.notEqual((await snapshot()).tvn, null), 30_000);
  await eventually(async () => {
    const { hr } = await snapshot();
    const text = await page.locator("body").innerText();
    assert.match(text, new RegExp(`\\b(${Math.floor(hr)}|${Math.ceil(hr)})\\b`));
  });
  await page.keyboard.press("3");
  await eventually(async () => assert.deepEqual((await snapshot()).markers.map((m) => m.k), [3]));

  bluetoothd.stdin.write("drop\n");
  await shown(page, "Bluetooth: Disconnected.");
  await button(page, "Stop").click();
  await eventually(async () => assert.equal((await snapshot()).running, false));
  await close_page(page);
});
