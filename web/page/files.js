// Files of the user's own: one recording to replay, or folders to turn into reports.

const BATCH_POLL_MS = 1000;
const KUBIOS_RETRY_MS = 1200;

function set_files_busy(button) {
  for (const id of ["import-file", "import-folder", "batch-folder"]) {
    set_busy(id, id === button);
    $(id).disabled = !!button;
  }
}

function show_progress(done, total) {
  const bar = $("import-bar");
  bar.hidden = !total;
  bar.max = total || 1;
  bar.value = done;
}

function end_files(text, failed) {
  show_progress(0, 0);
  set_files_busy(null);
  tell("import-hint", text, failed);
}

async function import_file(file) {
  set_files_busy("import-file");
  tell("import-hint", `Importing ${file.name}…`);
  const reply = await try_call(`/import?fname=${encodeURIComponent(file.name)}&speed=${speed}` +
    start_parameters(), file);
  if (reply.ok && reply.kubios) {
    tell("import-hint", `Processing Kubios RR (${reply.beats} beats)…`);
    follow_batch({ quiet: true, retry_ms: KUBIOS_RETRY_MS });
  } else if (reply.ok) {
    end_files("");
    enter_session();
  } else {
    end_files(refusal_text(reply, "Could not import that file."), true);
  }
}

// A report's own heart-rate text, named ...hrv.txt, would pass for a raw ECG.
function is_recording({ name }) {
  return /\.(txt|csv)$/i.test(name) && !/hrv\.txt$/i.test(name);
}

// Whether a batch takes a file for a recording: not what the program itself writes beside one.
function is_processed(file, all_paths) {
  if (/_(markers|tvn_logpower)\.csv$|hrv.*\.txt$/i.test(file.name)) return false;
  const path = path_of(file);
  return !path.endsWith("_HR.txt") || !all_paths.has(path.replace(/HR.txt$/, "ECG.txt"));
}

const path_of = (file) => file.webkitRelativePath || file.name;

// mode "single": all files are one person's recording; mode "batch": one report per recording.
async function process_folder(all_files, button, mode) {
  const files = all_files.filter(is_recording);
  if (!files.length) {
    tell("import-hint", "No recordings (.txt raw ECG or .csv Kubios) found in that folder.", true);
    return;
  }
  const rate = $("fs").value;
  const note = !rate || Number(rate) === 130 ? ""
    : ` · Read at 130 Hz: for ${rate} Hz use “Import file…”`;
  set_files_busy(button);
  tell("import-hint", "Uploading…" + note);
  if (await follow_other_batch()) return;
  const refusal = await upload_and_run(files, mode, note);
  if (refusal) {
    end_files(refusal, true);
    return;
  }
  const paths = new Set(files.map(path_of));
  follow_batch({ sent: files.filter((file) => is_processed(file, paths)).length, note });
}

// Nothing when the batch was started, else why not.
async function upload_and_run(files, mode, note) {
  let reply = await try_call("/batch_new");
  for (let n = 0; n < files.length && reply.ok; ++n) {
    set_text("import-hint", `Uploading… ${n + 1}/${files.length}${note}`);
    show_progress(n, files.length);
    reply = await try_call("/batch_upload?rel=" + encodeURIComponent(path_of(files[n])), files[n]);
  }
  if (!reply.ok) return "Upload failed: " + refusal_text(reply);
  const [, top = "import"] = files[0].webkitRelativePath.match(/^([^/]+)\//) || [];
  reply = await try_call(`/batch_run?mode=${mode}` + start_parameters() +
    (mode === "single" ? "&batchname=" + encodeURIComponent(top) : ""));
  return reply.ok ? "" : refusal_text(reply, "Could not start.");
}

// A batch that is running, whoever started it, keeps the uploaded files that it reads. Whether
// there is one; it is followed, and what was chosen is not sent.
async function follow_other_batch() {
  if ((await try_call("/batch_status")).status !== "running") return false;
  follow_batch({ before: "A batch is already running. ",
                 after: " Yours was not sent: choose it again." });
  return true;
}

// Says how far the batch is, unless quiet, and how it ended, with the note. sent: how many files it
// should find.
function follow_batch({ before = "", note = "", after = "", sent = 0, quiet = false, retry_ms }) {
  poll("/batch_status", BATCH_POLL_MS, ({ status, msg, done, total }) => {
    if (status === "running") {
      if (quiet) return false;
      show_progress(done, total);
      set_text("import-hint", `${before}${msg} — ${done}/${total} files${note}`);
      return false;
    }
    const good = status === "done";
    const missing = good ? sent - total : 0;
    if (missing > 0) after = ` ${missing} of ${sent} files did not arrive. Is the disk full?`;
    end_files((good ? "✓ " + msg : msg || "The batch did not run.") + note + after,
              !good || missing > 0);
    return true;
  }, retry_ms);
}
