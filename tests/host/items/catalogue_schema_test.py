#!/usr/bin/python3
"""Judges the delivered menu catalogue by its schema, and the schema by catalogues that are wrong.

Usage: catalogue_schema_test.py DIRECTORY   (the one with the catalogue and its schema)
"""

import copy
import json
import pathlib
import sys
import unittest

import jsonschema

DIRECTORY = pathlib.Path(sys.argv.pop())
SCHEMA = json.loads((DIRECTORY / "catalogue.schema.json").read_text(encoding="utf-8"))
VALIDATOR = jsonschema.Draft202012Validator(SCHEMA)

GROUP = {
    "id": "picture", "kind": "group", "name": "Picture", "displayId": "MENU_PICTURE",
    "items": [{"id": "a", "kind": "action", "name": "A", "displayId": "MENU_A"}],
}
SWITCH = {
    "id": "game", "kind": "switch", "name": "Game", "displayId": "MENU_GAME", "default": "off",
}
LIST = {
    "id": "mode", "kind": "list", "name": "Mode", "displayId": "MENU_MODE", "default": "4",
    "options": [{"value": "4", "name": "4 hours"}],
}
RANGE = {
    "id": "tint", "kind": "range", "name": "Tint", "displayId": "MENU_TINT",
    "min": -1, "max": 1, "step": 0.5, "default": 0,
}
ACTION = {"id": "reset", "kind": "action", "name": "Reset", "displayId": "MENU_RESET"}
RULES = {
    "all": [
        {"any": [{"source": ["tv", "hdmi"]}, {"speaker": "receiver"}, {"speaker": ["a", "b"]}]},
        {"not": {"item": "mode", "is": "4"}},
        {"item": "mode", "is": ["4", "6"]},
        {"item": "tint", "is": 0.5},
        {"item": "tint", "is": [0, 1]},
        {"key": "db/menu/mode", "is": "4"},
        {"key": "memory/mode", "is": [""]},
        {"key": "memory/mode", "is": -1},
        {"key": "memory/mode", "is": [0, 1]},
        {"feature": "com.velmora/featureconf/game_bar.support", "is": True},
        {"feature": "com.velmora/type", "is": [1, 2]},
    ]
}


def is_valid(document):
    return VALIDATOR.is_valid(document)


def with_item(item, **changes):
    """A catalogue of one item; a change to None removes the member."""
    changed = copy.deepcopy(item)
    for name, value in changes.items():
        if value is None:
            del changed[name]
        else:
            changed[name] = value
    return {"items": [changed]}


class CatalogueSchema(unittest.TestCase):
    def test_the_schema_is_one(self):
        jsonschema.Draft202012Validator.check_schema(SCHEMA)

    def test_every_delivered_file_keeps_to_it(self):
        files = [file for file in DIRECTORY.glob("*.json") if not file.name.endswith(".schema.json")]
        self.assertGreater(len(files), 1)
        for file in files:
            with self.subTest(file=file.name):
                VALIDATOR.validate(json.loads(file.read_text(encoding="utf-8")))

    def test_every_delivered_file_names_it(self):
        for file in DIRECTORY.glob("*.json"):
            if not file.name.endswith(".schema.json"):
                document = json.loads(file.read_text(encoding="utf-8"))
                self.assertEqual(document["$schema"], "catalogue.schema.json", file.name)

    def test_items_of_every_kind_are_taken(self):
        for document in [
            with_item(GROUP),
            with_item(SWITCH),
            with_item(SWITCH, storage="string", key="db/menu/game_mode"),
            with_item(SWITCH, key="memory/menu/disabled_items_shown"),
            with_item(ACTION, visible={"key": "memory/set/speaker", "is": "receiver"}),
            with_item(LIST),
            with_item(LIST, storage="int", follows="speaker"),
            with_item(RANGE),
            with_item(RANGE, unit="m", kept={"min": 0, "step": 10}),
            with_item(ACTION),
            with_item(GROUP, visible={"source": "hdmi"}, enabled={"not": {"source": "tv"}}),
            with_item(SWITCH, visible=RULES, enabled=RULES),
            with_item(LIST, visible=RULES, enabled=RULES),
            with_item(RANGE, visible=RULES, enabled=RULES),
            with_item(ACTION, visible=RULES, enabled=RULES),
            with_item(LIST, options=[
                {"value": "4", "name": "4 hours", "visible": RULES, "enabled": RULES},
            ]),
            {"files": ["picture.json"]},
        ]:
            with self.subTest(document=document):
                self.assertTrue(is_valid(document))

    def test_wrong_rules_are_rejected(self):
        for rule in [
            True,
            [],
            {},
            {"none": []},
            {"all": []},
            {"any": []},
            {"any": {"source": "tv"}},
            {"not": []},
            {"all": [{"source": "tv"}, {}]},
            {"source": "tv", "speaker": "receiver"},
            {"all": [{"source": "tv"}], "any": [{"source": "tv"}]},
            {"item": "mode"},
            {"item": "Mode", "is": "4"},
            {"item": "mode", "in": ["4"]},
            {"item": "mode", "is": []},
            {"item": "mode", "is": True},
            {"item": "mode", "is": ["4", 4]},
            {"key": "etc/a", "is": 1},
            {"key": "db/a", "is": True},
            {"key": "db/a", "is": 1.5},
            {"key": "db/a", "is": 2147483648},
            {"key": "db/a", "is": ["a", 1]},
            {"key": "memory/menu/preview/mode", "is": "4"},
            {"feature": "gamebar", "is": True},
            {"feature": "a/b", "is": "true"},
            {"feature": "a/b", "is": [True, 1]},
            {"feature": "a/b"},
            {"source": "HDMI"},
            {"source": []},
            {"source": ["tv", "moon"]},
            {"speaker": ""},
            {"speaker": 1},
            {"speaker": []},
        ]:
            option = {"value": "4", "name": "4 hours"}
            with self.subTest(rule=rule):
                self.assertFalse(is_valid(with_item(ACTION, visible=rule)))
                self.assertFalse(is_valid(with_item(GROUP, enabled=rule)))
                self.assertFalse(is_valid(with_item(LIST, options=[option | {"visible": rule}])))
                self.assertFalse(is_valid(with_item(LIST, options=[option | {"enabled": rule}])))

    def test_wrong_catalogues_are_rejected(self):
        for document in [
            [],
            {},
            {"items": []},
            {"items": [1]},
            {"items": [ACTION], "version": 1},
            {"files": []},
            {"files": ["a.json", "a.json"]},
            {"files": ["../a.json"]},
            {"files": ["a.json"], "items": [ACTION]},
            with_item(ACTION, kind="slider"),
            with_item(ACTION, kind=None),
            with_item(ACTION, id=None),
            with_item(ACTION, id="Reset"),
            with_item(ACTION, id="a/b"),
            with_item(ACTION, id="a" * 65),
            with_item(ACTION, name=None),
            with_item(ACTION, name=""),
            with_item(ACTION, name="a\nb"),
            with_item(ACTION, displayId=None),
            with_item(ACTION, displayId="menu"),
            with_item(ACTION, key="db/menu/reset"),
            with_item(GROUP, items=None),
            with_item(GROUP, items=[]),
            with_item(GROUP, items=[{"id": "a"}]),
            with_item(GROUP, default="off"),
            with_item(SWITCH, default=None),
            with_item(SWITCH, default="yes"),
            with_item(SWITCH, default=False),
            with_item(SWITCH, storage="bool"),
            with_item(SWITCH, options=[]),
            with_item(LIST, options=None),
            with_item(LIST, options=[]),
            with_item(LIST, options=[{"value": "4"}]),
            with_item(LIST, options=[{"value": "4", "name": "4", "icon": "x"}]),
            with_item(LIST, storage="int", options=[{"value": "04", "name": "4"}]),
            with_item(LIST, storage="int", options=[{"value": "four", "name": "4"}]),
            with_item(LIST, default=4),
            with_item(LIST, follows="sun"),
            with_item(LIST, key="etc/mode"),
            with_item(LIST, key="db/"),
            with_item(LIST, key="db//mode"),
            with_item(LIST, key="db/a b"),
            with_item(LIST, key="memory/menu/preview/mode"),
            with_item(LIST, key="memory/menu/disabled_items"),
            with_item(SWITCH, key="memory/set/speaker"),
            with_item(RANGE, key="memory/tv-viewer/viewer_state"),
            with_item(RANGE, min=None),
            with_item(RANGE, max="1"),
            with_item(RANGE, step=0),
            with_item(RANGE, step=-1),
            with_item(RANGE, default=None),
            with_item(RANGE, unit=""),
            with_item(RANGE, shown={"min": 0, "step": 10}),
            with_item(RANGE, kept={"min": 0}),
            with_item(RANGE, kept={"min": 0, "step": 0}),
            with_item(RANGE, kept={"min": 0, "step": 1, "max": 2}),
        ]:
            with self.subTest(document=document):
                self.assertFalse(is_valid(document))


if __name__ == "__main__":
    unittest.main()
