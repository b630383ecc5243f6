// The countdown to the first TVN value and the reward for staying coupled.

import assert from "node:assert/strict";
import { test } from "node:test";
import { eventually, text_becomes } from "./browser.mjs";
import { button, in_session, record_waits, share_browser, show, start_replay }
  from "./fixture.mjs";

share_browser();

const text = (page, id) => page.locator("#" + id);
const sounds = (page) => page.evaluate(() => window.sounds);

test("the countdown counts, beeps twice and once higher, and hides",
  in_session(async (page, server) => {
    const countdown = text(page, "countdown-text");
    const sounds = () => page.evaluate(() => window.sounds);
    await show(page, server, { elapsed: 19.5 });
    await text_becomes(countdown, "TVN in 13");
    assert.equal(await text(page, "countdown-bar").evaluate((bar) => bar.value), 0.609375);
    await record_waits(page);
    await page.evaluate(() => {
      window.lengths = [];
      const { beep: sound } = window;
      window.beep = (frequency_hz, seconds) => {
        window.lengths.push(seconds);
        sound(frequency_hz, seconds);
      };
    });
    for (const elapsed of [29, 30, 30.5, 31, 31.9]) await show(page, server, { elapsed });
    await text_becomes(countdown, "TVN in 1");
    assert.deepEqual(await sounds(), [660, 660]);
    await show(page, server, { elapsed: 32 });
    await text_becomes(countdown, "TVN active");
    assert.ok(await countdown.isVisible());
    assert.deepEqual(await sounds(), [660, 660, 880]);
    const [lengths, waits] = await page.evaluate(() => [window.lengths, window.waits]);
    assert.deepEqual(lengths, [0.12, 0.12, 0.25]);
    // With every snapshot a wait begins after which a silent stream counts as lost.
    assert.deepEqual(waits.filter((ms) => ms !== 2000), [1200]);
    await eventually(async () => assert.ok(await countdown.isHidden()));
    await show(page, server, { elapsed: 40 });
    assert.equal((await sounds()).length, 3);
  }));

test("the countdown is silent when the run has stopped", in_session(async (page, server) => {
  for (const elapsed of [30, 31]) await show(page, server, { elapsed, running: false });
  assert.deepEqual(await page.evaluate(() => window.sounds), []);
}));

test("the reward comes after a full positive cycle, once a cycle",
  in_session(async (page, server) => {
    const notes = async () =>
      (await page.evaluate(() => window.sounds)).filter((sound) => sound === "piano").length;
    const lit = () => page.locator("#coupled.lit").count();
    const at = (elapsed, tvn) => show(page, server, { elapsed, tvn });
    await page.waitForFunction(() => piano !== null);
    await at(50, 0.1);
    await at(65.9, 0.3);
    assert.deepEqual([await lit(), await notes()], [0, 0]);
    await at(66, 0.3);
    assert.deepEqual([await lit(), await notes()], [1, 1]);
    await page.waitForTimeout(1300);
    await at(81.9, 0.3);
    assert.equal(await notes(), 1);
    await at(82, 0.3);
    assert.equal(await notes(), 2);
    await at(98, 0.3);  // a cycle further, but not yet 1.2 s of wall time
    assert.equal(await notes(), 2);
    await page.waitForTimeout(1300);
    await at(98.1, 0.3);
    assert.equal(await notes(), 3);
    await at(99, 0);
    assert.equal(await lit(), 0);
    await page.waitForTimeout(1300);
    await at(114, 0.2);
    await at(129.9, 0.2);
    assert.deepEqual([await lit(), await notes()], [0, 3]);
    await at(130, 0.2);
    assert.deepEqual([await lit(), await notes()], [1, 4]);
    await at(100, 0.2);  // a seek backwards starts again
    assert.equal(await lit(), 0);
    await at(116, 0.2);
    assert.equal(await lit(), 1);
  }));

test("a value that is missing ends the reward like one of 0", in_session(async (page, server) => {
  const lit = () => page.locator("#coupled.lit").count();
  const at = (elapsed, tvn) => show(page, server, { elapsed, tvn });
  await at(50, 0.1);
  await at(66, 0.1);
  assert.equal(await lit(), 1);
  await at(67, null);
  assert.equal(await lit(), 0);
  await at(68, 0.1);
  await at(83.9, 0.1);
  assert.equal(await lit(), 0);
  await at(84, 0.1);
  assert.equal(await lit(), 1);
  await at(85, -0.1);
  assert.equal(await lit(), 0);
}));

test("a jump back shows the countdown again, a jump over it beeps once",
  in_session(async (page, server) => {
    const countdown = text(page, "countdown-text");
    await show(page, server, { elapsed: 12 });
    await show(page, server, { elapsed: 200 });
    assert.deepEqual(await sounds(page), [880]);
    await text_becomes(countdown, "TVN active");
    await show(page, server, { elapsed: 20 });
    await text_becomes(countdown, "TVN in 12");
    await page.waitForTimeout(1300);
    assert.ok(await countdown.isVisible());
    for (const elapsed of [30, 31, 33]) await show(page, server, { elapsed });
    assert.deepEqual(await sounds(page), [880, 660, 660, 880]);
  }));

test("the countdown keeps its room when it hides", in_session(async (page, server) => {
  const places = () => page.evaluate(() => [...document.querySelectorAll("canvas, button, output")]
    .map((element) => JSON.stringify(element.getBoundingClientRect())));
  await show(page, server, { elapsed: 31 });
  const before = await places();
  await show(page, server, { elapsed: 32 });
  await eventually(async () => assert.ok(await text(page, "countdown-text").isHidden()));
  assert.deepEqual(await places(), before);
  await show(page, server, { elapsed: 50, tvn: 0.2 });
  await show(page, server, { elapsed: 66, tvn: 0.2 });
  assert.ok(await text(page, "coupled").isVisible());
  assert.deepEqual(await places(), before);
}));

test("a new session clears reward and countdown", in_session(async (page, server) => {
  await page.waitForFunction(() => piano !== null);
  await show(page, server, { elapsed: 50, tvn: 0.2 });
  await show(page, server, { elapsed: 66, tvn: 0.2 });
  assert.ok(await text(page, "coupled").isVisible());
  await button(page, "New session").click();
  await eventually(async () => assert.ok(await text(page, "setup").isVisible()));
  await start_replay(page, server);
  assert.ok(await text(page, "coupled").isHidden());
  assert.ok(await text(page, "countdown-text").isHidden());
  await show(page, server, { elapsed: 67, tvn: 0.2 });
  assert.ok(await text(page, "coupled").isHidden());
  assert.deepEqual((await sounds(page)).slice(-2), ["piano", 880]);
}));
