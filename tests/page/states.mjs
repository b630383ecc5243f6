// Every state of the page, as the screenshots show it and the accessibility test checks it.

import { button, start_replay } from "./fixture.mjs";
import { IDLE } from "./scripted_server.mjs";
import { draw_tfr, session_at } from "./signals.mjs";

const DEVICES = [{ name: "Polar H10 A1B2C3D4", address: "4C2F8A10-6E1B-4D6E-9E3A-0F5B7C21D8AA" },
                 { name: "", address: "91D0A7E2-03C4-4F0B-8B7D-5A6C1E9F2B34" }];
const EXPORT = { folder: "Anna_on5_off11_M40_20260412-101500", files: [
  "ecg.txt", "hrv.txt", "markers.csv", "recording.edf", "tvn_logpower.csv", "report.pdf"] };

// Pushes a snapshot, after a start when there was none, and lets the page draw it.
async function shown(page, server, snapshot) {
  if (server.streams() === 0) await start_replay(page, server);
  // WebKitGTK does not draw every one.
  for (const wait_ms of [150, 300]) {
    server.push(snapshot);
    await page.waitForTimeout(wait_ms);
  }
}

const LIVE = { mode: "live", bt_status: "Streaming ECG…", source_label: "Live — Polar H10",
               total: 256 };
const SAVED = "Anna_on5_off11_F33_20260412-101500.csv";

// A file that the person imports.
const pick = (page, input, files) => page.locator(input).setInputFiles(files);
const a_file = (name) => ({ name, mimeType: "text/plain", buffer: Buffer.from("1\n2\n") });

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
  setup_back: [(s) => {
    s.replies["/bt_available"] = { available: true };
    s.replies["/status"] = session_at(163, { ...LIVE, running: false, ecg: [] });
  }, (page) => button(page, "Back to the last session").waitFor()],
  setup_running: [(s) => {
    s.replies["/bt_available"] = { available: true };
    s.replies["/status"] = session_at(163, { ...LIVE, ecg: [] });
  }, (page) => page.getByText("A recording is running").waitFor()],
  setup_from_recording: [(s) => {
    s.replies["/recordings"] = { saved: [SAVED, "Anna_markers.csv"], samples: ["Sample 1.txt"] };
  }, async (page) => {
    await page.getByLabel("Open a recording").check();
    await page.getByLabel("Recording", { exact: true }).selectOption(SAVED);
  }],
  setup_blank_period: [() => {}, (page) => page.getByLabel("In-period").fill("")],
  folder_rate: [(s) => {
    const polls = [{ status: "idle" }, { status: "done", total: 1, done: 1,
      msg: "Done — 1 report(s) written to Documents/TVN-Live/exports." }];
    s.replies["/batch_status"] = () => polls.shift();
    for (const path of ["/batch_new", "/batch_upload", "/batch_run"]) {
      s.replies[path] = { ok: true };
    }
  }, async (page) => {
    await page.getByLabel("Import sample rate").fill("360");
    await page.evaluate(() => process_folder([new File(["1"], "a.txt")], "batch-folder", "batch"));
    await page.getByText("Read at 130").waitFor();
  }],
  batch_running: [(s) => {
    s.replies["/batch_status"] = { status: "running", total: 40, done: 6,
                                   msg: "Processing anna / morning.txt" };
  }, async (page) => {
    await page.evaluate(() => process_folder([new File(["1"], "a.txt")], "batch-folder", "batch"));
    await page.getByText("6/40 files").waitFor();
  }],
  batch_missing: [(s) => {
    const polls = [{ status: "idle" }, { status: "done", total: 1, done: 1,
      msg: "Done — 1 report(s) written to Documents/TVN-Live/exports." }];
    s.replies["/batch_status"] = () => polls.shift();
    for (const path of ["/batch_new", "/batch_upload", "/batch_run"]) {
      s.replies[path] = { ok: true };
    }
  }, async (page) => {
    await page.evaluate(() => process_folder(["a", "b"].map((name) =>
      new File(["1"], name + ".txt")), "batch-folder", "batch"));
    await page.getByText("did not arrive").waitFor();
  }],
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
    await shown(page, s, session_at(88, LIVE));
    await page.waitForTimeout(2200);
    await shown(page, s, session_at(88, LIVE));
  }],
  coupled_stalled: [() => {}, async (page, s) => {
    await shown(page, s, session_at(147, LIVE));
    await shown(page, s, session_at(163.1, LIVE));
    await page.waitForTimeout(2200);
    await shown(page, s, session_at(163.1, { ...LIVE, bt_status: "Disconnected." }));
  }],
  no_first_sample: [() => {}, async (page, s) => {
    const silent = session_at(0, { ...LIVE, bt_status: "Bluetooth is turned off.", ecg: [],
                                   hr_series: [], tvn_series: [] });
    await shown(page, s, silent);
    await page.evaluate(() => {
      const now = performance.now.bind(performance);
      performance.now = () => now() + 20_000;
    });
    await shown(page, s, silent);
  }],
  restarted: [() => {}, async (page, s) => {
    await shown(page, s, session_at(88));
    await shown(page, s, IDLE);
  }],
  no_answer: [() => {}, async (page, s) => {
    await shown(page, s, session_at(88));
    await page.evaluate(() => count_overdue(1));
    await shown(page, s, session_at(88.1));
  }],
  not_stored: [() => {}, (page, s) => shown(page, s, session_at(0, { total: 0, running: false,
    source_label: "Imported — a.txt", ecg: [], hr_series: [], tvn_series: [] }))],
  millivolts: [() => {}, async (page, s) => {
    const { ecg, ...rest } = session_at(88);
    await shown(page, s, { ...rest, ecg: ecg.map((value) => value / 1000) });
  }],
  results_below: [(s) => {
    s.replies["/export"] = { ok: true, status: "exporting" };
    s.replies["/export_status"] = { status: "done", result: EXPORT };
  }, async (page, s) => {
    await shown(page, s, session_at(88));
    await button(page, "Save").click();
    await page.getByText("Exported to").waitFor();
    await shown(page, s, session_at(90));
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
