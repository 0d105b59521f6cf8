#!/usr/bin/python3
"""The manual pages say what the programs' help says.

Usage: manual_test.py PAGES WRITER DOCUMENT DAEMON TOOL...
"""

import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

PAGES, WRITER, DOCUMENT, DAEMON, *TOOLS = sys.argv[1:]
del sys.argv[1:]
LIMIT = 60
MACROS = {".TH", ".SH", ".SS", ".TP", ".PP", ".RS", ".RE", ".nf", ".fi", ".nh", ".ad"}


def page_of(program):
    section = 8 if program == DAEMON else 1
    return (pathlib.Path(PAGES) / f"{pathlib.Path(program).name}.{section}").read_text("utf-8")


def as_read(roff):
    """Without the marks of roff for bold, dashes and the like."""
    return re.sub(r"\\f[BR]|\\&", "", roff).replace("\\-", "-").replace("\\e", "\\")


def chapter(page, title):
    found = re.search(rf"^\.SH {title}\n(.*?)(?=^\.SH|\Z)", page, re.MULTILINE | re.DOTALL)
    return as_read(found[1])


def terms(text):
    return re.findall(r"^\.TP\n(.*)$", text, re.MULTILINE)


def run(*line):
    return subprocess.run(
        line, check=True, capture_output=True, encoding="utf-8", timeout=LIMIT
    ).stdout


def lines_below(help_text, title):
    found = re.search(rf"^{title}:\n((?:  .*\n?)+)", help_text, re.MULTILINE)
    return found[1].splitlines() if found else []


def verbs(tool, *group):
    for line in lines_below(run(tool, *group, "--help"), "Verbs"):
        name = line.split()[0]
        if lines_below(run(tool, *group, name, "--help"), "Verbs"):
            yield from verbs(tool, *group, name)
        else:
            yield " ".join([*group, name])


def options(help_text):
    lines = lines_below(help_text, "Options")
    return {re.search("--[a-z-]+", line)[0] for line in lines if line.startswith("  -")}


def codes(help_text):
    text = "\n".join(lines_below(help_text, "Exit codes"))
    return set(re.findall(r"(?:^ +| {2,})(\d+) \S", text, re.MULTILINE))


def options_in(text):
    return {found[0] for term in terms(text) if (found := re.search("--[a-z-]+", term))}


class Manual(unittest.TestCase):
    def test_a_page_has_the_verbs_options_and_exit_codes_of_the_tool(self):
        for tool in TOOLS:
            page, name, text = page_of(tool), pathlib.Path(tool).name, run(tool, "--help")
            self.assertEqual(options_in(chapter(page, "OPTIONS")), options(text))
            self.assertEqual(set(terms(chapter(page, "EXIT STATUS"))), codes(text))
            shown = [term for term in terms(chapter(page, "VERBS")) if term.startswith(name + " ")]
            told = sorted(verbs(tool))
            self.assertGreater(len(told), 15)
            self.assertEqual(len(shown), len(told))
            for verb in told:
                found = [line for line in shown if f"{line} ".startswith(f"{name} {verb} ")]
                self.assertEqual(len(found), 1, verb)
            for example in lines_below(text, "Examples"):
                self.assertIn(example.strip(), chapter(page, "EXAMPLES"))

    def test_each_verb_has_its_arguments_options_examples_and_exit_codes(self):
        for tool in TOOLS:
            name = pathlib.Path(tool).name
            sections = chapter(page_of(tool), "VERBS").split("\n.SS ")
            for verb in verbs(tool):
                synopsis = re.compile(rf"^{name} {verb}( [^a-z\n].*)?$", re.MULTILINE)
                (section,) = [one for one in sections if synopsis.search(one)]
                text = run(tool, *verb.split(), "--help")
                # A section about several verbs says of which one each list is.
                many = f" of {verb}:" in section
                tail = re.escape(f" of {verb}:" if many else ":")

                def listed(title):
                    found = re.search(
                        rf"^{title}{tail}\n(.*?)(?=^\.PP\n(?:Arguments|Examples|Exit)|\Z)",
                        section, re.MULTILINE | re.DOTALL,
                    )
                    return found[1] if found else ""

                self.assertEqual(set(terms(listed("Exit codes"))), codes(text), verb)
                self.assertEqual(
                    options_in(listed("Arguments and options")), options(text) - {"--help"}, verb
                )
                for line in lines_below(text, "Positionals"):
                    if line.startswith("   "):
                        continue
                    self.assertIn(line.split()[0], terms(listed("Arguments and options")), verb)
                for example in lines_below(text, "Examples"):
                    self.assertIn(example.strip(), listed("Examples"), verb)

    def test_the_page_of_the_daemon_has_its_options_variables_and_exit_status(self):
        page, text = page_of(DAEMON), run(DAEMON, "--help")
        self.assertEqual(options_in(chapter(page, "OPTIONS")), options(text))
        variables = [line.split()[0] for line in lines_below(text, "Environment variables")]
        self.assertEqual(terms(chapter(page, "ENVIRONMENT")), variables)
        status = re.findall(r"\b\d+\b", text[text.index("Exit status:") :])
        self.assertEqual(terms(chapter(page, "EXIT STATUS")), status)

    def test_a_page_has_its_name_and_no_macro_by_mistake(self):
        for program in (DAEMON, *TOOLS):
            page = page_of(program)
            self.assertRegex(chapter(page, "NAME"), rf"^{pathlib.Path(program).name} - [a-z]")
            for line in page.splitlines():
                if line.startswith((".", "'")):
                    self.assertIn(line.split()[0], MACROS)
            self.assertNotIn("`", chapter(page, "EXIT STATUS"))

    def test_a_verb_that_the_document_lacks_stops_the_build(self):
        text = pathlib.Path(DOCUMENT).read_text("utf-8")
        self.assertIn("### get ITEM…", text)
        with tempfile.TemporaryDirectory() as scratch:
            document = pathlib.Path(scratch) / "commands.md"
            document.write_text(text.replace("### get ITEM…", "### fetch ITEM…"), "utf-8")
            page = pathlib.Path(scratch) / "page"
            done = subprocess.run(
                [sys.executable, "-B", WRITER, TOOLS[0], "1", "0", document, page],
                capture_output=True, encoding="utf-8", timeout=LIMIT, check=False,
            )
            self.assertEqual(done.returncode, 1)
            self.assertIn("differ in their verbs: get", done.stderr)
            self.assertFalse(page.exists())


if __name__ == "__main__":
    unittest.main()
