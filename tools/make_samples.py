#!/usr/bin/python3
"""Makes the two sample recordings, assets/Sample 1.txt and assets/Sample 2.txt.

Each is a synthetic single-lead ECG as a chest strap reports it: 33,434 whole microvolts, about
257 s at 130 samples per second. Four steps make one:

  breathing   a list of breaths, each a raised-cosine rise and fall of the lung volume;
  heart rate  mean rate + respiratory sinus arrhythmia (the lung volume behind a first-order lag,
              so that slow deep breaths move the heart most: Hirsch & Bishop, Am J Physiol 241,
              1981) + the 0.1 Hz vasomotor rhythm + slower drift;
  beats       integral pulse frequency modulation: a beat each time the integral of the rate
              passes a whole number (Mateo & Laguna, IEEE Trans Biomed Eng 47(8), 2000);
  waveform    a sum of Gaussians for P, Q, R, S and T around every beat (McSharry, Clifford,
              Tarassenko & Smith, IEEE Trans Biomed Eng 50(3), 2003), placed in time instead of
              phase so that PR and QRS keep their length and only QT follows the rate.

Breathing also turns the heart's axis (the R wave shrinks a little on the in-breath) and moves the
baseline; muscle noise and the strap's AC coupling complete the picture.
"""

from dataclasses import dataclass
from pathlib import Path

import numpy as np
from scipy.signal import lfilter

ASSETS = Path(__file__).resolve().parent.parent / "assets"
FS = 130  # samples per second of the strap
COUNT = 33434
LEAD_IN = 20 * FS  # simulated before the first sample, so that every filter has settled
REFERENCE_RR = 0.9  # seconds; the T waves below are placed for this interval


@dataclass
class Person:
    file_name: str
    size: int  # bytes of the text
    seed: int
    rate: float  # mean heart rate, beats per minute
    rsa: float  # beats per minute between empty and full lungs, at very slow breathing
    vasomotor: float  # standard deviation of the 0.1 Hz rhythm, beats per minute
    drift: float  # the same for everything slower
    breaths: object  # function of the random generator; see the two below
    waves: tuple  # (seconds from the R peak, Gaussian width in seconds, microvolts) each
    breath_wander: float  # microvolts of baseline from empty to full lungs
    wander: float  # microvolts rms of the baseline's slow wander for other reasons
    offset: float  # microvolts, of the strap's amplifier
    noise: float  # microvolts rms of muscle noise


def spontaneous_breaths(rng, start, end):
    """Quiet breathing, 0.2 to 0.25 Hz and never quite even: (start, in, out, depth) per breath."""
    breaths, at = [], start
    while at < end - 2.5:
        length = min(max(rng.normal(4.4, 0.55), 3.2), end - at)
        if end - at - length < 2.5:
            length = end - at
        breaths.append((at, 0.42 * length, 0.58 * length, rng.normal(0.36, 0.06)))
        at += length
    return breaths


def coupled_breaths(rng):
    """A quiet first minute, then a 16 s cycle (5 s in, 11 s out) followed closely."""
    breaths = spontaneous_breaths(rng, -25.0, 60.0)
    starts = 60.0 + 16.0 * np.arange(14) + np.append(0.0, rng.normal(0, 0.25, 13))
    for start, following in zip(starts, starts[1:]):
        rise = rng.normal(5.0, 0.2)
        breaths.append((start, rise, following - start - rise, rng.normal(1.0, 0.05)))
    return breaths


def partly_coupled_breaths(rng):
    """From 20 s on the same cycle is tried, but its length wanders and some breaths are halved."""
    breaths = spontaneous_breaths(rng, -25.0, 20.0)
    at, lag = 20.0, 0.0
    while at < 265.0:
        lag = 0.65 * lag + rng.normal(0, 2.3)
        length = min(max(15.0 + lag, 8.0), 21.0)
        depth = rng.normal(0.75, 0.12)
        if rng.random() < 0.25:
            half = 0.5 * length
            breaths.append((at, 0.4 * half, 0.6 * half, 0.6 * depth))
            breaths.append((at + half, 0.4 * half, 0.6 * half, 0.6 * depth))
        else:
            breaths.append((at, 0.34 * length, 0.66 * length, depth))
        at += length
    return breaths


PEOPLE = (
    Person(
        file_name="Sample 1.txt", size=123590, seed=11, breaths=coupled_breaths,
        rate=66.0, rsa=16.0, vasomotor=0.8, drift=0.7,
        waves=((-0.160, 0.016, 34), (-0.136, 0.018, 54),  # P: right, then left atrium
               (-0.029, 0.0085, -80), (0.0, 0.0105, 750), (0.030, 0.0105, -220),  # Q, R, S
               (0.225, 0.052, 72), (0.277, 0.034, 118)),  # T: slow rise, quicker fall
        breath_wander=-40.0, wander=14.0, offset=8.6, noise=6.5),
    Person(
        file_name="Sample 2.txt", size=118453, seed=5, breaths=partly_coupled_breaths,
        rate=73.0, rsa=9.0, vasomotor=1.6, drift=1.3,
        waves=((-0.150, 0.016, 34), (-0.128, 0.016, 42),
               (-0.027, 0.0085, -35), (0.0, 0.0105, 715), (0.027, 0.0110, -505),
               (0.215, 0.048, 66), (0.262, 0.033, 108)),
        breath_wander=-30.0, wander=14.0, offset=10.2, noise=5.0),
)


def lung_volume(breaths, t):
    """0 at rest, 1 at a full deep breath; smooth at both turning points."""
    volume = np.zeros_like(t)
    for start, rise, fall, depth in breaths:
        up = (t >= start) & (t < start + rise)
        down = (t >= start + rise) & (t < start + rise + fall)
        volume[up] = depth * (0.5 - 0.5 * np.cos(np.pi * (t[up] - start) / rise))
        volume[down] = depth * (0.5 + 0.5 * np.cos(np.pi * (t[down] - start - rise) / fall))
    return volume


def band_noise(rng, count, rate, low, high):
    """Gaussian noise of unit standard deviation with a flat spectrum from low to high Hz."""
    spectrum = np.fft.rfft(rng.standard_normal(count))
    frequency = np.fft.rfftfreq(count, 1 / rate)
    spectrum[(frequency < low) | (frequency > high)] = 0
    noise = np.fft.irfft(spectrum, count)
    return noise / noise.std()


def lagged(x, tau):
    """First-order lag of time constant tau seconds."""
    a = np.exp(-1 / (FS * tau))
    return lfilter([1 - a], [1, -a], x)


def beat_times(rate, t):
    """Integral pulse frequency modulation of a rate in beats per minute given at the times t."""
    phase = np.cumsum(rate) / (60 * FS)
    return np.interp(np.arange(1, int(phase[-1])), phase, t)


def waveform(person, beats, volume, t):
    """The sum of Gaussians in microvolts; T follows a slow average of the RR intervals."""
    ecg = np.zeros_like(t)
    rr = np.diff(beats, prepend=2 * beats[0] - beats[1])
    memory = 0.08  # share of a new interval: QT takes some ten beats to follow the rate
    slow_rr = lfilter([memory], [1, memory - 1], rr - rr[0]) + rr[0]
    qt_scale = np.cbrt(slow_rr / REFERENCE_RR)  # Fridericia
    for beat, scale in zip(beats, qt_scale):
        first, last = np.searchsorted(t, (beat - 0.4, beat + 0.7))
        near = t[first:last] - beat
        axis = 1 - 0.08 * np.interp(beat, t, volume)
        for centre, width, height in person.waves:
            stretch = scale if centre > 0.1 else 1.0
            height *= axis if abs(centre) < 0.1 else 1.0
            ecg[first:last] += height * np.exp(
                -0.5 * ((near - centre * stretch) / (width * stretch)) ** 2)
    return ecg


def synthesise(person):
    """The recording in microvolts, not yet rounded."""
    rng = np.random.default_rng(person.seed)
    t = (np.arange(LEAD_IN + COUNT + 2 * FS) - LEAD_IN) / FS
    volume = lung_volume(person.breaths(rng), t)
    rate = (person.rate + person.rsa * (lagged(volume, 0.9) - volume.mean())
            + person.vasomotor * band_noise(rng, len(t), FS, 0.085, 0.115)
            + person.drift * band_noise(rng, len(t), FS, 0.004, 0.035))
    ecg = waveform(person, beat_times(rate, t), volume, t)
    tension = 1 + 0.3 * band_noise(rng, len(t), FS, 0.02, 0.3)
    ecg += person.noise * np.maximum(tension, 0.5) * band_noise(rng, len(t), FS, 12, 60)
    ecg += person.breath_wander * volume + person.wander * band_noise(rng, len(t), FS, 0.05, 0.4)
    ecg += person.offset - lagged(ecg, 1.0)  # the strap's AC coupling, 0.16 Hz
    return ecg[LEAD_IN:LEAD_IN + COUNT]


def text_size(samples):
    """Bytes of the samples as decimal numbers with a line feed between two."""
    size = np.abs(samples)
    return int((1 + (size >= 10) + (size >= 100) + (samples < 0)).sum()) + len(samples) - 1


def round_to_size(ecg, size):
    """Whole microvolts whose text has exactly the size wanted.

    The strap's gain is no round number; the one nearest to 1 is taken at which the digits of all
    the rounded samples add up to the size.
    """
    for step in range(40000):
        for gain in (1 + 1e-5 * step, 1 - 1e-5 * step):
            samples = np.rint(gain * ecg).astype(int)
            if text_size(samples) == size:
                return samples, gain
    raise SystemExit(f"no gain gives {size} bytes; at gain 1: {text_size(np.rint(ecg))}")


def main():
    for person in PEOPLE:
        samples, gain = round_to_size(synthesise(person), person.size)
        text = "\n".join(map(str, samples))
        (ASSETS / person.file_name).write_bytes(text.encode("ascii"))
        print(f"{person.file_name}: {len(text)} bytes, {samples.min()} to {samples.max()} "
              f"microvolts, gain {gain:.5f}")


if __name__ == "__main__":
    main()
