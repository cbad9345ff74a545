#!/usr/bin/env python3
"""Holds verdicts about lines of rule files against their schema.

usage: schema.py RULE-SCHEMA <VERDICTS

A verdict is an object on one line: "good", and the "line" that it is about.
"""

import json
import sys
from pathlib import Path

from jsonschema import Draft202012Validator

KEY_SCHEMA = "key.schema.json"


def validator_of(path):
    """The schema beside that of a key, which it refers to by its file name."""
    schema = json.loads(path.read_text())
    key_schema = json.loads((path.parent / KEY_SCHEMA).read_text())
    for each in (schema, key_schema):
        Draft202012Validator.check_schema(each)
    try:
        from referencing import Registry, Resource
    except ImportError:  # jsonschema before 4.18
        from jsonschema import RefResolver

        resolver = RefResolver(path.resolve().as_uri(), schema)
        return Draft202012Validator(schema, resolver=resolver)
    registry = Registry().with_resource(KEY_SCHEMA, Resource.from_contents(key_schema))
    return Draft202012Validator(schema, registry=registry)


def main(path):
    validator = validator_of(path)
    verdicts, faults = 0, 0
    for text in sys.stdin:
        verdict = json.loads(text)
        verdicts += 1
        if validator.is_valid(verdict["line"]) != verdict["good"]:
            faults += 1
            print(f"the schema disagrees: {text.strip()}")
    return 1 if faults or not verdicts else 0


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    sys.exit(main(Path(sys.argv[1])))
