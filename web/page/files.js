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
    follow_batch(() => {}, KUBIOS_RETRY_MS);
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

// mode "single": all files are one person's recording; mode "batch": one report per recording.
async function process_folder(all_files, button, mode) {
  const files = all_files.filter(is_recording);
  if (!files.length) {
    tell("import-hint", "No recordings (.txt raw ECG or .csv Kubios) found in that folder.", true);
    return;
  }
  set_files_busy(button);
  const refusal = await upload_and_run(files, mode);
  if (refusal) {
    end_files(refusal, true);
    return;
  }
  follow_batch(({ msg, done, total }) => {
    show_progress(done, total);
    set_text("import-hint", `${msg} — ${done}/${total} files`);
  });
}

// Nothing when the batch was started, else why not.
async function upload_and_run(files, mode) {
  tell("import-hint", "Uploading…");
  let reply = await try_call("/batch_new");
  for (let n = 0; n < files.length && reply.ok; ++n) {
    set_text("import-hint", `Uploading… ${n + 1}/${files.length}`);
    show_progress(n, files.length);
    const rel = files[n].webkitRelativePath || files[n].name;
    reply = await try_call("/batch_upload?rel=" + encodeURIComponent(rel), files[n]);
  }
  if (!reply.ok) return "Upload failed: " + refusal_text(reply);
  const [, top = "import"] = files[0].webkitRelativePath.match(/^([^/]+)\//) || [];
  reply = await try_call(`/batch_run?mode=${mode}` + start_parameters() +
    (mode === "single" ? "&batchname=" + encodeURIComponent(top) : ""));
  return reply.ok ? "" : refusal_text(reply, "Could not start.");
}

function follow_batch(on_running, retry_ms) {
  poll("/batch_status", BATCH_POLL_MS, (job) => {
    if (job.status === "running") {
      on_running(job);
      return false;
    }
    const done = job.status === "done";
    end_files(done ? "✓ " + job.msg : job.msg || "The batch did not run.", !done);
    return true;
  }, retry_ms);
}
