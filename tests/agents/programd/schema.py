#!/usr/bin/env python3
"""Holds JSON texts against a schema, and fails on one that it takes or refuses wrongly.

usage: schema.py SCHEMA GOOD BAD

GOOD and BAD have a text a line: those that the schema is to take, and those that it is to refuse.
"""

import json
import sys
from pathlib import Path

from jsonschema import Draft202012Validator


def main(schema_path, good, bad):
    schema = json.loads(Path(schema_path).read_text())
    Draft202012Validator.check_schema(schema)
    validator = Draft202012Validator(schema)
    faults = 0
    for path, expected in ((good, True), (bad, False)):
        for line in Path(path).read_text().splitlines():
            if validator.is_valid(json.loads(line)) != expected:
                print(f"{'refused' if expected else 'taken'}: {line}", file=sys.stderr)
                faults += 1
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
