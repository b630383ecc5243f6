"use strict";
// The Session view: one snapshot in, the whole view out; and the keys and buttons of a run.

let stream = null;
let last_snapshot = null;
let dragging = false;

function enter_session() {
  leave_session();
  clear_results();
  reset_coupling();
  show_view("session");
  set_status_word("Recording");
  stream = open_stream(render, () => set_text("tfr-hint",
    "The program does not answer. Is it still running?"));
}

function leave_session() {
  if (stream) stream.close();
  stream = null;
  last_snapshot = null;
  dragging = false;
}

function render(snapshot) {
  last_snapshot = snapshot;
  set_text("version", snapshot.app_version);
  set_status_word(snapshot.running ? "Recording" : "Stopped");
  by_id("stop").disabled = !snapshot.running;
  render_titles(snapshot);
  render_numbers(snapshot);
  render_position(snapshot);
  render_markers(snapshot.markers);
  update_countdown(snapshot);
  update_reward(snapshot, performance.now() / 1000);
  update_tfr_hint(snapshot);
  draw_charts(snapshot);
}

function render_last() {
  if (last_snapshot) draw_charts(last_snapshot);
}

function draw_charts(snapshot) {
  draw_ecg(by_id("ecg-canvas"), snapshot.ecg);
  draw_trend(by_id("trend-canvas"), snapshot);
}

function render_titles(snapshot) {
  const live = snapshot.mode === "live";
  set_text("session-title", (live ? "Live recording" : "Playback") +
    (snapshot.name_id ? " · " + snapshot.name_id : ""));
  set_text("meta-line", [
    (snapshot.sex === "F" ? "Female" : "Male") + ", " + snapshot.age,
    "In " + snapshot.indur + " s, out " + snapshot.outdur + " s",
    "Cycle " + snapshot.cycle_seconds + " s",
    "Expected " + snapshot.expected_freq + " Hz"].join(" · "));
  set_text("source-label", snapshot.source_label);
  set_text("bluetooth-line", live ? " · Bluetooth: " + snapshot.bt_status : "");
}

function signed(value) {
  return (value >= 0 ? "+" : "") + value.toFixed(2);
}

function render_numbers(snapshot) {
  const { hr, tvn } = snapshot;
  set_text("hr-value", hr === null ? "–" : hr.toFixed(0));
  set_text("tvn-value", tvn === null ? "–" : signed(tvn));
  by_id("tvn-value").classList.toggle("positive", tvn > 0);
  by_id("gauge-knob").style.left = ((tvn === null ? 0 : tvn) + 1) / 2 * 100 + "%";
  const done = snapshot.cycles_done === null ? "–" : snapshot.cycles_done.toFixed(1);
  set_text("cycles", done + " / " + snapshot.cycles_target);
  set_text("elapsed", Math.floor(snapshot.elapsed) + " s");
}

function render_position(snapshot) {
  const slider = by_id("position");
  const playback = snapshot.mode === "replay";
  slider.disabled = !playback;
  if (!dragging) slider.value = Math.round(snapshot.frac * 1000);
  slider.style.setProperty("--done", slider.value / 10 + "%");
  const elapsed = Math.floor(snapshot.elapsed) + " s";
  set_text("position-elapsed", elapsed);
  slider.setAttribute("aria-valuetext", elapsed + " of " + snapshot.total + " s");
  set_text("position-total", snapshot.total +
    (playback ? " s total · drag to jump" : " s target"));
}

function render_markers(markers) {
  set_text("markers-line", "Markers: " +
    markers.map(({ k, t }) => k + " at " + t.toFixed(1) + " s").join(", "));
}

// While the slider is held, snapshots leave it alone. A release without a change event (the
// knob was brought back to where it was) counts too.
function wire_position_slider(slider) {
  const release = async () => {
    await send_and_forget("/seek?frac=" + slider.value / 1000);
    dragging = false;
  };
  slider.addEventListener("input", () => { dragging = true; });
  slider.addEventListener("change", release);
  slider.addEventListener("pointerup", () => {
    // Otherwise the marker keys would go to the slider from now on.
    slider.blur();
    setTimeout(() => { dragging = false; }, 200);
  });
}

function mark_by_key(event) {
  if (!/^[1-9]$/.test(event.key) || event.repeat) return;
  if (event.ctrlKey || event.altKey || event.metaKey) return;
  if (!last_snapshot || !last_snapshot.running) return;
  if (document.activeElement?.matches("input, textarea, select")) return;
  send_and_forget("/mark?key=" + event.key);
}

function stop_run() {
  send_and_forget("/stop");
}

// The stop is awaited: it must not reach the program after the start of a next session.
async function new_session() {
  by_id("new-session").disabled = true;
  leave_session();
  clear_results();
  await send_and_forget("/stop");
  by_id("new-session").disabled = false;
  enter_setup();
}
