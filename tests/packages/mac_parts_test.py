#!/usr/bin/env python3
"""What of the packages for Macs can be checked elsewhere.

    mac_parts_test.py BUILD SCRATCH [test ...]
"""
import os
import pathlib
import plistlib
import re
import shutil
import signal
import struct
import subprocess
import sys
import time
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD, SCRATCH = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])

PROGRAM = """#!/bin/sh
echo "$$ $*" >started
trap 'echo told >>started; exit 7' INT TERM HUP
%s
"""


def executable(path, text):
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(text)
    path.chmod(0o755)


def mach_o_symbols(data):
    """Name -> offset in the object file of the symbols that it defines (mach-o/loader.h)."""
    sections, symbols, position = [], {}, 32
    for _ in range(struct.unpack_from("<I", data, 16)[0]):
        command, size = struct.unpack_from("<II", data, position)
        if command == 0x19:  # LC_SEGMENT_64: an object file has one
            for section in range(struct.unpack_from("<I", data, position + 64)[0]):
                address, _, offset = struct.unpack_from("<QQI", data, position + 104 + 80 * section)
                sections.append(offset - address)
        elif command == 2:  # LC_SYMTAB
            first, count, names, _ = struct.unpack_from("<IIII", data, position + 8)
            for entry in range(first, first + 16 * count, 16):
                name, kind, section, _, value = struct.unpack_from("<IBBHQ", data, entry)
                if kind & 0x0E == 0x0E:  # N_SECT
                    start = names + name
                    symbols[data[start:data.index(b"\0", start)].decode()] = (section, value)
        position += size
    return {name: sections[section - 1] + value for name, (section, value) in symbols.items()}


class InfoPlist(unittest.TestCase):
    def test_says_what_the_system_asks_for(self):
        plist = plistlib.loads((ROOT / "host/Info.plist").read_bytes())
        self.assertGreater(len(plist["NSBluetoothAlwaysUsageDescription"]), 20)
        self.assertEqual(plist["CFBundleExecutable"], "talvern-live")
        version = re.search(r'APP_VERSION = "(.*)"', (ROOT / "base/version.h").read_text())[1]
        self.assertEqual(plist["CFBundleShortVersionString"], version)
        self.assertEqual(plist["CFBundleVersion"], version)


class EmbeddedFiles(unittest.TestCase):
    """The embedded files as the assembler for Macs makes them; other sources need Apple's SDK."""

    def test_are_assembled_for_both_processors(self):
        source = SCRATCH / "embedded.S"
        text = (ROOT / "assets/embedded_files_macos.S.in").read_text()
        source.parent.mkdir(parents=True, exist_ok=True)
        source.write_text(text.replace("@TVN_PAGE@", str(BUILD / "assets/index.html"))
                          .replace("@TVN_ASSETS_DIR@", str(ROOT / "assets")))
        files = {"page": BUILD / "assets/index.html", "ball": ROOT / "assets/ball.png",
                 "piano": ROOT / "assets/piano.wav", "logo": ROOT / "assets/report_logo.jpg",
                 "sample_1": ROOT / "assets/Sample 1.txt", "sample_2": ROOT / "assets/Sample 2.txt"}
        # mach/machine.h: CPU_TYPE_ARM64, CPU_TYPE_X86_64
        for processor, number in (("arm64", 0x0100000C), ("x86_64", 0x01000007)):
            made = SCRATCH / f"{processor}.o"
            subprocess.run(["clang", f"--target={processor}-apple-macos13.3", "-c", source,
                            "-o", made], check=True)
            data = made.read_bytes()
            self.assertEqual(struct.unpack_from("<II", data), (0xFEEDFACF, number))
            symbols = mach_o_symbols(data)
            for name, file in files.items():
                begin, end = (symbols[f"_tvn_asset_{name}_{bound}"] for bound in ("begin", "end"))
                self.assertTrue(data[begin:end] == file.read_bytes(), name)


class Run(unittest.TestCase):
    """./run on a Mac, which commands of the test's own play."""

    def setUp(self):
        self.tree = SCRATCH / "tree"
        shutil.rmtree(self.tree, ignore_errors=True)
        self.tree.mkdir(parents=True)
        shutil.copy(ROOT / "run", self.tree)
        executable(self.tree / "tools/install", "#!/bin/sh\n")
        executable(self.tree / "commands/cmake", "#!/bin/sh\n")
        executable(self.tree / "commands/uname", "#!/bin/sh\necho Darwin\n")

    def start(self, program):
        executable(self.tree / "build/release/talvern-live", PROGRAM % program)
        path = f"{self.tree}/commands:{os.environ['PATH']}"
        # A session of its own: only what is sent to the script reaches the program.
        return subprocess.Popen([self.tree / "run", "9000"], env=os.environ | {"PATH": path},
                                stderr=subprocess.PIPE, text=True, start_new_session=True)

    def started(self):
        for _ in range(200):
            if (self.tree / "started").exists():
                return (self.tree / "started").read_text()
            time.sleep(0.02)
        return ""

    def test_explains_an_abort(self):
        process = self.start("kill -ABRT $$")
        errors = process.communicate(timeout=10)[1]
        self.assertEqual(process.returncode, 128 + signal.SIGABRT)
        self.assertIn("this terminal cannot ask for Bluetooth", errors)
        self.assertRegex(self.started(), r"^\d+ 9000\n$")
        title = re.search(r'troubleshooting\.md, "(.*)"', errors)[1]
        self.assertIn(f"\n### {title}\n", (ROOT / "doc/troubleshooting.md").read_text())

    def test_is_silent_about_other_ends(self):
        for status in (0, 1):
            process = self.start(f"exit {status}")
            errors = process.communicate(timeout=10)[1]
            self.assertEqual((process.returncode, errors), (status, ""))

    def test_hands_signals_on(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            # It ends by itself, so that none is left behind when a signal is lost.
            process = self.start("for i in $(seq 60); do sleep 0.05; done")
            self.assertNotEqual(self.started(), "")
            process.send_signal(number)
            errors = process.communicate(timeout=10)[1]
            self.assertEqual((process.returncode, errors), (7, ""))
            self.assertIn("told\n", self.started())
            (self.tree / "started").unlink()


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
