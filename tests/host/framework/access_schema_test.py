#!/usr/bin/python3
"""Judges the delivered access.json and the example of the documentation by the schema, and the
schema by files that are wrong.

Usage: access_schema_test.py SOURCES
"""

import json
import pathlib
import re
import sys
import unittest

import jsonschema

SOURCES = pathlib.Path(sys.argv.pop())
DIRECTORY = SOURCES / "data/access"
SCHEMA = json.loads((DIRECTORY / "access.schema.json").read_text(encoding="utf-8"))
VALIDATOR = jsonschema.Draft202012Validator(SCHEMA)


class AccessSchema(unittest.TestCase):
    def test_is_a_schema_in_which_everything_is_described(self):
        jsonschema.Draft202012Validator.check_schema(SCHEMA)
        for described in SCHEMA["properties"].values():
            self.assertIn("description", described)

    def test_has_the_methods_that_the_service_restricts(self):
        code = (SOURCES / "platform/host/framework/access_rules.cpp").read_text(encoding="utf-8")
        methods = re.findall(r'\{"(\w+)", Want::', code)
        self.assertEqual(len(methods), 5)
        self.assertEqual(set(SCHEMA["properties"]), set(methods))

    def test_accepts_what_is_delivered_which_names_root_for_every_method(self):
        delivered = json.loads((DIRECTORY / "access.json").read_text(encoding="utf-8"))
        VALIDATOR.validate(delivered)
        self.assertEqual(set(delivered), set(SCHEMA["properties"]))
        for who in delivered.values():
            self.assertEqual(who, {"users": ["root"], "groups": []})

    def test_accepts_the_example_of_the_documentation(self):
        text = (SOURCES / "docs/security.md").read_text(encoding="utf-8")
        (example,) = re.findall(r"```json\n(.*?)```", text, re.DOTALL)
        VALIDATOR.validate(json.loads(example))

    def test_accepts_and_refuses_what_the_service_does(self):
        for right in [{}, {"SetItemValue": {}}, {"EnableItem": {"users": ["a", 0, 4294967294]}}]:
            self.assertTrue(VALIDATOR.is_valid(right), right)
        for wrong in [
            [],
            {"GetItemValue": {}},
            {"EnableItem": []},
            {"EnableItem": {"user": ["root"]}},
            {"EnableItem": {"users": "root"}},
            {"EnableItem": {"groups": {}}},
            {"EnableItem": {"users": [-1]}},
            {"EnableItem": {"users": [0.5]}},
            {"EnableItem": {"users": [True]}},
            {"EnableItem": {"groups": [4294967295]}},
        ]:
            self.assertFalse(VALIDATOR.is_valid(wrong), wrong)


if __name__ == "__main__":
    unittest.main()
