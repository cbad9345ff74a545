#!/usr/bin/env python3
"""Holds what flowspecctl writes, and what it reads, against the schema of a key.

usage: schema.py FLOWSPECCTL SCHEMA RULES-FOLDER
"""

import copy
import json
import subprocess
import sys
from pathlib import Path

from jsonschema import Draft202012Validator

KEY = {
    "vrfId": 5,
    "addressFamily": "ipv4",
    "destPrefix": "10.1.0.0/16",
    "srcPrefix": None,
    "interfaceSet": [3, 17],
    "terms": [{"type": "destPort", "op": 145, "value": 443}],
}

# Changes of a sound key: where, and what to put there (KeyError: nothing).
GOOD = [
    (["vrfId"], None),
    (["vrfId"], 0),
    (["vrfId"], 4294967295),
    (["addressFamily"], "none"),
    (["addressFamily"], "ipv6"),
    (["addressFamily"], "af3"),
    (["addressFamily"], "af255"),
    (["destPrefix"], None),
    (["destPrefix"], "2001:DB8::/32"),
    (["destPrefix"], "::ffff:192.0.2.1/128"),
    (["interfaceSet"], []),
    (["interfaceSet", 0], 65535),
    (["terms"], []),
    (["terms", 0, "type"], "invalid"),
    (["terms", 0, "type"], "flowLabel"),
    (["terms", 0, "op"], 31),
]
BAD = [
    (["vrfId"], KeyError),
    (["vrfId"], -1),
    (["vrfId"], 4294967296),
    (["vrfId"], "5"),
    (["vrfId"], 5.5),
    (["addressFamily"], KeyError),
    (["addressFamily"], None),
    (["addressFamily"], 4),
    (["addressFamily"], "IPv4"),
    (["addressFamily"], "af2"),
    (["addressFamily"], "af03"),
    (["addressFamily"], "af256"),
    (["destPrefix"], KeyError),
    (["destPrefix"], ""),
    (["destPrefix"], "*"),
    (["destPrefix"], "10.0.0.0"),
    (["destPrefix"], "10.0.0.0/08"),
    (["destPrefix"], 10),
    (["srcPrefix"], KeyError),
    (["srcPrefix"], []),
    (["interfaceSet"], KeyError),
    (["interfaceSet"], None),
    (["interfaceSet", 0], -1),
    (["interfaceSet", 0], 65536),
    (["interfaceSet", 0], "3"),
    (["terms"], KeyError),
    (["terms"], None),
    (["words"], [1]),
    (["rd"], "1:1"),
    (["terms", 0], 93389243),
    (["terms", 0, "type"], KeyError),
    (["terms", 0, "type"], "DP"),
    (["terms", 0, "type"], 5),
    (["terms", 0, "op"], KeyError),
    (["terms", 0, "op"], 256),
    (["terms", 0, "op"], -1),
    (["terms", 0, "value"], KeyError),
    (["terms", 0, "value"], -1),
    (["terms", 0, "value"], 4294967296),
    (["terms", 0, "value"], None),
    (["terms", 0, "len"], 1),
]


def changed(path, value):
    key = copy.deepcopy(KEY)
    place = key
    for step in path[:-1]:
        place = place[step]
    if value is KeyError:
        del place[path[-1]]
    else:
        place[path[-1]] = value
    return key


def main(program, schema_path, rules_folder):
    schema = json.loads(Path(schema_path).read_text())
    Draft202012Validator.check_schema(schema)
    key_schema = Draft202012Validator(schema)
    line_schema = Draft202012Validator({**schema, "$ref": "#/$defs/line"})

    def run(arguments, text):
        return subprocess.run(
            [program, "key", *arguments], input=text, capture_output=True, text=True, check=False
        )

    faults = []

    def check(what, wanted, found):
        if wanted != found:
            faults.append(f"{what}: expected {wanted}, found {found}")

    for expected, changes in ((True, GOOD), (False, BAD)):
        for path, value in changes:
            key = changed(path, value)
            text = json.dumps(key)
            check(f"the schema on {text}", expected, key_schema.is_valid(key))
            check(f"flowspecctl on {text}", expected, run(["--from", "json"], text).returncode == 0)

    files = sorted(Path(rules_folder).glob("ipv[46]-*.jsonl"))
    check("files of rules", True, len(files) > 0)
    for file in files:
        for number, text in enumerate(file.read_text().splitlines(), 1):
            for error in key_schema.iter_errors(json.loads(text)):
                faults.append(f"{file}:{number}: {error.message}")

    # Keys that no text of people gives, and every kind of line.
    words = run(["--from", "diag", "--to", "json"], ";;;;243335174;\n7;af9;IFSET:=65535;;::/0;0;\n")
    check("keys with words", 2, len(words.stdout.splitlines()))
    for text in words.stdout.splitlines():
        check(f"the schema on {text}", True, key_schema.is_valid(json.loads(text)))
    objects = [
        *run(["--json"], "*;*;IP:=6;\nbad\n*;*;\n").stdout.splitlines(),
        *run(["--json", "--rd", "1:1"], "*;*;IP:=6;\n").stdout.splitlines(),
        *run(["--json", "-", "-"], "*;*;IP:=6;\nbad\n").stdout.splitlines(),
    ]
    check("objects", 6, len(objects))
    for text in objects:
        for error in line_schema.iter_errors(json.loads(text)):
            faults.append(f"{text}: {error.message}")
    for change in ({"ok": False}, {"extra": 1}, {"rd": "1:1"}, {"line": 0}, {"hash": "0x1"}):
        broken = {**json.loads(objects[0]), **change}
        check(f"the schema of a line with {change}", False, line_schema.is_valid(broken))

    for fault in faults:
        print(fault)
    return 1 if faults else 0


if __name__ == "__main__":
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    sys.exit(main(*sys.argv[1:]))
