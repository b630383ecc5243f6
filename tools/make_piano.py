#!/usr/bin/python3
"""Makes assets/piano.wav, the reward: one short, soft piano note (A4 with a breath of A5).

Additive synthesis after the physics of the struck string: partials of a stiff string lie a little
sharp, f_n = n f_1 sqrt((1 + B n^2) / (1 + B)) (Fletcher, J Acoust Soc Am 36(1), 1964); the point
of the hammer on the string and its soft felt shape the spectrum; every partial dies away quickly
at first and slowly after, the high ones soonest (Weinreich, J Acoust Soc Am 62(6), 1977); two
strings a fraction of a hertz apart, heard a little to the left and to the right, give the tone its
width; the knock of hammer and key is a few milliseconds of filtered noise. The note rises within
milliseconds without a click and the damper brings it down to silence at the end of the file.
"""

import struct
from pathlib import Path

import numpy as np
from scipy.signal import butter, lfilter

ASSETS = Path(__file__).resolve().parent.parent / "assets"
FS = 44100
FRAMES = 13254  # 53,016 bytes of sound, 0.3 s
SIZE = 53252  # bytes of the file
PEAK = 10 ** (-6 / 20)

STIFFNESS = 4e-4  # B of a middle string
HAMMER_AT = 1 / 8.3  # share of the string's length
RISE, FALL = 0.004, 0.120  # seconds of the soft attack and of the damper


def string_tone(rng, t, fundamental, partials, brightness):
    """One string: partials n with the hammer's comb, felt roll-off and decay of their own."""
    tone = np.zeros_like(t)
    for n in range(1, partials + 1):
        frequency = n * fundamental * np.sqrt((1 + STIFFNESS * n * n) / (1 + STIFFNESS))
        level = abs(np.sin(np.pi * n * HAMMER_AT)) * brightness ** (n - 1) / n
        slow, fast = 0.45 / (1 + 0.35 * (n - 1)), 0.10 / (1 + 0.15 * (n - 1))  # seconds
        decay = 0.5 * np.exp(-t / slow) + 0.5 * np.exp(-t / fast)
        phase = 2 * np.pi * frequency * t + rng.uniform(-0.7, 0.7)
        tone += level * decay * np.sin(phase)
    return tone


def knock(rng, t):
    """Hammer and key: low noise that is gone after some 20 ms."""
    b, a = butter(2, [180, 1400], btype="bandpass", fs=FS)
    noise = lfilter(b, a, rng.standard_normal(len(t)))
    return noise / np.abs(noise).max() * np.exp(-t / 0.007)


def smooth_ramp(share):
    """From 0 to 1 as the share does, with level ends."""
    return 0.5 - 0.5 * np.cos(np.pi * np.clip(share, 0, 1))


def note():
    """FRAMES x 2 samples as 16-bit integers."""
    rng = np.random.default_rng(440)
    t = np.arange(FRAMES) / FS
    near = string_tone(rng, t, 439.6, 12, 0.70)
    far = string_tone(rng, t, 440.5, 12, 0.66)
    octave = 0.16 * string_tone(rng, t, 881.2, 6, 0.55)
    thump = 0.045 * knock(rng, t)
    left = 0.68 * near + 0.32 * far + octave + thump
    right = 0.32 * near + 0.68 * far + octave + 0.8 * thump
    sound = smooth_ramp(t / RISE)[:, None] * np.stack([left, right], axis=1)
    reflection = round(0.013 * FS)  # one soft early reflection from the other side
    sound[reflection:] += 0.14 * sound[:-reflection, ::-1]
    damper = smooth_ramp((t[-1] - t) / FALL)[:, None]
    sound *= damper
    sound -= sound.mean(axis=0) * damper * smooth_ramp(t / RISE)[:, None] / damper.mean()
    return np.rint(sound / np.abs(sound).max() * PEAK * 32767).astype("<i2")


def chunk(name, content):
    return name + struct.pack("<I", len(content)) + content + b"\0" * (len(content) % 2)


def info():
    texts = (
        (b"INAM", "Talvern Live reward note"),
        (b"IGNR", "Sound effect"),
        (b"ISFT", "Talvern Live, tools/make_piano.py"),
        (b"ICMT", "Synthesised piano note: A4 with a little A5; two strings, stereo, 300 ms"),
    )
    return b"INFO" + b"".join(chunk(name, text.encode() + b"\0") for name, text in texts)


def main():
    channels, width = 2, 2
    form = struct.pack("<HHIIHH", 1, channels, FS, FS * channels * width, channels * width,
                       8 * width)
    data = chunk(b"RIFF", b"WAVE" + chunk(b"fmt ", form) + chunk(b"LIST", info())
                 + chunk(b"data", note().tobytes()))
    if len(data) != SIZE:
        raise SystemExit(f"{len(data)} bytes instead of {SIZE}")
    (ASSETS / "piano.wav").write_bytes(data)
    print(f"piano.wav: {len(data)} bytes")


if __name__ == "__main__":
    main()
