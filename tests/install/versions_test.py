#!/usr/bin/python3
"""Compares what is written down twice: which version this is, and what the build needs.

Usage: versions_test.py SOURCES VERSION   (of the build)
"""

import pathlib
import re
import sys
import unittest

VERSION = sys.argv.pop()
SOURCES = pathlib.Path(sys.argv.pop())


class Versions(unittest.TestCase):
    def found(self, file, pattern):
        found = re.findall(pattern, (SOURCES / file).read_text(encoding="utf-8"), re.MULTILINE)
        self.assertNotEqual(found, [], file)
        return found

    def test_both_lists_of_changes_say_the_same_and_begin_with_this_version(self):
        mark = re.compile(r"^\s*[-*] ", re.MULTILINE)

        def read(file, pattern):
            return [
                (version, [" ".join(change.split()) for change in mark.split(text)])
                for version, text in self.found(file, pattern)
            ]

        ours = read("CHANGELOG.md", r"^## (\S+)$((?:\n(?!## ).*)*)")
        debians = read("debian/changelog", r"^settings-service \((\S+)\).*$((?:\n(?! -- ).*)*)")
        self.assertEqual(ours, debians)
        self.assertEqual(ours[0][0], VERSION)
        self.assertGreater(len(ours[0][1]), 1)

    def test_no_change_is_longer_than_a_line_of_debians(self):
        changes = self.found("debian/changelog", r"^ +\*? .*$")
        self.assertEqual([line for line in changes if len(line) > 80], [])

    def test_no_symbol_is_newer_than_this_version(self):
        def numbers(version):
            return [int(part) for part in version.split(".")]

        since = self.found("debian/libsettings-client1.symbols", r" (\d+\.\d+\.\d+)$")
        self.assertLessEqual(max(map(numbers, since)), numbers(VERSION))

    def test_a_package_is_built_with_what_the_build_needs(self):
        listed = (SOURCES / "packaging" / "debian-packages").read_text(encoding="utf-8")
        (building,) = re.findall(r"^# building\n(.*?)\n\n", listed, re.MULTILINE | re.DOTALL)
        (needed,) = self.found("debian/control", r"^Build-Depends: (.*(?:\n .*)*)")
        packages = {package.split()[0] for package in needed.split(",")}
        # Every Debian that builds packages has a compiler.
        self.assertEqual(
            packages - {"debhelper-compat"}, set(building.splitlines()) - {"g++"}
        )


if __name__ == "__main__":
    unittest.main()
