#!/usr/bin/env python3
"""Reads what an export and a batch have written, with the standard library alone.

    read_tables.py EXPORT_FOLDER        an export of one run: ECG, heart rate, markers, log power
    read_tables.py BATCH_FOLDER         the results of talvern-batch: summary.csv and cycles.csv
"""
import csv
import pathlib
import statistics
import sys


def numbers(path):
    return [float(line) for line in path.read_text().split()]


def number(cell):
    return float(cell) if cell else None  # an empty field: no value


def read_export(folder):
    name = next(folder.glob("*_ECG.txt")).name.removesuffix("_ECG.txt")
    ecg = numbers(folder / f"{name}_ECG.txt")  # microvolts, 130 a second
    rate = numbers(folder / f"{name}_HR.txt")  # beats per minute, ten a second
    print(f"{name}: {len(ecg) / 130:.1f} s of ECG, {min(ecg):.0f} to {max(ecg):.0f} microvolts")
    print(f"mean heart rate {statistics.fmean(rate):.2f}")
    with open(folder / f"{name}_markers.csv", newline="") as file:
        for marker in csv.DictReader(file):
            print(f"marker {marker['marker']} at {float(marker['seconds']):.3f} s")
    with open(folder / f"{name}_TVN_logpower.csv", newline="") as file:
        rows = list(csv.reader(file))[1:]
    cycles = [number(row[1]) for row in rows if row[0] != "pow"]
    print(f"{len(cycles)} breathing cycles, log power {number(rows[-1][1])} on average")


def read_batch(folder):
    with open(folder / "summary.csv", newline="", errors="surrogateescape") as file:
        recordings = list(csv.DictReader(file))
    with open(folder / "cycles.csv", newline="", errors="surrogateescape") as file:
        cycles = list(csv.DictReader(file))
    for person in dict.fromkeys(recording["person"] for recording in recordings):
        own = [recording for recording in recordings if recording["person"] == person]
        known = [number(r["mean_log_power"]) for r in own if r["mean_log_power"]]
        power = [float(c["log_power"]) for c in cycles if c["person"] == person and c["log_power"]]
        above = sum(value > float(own[0]["normative_level"]) for value in power)
        mean = f"{statistics.fmean(known):.3f}" if known else "none"
        print(f"{person}: {len(own)} recordings, mean log power {mean}, "
              f"{above} of {len(power)} cycles above what is normal")
    for recording in recordings:
        if recording["warning"]:
            print(f"{recording['file']}: {recording['warning']}")


if __name__ == "__main__":
    chosen = pathlib.Path(sys.argv[1])
    (read_batch if (chosen / "summary.csv").exists() else read_export)(chosen)
