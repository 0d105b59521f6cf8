#!/usr/bin/python3
"""What systemd, and docs/security.md, say about the unit that is installed.

Usage: unit_test.py SOURCES BUILD
"""

import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

from installation import PATIENCE, install, run, surroundings

BUILD = pathlib.Path(sys.argv.pop())
SOURCES = pathlib.Path(sys.argv.pop())

CONFIGURATION = "settings-service.conf"
STATE = "/var/lib/settings-service"

# In tenths, as systemd-analyze takes it.
MOST_EXPOSURE = 5


def analyze(*arguments):
    return subprocess.run(
        ["systemd-analyze", "--no-pager", *arguments],
        env=surroundings(),
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        text=True,
        timeout=PATIENCE,
        check=False,
    )


class Unit(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        scratch = tempfile.TemporaryDirectory()
        cls.addClassCleanup(scratch.cleanup)
        cls.scratch = pathlib.Path(scratch.name)
        cls.prefix = cls.scratch / "a place" / "of its own"
        install(BUILD, "--prefix", cls.prefix, "--component", "service")
        cls.unit = cls.prefix / "lib/systemd/system/settings-service.service"

    def exposure(self, unit):
        return analyze("security", "--offline=true", f"--threshold={MOST_EXPOSURE}", unit)

    def altered(self, line, other):
        """The unit with one line exchanged."""
        text = self.unit.read_text(encoding="utf-8")
        self.assertEqual(text.count(line + "\n"), 1, line)
        unit = self.scratch / self.unit.name
        unit.write_text(text.replace(line + "\n", other + "\n"), encoding="utf-8")
        return unit

    def test_it_exposes_little(self):
        done = self.exposure(self.unit)
        self.assertEqual(done.returncode, 0, done.stdout)
        self.assertIn("Overall exposure level for settings-service.service: 0.", done.stdout)

    def test_without_its_filter_it_would_expose_more(self):
        done = self.exposure(self.altered("SystemCallFilter=@system-service", ""))
        self.assertNotEqual(done.returncode, 0, done.stdout)

    def test_systemd_finds_nothing_wrong_with_it(self):
        # The manual page is below the prefix, where nobody's man looks.
        done = analyze("verify", "--man=no", self.unit)
        self.assertEqual((done.returncode, done.stdout), (0, ""))

    def test_systemd_would_say_so(self):
        program = f'ExecStart="{self.prefix}/libexec/settings-service/settings-service" --bus system'
        done = analyze("verify", "--man=no", self.altered(program, 'ExecStart="/no/such/program"'))
        self.assertIn("/no/such/program", done.stdout)
        self.assertNotEqual(done.returncode, 0)

    def test_every_line_of_its_sandbox_has_a_reason(self):
        text = self.unit.read_text(encoding="utf-8")
        sandbox = text.partition("docs/security.md gives the reason")[2].partition("[Install]")[0]
        names = re.findall("^([A-Za-z]+)=", sandbox, re.MULTILINE)
        self.assertGreater(len(names), 30)
        reasons = (SOURCES / "docs" / "security.md").read_text(encoding="utf-8")
        self.assertEqual([name for name in names if f"`{name}=" not in reasons], [])

    def test_the_system_bus_starts_the_unit(self):
        services = self.prefix / "share/dbus-1/system-services"
        (file,) = services.iterdir()
        self.assertEqual(file.name, "org.nuvra.service.settings_service.service")
        lines = file.read_text(encoding="utf-8").splitlines()
        self.assertIn("Name=" + file.stem, lines)
        self.assertIn("SystemdService=" + self.unit.name, lines)
        unit = self.unit.read_text(encoding="utf-8").splitlines()
        self.assertIn("BusName=" + file.stem, unit)
        # Whether the bus starts the daemon itself or through the unit, it is the same one.
        started = [line.partition("=")[2] for line in lines if line.startswith("Exec=")]
        self.assertEqual(started, [line[10:] for line in unit if line.startswith("ExecStart=")])
        users = [line.partition("=")[2] for line in lines if line.startswith("User=")]
        self.assertEqual(users, [line[5:] for line in unit if line.startswith("User=")])

    def test_its_user_is_made(self):
        root = self.scratch / "with user"
        (root / "etc").mkdir(parents=True)
        run(["systemd-sysusers", f"--root={root}", self.prefix / "lib/sysusers.d" / CONFIGURATION])
        users = (root / "etc/passwd").read_text(encoding="utf-8").splitlines()
        user = [line.split(":") for line in users if line.startswith("settings-service:")]
        self.assertEqual([words[5:] for words in user], [[STATE, "/usr/sbin/nologin"]])
        unit = self.unit.read_text(encoding="utf-8").splitlines()
        self.assertIn("User=settings-service", unit)
        self.assertIn("StateDirectory=" + pathlib.Path(STATE).name, unit)

    def test_without_a_service_manager_its_directories_are_made_and_are_its_own(self):
        text = (self.prefix / "lib/tmpfiles.d" / CONFIGURATION).read_text(encoding="utf-8")
        owner = " settings-service settings-service\n"
        self.assertEqual(text.count(owner), 4)
        own = self.scratch / CONFIGURATION
        # Not everybody who tests may give files away.
        own.write_text(text.replace(owner, f" {os.getuid()} {os.getgid()}\n"), encoding="utf-8")
        root = self.scratch / "with directories"
        left = [root / place[1:] / "left" for place in (STATE, "/run/settings-service")]
        for file in left:
            file.parent.mkdir(parents=True)
            file.touch()
        run(["systemd-tmpfiles", f"--root={root}", "--create", own])
        self.assertEqual([file.parent.stat().st_mode & 0o7777 for file in left], [0o700, 0o700])
        self.assertEqual([file.stat().st_mode & 0o7777 for file in left], [0o644, 0o644])


if __name__ == "__main__":
    unittest.main()
