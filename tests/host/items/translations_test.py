#!/usr/bin/python3
"""Compares the translations with the names of the menu catalogue.

Usage: translations_test.py CATALOGUES LOCALES PO   (directories: the items, the compiled
translations, their sources)
"""

import gettext
import json
import pathlib
import sys
import unicodedata
import unittest

PO = pathlib.Path(sys.argv.pop())
LOCALES = pathlib.Path(sys.argv.pop())
CATALOGUES = pathlib.Path(sys.argv.pop())

LANGUAGES = sorted(path.name for path in PO.iterdir() if path.is_dir())
LONGEST = 511  # bytes that an answer has room for
VALUES_OF_A_SWITCH = {"Off", "On"}


def items(listed):
    for item in listed:
        yield item
        yield from items(item.get("items", []))


def delivered_items():
    index = json.loads((CATALOGUES / "menu.json").read_text(encoding="utf-8"))
    for file in index["files"]:
        yield from items(json.loads((CATALOGUES / file).read_text(encoding="utf-8"))["items"])


def names():
    of_items, of_values = set(), set()
    for item in delivered_items():
        of_items.add(item["name"])
        of_values.update(option["name"] for option in item.get("options", []))
        if item["kind"] == "switch":
            of_values.update(VALUES_OF_A_SWITCH)
        if item.get("unit"):
            of_values.add(item["unit"])
    return {"settings-items": of_items, "settings-values": of_values}


def translations(language, domain):
    path = LOCALES / language / "LC_MESSAGES" / (domain + ".mo")
    with path.open("rb") as file:
        catalogue = dict(gettext.GNUTranslations(file)._catalog)
    catalogue.pop("", None)  # the header
    return catalogue


class Translations(unittest.TestCase):
    def each(self):
        for domain, wanted in names().items():
            for language in LANGUAGES:
                yield f"{domain} in {language}", wanted, translations(language, domain)

    def test_there_are_languages_and_names(self):
        self.assertGreaterEqual(len(LANGUAGES), 2)
        for wanted in names().values():
            self.assertGreater(len(wanted), 100)

    def test_every_name_is_translated_into_every_language(self):
        for which, wanted, catalogue in self.each():
            self.assertEqual(wanted - catalogue.keys(), set(), which)

    def test_nothing_else_is_translated(self):
        for which, wanted, catalogue in self.each():
            self.assertEqual(catalogue.keys() - wanted, set(), which)

    def test_translations_are_plain_text_that_fits_into_an_answer(self):
        for which, _, catalogue in self.each():
            for text in catalogue.values():
                self.assertNotEqual(text.strip(), "", which)
                self.assertEqual([c for c in text if unicodedata.category(c) == "Cc"], [], f"{which}: {text}")
                self.assertLessEqual(len(text.encode()), LONGEST, f"{which}: {text}")


if __name__ == "__main__":
    unittest.main()
