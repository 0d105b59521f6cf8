#!/usr/bin/python3
"""The help of the tools: -h, help VERB, examples and exit codes, and docs/commands.md.

Usage: help_test.py SOURCES DAEMON TOOL...
"""

import functools
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

SOURCES, DAEMON, *TOOLS = sys.argv[1:]
del sys.argv[1:]
DOCUMENT = (pathlib.Path(SOURCES) / "docs" / "commands.md").read_text(encoding="utf-8")
LIMIT = 60


# The same line prints the same each time, and an instrumented program starts slowly.
@functools.cache
def run(*line, status=0):
    done = subprocess.run(line, capture_output=True, text=True, timeout=LIMIT, check=False)
    assert done.returncode == status, (line, done)
    return done.stdout if status == 0 else done.stderr


def section(help_text, title):
    """The lines below a title of a help text, up to the next empty one."""
    found = re.search(rf"^{title}:\n((?:  .*\n?)+)", help_text, re.MULTILINE)
    return found[1].splitlines() if found else []


def verbs(tool, *group):
    """All verbs as lists of words, from the help for people."""
    below = [line.split()[0] for line in section(run(tool, *group, "--help"), "Verbs")]
    for name in below:
        if section(run(tool, *group, name, "--help"), "Verbs"):
            yield from verbs(tool, *group, name)
        else:
            yield [*group, name]


def options(help_text):
    lines = section(help_text, "Options")
    return {re.search("--[a-z-]+", line)[0] for line in lines if line.startswith("  -")}


def codes(help_text):
    """By number; one that two columns hide is found as well."""
    lines = section(help_text, "Exit codes")
    return {int(code) for line in lines for code in re.findall(r"(?:^ +| {2,})(\d+) \S", line)}


def documented(tool):
    """The sections of a tool in docs/commands.md, by heading."""
    chapter = re.split(r"^## ", DOCUMENT, flags=re.MULTILINE)
    chapter = next(part for part in chapter if part.startswith(tool + "\n"))
    parts = re.split(r"^### (.*)\n", chapter, flags=re.MULTILINE)[1:]
    return dict(zip(parts[::2], parts[1::2]))


def described(verb, sections):
    """The section about a verb: its heading names it, and words in capitals follow."""
    name = re.escape(" ".join(verb))
    naming = re.compile(rf"(^|, ){name}($|,| [^a-z]| [a-z]+, [^,]* [A-Z]| [a-z-]+\|)")
    found = [text for head, text in sections.items() if naming.search(head)]
    assert len(found) == 1, (verb, len(found))
    return found[0]


class Help(unittest.TestCase):
    def each(self):
        for tool in TOOLS:
            for verb in verbs(tool):
                yield tool, verb

    def test_short_and_long_option_and_the_verb_print_the_same(self):
        for tool in TOOLS:
            name = pathlib.Path(tool).name
            self.assertEqual(run(tool, "-h"), run(tool, "--help"))
            self.assertEqual(run(tool, "help").rstrip(), run(tool, "--help").rstrip())
            unknown = run(tool, "help", "nosuch", status=2)
            self.assertEqual(unknown, f'{name}: no verb "nosuch"; see {name} --help\n')
        for tool, verb in self.each():
            expected = run(tool, *verb, "--help")
            self.assertEqual(run(tool, *verb, "-h"), expected)
            self.assertEqual(run(tool, "help", *verb).rstrip(), expected.rstrip())
        self.assertEqual(run(DAEMON, "-h"), run(DAEMON, "--help"))

    def test_every_verb_has_examples_that_the_tool_understands(self):
        nowhere = {**os.environ, "LC_ALL": "C.UTF-8"}
        for tool, verb in self.each():
            name = pathlib.Path(tool).name
            examples = section(run(tool, *verb, "--help"), "Examples")
            self.assertGreater(len(examples), 0, verb)
            for example in examples:
                self.assertIn(" ".join([name, *verb]), example)
                with tempfile.TemporaryDirectory() as root:
                    # There is neither a bus nor a set, so that nothing happens.
                    bus = f"--bus unix:path={root}/none"
                    where = bus if name == "settingsctl" else f"{bus} --root {root}"
                    line = example.replace(name, f"{tool} {where}", 1)
                    done = subprocess.run(
                        line, shell=True, cwd=root, env=nowhere, capture_output=True, text=True,
                        timeout=LIMIT, check=False,
                    )
                    self.assertNotEqual(done.returncode, 2, (example, done.stderr))
                    self.assertIn(done.returncode, codes(run(tool, *verb, "--help")), example)

    def test_every_verb_says_its_exit_codes_which_are_those_of_the_tool(self):
        for tool, verb in self.each():
            of_tool = codes(run(tool, "--help"))
            self.assertEqual(of_tool, {0, 1, 2, 3, 8, 10, 13})
            of_verb = codes(run(tool, *verb, "--help"))
            self.assertLessEqual({0, 2}, of_verb, verb)
            self.assertLessEqual(of_verb, of_tool, verb)

    def test_for_programs_it_says_the_same(self):
        for tool in TOOLS:
            name = pathlib.Path(tool).name
            lines = [json.loads(line) for line in run(tool, "help", "--json").splitlines()]
            found = {line["command"]: line for line in lines if line["verb"]}
            self.assertEqual(set(found), {" ".join([name, *verb]) for verb in verbs(tool)})
            for verb in verbs(tool):
                text = run(tool, *verb, "--help")
                line = found[" ".join([name, *verb])]
                examples = [example.strip() for example in section(text, "Examples")]
                self.assertEqual(line["examples"], examples)
                self.assertEqual({int(code) for code in line["exitCodes"]}, codes(text))
                self.assertEqual({one["name"] for one in line["options"]}, options(text))

    def test_the_document_has_every_verb_option_and_exit_code(self):
        beginning = DOCUMENT.split("\n## ")[0]
        table = {int(code) for code in re.findall(r"^\| (\d+) \|", beginning, re.MULTILINE)}
        for tool in TOOLS:
            self.assertEqual(codes(run(tool, "--help")), table)
        for tool, verb in self.each():
            name = pathlib.Path(tool).name
            sections = documented(name)
            text = described(verb, sections)
            prose = re.sub(r"^```.*?^```$", "", text, flags=re.MULTILINE | re.DOTALL)
            prose = re.sub(r"^The other verbs .*", "", prose, flags=re.MULTILINE | re.DOTALL)
            help_text = run(tool, *verb, "--help")
            # "10 when ..." at the beginning of a sentence or after a semicolon.
            saying = r"(?:^|[.;]\s+)(\d+)(?:,[^;.]*)? (?:when|with)\b"
            said = {int(code) for code in re.findall(saying, prose, re.MULTILINE)}
            if len([one for one in verbs(tool) if described(one, sections) is text]) == 1:
                self.assertLessEqual(said, codes(help_text), verb)
            heading = next(head for head, body in sections.items() if body is text)
            known = options(help_text) - {"--help"}
            for option in known:
                self.assertIn(option, DOCUMENT)
            if "," not in heading:
                known |= options(run(tool, "--help"))
                self.assertLessEqual(set(re.findall("--[a-z-]+", heading)), known)


if __name__ == "__main__":
    unittest.main()
