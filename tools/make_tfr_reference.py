#!/usr/bin/env python3
"""Generates tests/analysis/reference/tfr.txt: a time-frequency representation by NumPy and SciPy.

Needs numpy and scipy. Run from the repository root:  python3 tools/make_tfr_reference.py
The RR intervals come from a seeded generator, so a second run gives the same file (with the same
versions). The file holds blocks of one line "name count" and one line of values.
"""
import os

import numpy as np
from scipy import signal

FS = 130.0
CYCLE = 11.0
N = 65 * 130 + 17
ROWS = [0, 37, 142, 201, 319]
TARGET = os.path.join("tests", "analysis", "reference", "tfr.txt")


def intervals():
    rng = np.random.default_rng(4)
    rr, t = [], 0.0
    while t < N / FS - 1.5:
        value = 0.84 + 0.07 * np.sin(2 * np.pi * t / CYCLE) + 0.02 * rng.standard_normal()
        rr.append(np.round(value * FS) / FS)
        t += rr[-1]
    rr[30] = 62 / FS
    return np.array(rr)


def heart_rate(rr):
    """Steps, smoothed by a Hann window, bumps of the z-score bridged."""
    beats, elapsed = [], 0.0
    for value in rr:
        elapsed += value
        beats.append(int(elapsed * FS))
    owner = np.minimum(np.searchsorted(beats, np.arange(N), side="left"), len(rr) - 1)
    steps = 60 / rr[owner]
    window = signal.windows.hann(int(2 * FS))
    padded = np.pad(steps, len(window), mode="reflect")
    middle = len(window) // 2
    full = np.correlate(padded, window / window.sum(), mode="valid")
    smooth = full[len(window) - middle:][:N]
    if smooth.std() > 12:
        return smooth, 0
    z = np.abs((smooth - smooth.mean()) / smooth.std())
    peaks, _ = signal.find_peaks(z)
    prominence, left, right = signal.peak_prominences(z, peaks, wlen=int(5 * FS))
    blank = np.zeros(N, bool)
    for p, a, b in zip(prominence, left, right):
        if p >= 4:
            blank[max(a, 1):b] = True
    index = np.arange(N)
    return np.interp(index, index[~blank], smooth[~blank]), int(blank.sum())


def prolong(x):
    cycle = CYCLE * FS
    count = int(N // cycle)
    head, tail = x[:int(cycle)], x[int(cycle * (count - 1)):]
    before = np.concatenate([head[::-1], head] * 25)
    after = np.concatenate([tail[::-1], tail] * 25)
    return np.concatenate([before, x, after]), len(before)


def morlet(freq, cycles):
    sigma = cycles / (2 * np.pi * freq)
    last = int(np.ceil(5 * sigma * FS)) - 1
    t = np.arange(-last, last + 1) / FS
    w = np.exp(-t**2 / (2 * sigma**2)) * (np.exp(2j * np.pi * freq * t) - np.exp(-cycles**2 / 2))
    return w / np.linalg.norm(w) * np.sqrt(2)


def power(x, freq, cycles):
    """The convolution by blocks, which uses other transforms than one of the whole length."""
    return np.abs(signal.oaconvolve(x, morlet(freq, cycles), mode="same"))**2


def main():
    rr = intervals()
    x, blanked = heart_rate(rr)
    assert blanked > 0, "no bump was bridged"
    padded, start = prolong(x)
    frequencies = np.round(0.02 + 0.0005 * np.arange(320), 4)
    blocks = {"rr": rr, "n": [N], "cycle": [CYCLE], "rows": ROWS, "signal": x[::7]}
    for cycles in (3, 10):
        for row in ROWS:
            values = power(padded, frequencies[row], cycles)[start:start + N:61]
            blocks[f"tfr{cycles}_{row}"] = values
    with open(TARGET, "w", encoding="ascii") as out:
        for name, values in blocks.items():
            out.write(f"{name} {len(values)}\n")
            out.write(" ".join(f"{v:.17g}" for v in values) + "\n")


if __name__ == "__main__":
    main()
