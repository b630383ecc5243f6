// What is wrong, over whatever view is shown, and what to do about it.

const LOST = "Connection to Talvern Live lost. Is its window still open?";
const LOST_RETRY_MS = 2000;

const FIRST_SAMPLE_S = 15;
const STILL_LIMIT_S = 2;
// What the strap's link says before the first sample, and what helps.
const LINK_ADVICE = [
  [/turned off/, "Turn it on, then start again."],
  [/denied/, "Then start again."],
  [/not found|^(Connecting|Starting)/,
   "Wear the strap, wet its electrodes and close apps that hold it."],
  [/^Connected/, "Take the strap off for a minute, then start again."],
  [/^/, "Wet the electrodes and come closer, then start again."],
];

// The elapsed time of the run, and when it last changed.
let moved = {};
let trouble = { kind: "", text: "", seconds: "" };
let overdue_calls = 0;

// kind is "lost", "stalled", "other" or nothing.
function show_trouble(kind = "", text = LOST, seconds = "") {
  trouble = { kind, text, seconds };
  if (kind === "lost" && $("setup").hidden) set_status_word("No connection", run?.name_id);
  draw_trouble();
}

// A browser opens six connections to a program, and every open page keeps one.
function draw_trouble() {
  const { kind, text, seconds } = trouble;
  const slow = !kind && overdue_calls > 0;
  set_state("trouble", kind);
  set_text("trouble-seconds", seconds);
  set_text("trouble-text", slow ? "No answer for 5 s. Close other tabs of Talvern Live." : text);
  $("trouble").hidden = !kind && !slow;
}

function count_overdue(change) {
  overdue_calls += change;
  draw_trouble();
}

function watch_snapshot(snapshot, now_s) {
  const { mode, total, source_label } = snapshot;
  if (mode === "live") watch_strap(snapshot, now_s);
  else if (mode === "idle") {
    show_trouble("other", "The program was started again; the earlier run is not there.");
  } else if (total === 0 && source_label.startsWith("Imported")) {
    show_trouble("other", "The file could not be stored. Is the disk full?");
  } else show_trouble();
}

// A strap that has come off sends nothing, and the old numbers would pass for new ones.
function watch_strap({ running, elapsed, bt_status }, now_s) {
  if (!running || elapsed !== moved.elapsed) moved = { elapsed, at: now_s };
  const still_s = now_s - moved.at;
  if (still_s <= (elapsed ? STILL_LIMIT_S : FIRST_SAMPLE_S)) {
    show_trouble();
  } else if (elapsed) {
    const told = bt_status.replace(/^Streaming.*/, "");
    show_trouble("stalled", told + " Wet the electrodes and come closer. " +
                 "If it stays silent: Save, then start again.",
                 `No data from the strap for ${still_s | 0} s`);
  } else {
    const [, advice] = LINK_ADVICE.find(([words]) => words.test(bt_status));
    show_trouble("stalled", bt_status + " " + advice);
  }
}
