import assert from "node:assert/strict";
import { test } from "node:test";
import { count_pixels, eventually, HEART_RATE_ORANGE, text_becomes, TVN_BLUE } from "./browser.mjs";
import { button, in_session, requests_for, share_browser, show, shown_texts, start_replay }
  from "./fixture.mjs";
import { snapshot } from "./scripted_server.mjs";

share_browser();

const text = (page, id) => page.locator("#" + id);

test("titles, numbers and lines follow the snapshot", in_session(async (page, server) => {
  await show(page, server, {
    name_id: "anna <b>", source_label: "Imported — x&y.txt", elapsed: 65.7, total: 257.2,
    cycles_done: 4.06, hr: 71.6, tvn: 0.5, sex: "F", age: 33,
    markers: [{ t: 12.3, k: 4 }, { t: 60, k: 9 }] });
  await text_becomes(text(page, "session-title"), "Playback · anna <b>");
  await text_becomes(text(page, "meta-line"),
    "Female, 33 · In 5 s, out 11 s · Cycle 16 s · Expected 0.0625 Hz");
  await text_becomes(text(page, "source-label"), "Imported — x&y.txt");
  await text_becomes(text(page, "bluetooth-line"), "");
  await text_becomes(text(page, "hr-value"), "72");
  await text_becomes(text(page, "tvn-value"), "+0.50");
  await text_becomes(text(page, "cycles"), "4.1 / 16");
  await text_becomes(text(page, "elapsed"), "65.7 s");
  await text_becomes(text(page, "position-elapsed"), "65.7 s");
  await text_becomes(text(page, "position-total"), "257.2 s total · drag to jump");
  await text_becomes(text(page, "markers-line"), "Markers: 4 at 12.3 s, 9 at 60.0 s");
  await text_becomes(text(page, "status-word"), "Recording");
  await show(page, server, { hr: -20.4 });  // continued behind a last premature beat
  await text_becomes(text(page, "hr-value"), "−20");
  await show(page, server, { running: false, hr: null, tvn: -0.256 });
  await text_becomes(text(page, "status-word"), "Stopped");
  await text_becomes(text(page, "hr-value"), "–");
  await text_becomes(text(page, "tvn-value"), "−0.26");
  await show(page, server, { tvn: null, cycles_done: null });
  await text_becomes(text(page, "tvn-value"), "–");
  await text_becomes(text(page, "cycles"), "– / 16");
}));

test("what the view of a run says, and what its pictures are called",
  in_session(async (page, server) => {
    const pictures = () => page.locator("canvas").evaluateAll((all) =>
      all.map((canvas) => canvas.getAttribute("aria-label")));
    const live = { mode: "live", source_label: "Live — Polar H10", bt_status: "Streaming ECG…",
                   name_id: "Anna", total: 256 };
    await page.getByRole("switch", { name: "Pacer" }).click();
    await show(page, server, { ...live, elapsed: 29.5 });
    assert.deepEqual(await shown_texts(page, ".stage"), ["TVN in 3"]);
    assert.deepEqual(await pictures(), [
      "ECG of the last 6 s. Heart rate – bpm", "Heart rate – bpm, TVN –"]);
    await show(page, server, { ...live, elapsed: 50, tvn: 0.2 });
    await page.evaluate(() => { summary_at = -Infinity; });
    await show(page, server, {
      ...live, elapsed: 66, hr: 71.6, tvn: 0.2, cycles_done: 4.12, markers: [{ t: 12.3, k: 4 }],
      hr_series: [{ x: 1, y: 58.4 }, { x: 2, y: null }, { x: 3, y: 80.6 }, { x: 4, y: 70 }] });
    assert.deepEqual(await shown_texts(page, "#session"), [
      "Live recording · Anna", "Male, 40 · In 5 s, out 11 s · Cycle 16 s · Expected 0.0625 Hz",
      "Live — Polar H10", "· Bluetooth: Streaming ECG…",
      "Stop", "Save", "Compute TFR", "New session",
      "Heart rate", "bpm", "72", "Breathe in", "ECG",
      "TVN", "+0.20", "−1 decoupled", "0", "+1 coupled", "Coupled",
      "Heart rate (bpm)", "TVN (−1 to +1)",
      "66.0 s", "256 s target", "Cycles", "4.1 / 16", "Elapsed", "66.0 s", "Sound", "Pacer",
      "Markers: 4 at 12.3 s", "Keys 1 to 9 set a marker."]);
    assert.deepEqual(await pictures(), [
      "ECG of the last 6 s. Heart rate 72 bpm",
      "Heart rate 72 bpm, TVN +0.20, heart rate so far 58 to 81 bpm"]);
    assert.equal(await page.getByLabel("Position").getAttribute("aria-valuetext"), "66.0 s");
  }));

test("a live run has its own words and no slider", in_session(async (page, server) => {
  await show(page, server, { mode: "live", bt_status: "Starting…", total: 256,
                             source_label: "Live — Polar H10" });
  await text_becomes(text(page, "session-title"), "Live recording");
  await text_becomes(page.locator("p:has(#source-label)"),
                     "Live — Polar H10 · Bluetooth: Starting…");
  await text_becomes(text(page, "position-total"), "256 s target");
  assert.ok(await page.getByLabel("Position").isDisabled());
}));

test("a replay most likely in millivolts is noted", in_session(async (page, server) => {
  const note = text(page, "unit-note");
  const trace = (low, high, length = 780) =>
    Array.from({ length }, (_, i) => i === length / 2 ? high : low);
  const MILLIVOLTS = "· Most likely millivolts; files keep whole numbers.";
  for (const [ecg, expected] of [[[], ""], [trace(-0.2, 1.2, 700), ""], [trace(0, 0), ""],
    [trace(-0.2, 1.2), MILLIVOLTS], [trace(0, 49.9), MILLIVOLTS], [trace(0, 50), ""],
    // One quiet stretch among beats.
    [trace(0, 900), ""], [trace(0, 20), ""]]) {
    await show(page, server, { ecg });
    await text_becomes(note, expected);
  }
  await show(page, server, { mode: "live", ecg: trace(0, 20), total: 256 });
  await text_becomes(note, "");
  await show(page, server, { source_label: "Sample 2.txt", ecg: trace(0, 20) });
  await text_becomes(page.locator("p:has(#source-label)"), "Sample 2.txt " + MILLIVOLTS);
}));

test("the gauge knob is at (value + 1) / 2 of its width", in_session(async (page, server) => {
  const share = () => page.evaluate(() => {
    const gauge = document.getElementById("gauge");
    // The knob is drawn at the left end of an element as wide as the gauge within its border.
    const from = gauge.getBoundingClientRect().left + gauge.clientLeft;
    const knob = document.getElementById("gauge-knob").getBoundingClientRect().left;
    return (knob - from) / gauge.clientWidth;
  });
  for (const [tvn, expected] of [[-1, 0], [0.5, 0.75], [1, 1], [null, 0.5], [0, 0.5]]) {
    await show(page, server, { tvn });
    await eventually(async () => assert.ok(Math.abs(await share() - expected) < 0.005, `${tvn}`));
  }
}));

test("the knob's circle is centred on its place", in_session(async (page) => {
  const [middle, height] = await page.evaluate(() => {
    const look = getComputedStyle(document.getElementById("gauge-knob"), "::before");
    const size = (side) => ["", "borderLeftWidth", "borderRightWidth"].reduce((sum, name) =>
      sum + Number.parseFloat(look[name || side]), 0);
    return [[Number.parseFloat(look.left) + size("width") / 2,
             Number.parseFloat(look.top) + size("height") / 2],
            document.getElementById("gauge").clientHeight];
  });
  assert.deepEqual(middle, [0, height / 2]);
}));

test("broken events and raw control bytes do no harm", in_session(async (page, server) => {
  server.push('{"mode":"replay","running":tr');
  server.push(JSON.stringify(snapshot({ name_id: "tab", hr: 60 })).replace("tab", "a\tb\u0001"));
  await text_becomes(text(page, "hr-value"), "60");
  assert.equal(await page.evaluate(() => last_snapshot.name_id), "a\tb\u0001");
}));

test("keys 1 to 9 set markers while running, and only then", in_session(async (page, server) => {
  const marks = () => requests_for(server, "/mark").map((request) => request.url);
  await page.keyboard.press("1");  // before the first snapshot
  await show(page, server);
  for (const key of ["3", "0", "a", "Control+4", "9"]) await page.keyboard.press(key);
  await eventually(() => assert.deepEqual(marks(), ["/mark?key=3", "/mark?key=9"]));
  await page.getByLabel("Position").focus();
  await page.keyboard.press("5");
  await show(page, server, { running: false });
  await page.evaluate(() => document.activeElement.blur());
  await page.keyboard.press("6");
  await button(page, "New session").click();
  await page.getByLabel("Age").fill("");
  await page.getByLabel("Age").press("7");
  await page.evaluate(() => document.activeElement.blur());
  await page.keyboard.press("8");
  await eventually(() => assert.equal(requests_for(server, "/recordings").length, 1));
  assert.deepEqual(marks(), ["/mark?key=3", "/mark?key=9"]);
}));

test("the slider follows, is left alone while dragged, and seeks on release",
  in_session(async (page, server) => {
    const slider = page.getByLabel("Position");
    await show(page, server, { frac: 0.25 });
    assert.equal(await slider.inputValue(), "250");
    const box = await slider.boundingBox();
    await page.mouse.move(box.x + box.width / 4, box.y + box.height / 2);
    await page.mouse.down();
    await page.mouse.move(box.x + box.width / 2, box.y + box.height / 2, { steps: 3 });
    const held = await slider.inputValue();
    assert.ok(Math.abs(held - 500) < 20, held);
    await show(page, server, { frac: 0.26 });
    assert.equal(await slider.inputValue(), held);
    assert.equal(requests_for(server, "/seek").length, 0);
    await page.mouse.up();
    await eventually(() => assert.deepEqual(
      requests_for(server, "/seek").map((request) => request.url), [`/seek?frac=${held / 1000}`]));
    await page.waitForTimeout(300);
    await show(page, server, { frac: 0.9 });
    assert.equal(await slider.inputValue(), "900");
    // The marker keys belong to the session again, also when the knob was only touched.
    await page.keyboard.press("2");
    await eventually(() => assert.equal(requests_for(server, "/mark").length, 1));
    await slider.focus();
    await page.mouse.move(box.x + 10 + (box.width - 20) * 0.9, box.y + box.height / 2);
    await page.mouse.down();
    await page.mouse.up();
    await eventually(async () =>
      assert.ok(!await slider.evaluate((element) => element === document.activeElement)));
  }));

test("a slider taken again before the last seek was answered is left alone",
  in_session(async (page, server) => {
    const slider = page.getByLabel("Position");
    await show(page, server, { frac: 0.25 });
    let answer;
    server.replies["/seek"] = () => new Promise((give) => { answer = give; });
    const { x, y, width, height } = await slider.boundingBox();
    const move_to = (share) => page.mouse.move(x + share * width, y + height / 2, { steps: 3 });
    await move_to(0.25);
    await page.mouse.down();
    await move_to(0.4);
    await page.mouse.up();
    await eventually(() => assert.ok(answer));
    await page.mouse.down();
    await move_to(0.6);
    const held = await slider.inputValue();
    answer({ ok: true });
    await page.waitForTimeout(300);
    await show(page, server, { frac: 0.1 });
    assert.equal(await slider.inputValue(), held);
    server.replies["/seek"] = { ok: true };
    await page.mouse.up();
    await page.waitForTimeout(300);
    await show(page, server, { frac: 0.1 });
    assert.equal(await slider.inputValue(), "100");
  }));

// 780 samples of a steep saw-tooth and a heart rate and TVN for 100 s.
function full_charts() {
  const times = Array.from({ length: 1000 }, (_, i) => i / 10);
  return {
    elapsed: 100, ecg: Array.from({ length: 780 }, (_, i) => (i % 100) * 10),
    hr_series: times.map((x) => ({ x, y: 60 + 10 * Math.sin(x / 3) })),
    tvn_series: times.map((x) => ({ x, y: x < 32 || (x > 50 && x < 80) ? null : 0.5 })),
    markers: [{ t: 60, k: 1 }] };
}

test("both canvases are painted sharp, in the colours of the legend",
  in_session(async (page, server) => {
    assert.equal(await count_pixels(page, "ecg-canvas", HEART_RATE_ORANGE), 0);
    await show(page, server, full_charts());
    assert.ok(await count_pixels(page, "ecg-canvas", HEART_RATE_ORANGE) > 1000);
    assert.ok(await count_pixels(page, "trend-canvas", HEART_RATE_ORANGE) > 500);
    assert.ok(await count_pixels(page, "trend-canvas", TVN_BLUE) > 200);
    const sizes = await page.evaluate(() => ["ecg-canvas", "trend-canvas"].map((id) => {
      const canvas = document.getElementById(id);
      return [canvas.width - 2 * canvas.clientWidth, canvas.height - 2 * canvas.clientHeight];
    }));
    assert.deepEqual(sizes.flat().filter((difference) => Math.abs(difference) > 1), []);
  }, { deviceScaleFactor: 2 }));

test("the TVN line is broken where there is no value", in_session(async (page, server) => {
  await show(page, server, full_charts());
  const drawn = await page.evaluate((blue) => {
    const chart = charts.find(({ canvas }) => canvas.id === "trend-canvas");
    const plot = trend_plot(chart, last_snapshot);
    return [20, 40, 65, 90].map((t) => {
      const x = Math.round(plot.to_x(t)), y = Math.round(plot.tvn_y(0.5));
      const { data } = chart.traces.getImageData(x - 1, y - 3, 3, 6);
      return blue.every((value, i) => data.some((byte, n) => n % 4 === i && byte === value));
    });
  }, TVN_BLUE);
  assert.deepEqual(drawn, [false, true, false, true]);
}));

test("the trend has its labels, a line per cycle, and dashes at 0 and at the markers",
  in_session(async (page, server) => {
    await show(page, server);
    await page.waitForTimeout(100);
    await page.evaluate(() => {
      window.texts = [];
      window.lines = [];
      const { fillText } = CanvasRenderingContext2D.prototype;
      CanvasRenderingContext2D.prototype.fillText = function (label, ...place) {
        window.texts.push(String(label));
        fillText.call(this, label, ...place);
      };
      const { stroke_line: draw } = window;
      window.stroke_line = (ctx, ...ends) => {
        window.lines.push([ctx.getLineDash().length > 0, ...ends]);
        draw(ctx, ...ends);
      };
    });
    // The window is 20 s to 200 s, its heart rates 60 and 70: 58.6 to 71.4 with the headroom.
    await show(page, server, {
      elapsed: 200.5, markers: [{ t: 5, k: 7 }, { t: 60, k: 4 }],
      hr_series: Array.from({ length: 201 }, (_, x) => ({ x, y: x < 10 ? 40 : 60 + x % 2 * 10 })) });
    assert.deepEqual(await page.evaluate(() => window.texts),
      ["59", "−1", "20 s", "65", "0", "110 s", "71", "+1", "200 s", "4"]);
    const [drawn, expected] = await page.evaluate(() => {
      const { left, right, top, bottom, to_x } = trend_plot(charts[1], last_snapshot);
      const upright = (dashed, t) => [dashed, to_x(t), top, to_x(t), bottom];
      const middle = (top + bottom) / 2;
      const cycles = Array.from({ length: 11 }, (_, n) => upright(false, 32 + 16 * n));
      const round = (lines) => lines.map(([dashed, ...ends]) =>
        [dashed, ...ends.map((end) => Math.round(end * 100))]);
      return [window.lines, [...cycles, [true, left, middle, right, middle], upright(true, 60)]]
        .map(round);
    });
    assert.deepEqual(drawn, expected);
    assert.match(await page.locator("#ecg-canvas").evaluate((canvas) =>
      getComputedStyle(canvas).backgroundSize), /^38px 38px, 38px 38px$/);
  }));

// Where points were drawn, by chart, as the canvas was told: [[x, y], ...] in CSS pixels; and the
// frame of the trend.
function record_drawing(page) {
  return page.evaluate(() => {
    const prototype = Path2D.prototype;
    for (const name of ["moveTo", "lineTo"]) {
      const draw = prototype[name];
      prototype[name] = function (x, y) {
        (this.points ??= []).push([x, y]);
        draw.call(this, x, y);
      };
    }
    const { stroke, strokeRect } = CanvasRenderingContext2D.prototype;
    window.paths = [];
    Object.assign(CanvasRenderingContext2D.prototype, {
      stroke(path) {
        if (path?.points && window.paths.at(-1) !== path.points) window.paths.push(path.points);
        stroke.apply(this, path ? [path] : []);
      },
      strokeRect(...frame) {
        window.frame = frame;
        window.frame_colour = this.strokeStyle;
        strokeRect.apply(this, frame);
      },
    });
  });
}

const near_points = (points, expected) => {
  assert.equal(points.length, expected.length);
  points.forEach(([x, y], i) => assert.ok(
    Math.hypot(x - expected[i][0], y - expected[i][1]) < 0.01, `${points} ${expected}`));
};

test("both traces stand where their axes say", in_session(async (page, server) => {
  await record_drawing(page);
  // 20 s to 200 s; 60 to 70 beats a minute and 14 % of that on either side.
  await show(page, server, {
    elapsed: 200, hr_series: [{ x: 10, y: 90 }, { x: 20, y: 60 }, { x: 110, y: 70 },
                              { x: 200, y: 65 }],
    tvn_series: [{ x: 20, y: -1 }, { x: 65, y: 0.5 }, { x: 110, y: null }, { x: 155, y: 0 },
                 { x: 200, y: 1 }] });
  const [[rates, tvns], [left, top, width, height]] =
    await page.evaluate(() => [window.paths, window.frame]);
  const at = (x_share, y_share) => [left + x_share * width, top + (1 - y_share) * height];
  near_points(rates, [at(0, 1.4 / 12.8), at(0.5, 11.4 / 12.8), at(1, 6.4 / 12.8)]);
  near_points(tvns, [at(0, 0), at(0.25, 0.75), at(0.75, 0.5), at(1, 1)]);
  const [colour, muted] = await page.evaluate(() => {
    const ctx = document.createElement("canvas").getContext("2d");
    ctx.strokeStyle = getComputedStyle(document.documentElement).getPropertyValue("--muted").trim();
    return [window.frame_colour, ctx.strokeStyle];
  });
  assert.equal(colour, muted);
}));

test("the ECG fills its width, with 12 % of its range free above and below",
  in_session(async (page, server) => {
    await record_drawing(page);
    const [width, height] = await page.evaluate(() =>
      [$("ecg-canvas").clientWidth, $("ecg-canvas").clientHeight]);
    for (const [ecg, expected] of [
      [[-100, 400, 150], [[0, 1.12 / 1.24], [0.5, 0.12 / 1.24], [1, 0.62 / 1.24]]],
      [[7, 8], [[0, 1.12 / 1.24], [1, 0.12 / 1.24]]],
      [[5, 5, 5], [[0, 0.5], [0.5, 0.5], [1, 0.5]]]]) {
      await page.evaluate(() => { window.paths = []; });
      await show(page, server, { ecg });
      const [trace] = await page.evaluate(() => window.paths);
      near_points(trace, expected.map(([x, y]) => [x * width, y * height]));
    }
    // A single sample, and none: nothing to see, and no harm.
    for (const ecg of [[5], []]) await show(page, server, { ecg });
    assert.equal(await count_pixels(page, "ecg-canvas", HEART_RATE_ORANGE), 0);
  }));

test("marks and seeks that fail are passed over", in_session(async (page, server) => {
  server.replies["/mark"] = server.replies["/seek"] = null;
  await show(page, server, { frac: 0.25, elapsed: 60 });
  await page.keyboard.press("3");
  await eventually(() => assert.ok(requests_for(server, "/mark").length >= 1));
  const slider = page.getByLabel("Position");
  const { x, y, width, height } = await slider.boundingBox();
  await page.mouse.click(x + width / 2, y + height / 2);
  await eventually(() => assert.ok(requests_for(server, "/seek").length >= 1));
  // The snapshots have the slider again, and no marker is claimed that the program has not got.
  await eventually(async () => {
    await show(page, server, { frac: 0.3, elapsed: 70 });
    assert.equal(await slider.inputValue(), "300");
    await text_becomes(text(page, "markers-line"), "Markers:");
  });
  server.replies["/mark"] = { ok: true };
  const before = requests_for(server, "/mark").length;
  await page.keyboard.press("4");
  await eventually(() => assert.equal(requests_for(server, "/mark").length, before + 1));
  assert.ok(await page.locator("#trouble").isHidden());
}));

test("chart axes follow the data", in_session(async (page) => {
  const axes = await page.evaluate(() => {
    const points = (...values) => values.map((y, x) => ({ x, y }));
    const at = (elapsed, cycle_seconds, newest) => trend_window({ elapsed, cycle_seconds,
      hr_series: newest === undefined ? [] : [{ x: newest, y: 60 }] });
    return {
      none: heart_rate_axis([]), narrow: heart_rate_axis(points(60, 62)),
      wide: heart_rate_axis(points(60, null, 70)),
      early: at(10, 16), late: at(200, 16, 230), slow: at(10, 40) };
  });
  const near = (axis, low, high) =>
    assert.ok(Math.abs(axis.low - low) + Math.abs(axis.high - high) < 1e-9, JSON.stringify(axis));
  near(axes.none, 50, 90);
  near(axes.narrow, 57 - 0.14 * 8, 65 + 0.14 * 8);
  near(axes.wide, 60 - 1.4, 70 + 1.4);
  assert.deepEqual(axes.early, { from: 0, to: 180 });
  assert.deepEqual(axes.late, { from: 50, to: 230 });
  assert.deepEqual(axes.slow, { from: 0, to: 240 });
}));

test("the whole view fits 1280 x 720 and needs no sideways scrolling on a phone",
  in_session(async (page, server) => {
    await show(page, server, { ...full_charts(), name_id: "anna", tvn: 0.5, hr: 70 });
    const overflow = () => page.evaluate(() => {
      const { scrollWidth, scrollHeight } = document.documentElement;
      return [scrollWidth - innerWidth, scrollHeight - innerHeight];
    });
    assert.deepEqual(await overflow(), [0, 0]);
    await page.setViewportSize({ width: 375, height: 812 });
    assert.equal((await overflow())[0], 0);
  }));

test("Stop and New session", in_session(async (page, server) => {
  await show(page, server);
  await button(page, "Stop").click();
  await eventually(() => assert.equal(requests_for(server, "/stop").length, 1));
  assert.ok(await page.locator("#session").isVisible());
  assert.equal(server.streams(), 1);
  await show(page, server, { running: false });
  assert.ok(await button(page, "Stop").isDisabled());
  await button(page, "New session").click();
  await eventually(() => assert.deepEqual(server.requests.map((request) => request.path).sort(),
    ["/bt_available", "/recordings", "/status", "/stop", "/stop"]));
  await eventually(() => assert.equal(server.streams(), 0));
  assert.ok(await page.locator("#setup").isVisible());
  await text_becomes(text(page, "status-word"), "Setup");
}));

test("a recording can be chosen from the new list alone, not from the one it replaces",
  in_session(async (page, server) => {
    let answer;
    server.replies["/recordings"] = () => new Promise((answered) => { answer = answered; });
    await button(page, "New session").click();
    await eventually(() => assert.ok(answer));
    await page.getByLabel("Open a recording").check();
    const offered = () => page.locator("#recording option").allTextContents();
    assert.deepEqual(await offered(), []);
    answer({ saved: ["new.csv"], samples: ["Sample 1.txt"] });
    await eventually(async () => assert.deepEqual(await offered(),
      ["Select a recording", "new.csv", "Sample 1.txt"]));
    await start_replay(page, server);
  }));
