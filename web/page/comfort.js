// The screen stays on, nothing unsaved is closed by mistake, the sound can be switched off, and a
// quiet picture of the breath on.

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
  const on = $(id).ariaChecked !== "true";
  $(id).ariaChecked = on;
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

// The disc grows with the in-breath and shrinks with the out-breath.
function draw_pacer({ elapsed, indur, outdur }) {
  if ($("pacer").hidden) return;
  const at = elapsed % (indur + outdur);
  const inhale = at < indur;
  const share = inhale ? at / indur : 1 - (at - indur) / outdur;
  $("pacer-disc").style.transform = `scale(${0.25 + 0.75 * share})`;
  set_text("pacer-word", inhale ? "Breathe in" : "Breathe out");
}
