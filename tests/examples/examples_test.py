#!/usr/bin/env python3
"""Runs the examples on what the program itself has written.

    examples_test.py LIVE BATCH [all]       the executables; all: also those for MNE, R and Octave

What they must print is computed here from the files' formats, in another way than they do.
"""
import csv
import json
import os
import pathlib
import re
import signal
import socket
import statistics
import subprocess
import sys
import tempfile
import time
import urllib.request

ROOT = pathlib.Path(__file__).resolve().parents[2]
EXAMPLES = ROOT / "examples"


def check(condition, what):
    if not condition:
        sys.exit(f"FAILED: {what}")


def run(*command):
    done = subprocess.run([str(part) for part in command], capture_output=True, text=True, timeout=120)
    check(done.returncode == 0, f"{command}: {done.stderr}")
    return done.stdout


class Program:
    """talvern-live with a data folder of its own, without Bluetooth and browser."""

    def __init__(self, executable, folder):
        with socket.socket() as free:
            free.bind(("127.0.0.1", 0))
            self.port = free.getsockname()[1]
        (folder / "bin").mkdir()
        (folder / "bin/xdg-open").write_text("#!/bin/sh\n")
        (folder / "bin/xdg-open").chmod(0o755)
        environment = os.environ | {
            "HOME": str(folder), "TVN_DATA": str(folder), "PATH": f"{folder}/bin:{os.environ['PATH']}",
            "DBUS_SYSTEM_BUS_ADDRESS": f"unix:path={folder}/no-bus"}
        self.process = subprocess.Popen([executable, str(self.port)], env=environment,
                                        stdout=subprocess.PIPE, text=True)
        for line in self.process.stdout:
            found = re.search(r"http://127\.0\.0\.1:(\d+)", line)
            if found:
                self.address = found[0]
                break

    def get(self, target):
        with urllib.request.urlopen(self.address + target) as reply:
            return json.loads(reply.read().decode(), strict=False)

    def wait_for(self, condition, what):
        for _ in range(600):
            if condition(self.get("/status")):
                return
            time.sleep(0.05)
        sys.exit(f"FAILED: {what} never came")

    def end(self):
        self.process.terminate()
        self.process.wait()


def follow_a_run(program, folder):
    table = folder / "run.csv"
    follower = subprocess.Popen([sys.executable, EXAMPLES / "follow_stream.py", table, program.address],
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    program.get("/start_replay?dir=samples&file=Sample%201.txt&speed=50&name=anna&indur=5&outdur=11")
    program.wait_for(lambda s: s["elapsed"] > 60, "the first minute")
    program.get("/mark?key=3")
    program.wait_for(lambda s: not s["running"], "the end of the run")
    follower.send_signal(signal.SIGINT)
    printed, errors = follower.communicate(timeout=30)
    check(follower.returncode == 0, f"follow_stream.py: {errors}")
    rows = list(csv.DictReader(table.open()))
    check(len(rows) >= 3, f"only {len(rows)} lines of a run of some seconds")
    check(len(printed.splitlines()) == len(rows), "a line is printed for each that is kept")
    elapsed = [float(row["elapsed"]) for row in rows]
    check(elapsed == sorted(elapsed), "the run goes forward")
    check(all(40 < float(row["heart_rate"]) < 110 for row in rows), "heart rates")
    check(all(re.match(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}[+-]", row["time"]) for row in rows),
          "time stamps")
    check(len({tuple(row.values())[2:] for row in rows}) == len(rows), "nothing is written twice")


def export(program, folder):
    program.get("/export")
    for _ in range(600):
        if program.get("/export_status")["status"] == "done":
            return folder / "exports/anna_export"
        time.sleep(0.05)
    sys.exit("FAILED: no export")


def expected_of_export(folder):
    ecg = [int(line) for line in (folder / "anna_ECG.txt").read_text().splitlines()]
    rate = [float(line) for line in (folder / "anna_HR.txt").read_text().splitlines()]
    table = (folder / "anna_TVN_logpower.csv").read_text().splitlines()
    return {"ecg": ecg, "first": f"anna: {len(ecg) / 130:.1f} s of ECG, {min(ecg)} to {max(ecg)} microvolts",
            "rate": f"mean heart rate {sum(rate) / len(rate):.2f}",
            "marker": "marker 3 at " + (folder / "anna_markers.csv").read_text().split(",")[-1].strip() + " s",
            "cycles": len(table) - 2, "mean": float(table[-1].split(",")[1])}


def make_study(executable, folder):
    lines = (ROOT / "assets/Sample 2.txt").read_text().split()
    for person, start in (("P1", 0), ("P2", 5000)):
        (folder / "study" / person).mkdir(parents=True)
        (folder / "study" / person / "a.txt").write_text("\n".join(lines[start:start + 20000]))
    (folder / "study/P2/nothing.txt").write_text("no number\n")
    done = subprocess.run([executable, "-q", "-o", folder / "results", folder / "study"],
                          stderr=subprocess.DEVNULL)
    check(done.returncode == 1, "one file gives nothing")
    return folder / "results"


def main(live, batch, which=""):
    # A shell that runs this in the background lets it ignore Ctrl-C, and so what it starts.
    signal.signal(signal.SIGINT, signal.default_int_handler)
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        program = Program(live, folder)
        try:
            follow_a_run(program, folder)
            exported = export(program, folder)
        finally:
            program.end()
        expected = expected_of_export(exported)
        told = run(sys.executable, EXAMPLES / "read_tables.py", exported).splitlines()
        cycles = f"{expected['cycles']} breathing cycles, log power {expected['mean']} on average"
        check(told == [expected["first"], expected["rate"], expected["marker"], cycles], f"{told}")

        results = make_study(batch, folder)
        rows = list(csv.DictReader((results / "summary.csv").open()))
        means = {row["person"]: float(row["mean_log_power"]) for row in rows if row["beats"]}
        told = run(sys.executable, EXAMPLES / "read_tables.py", results).splitlines()
        check(len(told) == 3, f"{told}")
        for line, (person, mean) in zip(told, means.items()):
            check(line.startswith(f"{person}: ") and f"mean log power {mean:.3f}," in line, line)
        check(told[2].endswith("P2/nothing.txt: is no recording: it has no line that is a number"), told[2])
        if which == "all":
            others(exported, results, expected, means)
    print("passed")


def others(exported, results, expected, means):
    told = run("/usr/bin/python3", EXAMPLES / "read_edf.py", exported / "anna.edf").splitlines()
    seconds = -(-len(expected["ecg"]) // 130)  # whole records of a second
    check(told[0].startswith(f"130 samples per second, {seconds * 130} samples, begun 20"), told[0])
    check(told[1] == f"ECG from {min(expected['ecg'])} to {max(expected['ecg'])} microvolts", told[1])
    check(told[2:] == [expected["marker"]], f"{told[2:]}")
    told = run("octave", "--no-gui", "--quiet", EXAMPLES / "read_export.m", exported).splitlines()
    check(told == [expected["first"], expected["rate"],
                   f"{expected['cycles']} breathing cycles, log power {expected['mean']:g} on average"],
          f"{told}")
    told = run("Rscript", EXAMPLES / "read_tables.R", results).splitlines()
    check(told[:2] == [f"{person}: mean log power {mean:.3f}" for person, mean in means.items()], f"{told}")
    cycles = list(csv.DictReader((results / "cycles.csv").open()))
    first = statistics.fmean(float(c["log_power"]) for c in cycles if c["cycle"] == "0")
    check(told[2] == f"3 recordings, {len(cycles)} cycles, the first {first:.3f} on average", told[2])


main(*sys.argv[1:])
