#!/usr/bin/env python3
"""Starts an installed Talvern Live and goes through a replay with it, as its page would.

    replay.py PAGE HOME COMMAND...

PAGE is the file that it must serve, HOME its home folder as seen from here. The command gets a port
as one more argument. The guard must be on, and a signal to the command must end the program.
"""
import contextlib
import json
import os
import pathlib
import re
import signal
import socket
import subprocess
import sys
import time
import urllib.error
import urllib.request


def check(condition, what):
    if not condition:
        sys.exit(f"FAILED: {what}")


def free_port():
    with socket.socket() as free:
        free.bind(("127.0.0.1", 0))
        return free.getsockname()[1]


def fetch(address, origin=None):
    request = urllib.request.Request(address, headers={"Origin": origin} if origin else {})
    with urllib.request.urlopen(request, timeout=30) as reply:
        return reply.read()


def status_of(address, origin):
    try:
        fetch(address, origin)
    except urllib.error.HTTPError as error:
        return error.code
    return 200


def wait_for(address, condition, what):
    for _ in range(1200):
        state = json.loads(fetch(address).decode(), strict=False)
        if condition(state):
            return state
        time.sleep(0.05)
    sys.exit(f"FAILED: {what} never came: {state}")


def address_of(process, port):
    for line in process.stdout:
        found = re.search(r"http://127\.0\.0\.1:\d+", line)
        if found:
            check(found[0].endswith(f":{port}"), f"the port asked for, {port}: {line}")
            return found[0]
    sys.exit("FAILED: no banner")


@contextlib.contextmanager
def started(command, **options):
    """The process, with its output as text; whatever it has left behind is ended after."""
    process = subprocess.Popen(command, stdout=subprocess.PIPE, text=True, start_new_session=True,
                               **options)
    try:
        yield process
    finally:
        with contextlib.suppress(ProcessLookupError):
            os.killpg(process.pid, signal.SIGKILL)
        process.communicate()


def go_through(address, home):
    fetch(address + "/start_replay?dir=samples&file=Sample%201.txt&speed=50&name=anna")
    wait_for(address + "/status", lambda s: s["elapsed"] > 60 and s["tvn"] is not None,
             "a TVN value")
    fetch(address + "/stop")
    fetch(address + "/export")
    done = wait_for(address + "/export_status", lambda s: s["status"] != "exporting", "the export")
    check(done["status"] == "done" and not done["result"].get("errors"), f"an export: {done}")
    report = home / "Documents/TVN-Live/exports/anna_export/anna_report.pdf"
    check(report.read_bytes().startswith(b"%PDF-"), f"a report: {report}")


def replay(command, home, page, environment=None, folder=None):
    """The command runs in `folder`; its environment is this one's unless given."""
    port = free_port()
    with started([*command, str(port)], env=environment, cwd=folder) as process:
        address = address_of(process, port)
        check(fetch(address + "/") == page, "the page is the one built in")
        check(status_of(address + "/status", "http://elsewhere.example") == 404, "the guard is on")
        go_through(address, pathlib.Path(home))
        process.send_signal(signal.SIGTERM)
        check(process.wait(10) == -signal.SIGTERM, f"ends by the signal: {process.returncode}")
        with socket.socket() as asking:
            check(asking.connect_ex(("127.0.0.1", port)) != 0, "the program itself ends")


if __name__ == "__main__":
    replay(sys.argv[3:], sys.argv[2], pathlib.Path(sys.argv[1]).read_bytes())
    print("A replay ran, and its report is written:", *sys.argv[3:])
