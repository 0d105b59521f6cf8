#!/usr/bin/python3
"""Follows docs/first-application.md word by word, with a build that is installed.

Usage: first_application_test.py SOURCES BUILD
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

GUIDE = SOURCES / "docs" / "first-application.md"


def blocks(language):
    text = GUIDE.read_text(encoding="utf-8")
    return re.findall(rf"^```{language}\n(.*?)^```$", text, re.MULTILINE | re.DOTALL)


class FirstApplication(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        scratch = tempfile.TemporaryDirectory()
        cls.addClassCleanup(scratch.cleanup)
        cls.scratch = pathlib.Path(scratch.name)
        cls.prefix = cls.scratch / "prefix"
        install(BUILD, "--prefix", cls.prefix)
        cls.libraries = next(cls.prefix.rglob("libsettings-client.so.1")).parent
        # As the guide asks for with a prefix of one's own.
        cls.user = surroundings(
            XDG_DATA_DIRS=f"{cls.prefix}/share:/usr/local/share:/usr/share",
            PKG_CONFIG_PATH=f"{cls.libraries}/pkgconfig",
            CMAKE_PREFIX_PATH=str(cls.prefix),
            LD_LIBRARY_PATH=str(cls.libraries),
        )
        cls.user["PATH"] = f"{cls.prefix}/bin:" + cls.user["PATH"]

    def test_the_guide_works_as_it_is_written(self):
        here = self.scratch / "guide"
        here.mkdir()
        first, menu = blocks("cpp")
        (cmake,) = blocks("cmake")
        (python,) = blocks("python")
        for name, code in [
            ("first.cpp", first),
            ("menu.cpp", menu),
            ("CMakeLists.txt", cmake),
            ("first.py", python),
        ]:
            (here / name).write_text(code, encoding="utf-8")
        typed = "".join(blocks("sh")).replace("/usr/libexec", f"{self.prefix}/libexec")
        done = subprocess.run(
            ["bash", "-e"],
            input=typed.replace("-- bash\n", "-- bash -e\n"),
            cwd=here,
            env=self.user,
            capture_output=True,
            text=True,
            timeout=2 * PATIENCE,
            check=False,
        )
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        # CMake and what it calls talk, too.
        printed = [line for line in done.stdout.splitlines() if re.match(r"brightness|now|signal|\d", line)]
        self.assertEqual(printed, "".join(blocks("text")).splitlines())
        self.assertEqual(len(printed), 11)

    def test_a_version_that_is_too_new_is_not_found(self):
        run(["pkg-config", "--exists", "settings-client >= 0.1"], self.user)
        run(["pkg-config", "--exists", "settings-client >= 999"], self.user, status=1)
        here = self.scratch / "version"
        here.mkdir()
        (here / "CMakeLists.txt").write_text(
            "cmake_minimum_required(VERSION 3.16)\nproject(version LANGUAGES CXX)\n"
            "find_package(settings-client 999 REQUIRED)\n",
            encoding="utf-8",
        )
        told = run(["cmake", "-S", here, "-B", here / "build"], self.user, status=1)
        self.assertIn('compatible with requested version "999"', " ".join(told.split()))

    def test_the_library_shows_its_interface_and_nothing_else(self):
        library = self.libraries / "libsettings-client.so.1"
        dynamic = run(["objdump", "-p", library])
        self.assertIn("SONAME               libsettings-client.so.1", dynamic)
        symbols = run(["nm", "-DC", "--defined-only", library]).splitlines()
        names = [line.split(maxsplit=2)[2] for line in symbols]
        foreign = [
            name
            for name in names
            if not re.match(
                r"(typeinfo (name )?for |vtable for )?"
                r"settings::(Batch|Client|Error|ItemCache|Reply|Subscription|ask)\b|SETTINGS_CLIENT_1$",
                name,
            )
            or "Impl" in name
        ]
        self.assertEqual(foreign, [])
        self.assertIn("settings::Client::Process()@@SETTINGS_CLIENT_1", names)
        # What the package promises. Some symbols have one name for people.
        listed = (SOURCES / "debian" / "libsettings-client1.symbols").read_text(encoding="utf-8")
        self.assertEqual(
            set(re.findall(r'^ \(c\+\+\)"(.*)@SETTINGS_CLIENT_1" ', listed, re.MULTILINE)),
            {name.split("@@")[0] for name in names} - {"SETTINGS_CLIENT_1"},
        )


if __name__ == "__main__":
    unittest.main()
