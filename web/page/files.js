"use strict";
// Files of the user's own: one recording to replay, or folders to turn into reports.

const BATCH_POLL_MS = 1000;
const BATCH_RETRY_MS = 1200;

function import_hint(text) {
  set_text("import-hint", text);
}

function set_import_busy(busy) {
  for (const id of ["import-file", "import-folder", "batch-folder"]) by_id(id).disabled = busy;
}

async function import_file(file) {
  set_import_busy(true);
  import_hint("Importing " + file.name + "…");
  const reply = await try_call(
    "/import?fname=" + encodeURIComponent(file.name) + "&speed=" + speed + start_parameters(),
    file);
  if (reply.ok && reply.kubios) {
    import_hint("Processing Kubios RR (" + reply.beats + " beats)…");
    follow_batch(() => {});
    return;
  }
  set_import_busy(false);
  import_hint(reply.ok ? "" : refusal_text(reply, "Could not import that file."));
  if (reply.ok) enter_session();
}

// A report's own heart-rate text would be read as a raw ECG, so names ending in hrv.txt are not
// recordings.
function is_recording_name(name) {
  return /\.(txt|csv)$/i.test(name) && !/hrv\.txt$/i.test(name);
}

// mode "single": all files are one person's recording; mode "batch": one report per recording.
async function process_folder(all_files, mode) {
  const files = all_files.filter((file) => is_recording_name(file.name));
  if (files.length === 0) {
    import_hint("No recordings (.txt raw ECG or .csv Kubios) found in that folder.");
    return;
  }
  set_import_busy(true);
  const refusal = await upload_and_run(files, mode);
  if (refusal === null) {
    follow_batch((status) => {
      import_hint(status.msg + " — " + status.done + "/" + status.total + " files");
    });
  } else {
    import_hint(refusal);
    set_import_busy(false);
  }
}

// Null when the batch was started, else why not.
async function upload_and_run(files, mode) {
  const cleared = await try_call("/batch_new");
  if (!cleared.ok) return refusal_text(cleared, "Could not start.");
  for (const [index, file] of files.entries()) {
    import_hint("Uploading… " + (index + 1) + "/" + files.length);
    const rel = file.webkitRelativePath || file.name;
    const sent = await try_call("/batch_upload?rel=" + encodeURIComponent(rel), file);
    if (!sent.ok) return refusal_text(sent, "Could not upload " + file.name + ".");
  }
  const run = await try_call("/batch_run?mode=" + mode + start_parameters() +
    (mode === "single" ? "&batchname=" + encodeURIComponent(top_folder(files[0])) : ""));
  return run.ok ? null : refusal_text(run, "Could not start.");
}

function top_folder(file) {
  const rel = file.webkitRelativePath || "";
  return rel.includes("/") ? rel.slice(0, rel.indexOf("/")) || "import" : "import";
}

function follow_batch(on_running) {
  set_import_busy(true);
  poll("/batch_status", BATCH_POLL_MS, (status) => {
    if (status.status === "running") {
      on_running(status);
      return false;
    }
    const done = status.status === "done";
    import_hint((done ? "✓ " : "") + (status.msg || (done ? "" : "The batch did not run.")));
    set_import_busy(false);
    return true;
  }, BATCH_RETRY_MS);
}
