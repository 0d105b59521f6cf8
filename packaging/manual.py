#!/usr/bin/python3
"""Writes the manual page of a program from what its help and docs/commands.md say.

Usage: manual.py PROGRAM SECTION VERSION DOCUMENT PAGE

A tool prints its help as JSON; its page has the prose of its chapter in the document, too. Ends
with 1 when the chapter and the help do not have the same verbs. The daemon's page is its --help.
"""

import json
import pathlib
import re
import subprocess
import sys

DAEMON = "settings-service"
SEE_ALSO = {"settings-service": 8, "settingsctl": 1, "setctl": 1}
KINDS = {1: "User Commands", 8: "System Administration"}


def plain(text):
    """Text that roff prints as it is."""
    text = text.replace("\\", "\\e").replace("-", "\\-")
    return "\n".join("\\&" + line if line[:1] in (".", "'") else line for line in text.split("\n"))


def bold(text):
    return "\\fB" + plain(text).removeprefix("\\&") + "\\fR"


def inline(text):
    """A paragraph of Markdown: code in bold, links as their text."""
    text = re.sub(r"\[([^]]*)\]\([^)]*\)", r"\1", text.replace("\\|", "|"))
    parts = [part for part in re.split(r"(`[^`]*`)", text) if part]
    done = "".join(bold(part[1:-1]) if part.startswith("`") else plain(part) for part in parts)
    return "\\&" + done if done.startswith(("\\fB.", "\\fB'")) else done


def item(term, text):
    return [".TP", term, text]


def verbatim(lines):
    return [".PP", ".RS 4", ".nf", *(plain(line) for line in lines), ".fi", ".RE"]


def rows(block):
    """The cells of a table, without its head."""
    for line in block[2:]:
        yield [cell.strip() for cell in re.split(r"(?<!\\)\|", line.strip())[1:-1]]


def blocks(markdown):
    """Lists of lines: fenced code, tables, paragraphs."""
    block, fenced = [], False
    for line in [*markdown.split("\n"), ""]:
        if line.startswith("```"):
            if not fenced and block:
                yield block
                block = []
            block.append(line)
            fenced = not fenced
            if fenced:
                continue
        elif fenced or line:
            block.append(line)
            continue
        if block:
            yield block
        block = []


def prose(markdown, tables=True):
    page = []
    for block in blocks(markdown):
        if block[0].startswith("```"):
            page += verbatim(block[1:-1])
        elif block[0].startswith("|"):
            for cells in rows(block) if tables else ():
                for term, text in zip(cells[::2], cells[1::2]):
                    page += item(inline(term), inline(text)) if term else []
        elif not block[0].startswith("#"):
            page += [".PP", inline("\n".join(block))]
    return page


def table_of(markdown):
    """First cell to second, of the tables."""
    return {
        cells[0]: cells[1]
        for block in blocks(markdown)
        if block[0].startswith("|")
        for cells in rows(block)
    }


def option_text(option):
    value = " " + plain(option["value"]) if option["value"] else ""
    names = [bold(option[key]) for key in ("short", "name") if key in option]
    return ", ".join(names) + value


def synopsis(command):
    words = [bold(command["command"])]
    for option in command["options"]:
        if option["name"] in ("--help", "--version"):
            continue
        text = bold(option["name"]) + (" " + plain(option["value"]) if option["value"] else "")
        words.append(text if option["required"] else f"[{text}]")
    for argument in command["arguments"]:
        text = plain(argument["name"]) + ("…" if argument["many"] else "")
        words.append(text if argument["required"] else f"[{text}]")
    return " ".join(words)


def verbs_of(heading, verbs):
    """The verbs that a heading such as "who ITEM, key set KEY VALUE" is about."""
    found = []
    for part in re.sub(r"\[.*?\]", "", heading).split(", "):
        words = part.split()
        name = next(
            (" ".join(words[:n]) for n in range(len(words), 0, -1) if " ".join(words[:n]) in verbs),
            None,
        )
        if name:
            found.append(name)
    return found


def verb_section(heading, text, names, verbs):
    page = [".SS " + plain(heading)]
    for name in names:
        page += item(synopsis(verbs[name]), plain(verbs[name]["description"]) + ".")
    page += prose(text)
    for name in names:
        verb = verbs[name]
        which = f" of {bold(name)}" if len(names) > 1 else ""
        parameters = [*verb["arguments"], *(o for o in verb["options"] if o["name"] != "--help")]
        if parameters:
            page += [".PP", f"Arguments and options{which}:"]
        for one in parameters:
            page += item(option_text(one), plain(one["description"]))
        page += [".PP", f"Examples{which}:", *verbatim(verb["examples"])]
        page += [".PP", f"Exit codes{which}:"]
        for code, meaning in sorted(verb["exitCodes"].items(), key=lambda entry: int(entry[0])):
            page += item(bold(code), plain(meaning))
    return page


def tool_page(name, commands, document):
    top = commands[0]
    verbs = {
        command["command"].removeprefix(name + " "): command
        for command in commands
        if command["verb"]
    }
    beginning, *chapters = re.split(r"^## ", document, flags=re.MULTILINE)
    (chapter,) = [part for part in chapters if part.startswith(name + "\n")]
    introduction, *sections = re.split(r"^### (.*)\n", chapter, flags=re.MULTILINE)
    introduction = introduction.removeprefix(name + "\n")
    described = table_of(introduction)

    description = top["description"].rstrip(".")
    page = [".SH NAME", f"{plain(name)} \\- {plain(description[0].lower() + description[1:])}"]
    page += [".SH SYNOPSIS", f"{bold(name)} [OPTIONS] VERB …"]
    page += [".SH DESCRIPTION", *prose(beginning, tables=False), *prose(introduction, tables=False)]
    page += [".SH OPTIONS"]
    for option in top["options"]:
        start = re.compile(f"`{option['name']}\\b")
        longer = [text for cell, text in described.items() if start.match(cell)]
        text = inline(longer[0]) if longer else plain(option["description"])
        page += item(option_text(option), text)
    page += [".SH VERBS"]
    seen = []
    for heading, text in zip(sections[::2], sections[1::2]):
        names = verbs_of(heading, verbs)
        seen += names
        page += verb_section(heading, text, names, verbs)
    if sorted(seen) != sorted(verbs):
        differing = sorted(set(verbs) ^ set(seen)) or sorted(seen)
        sys.exit(f"{name}: its chapter and its help differ in their verbs: {', '.join(differing)}")
    page += [".SH EXIT STATUS"]
    for code, meaning in table_of(beginning).items():
        page += item(bold(code), inline(meaning))
    examples = re.search(r"^Examples:\n((?:  .*\n)+)", top["footer"], re.MULTILINE)[1]
    page += [".SH EXAMPLES", *verbatim(line.strip() for line in examples.splitlines())]
    return page


def daemon_page(name, text):
    description = text.split("\n")[0].rstrip(".")
    purpose = description.split(" until ")[0]
    page = [".SH NAME", f"{plain(name)} \\- {plain(purpose[0].lower() + purpose[1:])}"]
    page += [".SH SYNOPSIS", f"{bold(name)} [OPTIONS]"]
    page += [".SH DESCRIPTION", plain(description) + "."]
    for title, heading in (("Options", "OPTIONS"), ("Environment variables", "ENVIRONMENT")):
        page.append(".SH " + heading)
        lines = re.search(rf"^{title}:\n((?:  .*\n)+)", text, re.MULTILINE)[1]
        for line in lines.splitlines():
            term, meaning = re.split(r" {2,}", line.strip(), maxsplit=1)
            page += item(bold(term.replace(",", ", ")), plain(meaning))
    page.append(".SH EXIT STATUS")
    status = re.search(r"^Exit status: (.*)\.", text, re.MULTILINE | re.DOTALL)[1]
    for code, meaning in re.findall(r"(\d+) (.*?)(?:,\s|$)", status.replace("\n", " ")):
        page += item(bold(code), plain(meaning))
    return page


def main(program, section, version, document, target):
    name = pathlib.Path(program).name
    asked = ["--help"] if name == DAEMON else ["help", "--json"]
    line = [program, *asked]
    said = subprocess.run(line, check=True, capture_output=True, encoding="utf-8").stdout
    if name == DAEMON:
        body = daemon_page(name, said)
    else:
        commands = [json.loads(line) for line in said.splitlines()]
        body = tool_page(name, commands, pathlib.Path(document).read_text(encoding="utf-8"))
    # No date, so that two builds are the same.
    head = f'.TH {plain(name.upper())} {section} "" "settings\\-service {version}"'
    head += f' "{KINDS[int(section)]}"'
    others = [f"\\fB{plain(one)}\\fR({at})" for one, at in SEE_ALSO.items() if one != name]
    page = [head, ".nh", ".ad l", *body, ".SH SEE ALSO", ",\n".join(others)]
    pathlib.Path(target).write_text("\n".join(page) + "\n", encoding="utf-8")


if __name__ == "__main__":
    main(*sys.argv[1:])
