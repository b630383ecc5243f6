"use strict";
// What the TVN value does for the user: the countdown to the first value, and the reward while
// heart and breath stay coupled.

// A TVN value needs two full cycles of heart beats.
const COUNTDOWN_CYCLES = 2;
const COUNTDOWN_HIDE_MS = 1200;
// At a high replay speed the note would otherwise be a rattle.
const REWARD_MIN_WALL_S = 1.2;

let countdown = { announced: 0, done: true, hide_timer: 0 };
let reward = { positive_since: null, played_at: null, played_wall_s: -Infinity };

function reset_coupling() {
  clearTimeout(countdown.hide_timer);
  countdown = { announced: 0, done: false, hide_timer: 0 };
  reward = { positive_since: null, played_at: null, played_wall_s: -Infinity };
  by_id("countdown").classList.add("over");
  by_id("coupled").classList.remove("lit");
}

function update_countdown(snapshot) {
  const needed = COUNTDOWN_CYCLES * snapshot.cycle_seconds;
  if (snapshot.elapsed < needed) {
    show_countdown(needed - snapshot.elapsed, snapshot.elapsed / needed, snapshot.running);
  } else if (!countdown.done) {
    finish_countdown();
  }
}

function show_countdown(remaining, share, running) {
  const seconds = Math.ceil(remaining);
  clearTimeout(countdown.hide_timer);
  countdown.done = false;
  by_id("countdown").classList.remove("over");
  by_id("countdown-bar").style.width = share * 100 + "%";
  set_text("countdown-text", "TVN in " + seconds + " s");
  if (running && seconds <= 2 && seconds !== countdown.announced) beep(660, 0.12);
  countdown.announced = seconds;
}

function finish_countdown() {
  countdown.done = true;
  beep(880, 0.25);
  by_id("countdown").classList.remove("over");
  by_id("countdown-bar").style.width = "100%";
  set_text("countdown-text", "TVN active");
  countdown.hide_timer = setTimeout(() => by_id("countdown").classList.add("over"),
                                    COUNTDOWN_HIDE_MS);
}

// Times are session seconds, except the wall time of the last note. After a seek backwards a
// remembered time may lie ahead; it then counts from here.
function update_reward(snapshot, wall_s) {
  const now = snapshot.elapsed;
  if (!(snapshot.tvn > 0)) {
    reward.positive_since = null;
    reward.played_at = null;
  } else if (reward.positive_since === null || reward.positive_since > now) {
    reward.positive_since = now;
    reward.played_at = null;
  }
  const coupled = reward.positive_since !== null &&
    now - reward.positive_since >= snapshot.cycle_seconds;
  by_id("coupled").classList.toggle("lit", coupled);
  if (coupled && snapshot.running && reward_is_due(now, wall_s, snapshot.cycle_seconds)) {
    reward.played_at = now;
    reward.played_wall_s = wall_s;
    play_piano();
  }
}

function reward_is_due(now, wall_s, cycle) {
  return (reward.played_at === null || now - reward.played_at >= cycle) &&
    wall_s - reward.played_wall_s >= REWARD_MIN_WALL_S;
}
