// Which run the page knows: whether a snapshot belongs to another one, and what of it is not saved.

// The last snapshot of the run, kept in Setup too; null before there was one.
let run = null;
// So many seconds of it were saved last.
let saved_s = 0;

// The program does not number its runs, but a start takes these back to the beginning.
function is_other_run(now) {
  if (!run) return false;
  const began_again = (job) => now[job] === "idle" && run[job] !== "idle";
  return now.mode !== run.mode || now.source_label !== run.source_label ||
    (now.mode === "live" ? now.elapsed < run.elapsed : now.total !== run.total) ||
    now.running > run.running || began_again("tfr_status") || began_again("export_status");
}

// What another tab or program started takes the place of what is shown, the results too.
function follow_run(now) {
  if (is_other_run(now)) {
    forget_run();
    reset_session();
  }
  // The samples are copied a moment before the snapshot tells the name.
  if (now.saved_as && now.saved_as !== run?.saved_as) saved_s = (run || now).elapsed;
  run = now;
}

function forget_run() {
  run = null;
  saved_s = 0;
  clear_results();
}

// A recording can be replayed again; what the strap sent cannot.
const is_unsaved = () => run?.mode === "live" && run.elapsed > saved_s;

// What Setup offers for the run that the program holds, be it this page's or another's. Without an
// answer there is none.
async function offer_run() {
  const now = await try_call("/status");
  if ($("setup").hidden) return;
  if (now.mode) follow_run(now);
  if (!now.mode || now.mode === "idle") forget_run();
  $("back").hidden = !run;
  $("running-note").hidden = !run?.running;
  show_scan_button();
}
