// Every state of the page, as the screenshots show it and the accessibility test checks it.

import { button, start_replay } from "./fixture.mjs";
import { draw_tfr, session_at } from "./signals.mjs";

const DEVICES = [{ name: "Polar H10 A1B2C3D4", address: "4C2F8A10-6E1B-4D6E-9E3A-0F5B7C21D8AA" },
                 { name: "", address: "91D0A7E2-03C4-4F0B-8B7D-5A6C1E9F2B34" }];
const EXPORT = { folder: "Anna_on5_off11_M40_20260412-101500", files: [
  "ecg.txt", "hrv.txt", "markers.csv", "recording.edf", "tvn_logpower.csv", "report.pdf"] };

// Pushes a snapshot, after a start when there was none, and lets the page draw it.
async function shown(page, server, snapshot) {
  if (server.streams() === 0) await start_replay(page, server);
  server.push(snapshot);
  await page.waitForTimeout(300);
}

// name -> [what the server answers, what the person does]
export const STATES = {
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
