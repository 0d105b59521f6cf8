#!/usr/bin/python3
"""Holds every C++ file of the project to the style of its .clang-format, comments included.

Usage: style_test.py DIRECTORY   (the project's)
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

DIRECTORY = pathlib.Path(sys.argv.pop())
COLUMNS = 100
NARROW = 80


def cpp_files(directory):
    """Those below it that are the project's own: not in a build directory, nor in a hidden one."""
    found = []
    for parent, directories, files in os.walk(directory):
        if "CMakeCache.txt" in files:
            directories.clear()
            continue
        directories[:] = [name for name in directories if not name.startswith(".")]
        found += [pathlib.Path(parent, name) for name in files if name.endswith((".cpp", ".h"))]
    return sorted(found)


def misformatted(files):
    """What clang-format finds; "" when nothing."""
    command = ["clang-format", "--style=file", "--dry-run", "--Werror", *map(str, files)]
    done = subprocess.run(command, capture_output=True, text=True, check=False)
    return done.stderr if done.returncode != 0 else ""


def paragraphs(text):
    """The lines of comments that run on: of each paragraph the number of its first line, and all
    of them. What stands further in than the text around it is an example or a list."""
    block, first, begins = [], 0, ""
    for number, line in enumerate([*text.splitlines(), ""], start=1):
        prose = re.match(r" *// (?=\S)", line)
        if block and not (prose and prose[0] == begins):
            yield first, block
            block = []
        if prose:
            if not block:
                first, begins = number, prose[0]
            block.append(line)


def narrow_paragraphs(text):
    """The lines at which those begin that were wrapped for fewer columns: clang-format breaks lines
    that are too long and joins none."""
    for first, block in paragraphs(text):
        had_room = any(
            len(line) > NARROW - 20 and len(line) + 1 + len(after.split()[1]) <= COLUMNS
            for line, after in zip(block, block[1:])
        )
        if had_room and max(map(len, block)) <= NARROW:
            yield first


class Style(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.scratch = pathlib.Path(scratch.name)

    def judged(self, text):
        """The same judgement of a file with this text."""
        shutil.copy(DIRECTORY / ".clang-format", self.scratch)
        file = self.scratch / "a.cpp"
        file.write_text(text, encoding="utf-8")
        return misformatted([file])

    def test_every_file_is_formatted(self):
        files = cpp_files(DIRECTORY)
        self.assertIn(DIRECTORY / "src" / "main.cpp", files)
        self.assertIn(DIRECTORY / "platform" / "include" / "vconf.h", files)
        self.assertEqual(misformatted(files), "")

    def test_every_comment_is_wrapped_at_the_last_column(self):
        for file in cpp_files(DIRECTORY):
            text = file.read_text(encoding="utf-8")
            with self.subTest(file=file):
                self.assertEqual(list(narrow_paragraphs(text)), [], "comments at these lines")

    def test_a_file_that_is_not_formatted_is_found(self):
        self.assertEqual(self.judged("int* p;\n"), "")
        self.assertIn("a.cpp:1:", self.judged("int *p;\n"))
        self.assertIn("a.cpp:1:", self.judged("int *p;\nint *q;\nint *r;\n"))
        self.assertIn("a.cpp:1:", self.judged("int* p;  \n"))
        self.assertIn("a.cpp:1:", self.judged("// " + "word " * 20 + "\nint* p;\n"))

    def test_a_comment_that_was_wrapped_for_fewer_columns_is_found(self):
        line = "// " + "word " * 15
        self.assertEqual(list(narrow_paragraphs("\n" + line.strip() + "\n// end\n")), [2])
        wide = ("// " + "word " * 19).strip()
        self.assertEqual(list(narrow_paragraphs(wide + "\n// words\n" + line.strip() + "\n")), [])
        self.assertEqual(list(narrow_paragraphs(line + "\n//   example\n")), [])
        self.assertEqual(list(narrow_paragraphs(line + "\n//\n// another\n")), [])

    def test_files_are_found_wherever_the_project_puts_them(self):
        for name in ["src/a.cpp", "new/deep/b.h", "build/release/c.cpp", ".hidden/d.cpp", "e.txt"]:
            (self.scratch / name).parent.mkdir(parents=True, exist_ok=True)
            (self.scratch / name).touch()
        (self.scratch / "build/release/CMakeCache.txt").touch()
        self.assertEqual(
            cpp_files(self.scratch), [self.scratch / "new/deep/b.h", self.scratch / "src/a.cpp"]
        )


if __name__ == "__main__":
    unittest.main()
