#!/usr/bin/env python3
"""Follows a run: prints heart rate and TVN value as they change, and keeps them as CSV.

    follow_stream.py run.csv [address]        address: http://127.0.0.1:8000 unless given

The program sends a snapshot as JSON twenty times a second (doc/formats/status_snapshot.md). A line
is written when its numbers are new, which is once a second; the file ends with the program or Ctrl-C.
"""
import csv
import datetime
import json
import sys
import urllib.request


def snapshots(address):
    """The snapshots of a running program, one after the other."""
    with urllib.request.urlopen(address + "/stream") as stream:
        for line in stream:
            if line.startswith(b"data:"):
                # strict=False: names may hold control characters.
                yield json.loads(line[5:].decode("utf-8", "replace"), strict=False)


def main(path, address="http://127.0.0.1:8000"):
    with open(path, "w", newline="") as file:
        table = csv.writer(file)
        table.writerow(["time", "elapsed", "heart_rate", "tvn", "rr_count"])
        last = None
        for snapshot in snapshots(address):
            numbers = [snapshot["hr"], snapshot["tvn"], snapshot["rr_count"]]
            if not snapshot["running"] or numbers == last or snapshot["hr"] is None:
                continue
            last = numbers
            now = datetime.datetime.now().astimezone().isoformat(timespec="milliseconds")
            table.writerow([now, snapshot["elapsed"], *numbers])
            file.flush()
            print(f"{snapshot['elapsed']:7.1f} s  {snapshot['hr']:5.1f} bpm  TVN {snapshot['tvn']}")


if __name__ == "__main__":
    try:
        main(*sys.argv[1:])
    except KeyboardInterrupt:
        pass
