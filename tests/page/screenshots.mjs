// Pictures of the page in every state, for looking at it and for the README:
//
//     TVN_PAGE=build/release/assets/index.html node tests/page/screenshots.mjs <folder> [word ...]
//
// Words select states by name, forms, and engines: chromium, which is used when none is named,
// webkit and firefox. Each picture is <state>_<form>_<engine>.png. With the one word "readme" the
// three pictures of doc/images are made; the one with the time-frequency pictures is taken of the
// real program, the executable that TVN_PROGRAM names.

import { mkdirSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { launch_browser, open_page } from "./browser.mjs";
import { make_engine_page } from "./engine_page.mjs";
import { open_firefox, open_webkit } from "./engines.mjs";
import { start_program } from "./real_program.mjs";
import { start_scripted_server } from "./scripted_server.mjs";
import { STATES } from "./states.mjs";

const light = (width, height, more) => ({ viewport: { width, height }, ...more });
const dark = (width, height, more) => light(width, height, { colorScheme: "dark", ...more });
// A 1920x1080 screen at 125 %, and a television or 4K screen at 100 %.
const AT_125 = { deviceScaleFactor: 1.25 };
const FORMS = {
  wide_light: light(1280, 720), wide_dark: dark(1280, 720),
  short_light: light(1280, 600), short_dark: dark(1280, 600),
  laptop_light: light(1366, 641), laptop_dark: dark(1366, 641),
  desktop_light: light(1536, 864, AT_125), desktop_dark: dark(1536, 864, AT_125),
  uhd_light: light(3840, 2160), uhd_dark: dark(3840, 2160),
  phone_light: light(375, 812, { deviceScaleFactor: 2 }),
  phone_dark: dark(375, 812, { deviceScaleFactor: 2 }),
  narrow: light(320, 640), huge: light(2560, 1440),
  forced: dark(1280, 720, { forcedColors: "active" }),
};
const ENGINES = { webkit: open_webkit, firefox: open_firefox };

const README = { session_dark: ["coupled", "wide_dark"], session: ["coupled", "wide_light"] };

const [, , folder, ...words] = process.argv;
if (!folder || !process.env.TVN_PAGE) {
  console.error("usage: TVN_PAGE=<index.html> screenshots.mjs <folder> [word ...]");
  process.exit(2);
}
mkdirSync(folder, { recursive: true });

async function take(state, form, file, shown_in) {
  const [prepare, act] = STATES[state];
  const server = await start_scripted_server(process.env.TVN_PAGE);
  prepare(server);
  const { page, save, close } = await shown_in(server.address, FORMS[form]);
  await page.waitForTimeout(200);
  await act(page, server);
  await save(join(folder, file));
  await close();
  await server.close();
}

// Each gives the page, and how its picture is kept.
const in_chromium = (browser) => async (address, form) => {
  const page = await open_page(browser, address, form);
  return { page, save: (path) => page.screenshot({ path, fullPage: true }),
           close: () => page.context().close() };
};
const in_window = (window) => async (address, { viewport }) => {
  await window.resize(viewport.width, viewport.height);
  await window.go(address);
  return { page: make_engine_page(window),
           save: async (path) => writeFileSync(path, await window.picture()),
           close: () => {} };
};

async function take_real_tfr(file) {
  const { address, end } = await start_program(process.env.TVN_PROGRAM, 18900);
  await fetch(address + "start_replay?file=Sample%201.txt&speed=1000&name=Anna&sex=F&age=34");
  const page = await open_page(browser, address, FORMS.wide_light);
  // What Start leads to, for a replay that is faster than the page offers.
  await page.evaluate(() => enter_session());
  await page.getByText("Stopped").waitFor();
  await page.getByRole("button", { name: "Compute TFR" }).click();
  await page.getByText("High time resolution (n = 3)").waitFor();
  await page.waitForTimeout(500);
  await page.screenshot({ path: join(folder, file), fullPage: true });
  await page.context().close();
  await end();
}

async function take_in_engine(engine, states, forms) {
  for (const scheme of ["light", "dark"]) {
    const of_scheme = forms.filter((form) => (FORMS[form].colorScheme ?? "light") === scheme);
    if (of_scheme.length === 0) continue;
    const window = await ENGINES[engine]({ dark: scheme === "dark" });
    for (const state of states) {
      for (const form of of_scheme) {
        await take(state, form, `${state}_${form}_${engine}.png`, in_window(window));
      }
    }
    await window.end();
  }
}

// What the words select of these names.
const chosen = (names, matches) => {
  const selected = names.filter((name) => words.some((word) => matches(name, word)));
  return selected.length ? selected : names;
};

const browser = await launch_browser();
if (words[0] === "readme") {
  await take_real_tfr("tfr.png");
  for (const [file, [state, form]] of Object.entries(README)) {
    await take(state, form, file + ".png", in_chromium(browser));
  }
} else {
  const same = (name, word) => name === word;
  const states = chosen(Object.keys(STATES), (name, word) => !FORMS[word] && name.includes(word));
  const forms = chosen(Object.keys(FORMS), same);
  const engines = words.filter((word) => ENGINES[word]);
  for (const engine of engines) {
    // A driver's window has no printer, pixel ratio or forced colours.
    await take_in_engine(engine, states.filter((state) => state !== "print"),
      forms.filter((form) => !FORMS[form].forcedColors && FORMS[form].viewport.width >= 500));
  }
  if (engines.length === 0 || words.includes("chromium")) {
    for (const state of states) {
      for (const form of forms) {
        await take(state, form, `${state}_${form}_chromium.png`, in_chromium(browser));
      }
    }
  }
}
await browser.close();
