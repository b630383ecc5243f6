// Pictures of the page in every state, for looking at it and for the README:
//
//     TVN_PAGE=build/release/assets/index.html node tests/page/screenshots.mjs <folder> [word ...]
//
// Words select states by name. Each picture is <state>_<form>.png. With the one word "readme" the
// three pictures of doc/images are made; the one with the time-frequency pictures is taken of the
// real program, the executable that TVN_PROGRAM names.

import { mkdirSync } from "node:fs";
import { join } from "node:path";
import { launch_browser, open_page } from "./browser.mjs";
import { start_program } from "./real_program.mjs";
import { start_scripted_server } from "./scripted_server.mjs";
import { STATES } from "./states.mjs";

const FORMS = {
  wide_light: { viewport: { width: 1280, height: 720 } },
  wide_dark: { viewport: { width: 1280, height: 720 }, colorScheme: "dark" },
  laptop_light: { viewport: { width: 1366, height: 641 } },
  laptop_dark: { viewport: { width: 1366, height: 641 }, colorScheme: "dark" },
  phone_light: { viewport: { width: 375, height: 812 }, deviceScaleFactor: 2 },
  phone_dark: { viewport: { width: 375, height: 812 }, deviceScaleFactor: 2, colorScheme: "dark" },
  narrow: { viewport: { width: 320, height: 640 } },
  huge: { viewport: { width: 2560, height: 1440 } },
  forced: { viewport: { width: 1280, height: 720 }, forcedColors: "active", colorScheme: "dark" },
};

const README = { session_dark: ["coupled", "wide_dark"], session: ["coupled", "wide_light"] };

const [, , folder, ...words] = process.argv;
if (!folder || !process.env.TVN_PAGE) {
  console.error("usage: TVN_PAGE=<index.html> screenshots.mjs <folder> [word ...]");
  process.exit(2);
}
mkdirSync(folder, { recursive: true });
const browser = await launch_browser();

async function take(state, form, file) {
  const [prepare, act] = STATES[state];
  const server = await start_scripted_server(process.env.TVN_PAGE);
  prepare(server);
  const page = await open_page(browser, server.address, FORMS[form]);
  await page.waitForTimeout(200);
  await act(page, server);
  await page.screenshot({ path: join(folder, file), fullPage: true });
  await page.context().close();
  await server.close();
}

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

if (words[0] === "readme") {
  await take_real_tfr("tfr.png");
  for (const [file, [state, form]] of Object.entries(README)) {
    await take(state, form, file + ".png");
  }
} else {
  const names = Object.keys(STATES).filter((name) =>
    words.length === 0 || words.some((word) => name.includes(word)));
  const forms = Object.keys(FORMS).filter((name) =>
    !words.some((word) => FORMS[word]) || words.includes(name));
  for (const state of names.length ? names : Object.keys(STATES)) {
    for (const form of forms) await take(state, form, `${state}_${form}.png`);
  }
}
await browser.close();
