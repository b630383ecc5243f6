// The screen stays on, nothing unsaved is closed by mistake, the sound can be switched off, and a
// quiet picture of the breath on.

// The longest that the pacer goes on without new samples.
const CARRY_S = 1.5;

let pace = {};
let awake = false;
let wake_lock = null;

// The browser takes the lock away with the page; it is asked for again when the page returns.
async function lock_screen() {
  try {
    if (awake && !document.hidden) wake_lock = await navigator.wakeLock.request("screen");
    if (!awake) wake_lock = wake_lock?.release() && null;
  } catch {
    // Not offered, or the battery is low.
  }
}

function keep_awake(running) {
  if (running === awake) return;
  awake = running;
  lock_screen();
}

function ask_before_closing(event) {
  if (!is_unsaved()) return;
  event.preventDefault();
  // Older browsers ask for a text, which they do not show.
  event.returnValue = true;
}

// Turns a switch over; whether it is now on.
function flip(id) {
  const on = $(id).getAttribute("aria-checked") !== "true";
  set_aria($(id), "checked", on);
  return on;
}

function wire_comfort() {
  on("click", "sound", () => { muted = !flip("sound"); });
  on("click", "pacer-switch", () => {
    $("pacer").hidden = !flip("pacer-switch");
    paint();
  });
  document.addEventListener("visibilitychange", lock_screen);
  addEventListener("beforeunload", ask_before_closing);
}

// The time of the run by the browser's clock. A strap's samples come in bursts, about twice a
// second; each sets the clock right by a tenth of what it is off. Without them it waits.
function paced_seconds({ mode, running, elapsed }, now_s) {
  if (mode !== "live" || !running || !elapsed) return elapsed;
  const lead = elapsed - now_s;
  if (elapsed !== pace.elapsed) {
    const near = Math.abs(lead - pace.lead) < CARRY_S;
    pace = { elapsed, lead: near ? pace.lead * 0.9 + lead / 10 : lead };
  }
  return Math.min(now_s + pace.lead, elapsed + CARRY_S);
}

// The disc grows with the in-breath and shrinks with the out-breath.
function draw_pacer(snapshot) {
  if ($("pacer").hidden) return;
  const { indur, outdur } = snapshot;
  const at = paced_seconds(snapshot, performance.now() / 1000) % (indur + outdur);
  const inhale = at < indur;
  const share = inhale ? at / indur : 1 - (at - indur) / outdur;
  $("pacer-disc").style.transform = `scale(${0.25 + 0.75 * share})`;
  set_text("pacer-word", inhale ? "Breathe in" : "Breathe out");
}
