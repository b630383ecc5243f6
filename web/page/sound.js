"use strict";
// The three sounds: two beeps of the start countdown and the piano note of the reward.

const BEEP_ATTACK_S = 0.01;
const BEEP_PEAK = 0.25;
// An exponential ramp cannot reach 0; this is 70 dB down, which nobody hears.
const BEEP_SILENCE = 0.0003;

let audio = null;
let piano = null;

// Browsers let a page sound only after the user has done something, so this is called from the
// click that starts a session.
function wake_sound() {
  try {
    audio = audio || new AudioContext();
    if (audio.state === "suspended") audio.resume();
  } catch {
    return;  // No sound device: the session works without.
  }
  if (piano === null) load_piano();
}

// The note is decoded once and played from memory, so that it sounds without delay.
async function load_piano() {
  try {
    const response = await fetch("/piano.wav");
    piano = await audio.decodeAudioData(await response.arrayBuffer());
  } catch {
    piano = null;
  }
}

function play_piano() {
  if (audio === null || piano === null) return;
  const note = audio.createBufferSource();
  note.buffer = piano;
  note.connect(audio.destination);
  note.start();
}

function beep(frequency_hz, seconds) {
  if (audio === null) return;
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
