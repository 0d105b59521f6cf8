#!/usr/bin/python3
"""Holds what the C++ files include to the layers that CONTRIBUTING.md draws.

Usage: includes_test.py [--print] DIRECTORY   (the project's)

--print draws the layers as the files have them: what each stands on, but for what it reaches
through another one.
"""

import pathlib
import re
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True  # beside the sources
from style_test import DIRECTORY, cpp_files

# Where quoted names are looked for, after the directory of the file that has them.
ROOTS = [".", "platform/include", "platform/host", "src", "client/include", "tools", "apps"]

# Headers that only these layers include: the others ask one of them for what they declare.
LIBRARIES = {
    "CLI/": ["bench", "platform/host/framework", "tools"],
    "Ecore.h": ["platform/host/framework", "src"],
    "fmt/": ["platform/host/apps", "platform/host/items", "platform/host/set", "tools",
             "tools/setctl", "tools/settingsctl"],
    "sqlite3.h": ["bench", "platform/host/keystore"],
    "systemd/sd-bus.h": ["apps", "bus", "platform/host/framework"],
    "systemd/sd-daemon.h": ["platform/host/system"],
    "systemd/sd-event.h": ["apps"],
    "systemd/sd-journal.h": ["platform/host/system"],
}

KNOWN_CIRCLE = {"src/gamebar/GameBarVAPManager", "src/gamebar/SourceDataManager"}


def drawn_layers(text):
    """What each layer of a drawing stands on, the highest layer first."""
    drawn = re.findall(r"^([a-z][\w/-]*) +→ (.*)$", text, re.MULTILINE)
    layers = {layer: others.split(", ") for layer, others in drawn}
    return layers | {name: [] for on in layers.values() for name in on if name not in layers}


def below(arrows, name):
    """All that its arrows lead to, over others, too."""
    found, waiting = set(), list(arrows.get(name, ()))
    while waiting:
        other = waiting.pop()
        if other not in found:
            found.add(other)
            waiting += arrows.get(other, ())
    return found


class Project:
    """The files of a directory, which include each other and headers of libraries."""

    def __init__(self, directory, layers):
        self.directory = directory
        self.layers = layers
        self.files = [path for path in (p.relative_to(directory) for p in cpp_files(directory))
                      if path.parts[0] != "tests"]
        self.inner, self.outer = [], []
        for file in self.files:
            text = (directory / file).read_text(encoding="utf-8")
            for name in re.findall(r'^ *# *include ["<]([^">]+)', text, re.MULTILINE):
                header = self.find(file, name)
                (self.inner if header else self.outer).append((file, header or name))

    def find(self, file, name):
        places = [file.parent, *map(pathlib.Path, ROOTS)]
        return next((p / name for p in places if (self.directory / p / name).is_file()), None)

    def layer(self, file):
        """That of the nearest directory that is one; None when no directory is."""
        return next((str(p) for p in file.parents if str(p) in self.layers), None)

    def circles(self):
        """The sets of units that need each other; a header and its source are one."""
        arrows = {}
        for file, header in self.inner:
            unit, other = (str(path.with_suffix("")) for path in (file, header))
            if unit != other:
                arrows.setdefault(unit, set()).add(other)
        reach = {unit: below(arrows, unit) for unit in arrows}
        circles = ({other for other in reach[unit] if unit in reach.get(other, ())}
                   for unit in sorted(arrows) if unit in reach[unit])
        return sorted(map(sorted, set(map(frozenset, circles))))

    def problems(self):
        """A sentence for each thing that is against the layers."""
        for layer in self.layers:
            if layer in below(self.layers, layer):
                yield f"{layer} stands on itself"
        for file in self.files:
            if self.layer(file) is None:
                yield f"{file} is in no layer"
        for file, header in self.inner:
            layer, other = self.layer(file), self.layer(header)
            if other not in {layer} | below(self.layers, layer):
                yield f"{file} includes {header}: {other} is not below {layer}"
        for file, header in self.outer:
            for name, users in LIBRARIES.items():
                if header.startswith(name) and self.layer(file) not in users:
                    yield f"{file} includes {header}: only {', '.join(users)} may"
        for circle in self.circles():
            if set(circle) != KNOWN_CIRCLE:
                yield f"{' and '.join(circle)} need each other"

    def drawing(self):
        """The layers as the files have them."""
        arrows = {layer: set() for layer in self.layers}
        for file, header in self.inner:
            layer, other = self.layer(file), self.layer(header)
            if other != layer:
                arrows[layer].add(other)
        lines = []
        for layer, others in arrows.items():
            further = set().union(*(below(arrows, other) for other in others))
            if others:
                on = [other for other in self.layers if other in others - further]
                lines.append(f"{layer:{max(map(len, self.layers))}} → {', '.join(on)}")
        return "\n".join(lines)


DRAWN = drawn_layers((DIRECTORY / "CONTRIBUTING.md").read_text(encoding="utf-8"))


class Includes(unittest.TestCase):
    def problems(self, layers, files):
        """Those of a project with these files and what they include."""
        with tempfile.TemporaryDirectory() as scratch:
            for name, names in files.items():
                file = pathlib.Path(scratch, name)
                file.parent.mkdir(parents=True, exist_ok=True)
                file.write_text("".join(f"#include {name}\n" for name in names), encoding="utf-8")
            return list(Project(pathlib.Path(scratch), layers).problems())

    def test_every_file_includes_what_is_below_it(self):
        project = Project(DIRECTORY, DRAWN)
        self.assertIn((pathlib.Path("src/main.cpp"), pathlib.Path("src/SettingsService.h")),
                      project.inner)
        self.assertEqual(list(project.problems()), [])

    def test_an_arrow_upward_is_found(self):
        layers = drawn_layers("tools → bus\nbus   → base\n")
        files = {"tools/a.cpp": ['"base/c.h"'], "bus/b.h": ['"base/c.h"'], "base/c.h": []}
        self.assertEqual(self.problems(layers, files), [])
        files["base/d.cpp"] = ['"bus/b.h"']
        self.assertEqual(self.problems(layers, files),
                         ["base/d.cpp includes bus/b.h: bus is not below base"])

    def test_layers_in_a_circle_are_found(self):
        self.assertEqual(self.problems(drawn_layers("a → b\nb → a\n"), {}),
                         ["a stands on itself", "b stands on itself"])

    def test_a_file_in_no_layer_is_found(self):
        self.assertEqual(self.problems(drawn_layers("bus → base\n"), {"new/a.cpp": []}),
                         ["new/a.cpp is in no layer"])

    def test_a_library_that_is_not_for_the_layer_is_found(self):
        layers = drawn_layers("bus → base\n")
        self.assertEqual(self.problems(layers, {"bus/a.h": ["<systemd/sd-bus.h>", "<string>"]}), [])
        self.assertEqual(
            self.problems(layers, {"base/a.h": ["<systemd/sd-bus.h>"]}),
            ["base/a.h includes systemd/sd-bus.h: only apps, bus, platform/host/framework may"])

    def test_files_in_a_circle_are_found(self):
        layers = drawn_layers("bus → base\n")
        files = {"bus/a.h": [], "bus/a.cpp": ['"bus/a.h"', '"bus/b.h"'], "bus/b.h": ['"bus/a.h"']}
        self.assertEqual(self.problems(layers, files), ["bus/a and bus/b need each other"])


if __name__ == "__main__":
    if "--print" in sys.argv:
        print(Project(DIRECTORY, DRAWN).drawing())
    else:
        unittest.main()
