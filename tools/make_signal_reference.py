#!/usr/bin/env python3
"""Generates tests/analysis/reference/: what SciPy and NumPy make of test signals.

Needs numpy and scipy. Run from the repository root:  python3 tools/make_signal_reference.py
The signals are whole microvolts from a seeded generator, so a second run gives the same files
(with the same versions). Each file holds blocks of one line "name count" and one line of values.
"""
import math
import os

import numpy as np
from scipy import signal

FS = 130.0
FOLDER = os.path.join("tests", "analysis", "reference")
SECTIONS = np.array([
    [0.2466890928716257, 0.0, -0.2466890928716257, 1, 0.8000796958750661, 0.19522466797987365],
    [1.0, 0.0, -1.0, 1, 1.1379793484327494, 0.6038492898384823],
    [1.0, 0.0, -1.0, 1, -1.5616015099547143, 0.6175958376867865],
    [1.0, 0.0, -1.0, 1, -1.7886122465967813, 0.843498386699437]])


def check_sections():
    """The table is the design it claims to be."""
    frequencies = np.linspace(0.5, 64.5, 400)
    design = signal.butter(4, [5, 49], "bandpass", fs=FS, output="sos")
    _, wanted = signal.sosfreqz(design, frequencies, fs=FS)
    _, present = signal.sosfreqz(SECTIONS, frequencies, fs=FS)
    assert np.max(np.abs(wanted - present)) < 1e-10


def bandpass(x):
    """sosfiltfilt, but for the tail, which mirrors from the third last sample on."""
    n = len(x)
    pad = min(27, n - 1)
    head = 2 * x[0] - x[pad:0:-1]
    tail = 2 * x[-1] - x[np.maximum(n - 2 - np.arange(1, pad + 1), 0)]
    extended = np.concatenate([head, x, tail])
    zi = signal.sosfilt_zi(SECTIONS)
    y, _ = signal.sosfilt(SECTIONS, extended, zi=zi * extended[0])
    y, _ = signal.sosfilt(SECTIONS, y[::-1], zi=zi * y[-1])
    return y[::-1][pad:pad + n]


def find_r_peaks(y):
    peaks, _ = signal.find_peaks(y, distance=26)
    if len(peaks) == 0:
        return peaks, peaks, np.array([]), peaks, peaks
    prominence, left, right = signal.peak_prominences(y, peaks, wlen=33)
    above = prominence > np.mean(y) + 4 * np.std(y)
    if np.sum(above) >= math.ceil(len(y) / (3 * FS)):
        chosen = peaks[above]
    else:
        m = np.median(prominence)
        with np.errstate(all="ignore"):
            score = np.abs(0.6745 * (prominence - m) / np.median(np.abs(prominence - m)))
        chosen = peaks[(score > 3) & (score < 7)]
    if len(chosen) == 0 or np.ptp(y[chosen]) == 0:
        return chosen[:0], peaks, prominence, left, right
    z = (y[chosen] - np.mean(y[chosen])) / np.std(y[chosen])
    return chosen[(z >= -7) & (z < 7)], peaks, prominence, left, right


def correct(rr):
    valid = rr[(rr > 0.2) & (rr < 2)]
    if len(valid) == 0:
        return rr
    m = np.median(valid)
    mad = np.median(np.abs(valid - m))
    if mad == 0:
        return rr
    bad = np.abs(0.6745 * (rr - m) / mad) > (3 if np.var(valid) > 0.01 else 5)
    if not bad.any() or bad.all():
        return rr
    index = np.arange(len(rr))
    return np.interp(index, index[~bad], rr[~bad])


def detect_rr(x):
    y = bandpass(x)

    def plausible(peaks):
        interval = np.diff(peaks) / FS
        return int(np.sum((interval >= 0.33) & (interval <= 1.5)))
    up, down = find_r_peaks(y)[0], find_r_peaks(-y)[0]
    chosen = down if plausible(down) > plausible(up) else up
    return correct(np.diff(chosen) / FS), plausible(down) > plausible(up)


def grid_of(n):
    grid, g = [], 0.0
    while g < n / FS - 1e-12:
        grid.append(round(g, 1))
        g += 0.1
    return np.array(grid)


def hr_series(rr, n):
    rate = 60 / rr
    rate = np.append(rate, 2 * rate[-1] - rate[-2] if len(rate) > 1 else rate[-1])
    v = np.interp(grid_of(n), np.concatenate([[0], np.cumsum(rr)]), rate)
    window = signal.windows.hann(10)
    padded = np.pad(v, 10, mode="reflect")
    # Correlation with the window; "same" centres ten taps on five points back and four ahead.
    s = np.array([np.dot(window, padded[i - 5:i + 5]) for i in range(10, len(v) + 10)])
    s /= np.sum(window)
    z = np.abs((s - s.mean()) / s.std())
    peaks, _ = signal.find_peaks(z)
    prominence, left, right = signal.peak_prominences(z, peaks, wlen=50)
    blank = np.zeros(len(s), bool)
    for p, a, b in zip(prominence, left, right):
        if p >= 4:
            blank[max(a, 1):b] = True
    index = np.arange(len(s))
    return np.interp(index, index[~blank], s[~blank]), int(blank.sum())


def tvn_series(rr, n, cycle):
    grid = grid_of(n)
    times = np.cumsum(rr * 1000) / 1000
    curve = np.interp(grid, times, rr * 1000, left=np.nan, right=np.nan)
    length = int(cycle / 0.1) * 2
    first = int(np.argmax(~np.isnan(curve)))
    s, c = np.sin(2 * np.pi / cycle * grid), np.cos(2 * np.pi / cycle * grid)
    values = np.full(len(grid), np.nan)
    for k in range(length, len(grid)):
        part = slice(max(k - length, first), k)
        r = curve[part]
        if part.start >= k or np.isnan(r).all() or np.ptp(r[~np.isnan(r)]) == 0:
            continue
        d = np.where(np.isnan(r), 0, r - np.nanmean(r))
        ds, dc = s[part] - s[part].mean(), c[part] - c[part].mean()
        with np.errstate(all="ignore"):
            total = math.hypot(d @ ds / math.sqrt(d @ d * (ds @ ds)),
                               d @ dc / math.sqrt(d @ d * (dc @ dc)))
        total = min(total, 1.0)
        values[k] = total / 0.6 - 1 if total <= 0.6 else (total - 0.6) / 0.4
    return values


def ecg(rng, seconds, noise, swing=0.06):
    t = np.arange(int(seconds * FS)) / FS
    x = 80 * np.sin(2 * np.pi * 0.23 * t) + noise * rng.standard_normal(len(t))
    beat = 0.35
    while beat < seconds:
        for height, offset, width in ((110, -.17, .025), (-90, -.03, .009), (1100, 0, .011),
                                      (-250, .03, .011), (280, .26, .05)):
            x += height * np.exp(-0.5 * ((t - beat - offset) / width) ** 2)
        beat += 0.83 + swing * np.sin(2 * np.pi * beat / 10) + 0.015 * rng.standard_normal()
    return np.round(x)


def write(name, blocks):
    with open(os.path.join(FOLDER, name + ".txt"), "w") as file:
        for key, values in blocks:
            values = np.asarray(values, float)
            texts = ["nan" if math.isnan(v) else f"{v:.17g}" for v in values]
            file.write(f"{key} {len(texts)}\n{' '.join(texts)}\n")


def write_signal(name, x, every=8):
    y = bandpass(x)
    _, peaks, prominence, left, right = find_r_peaks(y)
    rr, negated = detect_rr(x)
    print(f"{name}: {len(x)} samples, {len(peaks)} candidates, {len(rr)} intervals, "
          f"negated {negated}")
    write(name, [("ecg", x), ("every", [every]), ("filtered", y[::every]),
                 ("filtered_tail", y[-30:]), ("maxima", [len(signal.find_peaks(y)[0])]),
                 ("peaks", peaks), ("prominences", prominence), ("left_bases", left),
                 ("right_bases", right), ("r_peaks", find_r_peaks(y)[0]),
                 ("r_peaks_negated", find_r_peaks(-y)[0]), ("rr", rr), ("negated", [negated])])


def main():
    os.makedirs(FOLDER, exist_ok=True)
    check_sections()
    rng = np.random.default_rng(20)
    clean = ecg(rng, 25, 2)
    write_signal("clean", clean)
    write_signal("noisy", ecg(rng, 25, 90))
    write_signal("inverted", -ecg(rng, 25, 15))
    write_signal("clipped", np.clip(ecg(rng, 25, 15), -150, 500))
    gappy = ecg(rng, 25, 15)
    gappy[500:790] = 0          # lead off: zeros
    gappy[1500:1800] = gappy[1499]  # held
    write_signal("gappy", np.delete(gappy, slice(2300, 2450)))  # missing samples
    write_signal("noise_only", np.round(100 * rng.standard_normal(1300)))

    short = [("lengths", [1, 2, 3, 4, 9, 26, 27, 28, 29, 30, 60])]
    for n in short[0][1]:
        short += [(f"ecg_{n}", clean[40:40 + n]), (f"filtered_{n}", bandpass(clean[40:40 + n]))]
    write("short", short)

    beats = 0.8 + 0.07 * np.sin(2 * np.pi * np.arange(110) * 0.8 / 11) \
        + 0.02 * rng.standard_normal(110)
    beats[50:52] = 0.34, 0.36  # a bump in the heart rate
    n = int(np.sum(beats) * FS) + 300
    hr, blanked = hr_series(beats, n)
    print(f"heart rate: {len(hr)} points, {blanked} blanked")
    late = np.concatenate([[21.37], beats[:60]])  # the first beat comes after two 10 s cycles
    blocks = [("rr", beats), ("n", [n]), ("hr", hr[::3]), ("cycles", [16, 10, 8.1, 5.7, 0.7]),
              ("late_rr", late), ("late_n", [10000])]
    for cycle in blocks[3][1]:
        blocks.append((f"tvn_{cycle:g}", tvn_series(beats, n, cycle)[::5]))
        blocks.append((f"late_tvn_{cycle:g}", tvn_series(late, 10000, cycle)[::5]))
    write("series", blocks)


if __name__ == "__main__":
    main()
