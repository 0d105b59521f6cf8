"""Checks every model file of a directory against the schema beside it, and the schema itself."""

import json
import pathlib
import sys

import jsonschema

SCHEMA_NAME = "model.schema.json"

VALID = {"model": "a", "description": "b", "features": {"com.example/a.b_c": True, "com.example/d": 1}}

# Each breaks one rule of the schema.
INVALID = [
    [],
    {"description": "b", "features": {}},
    {"model": "a", "features": {}},
    {"model": "a", "description": "b"},
    {**VALID, "model": ""},
    {**VALID, "model": 1},
    {**VALID, "description": ""},
    {**VALID, "other": 1},
    {**VALID, "features": []},
    {**VALID, "features": {"": True}},
    {**VALID, "features": {"no slash": True}},
    {**VALID, "features": {"com.example/a": "text"}},
    {**VALID, "features": {"com.example/a": None}},
    {**VALID, "features": {"com.example/a": 1.5}},
    {**VALID, "features": {"com.example/a": 2147483648}},
    {**VALID, "features": {"com.example/a": -2147483649}},
    {**VALID, "features": {"com.velmora/featureconf/game_bar.support": 1}},
    {**VALID, "features": {"com.velmora/featureconf/outdoor_tv_product_image_support": 1}},
    {**VALID, "features": {"com.velmora/featureconf/oobe.show_energy_regulation_brightness": 1}},
    {**VALID, "features": {"com.velmora/featureconf/game_bar.auto_launch_support_type": True}},
    {
        **VALID,
        "features": {"com.velmora/featureconf/setting.menuitem.autopoweroff_default_value": 0},
    },
    {
        **VALID,
        "features": {"com.velmora/featureconf/setting.menuitem.autopoweroff_default_value": 4},
    },
]


def main(directory):
    schema = json.loads((directory / SCHEMA_NAME).read_text(encoding="utf-8"))
    jsonschema.Draft202012Validator.check_schema(schema)
    validator = jsonschema.Draft202012Validator(schema)
    complaints = []

    if not validator.is_valid(VALID):
        complaints.append(f"the schema refuses {VALID}")
    complaints += [f"the schema takes {model}" for model in INVALID if validator.is_valid(model)]

    files = sorted(file for file in directory.glob("*.json") if file.name != SCHEMA_NAME)
    if not files:
        complaints.append(f"{directory} holds no model")
    for file in files:
        model = json.loads(file.read_text(encoding="utf-8"))
        complaints += [f"{file}: {error.message}" for error in validator.iter_errors(model)]
        if model.get("model") != file.stem:
            complaints.append(f"{file}: the model is not named like the file")

    for complaint in complaints:
        print(complaint, file=sys.stderr)
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main(pathlib.Path(sys.argv[1])))
