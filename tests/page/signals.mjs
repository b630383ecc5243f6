// Signals that look like a session, for pictures and for measuring: a heart that swings ever more
// closely with a 16 s breath.

import { snapshot } from "./scripted_server.mjs";

const CYCLE_S = 16;
const ECG_RATE = 130;
const ECG_SAMPLES = 780;

// Beats per minute at t seconds: restless at first, then in time with the breath.
function heart_rate(t) {
  const settled = 1 / (1 + Math.exp((70 - t) / 9));
  return 66 + settled * 9 * Math.sin(2 * Math.PI * t / CYCLE_S) +
    (1 - settled) * (3 * Math.sin(t / 1.9) + 2 * Math.sin(t / 0.83));
}

function tvn_value(t) {
  const settled = 1 / (1 + Math.exp((84 - t) / 8));
  return -0.45 + 1.28 * settled + 0.07 * Math.sin(t / 6) + 0.03 * Math.sin(t / 1.7);
}

const bump = (t, centre, width) => Math.exp(-(((t - centre) / width) ** 2));

// Six seconds of ECG in the sensor's units, ending at t.
export function ecg_until(t) {
  const start = t - ECG_SAMPLES / ECG_RATE;
  const beats = [Math.floor(start) - 2];
  while (beats.at(-1) < t + 1) beats.push(beats.at(-1) + 60 / heart_rate(beats.at(-1)));
  return Array.from({ length: ECG_SAMPLES }, (_, i) => {
    const at = start + i / ECG_RATE;
    const wave = beats.reduce((sum, beat) => sum + 90 * bump(at, beat - 0.17, 0.035) -
      110 * bump(at, beat - 0.03, 0.012) + 900 * bump(at, beat, 0.014) -
      220 * bump(at, beat + 0.035, 0.013) + 210 * bump(at, beat + 0.29, 0.06), 0);
    return Math.round(wave + 14 * Math.sin(i * 12.9898) * Math.sin(i * 78.233));
  });
}

// As the program writes its numbers.
const six_digits = (value) => Number(value.toPrecision(6));

// A snapshot with everything that a run of that many seconds shows, with the given number of
// chart points.
export function session_at(elapsed, changes = {}, points = 600) {
  const times = Array.from({ length: points }, (_, i) => six_digits(elapsed * i / points));
  const known = elapsed >= 2 * CYCLE_S;
  return snapshot({
    elapsed: Math.round(elapsed * 10) / 10, frac: elapsed / 257.2, cycles_done: elapsed / CYCLE_S,
    hr: elapsed > 4 ? heart_rate(elapsed) : null, tvn: known ? tvn_value(elapsed) : null,
    ecg: ecg_until(elapsed), hr_series: times.map((x) => ({ x, y: six_digits(heart_rate(x)) })),
    tvn_series: times.map((x) => ({ x, y: x < 2 * CYCLE_S ? null : six_digits(tvn_value(x)) })),
    markers: [{ t: 24.6, k: 4 }, { t: 130.2, k: 7 }].filter(({ t }) => t < elapsed),
    name_id: "Anna", ...changes });
}

// A picture like the program's, as a data URL, drawn by the page itself: power around the
// breathing frequency over a restless ground. sharpness is that of the frequency axis.
export function draw_tfr(page, sharpness) {
  return page.evaluate((sharp) => {
    const canvas = document.createElement("canvas");
    canvas.width = 600;
    canvas.height = 240;
    const ctx = canvas.getContext("2d");
    for (let x = 0; x < 600; x += 2) {
      for (let y = 0; y < 240; y += 2) {
        const frequency = 0.18 - y / 240 * 0.16;
        const settled = 1 / (1 + Math.exp((160 - x) / 30));
        const breath = settled * Math.exp(-(((frequency - 0.0625) * sharp) ** 2));
        const ground = 0.3 * Math.sin(x / (90 - 5 * sharp / 10) + 3 * Math.sin(y / 20)) ** 2;
        const power = Math.round(18 * Math.min(1, breath + (1 - settled * 0.7) * ground)) / 18;
        ctx.fillStyle = `hsl(${250 - 215 * power} 75% ${18 + 50 * power}%)`;
        ctx.fillRect(x, y, 2, 2);
      }
    }
    return canvas.toDataURL();
  }, sharpness);
}
