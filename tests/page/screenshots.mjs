// Pictures of the page in every state, for looking at it and for the README:
//
//     TVN_PAGE=build/release/assets/index.html node tests/page/screenshots.mjs <folder> [word ...]
//
// Words select states by name. Each picture is <state>_<form>.png. With the one word "readme" the
// three pictures of doc/images are made.

import { mkdirSync } from "node:fs";
import { join } from "node:path";
import { launch_browser, open_page } from "./browser.mjs";
import { button, start_replay } from "./fixture.mjs";
import { start_scripted_server } from "./scripted_server.mjs";
import { draw_tfr, session_at } from "./signals.mjs";

const FORMS = {
  wide_light: { viewport: { width: 1280, height: 720 } },
  wide_dark: { viewport: { width: 1280, height: 720 }, colorScheme: "dark" },
  phone_light: { viewport: { width: 375, height: 812 }, deviceScaleFactor: 2 },
  phone_dark: { viewport: { width: 375, height: 812 }, deviceScaleFactor: 2, colorScheme: "dark" },
  narrow: { viewport: { width: 320, height: 640 } },
  huge: { viewport: { width: 2560, height: 1440 } },
  forced: { viewport: { width: 1280, height: 720 }, forcedColors: "active", colorScheme: "dark" },
};

const DEVICES = [{ name: "Polar H10 A1B2C3D4", address: "4C2F8A10-6E1B-4D6E-9E3A-0F5B7C21D8AA" },
                 { name: "", address: "91D0A7E2-03C4-4F0B-8B7D-5A6C1E9F2B34" }];
const EXPORT = { folder: "Anna_on5_off11_M40_20260412-101500", files: [
  "ecg.txt", "hrv.txt", "markers.csv", "recording.edf", "tvn_logpower.csv", "report.pdf"] };

async function shown(page, server, snapshot) {
  if (server.streams() === 0) await start_replay(page, server);
  server.push(snapshot);
  await page.waitForTimeout(300);
}

// name -> [what the server answers, what the person does]
const STATES = {
  setup_empty: [(s) => { s.replies["/bt_available"] = { available: true }; }, () => {}],
  setup_filled: [(s) => {
    s.replies["/bt_available"] = { available: true };
    s.replies["/scan"] = { success: true, devices: DEVICES };
  }, async (page) => {
    await page.getByLabel("Name or ID-code").fill("Anna");
    await button(page, "Scan for devices").click();
    await page.getByText("Found 2").waitFor();
    await page.getByLabel("Device").selectOption(DEVICES[0].address);
  }],
  setup_recording: [() => {}, async (page) => {
    await page.getByLabel("Open a recording").check();
    await page.getByLabel("Recording", { exact: true }).selectOption("Sample 2.txt");
  }],
  scanning: [(s) => {
    s.replies["/bt_available"] = { available: true };
    s.replies["/scan"] = () => new Promise(() => {});
  }, (page) => button(page, "Scan for devices").click()],
  no_bluetooth: [() => {}, () => {}],
  countdown: [() => {}, (page, s) => shown(page, s, session_at(19.4))],
  running: [() => {}, (page, s) => shown(page, s, session_at(76))],
  coupled: [() => {}, async (page, s) => {
    await shown(page, s, session_at(120));
    await page.getByText("Pacer").click();
    await shown(page, s, session_at(163.1));
  }],
  stopped: [() => {}, async (page, s) => {
    await shown(page, s, session_at(163.1));
    await shown(page, s, session_at(163.1, { running: false }));
  }],
  stalled: [() => {}, async (page, s) => {
    const live = { mode: "live", bt_status: "Streaming", source_label: "Live — Polar H10",
                   total: 256 };
    await shown(page, s, session_at(88, live));
    await page.waitForTimeout(2200);
    await shown(page, s, session_at(88, live));
  }],
  tfr: [(s) => {
    s.replies["/tfr"] = { ok: true, status: "computing" };
    s.replies["/tfr_status"] = { status: "done" };
  }, async (page, s) => {
    s.replies["/tfr_images"] = { status: "done", images: {
      tfr10: await draw_tfr(page, 90), tfr3: await draw_tfr(page, 30) } };
    await shown(page, s, session_at(251, { running: false }));
    await button(page, "Compute TFR").click();
    await page.locator("figure").first().waitFor();
    await page.waitForTimeout(300);
  }],
  exporting: [(s) => {
    s.replies["/export"] = { ok: true, status: "exporting" };
    s.replies["/export_status"] = { status: "exporting" };
  }, async (page, s) => {
    await shown(page, s, session_at(251, { running: false }));
    await button(page, "Save").click();
    await page.waitForTimeout(300);
  }],
  export_done: [(s) => {
    s.replies["/export"] = { ok: true, status: "exporting" };
    s.replies["/export_status"] = { status: "done", result: EXPORT };
  }, async (page, s) => {
    await shown(page, s, session_at(251, { running: false }));
    await button(page, "Save").click();
    await page.getByText("Exported to").waitFor();
  }],
  export_failed: [(s) => {
    s.replies["/export"] = { ok: true, status: "exporting" };
    s.replies["/export_status"] = { status: "error", error: "Not enough data recorded yet." };
  }, async (page, s) => {
    await shown(page, s, session_at(251, { running: false }));
    await button(page, "Save").click();
    await page.getByText("Export failed").waitFor();
  }],
  lost: [() => {}, async (page, s) => {
    await shown(page, s, session_at(163.1));
    await s.close();
    await page.waitForTimeout(500);
  }],
  about: [() => {}, (page) => button(page, "About").click()],
  print: [() => {}, async (page, s) => {
    await shown(page, s, session_at(163.1));
    await page.emulateMedia({ media: "print" });
    await page.waitForTimeout(300);
  }],
};

const README = { session_dark: ["coupled", "wide_dark"], session: ["coupled", "wide_light"],
                 tfr: ["tfr", "wide_light"] };

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

if (words[0] === "readme") {
  for (const [file, [state, form]] of Object.entries(README)) await take(state, form, file + ".png");
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
