// Where things are and how they look: sizes, sharpness, themes, paper, contrast, steadiness.

import assert from "node:assert/strict";
import { test } from "node:test";
import { count_pixels, eventually, HEART_RATE_ORANGE, TVN_BLUE } from "./browser.mjs";
import { button, in_session, share_browser, show, start_replay, with_page } from "./fixture.mjs";
import { snapshot } from "./scripted_server.mjs";
import { session_at } from "./signals.mjs";

share_browser();

const DARK_ORANGE = [0xff, 0x9a, 0x4d];

// What of the document lies outside the window: pixels to the right, pixels below.
const overflow = (page) => page.evaluate(() => {
  const { scrollWidth, scrollHeight } = document.documentElement;
  return [scrollWidth - innerWidth, scrollHeight - innerHeight];
});

const LONG = { name_id: "W".repeat(60), source_label: `Imported — ${"m_".repeat(60)}.txt`,
  markers: Array.from({ length: 40 }, (_, i) => ({ t: 4 * i, k: 1 + i % 9 })) };

test("the whole live view fits 1280 x 720", in_session(async (page, server) => {
  for (const changes of [{}, { mode: "live", bt_status: "Connecting to the strap…" },
                         { running: false }]) {
    await show(page, server, session_at(163, changes));
    assert.deepEqual(await overflow(page), [0, 0]);
  }
}));

// 1366 x 768 and 1280 x 720 less the browser's own bars, 1920 x 1080 at 125 % with and without
// them, 4K at 100 %.
for (const [width, height] of [[1366, 641], [1280, 600], [1536, 730], [1536, 864], [3840, 2160]]) {
  test(`the whole live view fits ${width} x ${height}`, in_session(async (page, server) => {
    await page.setViewportSize({ width, height });
    await page.locator("#pacer-switch").click();
    for (const changes of [{}, { mode: "live", bt_status: "Streaming" }]) {
      for (const elapsed of [19, 163]) {
        await show(page, server, session_at(elapsed, changes));
        assert.deepEqual(await overflow(page), [0, 0]);
      }
    }
    const header = await page.evaluate(() => document.querySelector("header").scrollHeight -
      document.querySelector("header").clientHeight);
    assert.equal(header, 0);
  }));
}

// The disc at its largest and the word, beside the number of a heart at rest.
test("the pacer stands clear of the heart rate", in_session(async (page, server) => {
  await page.locator("#pacer-switch").click();
  for (const [width, height] of [[375, 812], [1280, 600], [1366, 641], [1536, 864], [1920, 950],
                                 [2560, 1440], [3840, 2160]]) {
    await page.setViewportSize({ width, height });
    await show(page, server, session_at(164.9, { hr: 88 }));
    const [number, disc, word] = await page.evaluate(() => {
      const digits = document.createRange();
      digits.selectNodeContents(document.getElementById("hr-value"));
      return [digits, ...["pacer-disc", "pacer-word"].map((id) => document.getElementById(id))]
        .map((part) => part.getBoundingClientRect().toJSON());
    });
    // Digits have no descenders: a sixth of their box lies empty below them.
    const bottom = number.bottom - number.height / 6;
    for (const part of [disc, word]) {
      assert.ok(part.width > 0 && (part.left >= number.right || part.top >= bottom),
                JSON.stringify([width, height, part, number]));
    }
  }
}));

// 15 minutes of arc at three metres are 3000 tan(15/60 degrees) = 13.09 mm. A 55 inch screen of
// 16:9 is 1218 mm wide, 1920 pixels: 20.6 of them. The height is that of a capital letter or a
// figure, at least 0.7 of the type in the systems' fonts.
test("the lettering of the run is read at three metres", in_session(async (page, server) => {
  const needed = 3000 * Math.tan(Math.PI / 180 / 4) / (1218 / 1920) / 0.7;
  for (const height of [950, 1080]) {
    await page.setViewportSize({ width: 1920, height });
    await show(page, server, session_at(163));
    const sizes = await page.evaluate(() => [current_theme().em,
      ...["coupled", "countdown-text", "pacer-word"].map((id) =>
        Number.parseFloat(getComputedStyle(document.getElementById(id)).fontSize))]);
    for (const size of sizes) assert.ok(size >= needed - 0.1, `${sizes} for ${needed}`);
  }
}));

test("the lines of the trend grow with the screen", in_session(async (page, server) => {
  const widths = async (width, height) => {
    await page.setViewportSize({ width, height });
    await page.evaluate(() => {
      window.widths = [];
      const { stroke } = CanvasRenderingContext2D.prototype;
      charts[1].traces.stroke = function (...path) {
        if (path.length) window.widths.push(this.lineWidth);
        stroke.apply(this, path);
      };
      refresh_charts();
    });
    return page.evaluate(() => window.widths.slice(-2));
  };
  await show(page, server, session_at(163));
  const [small, large] = [await widths(1280, 720), await widths(3840, 2160)];
  assert.deepEqual(small, [1.75, 3]);
  for (const n of [0, 1]) assert.ok(Math.abs(large[n] / small[n] - 3) < 0.1, `${large}`);
}));

test("a picture's frame is dim in the dark, the picture as it is", with_page(async (page) => {
  const [frame, filter, card] = await page.evaluate(() => {
    const figure = tfr_figure("", "");
    document.getElementById("tfr-area").append(figure);
    for (const id of ["session", "results"]) document.getElementById(id).hidden = false;
    const style = getComputedStyle(figure.querySelector("img"));
    return [style.outlineStyle === "solid" && style.outlineColor, style.filter + style.opacity,
            getComputedStyle(document.documentElement).getPropertyValue("--card").trim()];
  });
  const hex = "#" + frame.match(/\d+/g).map((n) => Number(n).toString(16).padStart(2, "0")).join("");
  assert.ok(contrast(hex, card) > 3 && contrast(hex, "#ffffff") > 3, frame);
  assert.equal(filter, "none1");
}, () => {}, { colorScheme: "dark" }));

for (const width of [320, 375, 800, 801, 1280, 2560]) {
  test(`nothing reaches beyond a window ${width} px wide`, in_session(async (page, server) => {
    await page.setViewportSize({ width, height: 720 });
    for (const changes of [{}, { ...LONG, tvn: -1 }, { tvn: 1, mode: "live", bt_status: "On" }]) {
      await show(page, server, session_at(163, changes));
      assert.equal((await overflow(page))[0], 0);
    }
    await button(page, "New session").click();
    await eventually(async () => assert.ok(await page.locator("#setup").isVisible()));
    for (const source of ["Live", "Open a recording"]) {
      await page.getByLabel(source).check();
      assert.equal((await overflow(page))[0], 0);
    }
  }));
}

test("no text from outside is too long for a phone", with_page(async (page, server) => {
  const long = "m".repeat(150);
  const fits = async () => assert.equal((await overflow(page))[0], 0);
  await page.setViewportSize({ width: 320, height: 640 });
  server.replies["/import"] = { ok: false, note: long };
  await page.locator("#file-picker").setInputFiles({ name: "a.txt", mimeType: "text/plain",
                                                     buffer: Buffer.from("1") });
  await page.locator("#import-hint", { hasText: long }).waitFor();
  await fits();
  server.replies["/start_replay"] = { error: long };
  await page.getByLabel("Open a recording").check();
  await page.getByLabel("Recording", { exact: true }).selectOption("Sample 1.txt");
  await button(page, "Start recording").click();
  await page.locator("#start-hint", { hasText: long }).waitFor();
  await fits();
  server.replies["/start_replay"] = { ok: true };
  await start_replay(page, server);
  server.replies["/export"] = { ok: true };
  server.replies["/export_status"] = { status: "done", result: {
    folder: long, files: [long], errors: [long] } };
  await button(page, "Save").click();
  await page.locator("#export-list li").last().waitFor();
  await fits();
}));

const density_gaps = (page) => page.evaluate(() => [...document.querySelectorAll("canvas")]
  .flatMap((canvas) => [canvas.width - devicePixelRatio * canvas.clientWidth,
                        canvas.height - devicePixelRatio * canvas.clientHeight])
  .filter((gap) => Math.abs(gap) > 1));

test("the canvases stay sharp when size and density change", in_session(async (page, server) => {
  await show(page, server, session_at(60));
  assert.deepEqual(await density_gaps(page), []);
  await page.setViewportSize({ width: 1000, height: 700 });
  await eventually(async () => assert.deepEqual(await density_gaps(page), []));
  // The last snapshot is drawn again without a new one.
  assert.ok(await count_pixels(page, "ecg-canvas", HEART_RATE_ORANGE) > 500);
  const devtools = await page.context().newCDPSession(page);
  await devtools.send("Emulation.setDeviceMetricsOverride",
                      { width: 1000, height: 700, deviceScaleFactor: 3, mobile: false });
  await show(page, server, session_at(61));
  assert.equal(await page.evaluate(() => devicePixelRatio), 3);
  assert.deepEqual(await density_gaps(page), []);
}));

test("the fixed layer is drawn only when it changes", in_session(async (page, server) => {
  await show(page, server, session_at(60));
  const fixed_strokes = async (changes) => {
    await page.evaluate(() => {
      window.fixed_strokes = 0;
      for (const { fixed } of charts) {
        const stroke = CanvasRenderingContext2D.prototype.stroke;
        fixed.stroke = () => {
          ++window.fixed_strokes;
          stroke.call(fixed);
        };
      }
    });
    await show(page, server, changes);
    return page.evaluate(() => window.fixed_strokes);
  };
  const same_series = session_at(60);
  const fixed = await page.evaluate(() => charts[1].fixed.canvas.toDataURL());
  const tvn_series = same_series.tvn_series.map(({ x, y }) => ({ x, y: y && -y }));
  assert.equal(await fixed_strokes({ ...same_series, tvn_series, elapsed: 60.1 }), 0);
  assert.equal(await page.evaluate(() => charts[1].fixed.canvas.toDataURL()), fixed);
  assert.ok(await fixed_strokes(session_at(200)) > 0);
}));

test("each series is one path, and drawn again only when something changed",
  in_session(async (page, server) => {
    await show(page, server, session_at(50));
    await page.evaluate(() => {
      window.paths = [];
      const { stroke } = CanvasRenderingContext2D.prototype;
      let last = null;
      CanvasRenderingContext2D.prototype.stroke = function (...path) {
        // A path stroked several times over is one path still.
        if (this.canvas.id && (path.length === 0 || path[0] !== last)) {
          window.paths.push(this.canvas.id);
        }
        [last] = path;
        stroke.apply(this, path);
      };
    });
    const paths = async (changes) => {
      await page.evaluate(() => { window.paths = []; });
      await show(page, server, { ...session_at(60), ...changes });
      return page.evaluate(() => window.paths);
    };
    const trend = ["trend-canvas", "trend-canvas"];
    assert.deepEqual(await paths({}), ["ecg-canvas", ...trend, "trend-canvas"]);  // one marker
    assert.deepEqual(await paths({ hr: 60 }), []);
    const ecg = session_at(60).ecg.map((value, n) => n === 5 ? 400 : value);
    assert.deepEqual(await paths({ hr: 60, ecg }), ["ecg-canvas"]);
    assert.deepEqual(await paths({ markers: [] }), ["ecg-canvas", ...trend]);
    const changed = session_at(60).hr_series;
    changed[300] = { x: changed[300].x, y: null };
    assert.deepEqual(await paths({ markers: [], hr_series: changed }), trend);
    await page.emulateMedia({ colorScheme: "dark" });
    await eventually(async () => assert.equal((await page.evaluate(() => window.paths)).length, 5));
  }));

// Rows of the canvas, from its top, that hold the colour.
const rows_of = (page, id, colour) => page.evaluate(([name, [red, green, blue]]) => {
  const canvas = document.getElementById(name);
  const { data, width } = canvas.getContext("2d").getImageData(0, 0, canvas.width, canvas.height);
  const rows = new Set();
  for (let i = 0; i < data.length; i += 4) {
    const off = Math.abs(data[i] - red) + Math.abs(data[i + 1] - green) +
      Math.abs(data[i + 2] - blue);
    if (off < 20 && data[i + 3] > 120) {
      rows.add(Math.floor(i / 4 / width) / canvas.height);
    }
  }
  return [...rows];
}, [id, colour]);

test("the ECG keeps 12 % above and below, and a flat one lies in the middle",
  in_session(async (page, server) => {
    // 0.12 of the range beyond each end: the trace reaches from 0.12 / 1.24 to 1.12 / 1.24.
    await show(page, server, { ecg: [0, 0, 0, 500, 500, 500] });
    const rows = await rows_of(page, "ecg-canvas", HEART_RATE_ORANGE);
    assert.ok(Math.abs(Math.min(...rows) - 0.12 / 1.24) < 0.02, `${Math.min(...rows)}`);
    assert.ok(Math.abs(Math.max(...rows) - 1.12 / 1.24) < 0.02, `${Math.max(...rows)}`);
    await show(page, server, { ecg: Array(780).fill(-37.5) });
    const flat = await rows_of(page, "ecg-canvas", HEART_RATE_ORANGE);
    assert.ok(flat.length > 0 && flat.every((row) => Math.abs(row - 0.5) < 0.02), `${flat}`);
    for (const ecg of [[], [5], [null, null], [1, null, 3]]) await show(page, server, { ecg });
  }));

test("the canvases follow light and dark at once", in_session(async (page, server) => {
  await show(page, server, session_at(60));
  assert.equal(await count_pixels(page, "ecg-canvas", DARK_ORANGE), 0);
  await page.emulateMedia({ colorScheme: "dark" });
  await eventually(async () =>
    assert.ok(await count_pixels(page, "ecg-canvas", DARK_ORANGE) > 500));
  assert.equal(await count_pixels(page, "ecg-canvas", HEART_RATE_ORANGE), 0);
  await page.emulateMedia({ colorScheme: "light" });
  await eventually(async () =>
    assert.ok(await count_pixels(page, "trend-canvas", TVN_BLUE) > 100));
}));

test("with forced colours everything is in the system's", in_session(async (page, server) => {
  await page.emulateMedia({ forcedColors: "active" });
  await show(page, server, session_at(60));
  assert.deepEqual(await page.evaluate(() => [current_theme().hr, current_theme().tvn]),
                   ["CanvasText", "Highlight"]);
  assert.equal(await count_pixels(page, "ecg-canvas", HEART_RATE_ORANGE), 0);
  // Chromium's stand-in for the system's colours is black on white, or the reverse.
  const grid = await page.evaluate(() => {
    const probe = document.body.appendChild(document.createElement("i"));
    probe.style.cssText = "color: var(--grid); forced-color-adjust: none";
    return getComputedStyle(probe).color;
  });
  // Faint on whatever ground the system has.
  assert.match(grid, /^rgba\(136, 136, 136, 0\.2/);
  const borders = await page.locator(".card:visible").evaluateAll((all) =>
    new Set(all.map((card) => getComputedStyle(card).borderColor)).size);
  assert.equal(borders, 1);
}));

test("on paper it is one page, light and without controls", in_session(async (page, server) => {
  await page.emulateMedia({ colorScheme: "dark" });
  await show(page, server, session_at(163, { running: false }));
  for (const landscape of [false, true]) {
    const pdf = (await page.pdf({ format: "A4", landscape })).toString("latin1");
    assert.equal(pdf.match(/\/Type\s*\/Page\b/g).length, 1);
  }
  await page.emulateMedia({ media: "print", colorScheme: "dark" });
  assert.equal(await page.locator("button:visible, input:visible").count(), 0);
  await eventually(async () =>
    assert.ok(await count_pixels(page, "ecg-canvas", HEART_RATE_ORANGE) > 500));
}));

// WCAG 2.1: relative luminance and contrast ratio of two #RRGGBB colours.
function contrast(one, other) {
  const [light, dark] = [one, other].map((colour) => {
    const [r, g, b] = [1, 3, 5].map((at) => {
      const part = Number.parseInt(colour.slice(at, at + 2), 16) / 255;
      return part <= 0.04045 ? part / 12.92 : ((part + 0.055) / 1.055) ** 2.4;
    });
    return 0.2126 * r + 0.7152 * g + 0.0722 * b;
  }).sort((a, b) => b - a);
  return (light + 0.05) / (dark + 0.05);
}

for (const colorScheme of ["light", "dark"]) {
  test(`contrast of texts and lines, ${colorScheme}`, with_page(async (page) => {
    const colour = await page.evaluate(() => {
      const style = getComputedStyle(document.documentElement);
      return Object.fromEntries(["ground", "card", "ink", "muted", "edge", "hr", "tvn", "positive",
        "on", "tint"].map((name) => [name, style.getPropertyValue("--" + name).trim()]));
    });
    const at_least = (ratio, text, ground) => {
      const found = contrast(colour[text], colour[ground]);
      assert.ok(found >= ratio, `${text} on ${ground}: ${found.toFixed(2)}`);
    };
    for (const text of ["ink", "muted", "hr", "tvn", "positive"]) {
      for (const ground of ["ground", "card"]) at_least(4.5, text, ground);
    }
    for (const text of ["ink", "tvn"]) at_least(4.5, text, "tint");
    for (const ground of ["tvn", "positive"]) at_least(4.5, "on", ground);
    for (const ground of ["ground", "card"]) at_least(3, "edge", ground);
  }, () => {}, { colorScheme }));
}

test("two numbers are large, each in the colour of its trace", in_session(async (page, server) => {
  await show(page, server, session_at(163));
  const large = await page.evaluate(() => [...document.querySelectorAll("*")].filter((element) =>
    element.children.length === 0 && Number.parseFloat(getComputedStyle(element).fontSize) > 40)
    .map((element) => [element.id, getComputedStyle(element).color]));
  assert.deepEqual(large, [["hr-value", "rgb(181, 71, 8)"], ["tvn-value", "rgb(0, 104, 168)"]]);
}));

test("nothing jumps while the values change", in_session(async (page, server) => {
  await page.waitForTimeout(600);  // what follows a click closely counts as its doing
  await page.evaluate(() => {
    window.shifts = [];
    new PerformanceObserver((list) => {
      for (const { value, sources } of list.getEntries()) {
        window.shifts.push([value, ...sources.map(({ node, previousRect, currentRect }) => [
          node?.id || node?.className || node?.nodeName, JSON.stringify(previousRect),
          JSON.stringify(currentRect)])]);
      }
    }).observe({ type: "layout-shift" });
  });
  const values = [[null, null], [9.6, -1], [60, 0.004], [111.4, 1], [60, -0.25], [99.7, null]];
  for (const running of [true, false]) {
    for (const [index, [hr, tvn]] of values.entries()) {
      await show(page, server, session_at(31.5 + 40 * index, { hr, tvn, running }));
      await page.waitForTimeout(60);
    }
  }
  await page.waitForTimeout(1300);
  assert.deepEqual(await page.evaluate(() => window.shifts), []);
}));

test("what rounds to zero has a plus, but only what is positive looks so",
  in_session(async (page, server) => {
    for (const [tvn, text, positive] of [[-0.004, "+0.00", false], [0, "+0.00", false],
      [-0, "+0.00", false], [0.004, "+0.00", true], [0.005, "+0.01", true],
      [-0.256, "−0.26", false], [1, "+1.00", true], [null, "–", false]]) {
      await show(page, server, snapshot({ tvn }));
      const value = page.locator("#tvn-value");
      assert.equal(await value.textContent(), text);
      // A mark for the eye only, as a reader has the sign.
      assert.equal(await value.evaluate((e) => getComputedStyle(e, "::after").content),
                   positive ? '"▲" / ""' : "none");
    }
  }));
