#!/usr/bin/python3
"""Installs the build and uses it from there.

Usage: install_test.py SOURCES BUILD VERSION
"""

import os
import pathlib
import re
import shutil
import sys
import tempfile
import unittest
from concurrent.futures import ThreadPoolExecutor

from installation import install, installed_set, run, surroundings

VERSION = sys.argv.pop()
BUILD = pathlib.Path(sys.argv.pop())
SOURCES = pathlib.Path(sys.argv.pop())

COMPONENTS = ["service", "tools", "virtual-set", "client", "client-development"]


def files_below(directory):
    return sorted(
        path.relative_to(directory) for path in directory.rglob("*") if not path.is_dir()
    )


def configured_prefix():
    cache = (BUILD / "CMakeCache.txt").read_text(encoding="utf-8")
    return re.search("^CMAKE_INSTALL_PREFIX:PATH=(.*)$", cache, re.MULTILINE)[1]


class Installation(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        scratch = tempfile.TemporaryDirectory()
        cls.addClassCleanup(scratch.cleanup)
        cls.scratch = pathlib.Path(scratch.name)
        cls.prefix = cls.scratch / "a place" / "of its own"
        install(BUILD, "--prefix", cls.prefix)

    def test_no_file_says_where_it_was_built(self):
        places = [os.fsencode(SOURCES), os.fsencode(BUILD)]
        programs = 0
        for file in files_below(self.prefix):
            if (self.prefix / file).is_symlink():
                continue
            content = (self.prefix / file).read_bytes()
            programs += content.startswith(b"\x7fELF")
            for place in places:
                self.assertNotIn(place, content, file)
        self.assertEqual(programs, 9, "eight programs and a library")

    def test_every_file_belongs_to_one_component(self):
        found = []
        for component in COMPONENTS:
            place = self.scratch / component
            install(BUILD, "--prefix", place, "--component", component)
            self.assertNotEqual(files_below(place), [], component)
            found += files_below(place)
        self.assertEqual(sorted(found), files_below(self.prefix))

    def test_each_component_has_the_manual_page_of_its_program(self):
        pages = {"service": "man8/settings-service.8", "tools": "man1/settingsctl.1"}
        pages["virtual-set"] = "man1/setctl.1"
        for component in COMPONENTS:
            place = self.scratch / "manual" / component
            install(BUILD, "--prefix", place, "--component", component)
            found = [str(path) for path in files_below(place / "share" / "man")]
            self.assertEqual(found, [pages[component]] if component in pages else [], component)

    def test_destdir_stands_before_the_prefix_and_in_no_file(self):
        place = self.scratch / "staging"
        install(BUILD, env=surroundings(DESTDIR=str(place)))
        prefix = pathlib.Path(configured_prefix())
        staged = place / prefix.relative_to("/")
        self.assertEqual(files_below(staged), files_below(self.prefix))
        self.assertEqual([path.name for path in place.iterdir()], [prefix.parts[1]])
        service = staged / "share/dbus-1/services/org.nuvra.service.settings_service.service"
        self.assertIn(f'Exec="{prefix}/libexec/', service.read_text(encoding="utf-8"))
        for file in files_below(staged):
            self.assertNotIn(os.fsencode(place), (staged / file).read_bytes(), file)

    def test_the_configuration_is_in_the_prefix_but_that_of_usr_beside_it(self):
        place = self.scratch / "configured"
        env = surroundings(DESTDIR=str(place))
        for prefix, directory in [("/usr", ""), ("/usr/local", "usr/local"), ("/opt/a b", "opt/a b")]:
            install(BUILD, "--prefix", prefix, "--component", "service", env=env)
            file = place / directory / "etc" / "settings-service" / "access.json"
            self.assertTrue(file.exists(), prefix)

    def test_installations_at_the_same_time_do_not_mix(self):
        places = [self.scratch / f"one of many {number}" for number in range(20)]
        with ThreadPoolExecutor(4) as pool:
            done = [
                pool.submit(install, BUILD, "--prefix", place, "--component", "service")
                for place in places
            ]
        for place, one in zip(places, done):
            one.result()
            unit = place / "lib" / "systemd" / "system" / "settings-service.service"
            self.assertIn(f'ExecStart="{place}/libexec/', unit.read_text(encoding="utf-8"))

    def test_the_bus_starts_the_daemon_which_finds_its_data(self):
        with installed_set(self.prefix) as user:
            self.assertEqual(
                run(["settingsctl", "get", "picturemode"], user), "standard (Standard)\n"
            )
            run(["setctl", "language", "de_DE"], user)
            self.assertIn("Helligkeit", run(["settingsctl", "describe", "brightness"], user))
            run(["setctl", "app", "start", "org.pavix.menu"], user)
            self.assertIn("menu open", run(["setctl", "app", "log", "org.pavix.menu"], user))

    def test_a_prefix_that_was_moved_works_from_its_new_place(self):
        moved = self.scratch / "moved"
        shutil.copytree(self.prefix, moved, symlinks=True)
        services = moved / "share/dbus-1/services"
        for service in services.iterdir():
            text = service.read_text(encoding="utf-8")
            service.write_text(text.replace(str(self.prefix), str(moved)), encoding="utf-8")
        with installed_set(moved) as user:
            run(["settingsctl", "get", "picturemode"], user)
            run(["setctl", "language", "fr_FR"], user)
            self.assertIn("Luminosité", run(["settingsctl", "describe", "brightness"], user))

    def test_every_program_prints_the_version_of_the_build(self):
        programs = [*(self.prefix / "bin").iterdir()]
        programs += (self.prefix / "libexec" / "settings-service").iterdir()
        self.assertEqual(len(programs), 8)
        for program in programs:
            self.assertEqual(run([program, "--version"]), f"{program.name} {VERSION}\n")

    def test_a_prefix_that_cannot_be_written_is_told_in_one_sentence(self):
        file = self.scratch / "file"
        file.touch()
        told = " ".join(install(BUILD, "--prefix", file / "below", status=1).split())
        self.assertIn(
            f"cannot install into {file}/below: {file} is no directory that you can write to; "
            "choose another with --prefix or DESTDIR, or use sudo",
            told,
        )


if __name__ == "__main__":
    unittest.main()
