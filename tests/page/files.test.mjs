import assert from "node:assert/strict";
import { mkdirSync, mkdtempSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { dirname, join } from "node:path";
import { test } from "node:test";
import { eventually, text_becomes } from "./browser.mjs";
import { button, record_waits, requests_for, share_browser, show, with_page } from "./fixture.mjs";

share_browser();

const PARAMETERS = "&name=&indur=5&outdur=11&sex=M&age=40&fs=130";
const BUTTONS = ["Import file…", "Import folder…", "Batch process…"];
const hint = (page) => page.locator("#import-hint");

async function pick_file(page, name, content) {
  const chooser = page.waitForEvent("filechooser");
  await button(page, "Import file…").click();
  await (await chooser).setFiles({ name, mimeType: "text/plain", buffer: Buffer.from(content) });
}

async function pick_folder(page, name, folder) {
  const chooser = page.waitForEvent("filechooser");
  await button(page, name).click();
  await (await chooser).setFiles(folder);
}

// The answers to the polls of a batch over a folder; the page asks once before, whether there is one
// already.
function script_polls(server, ...answers) {
  return script_answers(server, { status: "done", total: 3, done: 3, msg: "Earlier" }, ...answers);
}

function script_answers(server, ...polls) {
  server.replies["/batch_status"] = () => polls.shift();
  return polls;
}

// A folder "study" with the files of the list, each holding its own name.
function with_folder(files, run) {
  return with_page(async (page, server) => {
    const root = mkdtempSync(join(tmpdir(), "tvn-page-"));
    try {
      for (const file of files) {
        const path = join(root, "study", file);
        mkdirSync(dirname(path), { recursive: true });
        writeFileSync(path, file);
      }
      await run(page, server, join(root, "study"));
    } finally {
      rmSync(root, { recursive: true });
    }
  });
}

test("an imported raw ECG is sent as it is and replays", with_page(async (page, server) => {
  server.replies["/import"] = { ok: true, file: "imported_x.csv" };
  await page.getByLabel("Import sample rate").fill("360");
  await pick_file(page, "my räw.txt", "1\r\n-2\n3");
  await eventually(() => assert.equal(server.streams(), 1));
  const [request] = requests_for(server, "/import");
  assert.equal(request.method, "POST");
  assert.equal(request.url, "/import?fname=my%20r%C3%A4w.txt&speed=2" +
    PARAMETERS.replace("fs=130", "fs=360"));
  assert.equal(request.body.toString(), "1\r\n-2\n3");
  assert.ok(await page.locator("#session").isVisible());
}));

test("what happens to a file is told while it happens", with_page(async (page, server) => {
  const answers = [];
  const answer = async (path, reply) => {
    await eventually(() => assert.equal(answers.at(-1)?.path, path));
    answers.pop().give(reply);
  };
  for (const path of ["/import", "/batch_new", "/batch_upload", "/batch_run"]) {
    server.replies[path] = () => new Promise((give) => answers.push({ path, give }));
  }
  await pick_file(page, "my räw.txt", "1");
  await text_becomes(hint(page), "Importing my räw.txt…");
  assert.ok(await hint(page).isVisible());
  await answer("/import", { ok: false });
  await text_becomes(hint(page), "Could not import that file.");
  // A program that is started again after the upload knows of no batch.
  script_answers(server, { status: "idle" }, { status: "idle", total: 0, done: 0, msg: "" });
  await page.evaluate(() => {
    const files = ["a.txt", "b.txt"].map((name) => new File(["1"], name));
    process_folder(files, "batch-folder", "batch");
  });
  await text_becomes(hint(page), "Uploading…");
  await answer("/batch_new", { ok: true });
  for (const told of ["Uploading… 1/2", "Uploading… 2/2"]) {
    await text_becomes(hint(page), told);
    await answer("/batch_upload", { ok: true });
  }
  await answer("/batch_run", { ok: true });
  await text_becomes(hint(page), "The batch did not run.");
  assert.equal(await hint(page).getAttribute("role"), "alert");
}));

test("a refused import shows the note; the same file can be picked again",
  with_page(async (page, server) => {
    const picked = () => page.locator("#file-picker").evaluate((picker) => picker.files.length);
    server.replies["/import"] = { ok: false, note: "No file received." };
    await pick_file(page, "a.txt", "");
    await text_becomes(hint(page), "No file received.");
    assert.equal(await hint(page).getAttribute("role"), "alert");
    assert.equal(await picked(), 0);
    // The click was also one that sounds may follow.
    assert.notEqual(await page.evaluate(() => audio), null);
    server.replies["/import"] = { ok: false };
    await pick_file(page, "a.txt", "");
    await text_becomes(hint(page), "Could not import that file.");
    assert.ok(await page.locator("#setup").isVisible());
    assert.ok(await button(page, "Import file…").isEnabled());
  }));

test("a Kubios file stays in Setup and its report is announced",
  with_page(async (page, server) => {
    server.replies["/import"] = { ok: true, kubios: true, beats: 312 };
    script_answers(server, null, { status: "running", total: 1, done: 0, msg: "Working" },
                   { status: "done", total: 1, done: 1, msg: "1 report written" });
    await pick_file(page, "rr.csv", "sep=,");
    await text_becomes(hint(page), "Processing Kubios RR (312 beats)…");
    await text_becomes(hint(page), "✓ 1 report written", 8000);
    assert.equal(await hint(page).getAttribute("role"), "paragraph");
    assert.equal(requests_for(server, "/batch_status").length, 3);
    assert.equal(server.streams(), 0);
    assert.ok(await page.locator("#setup").isVisible());
  }));

test("a folder without recordings sends nothing",
  with_folder(["notes.pdf", "old_hrv.txt", "OLD_HRV.TXT"], async (page, server, folder) => {
    await pick_folder(page, "Batch process…", folder);
    await text_becomes(hint(page),
      "No recordings (.txt raw ECG or .csv Kubios) found in that folder.");
    assert.equal(await hint(page).getAttribute("role"), "alert");
    assert.deepEqual(server.requests, []);
  }));

test("a folder is uploaded file by file and run",
  with_folder(["a.TXT", "sub/b.csv", "sub/b_hrv.txt", "c.md"], async (page, server, folder) => {
    server.replies["/batch_new"] = server.replies["/batch_upload"] = { ok: true };
    server.replies["/batch_run"] = { ok: true };
    script_polls(server, { status: "running", total: 2, done: 1, msg: "Reading b.csv" },
                 { status: "error", total: 2, done: 1, msg: "Disk full" });
    await pick_folder(page, "Import folder…", folder);
    await text_becomes(hint(page), "Reading b.csv — 1/2 files");
    const bar = page.getByRole("progressbar", { name: "Files done" });
    assert.deepEqual(await bar.evaluate(({ value, max }) => [value, max]), [1, 2]);
    for (const name of BUTTONS) assert.ok(await button(page, name).isDisabled(), name);
    assert.deepEqual(await Promise.all(BUTTONS.map((name) =>
      button(page, name).getAttribute("aria-busy"))), ["false", "true", "false"]);
    await text_becomes(hint(page), "Disk full");
    assert.ok(await page.locator("#import-bar").isHidden());
    assert.deepEqual(server.requests.slice(0, 2).map(({ url }) => url),
                     ["/batch_status", "/batch_new"]);
    const uploads = requests_for(server, "/batch_upload").map((r) => [r.url, r.body.toString()]);
    assert.deepEqual(uploads.sort(), [
      ["/batch_upload?rel=study%2Fa.TXT", "a.TXT"],
      ["/batch_upload?rel=study%2Fsub%2Fb.csv", "sub/b.csv"]]);
    assert.deepEqual(requests_for(server, "/batch_run").map((r) => r.url),
      ["/batch_run?mode=single" + PARAMETERS + "&batchname=study"]);
  }));

// Which files are taken, whatever the case of their endings, and what the batch is called.
test("a folder's name goes with its files", with_page(async (page, server) => {
  server.replies["/batch_new"] = server.replies["/batch_upload"] = { ok: true };
  server.replies["/batch_run"] = { ok: true };
  const process = (paths, mode) => page.evaluate(([paths, mode]) => {
    const files = paths.map((path) => Object.defineProperty(
      new File(["1"], path.split("/").at(-1)), "webkitRelativePath",
      { value: path.includes("/") ? path : "" }));
    return process_folder(files, "import-folder", mode);
  }, [paths, mode]);
  for (const [paths, taken, call] of [
    [["My & co/A.CSV", "My & co/b.Txt", "My & co/c.HrV.TxT", "My & co/d.txt.bak", "My & co/txt"],
     ["My%20%26%20co%2FA.CSV", "My%20%26%20co%2Fb.Txt"], "&batchname=My%20%26%20co"],
    [["alone.txt"], ["alone.txt"], "&batchname=import"]]) {
    script_polls(server, { status: "done", total: taken.length, done: taken.length, msg: "Ready" });
    server.requests.length = 0;
    await process(paths, "single");
    await text_becomes(hint(page), "✓ Ready");
    assert.deepEqual(requests_for(server, "/batch_upload").map(({ url }) => url),
                     taken.map((name) => "/batch_upload?rel=" + name));
    assert.deepEqual(requests_for(server, "/batch_run").map(({ url }) => url),
                     ["/batch_run?mode=single" + PARAMETERS + call]);
  }
}));

test("polls come every second; a failed one of a Kubios file is tried again after 1.2 s",
  with_folder(["a.txt"], async (page, server, folder) => {
    server.replies["/batch_new"] = server.replies["/batch_upload"] = { ok: true };
    server.replies["/batch_run"] = { ok: true };
    server.replies["/import"] = { ok: true, kubios: true, beats: 9 };
    await record_waits(page);
    const answers = ["broken", { status: "running" }, { status: "done", total: 1, msg: "Ready" }];
    for (const [start, script, retry_ms] of [
      [() => pick_folder(page, "Batch process…", folder), script_polls, 1000],
      [() => pick_file(page, "rr.csv", "sep=,"), script_answers, 1200]]) {
      const polls = script(server, ...answers);
      await page.evaluate(() => { window.waits = []; });
      await start();
      await eventually(() => assert.equal(polls.length, 0));
      await text_becomes(hint(page), "✓ Ready");
      assert.deepEqual(await page.evaluate(() => window.waits), [1000, retry_ms, 1000]);
    }
  }));

test("a refused batch shows its reason and gives the buttons back",
  with_folder(["a.txt"], async (page, server, folder) => {
    server.replies["/batch_new"] = server.replies["/batch_upload"] = { ok: true };
    server.replies["/batch_run"] = { ok: false, reason: "A batch is already running." };
    await pick_folder(page, "Batch process…", folder);
    await text_becomes(hint(page), "A batch is already running.");
    assert.equal(await hint(page).getAttribute("role"), "alert");
    assert.deepEqual(requests_for(server, "/batch_run").map((r) => r.url),
      ["/batch_run?mode=batch" + PARAMETERS]);
    for (const name of BUTTONS) assert.ok(await button(page, name).isEnabled(), name);
    assert.equal(requests_for(server, "/batch_status").length, 1);
    server.replies["/batch_run"] = { ok: false };
    await pick_folder(page, "Batch process…", folder);
    await text_becomes(hint(page), "Could not start.");
  }));

test("an upload that gets no answer says so and starts no batch",
  with_folder(["a.txt", "b.txt"], async (page, server, folder) => {
    for (const [cut, uploads] of [["/batch_new", 0], ["/batch_upload", 1]]) {
      server.requests.length = 0;
      Object.assign(server.replies, { "/batch_new": { ok: true }, "/batch_upload": { ok: true },
                                      "/batch_run": { ok: true }, [cut]: null });
      await pick_folder(page, "Batch process…", folder);
      await text_becomes(hint(page), "Upload failed: no answer");
      for (const name of BUTTONS) assert.ok(await button(page, name).isEnabled(), name);
      // A browser may ask a second time over a new connection, but goes no further.
      const asked = new Set(requests_for(server, "/batch_upload").map(({ url }) => url));
      assert.equal(asked.size, uploads);
      assert.equal(requests_for(server, "/batch_run").length, 0);
    }
  }));

const RUNNING = { status: "running", total: 40, done: 6, msg: "Processing a / b.txt" };
const FINISHED = { status: "done", total: 40, done: 40, msg: "Done — 4 report(s)" };

test("while a batch runs its files stay where they are, and it is followed",
  with_folder(["a.txt"], async (page, server, folder) => {
    const polls = [RUNNING, { ...RUNNING, done: 7 }, FINISHED];
    server.replies["/batch_status"] = () => polls.shift();
    await pick_folder(page, "Batch process…", folder);
    await text_becomes(hint(page),
      "A batch is already running. Processing a / b.txt — 7/40 files");
    for (const name of BUTTONS) assert.ok(await button(page, name).isDisabled(), name);
    await text_becomes(hint(page), "✓ Done — 4 report(s) Yours was not sent: choose it again.");
    assert.deepEqual(new Set(server.requests.map(({ path }) => path)), new Set(["/batch_status"]));
    // A single ECG takes no file from it; an RR export is refused by the program itself.
    const note = "A batch is already running.";
    server.replies["/import"] = { ok: false, note };
    await pick_file(page, "rr.csv", "sep=,");
    await text_becomes(hint(page), note);
  }));

// What the program's own exports hold is sent, as any recording is, but no recording of its own.
const OWN_FILES = ["x/anna_ECG.txt", "x/anna_HR.txt", "x/anna_markers.csv",
                   "x/anna_TVN_logpower.csv", "x/my_hrv_notes.txt"];

test("files that did not arrive are told, and only those",
  with_folder(["a.txt", "y/lone_HR.txt", "z/lone_HR.txt", "b.csv", ...OWN_FILES], async (page, server, folder) => {
    Object.assign(server.replies, { "/batch_new": { ok: true }, "/batch_upload": { ok: true },
                                    "/batch_run": { ok: true } });
    for (const [total, end, role] of [
      [4, " 1 of 5 files did not arrive. Is the disk full?", "alert"], [5, "", "paragraph"],
      [0, " 5 of 5 files did not arrive. Is the disk full?", "alert"], [6, "", "paragraph"]]) {
      script_polls(server, { status: "done", total, done: total, msg: `Ready ${total}` });
      await pick_folder(page, "Batch process…", folder);
      await text_becomes(hint(page), `✓ Ready ${total}${end}`);
      assert.equal(await hint(page).getAttribute("role"), role);
    }
    assert.equal(requests_for(server, "/batch_upload").length, 4 * 9);
  }));

test("an upload that the program refuses is not taken for no answer",
  with_folder(["a.txt"], async (page, server, folder) => {
    Object.assign(server.replies, { "/batch_new": { ok: true }, "/batch_upload": { ok: false } });
    await pick_folder(page, "Batch process…", folder);
    await text_becomes(hint(page), "Upload failed: refused");
  }));

test("before a folder is sent at another rate than 130 Hz the page says so, and names the way",
  with_folder(["a.txt"], async (page, server, folder) => {
    let release;
    const released = new Promise((resolve) => { release = () => resolve({ ok: true }); });
    Object.assign(server.replies, { "/batch_new": () => released, "/batch_upload": { ok: true },
                                    "/batch_run": { ok: true } });
    await page.getByLabel("Import sample rate").fill("360");
    script_polls(server, { status: "running", total: 2, done: 1, msg: "Reading" },
                 { status: "done", total: 0, done: 0, msg: "Ready" });
    await pick_folder(page, "Import folder…", folder);
    const note = " · Read at 130 Hz: for 360 Hz use “Import file…”";
    await text_becomes(hint(page), "Uploading…" + note);  // while the first request waits
    assert.equal(requests_for(server, "/batch_upload").length, 0);
    release();
    await text_becomes(hint(page), "Reading — 1/2 files" + note);
    await text_becomes(hint(page), "✓ Ready" + note +
      " 1 of 1 files did not arrive. Is the disk full?");
    for (const rate of ["130", ""]) {
      await page.getByLabel("Import sample rate").fill(rate);
      await text_becomes(hint(page), "");
      server.requests.length = 0;
      script_polls(server, { status: "done", total: 1, done: 1, msg: "Ready " + rate });
      await pick_folder(page, "Import folder…", folder);
      await text_becomes(hint(page), ("✓ Ready " + rate).trim());
      assert.equal(requests_for(server, "/batch_upload").length, 1);
    }
  }));

test("an import that could not be stored is told", with_page(async (page, server) => {
  server.replies["/import"] = { ok: true, file: "imported_x.csv" };
  await pick_file(page, "x.txt", "1\n2");
  await eventually(() => assert.equal(server.streams(), 1));
  const ended = { elapsed: 0, frac: 0, running: false, source_label: "Imported — x.txt" };
  await show(page, server, { ...ended, total: 3 });
  const banner = page.locator("#trouble");
  assert.ok(await banner.isHidden());
  await show(page, server, { ...ended, total: 0, source_label: "Sample 1.txt" });
  assert.ok(await banner.isHidden());
  await show(page, server, { ...ended, total: 0 });
  await text_becomes(banner, "The file could not be stored. Is the disk full?");
}));
