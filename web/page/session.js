// The Session view: snapshots in, the view out; keys and buttons of a run.

const SUMMARY_MS = 10000;
// A heart beat spans hundreds of microvolts, or about one millivolt.
const MICROVOLT_SPAN = 50;
// Without a graphics card WebKitGTK composes its whole window anew for every frame, and it does not
// tell a page that there is none: ten frames a second there.
const FRAME_S = /Linux(?!.*Chrom).*Version/.test(navigator.userAgent) ? 0.08 : -1;

let stream = null;
let last_snapshot = null;
// The series of the last snapshot, as text and parsed.
let series = {};
let paint_request = 0;
let due_s = 0;
let dragging = false;
let stop_failed = false;
// Markers that the program has not yet confirmed, shown at once all the same.
let pending_marks = [];
// The most that a full trace of the run spanned.
let widest = 0;
let summary_at = 0;
let silence = 0;

// A run was just started: nothing of the one before is left.
function enter_session() {
  forget_run();
  open_session("Recording");
}

// The run that the program holds, with the results that are still on show.
function return_to_session() {
  open_session(session_word(run));
  countdown.done = true;
}

function open_session(word) {
  leave_session();
  show_view("session");
  show_trouble();
  set_status_word(word, run?.name_id);
  $("session-title").focus();
  open_stream();
}

function leave_session() {
  clearTimeout(silence);
  stream?.close();
  stream = last_snapshot = null;
  dragging = false;
  set_busy("stop", false);
  reset_session();
  keep_awake(false);
}

// What the view remembers of a run.
function reset_session() {
  reset_coupling();
  stop_failed = false;
  pending_marks = [];
  moved = {};
  widest = 0;
  summary_at = -Infinity;
}

// Nearly all of a snapshot is its two series, which change once a second: while their text is the
// same they are not parsed again.
function parse_snapshot(data) {
  const from = data.indexOf('"hr_series":'), to = data.indexOf(',"indur"', from);
  const text = data.slice(from, to);
  const rest = parse_reply(data.slice(0, from) + '"hr_series":0,"tvn_series":0' + data.slice(to));
  if (series.text !== text) series = { text, parsed: parse_reply(`{${text}}`) };
  return { ...rest, ...series.parsed };
}

// The browser opens a broken stream again by itself, unless it got a wrong answer.
function open_stream() {
  const opened = stream = new EventSource("/stream");
  expect_snapshot();
  opened.onmessage = ({ data }) => {
    let snapshot;
    try {
      snapshot = parse_snapshot(data);
    } catch {
      // Cut short; the next one is 50 ms away.
      return;
    }
    on_snapshot(snapshot);
  };
  opened.onerror = () => {
    show_trouble("lost");
    if (opened.readyState !== EventSource.CLOSED) return;
    setTimeout(() => opened === stream && open_stream(), LOST_RETRY_MS);
  };
}

// A program that hangs keeps its stream open and says nothing, or nothing that can be read.
function expect_snapshot() {
  clearTimeout(silence);
  silence = setTimeout(show_trouble, LOST_RETRY_MS, "lost");
}

function on_snapshot(snapshot) {
  expect_snapshot();
  follow_run(snapshot);
  last_snapshot = snapshot;
  const now_s = performance.now() / 1000;
  pending_marks = pending_marks.filter((mark) => !mark.answered);
  if (snapshot.mode !== "idle") {
    follow_countdown(snapshot);
    follow_reward(snapshot, now_s);
  }
  watch_snapshot(snapshot, now_s);
  set_status_word(session_word(snapshot), snapshot.name_id);
  keep_awake(snapshot.running);
  // A hidden page gets no frames, so it draws nothing.
  if (now_s >= due_s) paint_request ||= requestAnimationFrame(paint);
}

function paint() {
  paint_request = 0;
  due_s = performance.now() / 1000 + FRAME_S;
  if (!last_snapshot) return;
  render(last_snapshot);
  for (const chart of charts) {
    fit_chart(chart);
    chart.draw(chart, last_snapshot);
  }
}

function render(snapshot) {
  render_titles(snapshot);
  render_numbers(snapshot);
  render_position(snapshot);
  set_text("markers-line", "Markers: " +
    shown_markers(snapshot).map(({ k, t }) => `${k} at ${t.toFixed(1)} s`).join(", "));
  draw_pacer(snapshot);
  if (performance.now() - summary_at >= SUMMARY_MS) render_summaries(snapshot);
}

// While the connection is lost, nobody knows.
function session_word({ mode, running }) {
  if (trouble.kind === "lost") return "No connection";
  return mode === "idle" ? "No recording" : running ? "Recording" : "Stopped";
}

function render_titles(snapshot) {
  const { mode, running, name_id, indur, outdur, cycle_seconds } = snapshot;
  const live = mode === "live";
  set_text("version", snapshot.app_version);
  $("stop").disabled = !running || is_busy("stop");
  set_text("session-title", mode === "idle" ? "No recording"
    : (live ? "Live recording" : "Playback") + (name_id && " · " + name_id));
  set_text("meta-line", mode === "idle" ? ""
    : `${snapshot.sex === "F" ? "Female" : "Male"}, ${snapshot.age} · ` +
      `In ${indur} s, out ${outdur} s · Cycle ${cycle_seconds} s · ` +
      `Expected ${snapshot.expected_freq} Hz`);
  set_text("source-label", snapshot.source_label);
  set_text("bluetooth-line", live ? " · Bluetooth: " + snapshot.bt_status : "");
  set_text("unit-note", is_in_millivolts(snapshot)
    ? " · Most likely millivolts; files keep whole numbers." : "");
  render_hint(snapshot);
}

// A whole trace, 6 s, holds beats; one that began with loose electrodes is told by its first.
function is_in_millivolts({ mode, ecg }) {
  const { low, high } = extent(ecg);
  if (ecg.length >= 780) widest = Math.max(widest, high - low);
  return mode === "replay" && widest > 0 && widest < MICROVOLT_SPAN;
}

function render_hint({ running, cycles_done }) {
  const stuck = running && stop_failed;
  tell("tfr-hint", stuck ? "Could not stop: no answer"
    : running ? $("results").hidden ? "" : "The results are below."
    : tfr_computed || cycles_done < 1 ? ""
    : "Compute the TFR, or press Save to keep the run.", stuck);
}

// Two decimals with a sign; what rounds to zero has a plus.
function signed(value) {
  if (value === null) return "–";
  const text = Math.abs(value).toFixed(2);
  return (value < 0 && text !== "0.00" ? "−" : "+") + text;
}

function render_numbers({ hr, tvn, cycles_done, cycles_target, elapsed }) {
  set_text("hr-value", whole(hr));
  set_text("tvn-value", signed(tvn));
  $("tvn-value").classList.toggle("positive", tvn > 0);
  set_aria($("gauge"), "valuetext", signed(tvn));
  set_aria($("gauge"), "valuenow", tvn ?? 0);
  $("gauge-knob").style.transform = `translateX(${(tvn + 1) * 50}%)`;
  $("gauge-fill").style.transform = `scaleX(${tvn ?? 0})`;
  set_text("cycles", `${cycles_done?.toFixed(1) ?? "–"} / ${cycles_target}`);
  set_text("elapsed", elapsed.toFixed(1) + " s");
}

function render_position({ mode, frac, elapsed, total }) {
  const slider = $("position");
  const playback = mode === "replay";
  const time = elapsed.toFixed(1) + " s";
  if (slider.disabled === playback) slider.disabled = !playback;
  if (!dragging) slider.value = Math.round(frac * 1000);
  slider.style.setProperty("--done", slider.value / 10 + "%");
  set_aria(slider, "valuetext", time);
  set_text("position-elapsed", time);
  set_text("position-total", total + (playback ? " s total · drag to jump" : " s target"));
}

function render_summaries({ hr, tvn, hr_series }) {
  summary_at = performance.now();
  const { low, high } = extent(hr_series.map(({ y }) => y));
  const now = `Heart rate ${whole(hr)} bpm`;
  set_aria($("ecg-canvas"), "label", "ECG of the last 6 s. " + now);
  set_aria($("trend-canvas"), "label", `${now}, TVN ${signed(tvn)}` + (low > high ? ""
    : `, heart rate so far ${whole(low)} to ${whole(high)} bpm`));
}

const shown_markers = ({ markers }) => [...markers, ...pending_marks];

async function mark_by_key({ key, repeat, ctrlKey, altKey, metaKey }) {
  if (!/^[1-9]$/.test(key) || repeat || ctrlKey || altKey || metaKey) return;
  if (!last_snapshot?.running || document.activeElement.matches("input, textarea, select")) return;
  const mark = { t: last_snapshot.elapsed, k: key };
  pending_marks.push(mark);
  paint();
  await try_call("/mark?key=" + key);
  mark.answered = true;
}

// While the slider is held, snapshots leave it alone. Let go (a key: when it comes up), it gives
// the focus back, or the marker keys would go to it.
function wire_slider() {
  const slider = $("position");
  let key_down = false, holds = 0;
  const let_go = (hold) => {
    // Taken again meanwhile.
    if (hold !== holds) return;
    slider.blur();
    dragging = false;
  };
  on("input", "position", () => { dragging = true; });
  on("pointerdown", "position", () => { ++holds; });
  on("change", "position", async () => {
    const hold = holds;
    await try_call("/seek?frac=" + slider.value / 1000);
    if (!key_down) let_go(hold);
  });
  on("keydown", "position", () => { key_down = true; });
  on("keyup", "position", () => {
    key_down = false;
    if (dragging) let_go(holds);
  });
  // A knob brought back to where it was taken gives no change.
  on("pointerup", "position", () => setTimeout(let_go, 200, holds));
}

async function stop_run() {
  const asked = stream;
  set_busy("stop", true);
  const { ok } = await try_call("/stop");
  if (asked !== stream) return;
  set_busy("stop", false);
  stop_failed = !ok;
}

// The stop is awaited: it must not reach the program after the start of a next session.
async function new_session() {
  leave_session();
  set_busy("new-session", true);
  await try_call("/stop");
  set_busy("new-session", false);
  enter_setup();
}
