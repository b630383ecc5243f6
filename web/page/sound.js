// Two beeps for the countdown and the piano note of the reward.

const BEEP_ATTACK_S = 0.01;
const BEEP_PEAK = 0.25;
// An exponential ramp cannot reach 0; this is 58 dB below the peak.
const BEEP_SILENCE = 0.0003;

let audio = null;
let piano = null;
let muted = false;

// Called from the click that starts a session: before one, browsers keep a page silent.
function wake_sound() {
  try {
    audio ||= new AudioContext();
    audio.resume().catch(() => {});
  } catch {
    // No sound device.
    return;
  }
  if (!piano) load_piano();
}

async function load_piano() {
  try {
    const file = await fetch("/piano.wav");
    piano = await audio.decodeAudioData(await file.arrayBuffer());
  } catch {
    piano = null;
  }
}

function play_piano() {
  if (muted || !piano) return;
  const note = audio.createBufferSource();
  note.buffer = piano;
  note.connect(audio.destination);
  note.start();
}

function beep(frequency_hz, seconds) {
  if (muted || !audio) return;
  const from = audio.currentTime;
  const tone = audio.createOscillator();
  const level = audio.createGain();
  tone.frequency.value = frequency_hz;
  level.gain.setValueAtTime(BEEP_SILENCE, from);
  level.gain.linearRampToValueAtTime(BEEP_PEAK, from + BEEP_ATTACK_S);
  level.gain.exponentialRampToValueAtTime(BEEP_SILENCE, from + seconds);
  tone.connect(level).connect(audio.destination);
  tone.start(from);
  tone.stop(from + seconds);
}
