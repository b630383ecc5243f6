#!/usr/bin/env python3
"""Makes the packages for Linux of a build, and uses them as people do.

    packages_test.py BUILD SCRATCH [test ...]
"""
import configparser
import gzip
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import unittest

from replay import replay

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD, SCRATCH = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
PAGE = (BUILD / "assets/index.html").read_bytes()


def run(*command, **options):
    done = subprocess.run([str(part) for part in command], stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, timeout=120, **options)
    return done.returncode, done.stdout


def must(*command, **options):
    status, output = run(*command, **options)
    if status != 0:
        raise AssertionError(f"{command} gives {status}: {output}")
    return output


def make_packages(folder, **variables):
    """The .deb, the .tar.gz, what was said."""
    told = must(ROOT / "package", "--build", BUILD, "--output", folder, env=os.environ | {
        "SOURCE_DATE_EPOCH": "1700000000"} | variables)  # sources may come without history
    deb, = folder.glob("*.deb")
    archive, = folder.glob("*.tar.gz")
    return deb, archive, told


def environment(home, path):
    """Without Bluetooth and browser; started as by a menu, where no variable of ours is set."""
    commands = home / "commands"
    commands.mkdir(parents=True)
    (commands / "xdg-open").write_text("#!/bin/sh\n")
    (commands / "xdg-open").chmod(0o755)
    return {"HOME": str(home), "PATH": f"{commands}:{path}:/usr/bin:/bin",
            "DBUS_SYSTEM_BUS_ADDRESS": f"unix:path={home}/no-bus"}


def control_field(deb, name):
    return must("dpkg-deb", "--field", deb, name).strip()


class Packages(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        shutil.rmtree(SCRATCH, ignore_errors=True)
        cls.deb, cls.archive, cls.told = make_packages(SCRATCH / "first")
        cls.installed = SCRATCH / "installed"
        must("dpkg-deb", "--extract", cls.deb, cls.installed)
        unpacked = SCRATCH / "un packed"
        unpacked.mkdir()
        must("tar", "-xzf", cls.archive, "-C", unpacked)
        cls.unpacked, = unpacked.iterdir()

    def test_lint_tools_are_silent(self):
        self.assertEqual(must("lintian", "--allow-root", "--fail-on", "error,warning", self.deb),
                         "")
        share = self.installed / "usr/share"
        self.assertEqual(must("desktop-file-validate",
                              share / "applications/talvern-live.desktop"), "")
        self.assertRegex(must("appstreamcli", "validate", "--no-net", "--no-color",
                              share / "metainfo/org.talvern.live.metainfo.xml"),
                         r"^\W*Validation was successful\.\s*$")
        self.assertEqual(must("mandoc", "-T", "lint", *(ROOT / "doc").glob("*.1")), "")
        self.assertEqual(must("shellcheck", "package", "run", "packaging/debian_changelog",
                              "packaging/Talvern Live.command", "tests/packages/bare_root",
                              "tests/packages/two_folders",
                              self.installed / "usr/bin/talvern-live", cwd=ROOT), "")

    def test_what_the_deb_asks_for(self):
        depends = control_field(self.deb, "Depends")
        self.assertRegex(depends, r"\blibsystemd0 ")
        self.assertRegex(depends, r"\bzlib1g ")
        self.assertEqual(control_field(self.deb, "Recommends"),
                         "bluez, xdg-utils, zenity | kdialog")

    def test_what_the_deb_holds(self):
        share = self.installed / "usr/share"
        for size in (48, 64, 128, 256):
            head = (share / f"icons/hicolor/{size}x{size}/apps/talvern-live.png").read_bytes()[:24]
            # PNG: eight bytes of signature, the first chunk's length and name, width, height.
            self.assertEqual(head[16:], size.to_bytes(4, "big") * 2)
        self.assertTrue((share / "icons/hicolor/scalable/apps/talvern-live.svg").is_file())
        for name in ("talvern-live", "talvern-batch"):
            manual = gzip.decompress((share / f"man/man1/{name}.1.gz").read_bytes())
            self.assertEqual(manual, (ROOT / f"doc/{name}.1").read_bytes())
        pages = [path for path in self.installed.rglob("index.html")]
        self.assertEqual(pages, [], "a page beside the program would take the place of its own")

    def test_the_documents_links_lead_to_what_was_installed(self):
        for documents in (self.installed / "usr/share/doc", self.unpacked / "share/doc"):
            links = [(page, link) for page in documents.rglob("*.md")
                     for link in re.findall(r"\]\(([^)#:]+)(?:#[^)]*)?\)", page.read_text())]
            self.assertGreater(len(links), 20)
            for page, link in links:
                self.assertTrue((page.parent / link).is_file(), f"{page}: {link}")

    def test_one_version_everywhere(self):
        version = control_field(self.deb, "Version")
        programs = self.installed / "usr/bin"
        self.assertEqual(must(programs / "talvern-live", "--version"), f"talvern-live {version}\n")
        self.assertEqual(must(programs / "talvern-batch", "--version"),
                         f"talvern-batch {version}\n")
        changes = gzip.decompress(
            (self.installed / "usr/share/doc/talvern-live/changelog.gz").read_bytes()).decode()
        self.assertGreater(len(re.findall("^  \\* ", changes, re.MULTILINE)), 10)
        self.assertIn(f"talvern-live ({version}) ", changes)
        self.assertIn(f"\n## {version}\n", (ROOT / "CHANGELOG.md").read_text())

    def test_a_replay_by_the_menu_entry(self):
        entry = configparser.ConfigParser(interpolation=None)
        entry.read(self.installed / "usr/share/applications/talvern-live.desktop")
        entry = entry["Desktop Entry"]
        self.assertEqual((entry["Terminal"], entry["Version"]), ("true", "1.0"))
        home = SCRATCH / "menu home"
        variables = environment(home, self.installed / "usr/bin")
        # A menu starts in the home folder, and there a page of the person's own may lie.
        (home / "web").mkdir()
        (home / "web/index.html").write_text("my dog")
        replay(["/usr/bin/env", *shlex.split(entry["Exec"])], home, PAGE, variables, home)

    def test_a_replay_from_where_the_archive_was_unpacked(self):
        home = SCRATCH / "archive home"
        variables = environment(home, "/nowhere")
        (home / "link").symlink_to(self.unpacked / "bin/talvern-live")
        replay([home / "link"], home, PAGE, variables, "/")

    def test_a_mac_s_file_for_the_finder_starts_the_launcher(self):
        probe = self.probe("echo started with $# arguments, guard $TVN_GUARD")
        opened = shutil.copy(ROOT / "packaging/Talvern Live.command", probe)
        commands = SCRATCH / "a mac's"
        commands.mkdir()
        (commands / "uname").write_text("#!/bin/sh\necho Darwin\n")
        (commands / "uname").chmod(0o755)
        variables = {"HOME": "/h", "PATH": f"{commands}:/usr/bin:/bin"}
        self.assertEqual(must(opened, cwd="/", env=variables),
                         "started with 0 arguments, guard 1\n")
        # There the loader is not asked: what is asked so on Linux would start in earnest.
        (probe / "lib/talvern-live/talvern-live").write_text("#!/nowhere\n")
        self.assertNotIn("Talvern Live cannot start", run(opened, env=variables)[1])

    def test_help_starts_nothing(self):
        output = must(self.unpacked / "bin/talvern-live", "--help", env={"PATH": "/usr/bin:/bin"})
        self.assertTrue(output.startswith("Usage: talvern-live [port]\n"))

    def test_data_folders_are_those_of_where_it_was_started(self):
        """The launcher leaves that folder, so it has to make relative names whole."""
        probe = self.probe('echo "$TVN_GUARD:$TVN_DATA:${TVN_BASE-none}:$PWD"')
        here = SCRATCH / "here"
        here.mkdir()

        def told(**variables):
            return must(probe / "bin/talvern-live", cwd=here,
                        env={"PATH": "/usr/bin:/bin", **variables}).strip()
        programs = probe / "lib/talvern-live"
        self.assertEqual(told(HOME="/h", TVN_DATA="d"), f"1:{here}/d:none:{programs}")
        self.assertEqual(told(HOME="/h", TVN_DATA="/d"), f"1:/d:none:{programs}")
        self.assertEqual(told(HOME="/h"), f"1::none:{programs}")
        self.assertEqual(told(), f"1:{here}:none:{programs}")
        self.assertEqual(told(HOME="/h", TVN_BASE="b", TVN_GUARD="0"), f"0::b:{here}")

    def test_the_programs_status_and_arguments_pass_through(self):
        probe = self.probe('echo "$#:$1:$2"; exit 42')
        self.assertEqual(run(probe / "bin/talvern-live", "a b", ""), (42, "2:a b:\n"))

    def test_says_what_is_missing(self):
        elf = (self.unpacked / "lib/talvern-live/talvern-live").read_bytes()[:20]
        for before, after, told in (
                (elf, elf[:18] + b"\xf7\0", "format error"),  # e_machine: a processor not here
                (b"libsystemd.so.0", b"libsystemd.so.9", "libsystemd.so.9 => not found"),
                (b"GLIBC_2.34", b"GLIBC_9.34", "version `GLIBC_9.34' not found"),
                (b"ld-linux", b"ld-l1nux", "not found")):
            broken = self.copy_of_archive()
            program = broken / "lib/talvern-live/talvern-live"
            program.write_bytes(program.read_bytes().replace(before, after))
            status, output = run(broken / "bin/talvern-live", env={"PATH": "/usr/bin:/bin"})
            self.assertEqual(status, 1, output)
            self.assertRegex(output, "^Talvern Live cannot start on this system:\n")
            self.assertIn(told, output)
            self.assertIn("Debian 12", output)

    def test_the_archive_needs_the_c_library_and_libsystemd_alone(self):
        own = r"(libsystemd\.so\.0|lib[cm]\.so\.6|ld-linux.*)$"
        for program in ("lib/talvern-live/talvern-live", "bin/talvern-batch"):
            needed = re.findall(r"NEEDED.*\[(.*)\]",
                                must("readelf", "-d", self.unpacked / program))
            self.assertIn("libc.so.6", needed)
            self.assertEqual([name for name in needed if not re.match(own, name)], [])
        self.assertNotIn("libsystemd.so.0", needed)  # the batch's

    def test_tells_that_an_older_c_library_will_not_do(self):
        commands = SCRATCH / "a newer system"
        commands.mkdir()
        (commands / "objdump").write_text("#!/bin/sh\necho '0 DF *UND* (GLIBC_2.9) a'\n"
                                          "echo '0 DF *UND* (GLIBC_2.101) b'\n")
        (commands / "objdump").chmod(0o755)
        path = f"{commands}:{os.environ['PATH']}"
        told = make_packages(SCRATCH / "newer", PATH=path)[2]
        self.assertIn("The .tar.gz needs GLIBC_2.101.", told)
        programs = (self.unpacked / "lib/talvern-live/talvern-live",
                    self.unpacked / "bin/talvern-batch")
        needed = [tuple(int(part) for part in version) for version in
                  re.findall(r"GLIBC_(\d+)\.(\d+)", must("readelf", "-V", *programs))]
        self.assertEqual("The .tar.gz needs" in self.told, max(needed) > (2, 36), self.told)

    def test_twice_the_same_bytes(self):
        second = make_packages(SCRATCH / "second")
        for one, other in zip((self.deb, self.archive), second):
            self.assertTrue(one.read_bytes() == other.read_bytes(), one.name)
        for listing in (must("tar", "-tvzf", self.archive, "--utc"),
                        must("dpkg-deb", "--contents", self.deb, env=os.environ | {"TZ": "UTC"})):
            # 1700000000 s after 1970 began; everything is root's and writable by nobody else.
            for line in listing.splitlines():
                self.assertRegex(line, r"^[d-]rw[x-]r-[x-]r-[x-] root/root .* 2023-11-14 22:13 ")

    def copy_of_archive(self):
        copy = SCRATCH / "copy"
        shutil.rmtree(copy, ignore_errors=True)
        return shutil.copytree(self.unpacked, copy)

    def probe(self, script):
        """The archive with a script in the program's place."""
        copy = self.copy_of_archive()
        (copy / "lib/talvern-live/talvern-live").write_text(f"#!/bin/sh\n{script}\n")
        return copy


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
