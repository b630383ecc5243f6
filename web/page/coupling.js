// The countdown to the first TVN value, and the reward while heart and breath stay coupled.
// Computed as snapshots arrive: the sounds come also while the window is covered and not drawn.

// So many full cycles of heart beats make a TVN value.
const COUNTDOWN_CYCLES = 2;
const COUNTDOWN_HIDE_MS = 1200;
// At a high replay speed the note would otherwise be a rattle.
const REWARD_MIN_WALL_S = 1.2;

let countdown = {};
let reward = {};

function reset_coupling() {
  clearTimeout(countdown.hide_timer);
  countdown = {};
  reset_reward();
  show_countdown("");
}

// No text hides it.
function show_countdown(text) {
  $("countdown").classList.toggle("shown", text);
  set_text("countdown-text", text);
}

function follow_countdown({ elapsed, cycle_seconds, running }) {
  const needed = COUNTDOWN_CYCLES * cycle_seconds;
  // Twice a second: a browser lays the bar out anew each time, whatever the value.
  const share = Math.min(Math.round(elapsed * 2) / 2 / needed, 1);
  const bar = $("countdown-bar");
  if (bar.value !== share) bar.value = share;
  if (elapsed < needed) {
    const seconds = Math.ceil(needed - elapsed);
    clearTimeout(countdown.hide_timer);
    countdown.done = false;
    show_countdown("TVN in " + seconds);
    if (running && seconds <= 2 && seconds !== countdown.announced) beep(660, 0.12);
    countdown.announced = seconds;
  } else if (!countdown.done) {
    countdown.done = true;
    beep(880, 0.25);
    show_countdown("TVN active");
    countdown.hide_timer = setTimeout(show_countdown, COUNTDOWN_HIDE_MS, "");
  }
}

function reset_reward() {
  reward = { played_at: -Infinity, played_wall_s: -Infinity };
  $("coupled").classList.remove("lit");
}

// Times are session seconds, but for the wall time of the last note. After a seek backwards the
// remembered time may lie ahead; counting then starts anew.
function follow_reward({ elapsed, tvn, cycle_seconds, running }, wall_s) {
  if (!(tvn > 0) || reward.positive_since > elapsed) reset_reward();
  if (!(tvn > 0)) return;
  reward.positive_since ??= elapsed;
  const coupled = elapsed - reward.positive_since >= cycle_seconds;
  $("coupled").classList.toggle("lit", coupled);
  const due = elapsed - reward.played_at >= cycle_seconds &&
    wall_s - reward.played_wall_s >= REWARD_MIN_WALL_S;
  if (coupled && running && due) {
    reward.played_at = elapsed;
    reward.played_wall_s = wall_s;
    play_piano();
  }
}
