#!/usr/bin/python3
"""Compares what says which version this is.

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

    def test_no_symbol_is_newer_than_this_version(self):
        def numbers(version):
            return [int(part) for part in version.split(".")]

        since = self.found("debian/libsettings-client1.symbols", r" (\d+\.\d+\.\d+)$")
        self.assertLessEqual(max(map(numbers, since)), numbers(VERSION))


if __name__ == "__main__":
    unittest.main()
