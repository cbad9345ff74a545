#!/usr/bin/env python3
"""Holds what flowspecctl writes, and what it reads, against the schemas of a key and a filter.

usage: schema.py FLOWSPECCTL KEY-SCHEMA FILTER-SCHEMA RULES-FOLDER
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
    (["destPrefix"], "::/0"),
    (["destPrefix"], "1:2:3:4:5:6:7:8/127"),
    (["destPrefix"], "255.249.199.9/32"),
    (["interfaceSet"], []),
    (["interfaceSet", 0], 65535),
    (["terms"], []),
    (["terms", 0, "type"], "invalid"),
    (["terms", 0, "type"], "flowLabel"),
    (["terms", 0, "op"], 31),
    (["terms", 0, "op"], 239),
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
    (["destPrefix"], "10.0.0.0/33"),
    (["destPrefix"], "10.0.0.256/8"),
    (["destPrefix"], "10.0.0/8"),
    (["destPrefix"], "2001:db8::/129"),
    (["destPrefix"], "1::2::3/64"),
    (["destPrefix"], "1:2:3:4:5:6:7/64"),
    (["destPrefix"], "2001:db8::/064"),
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
    (["terms", 0, "op"], 129),
    (["terms", 0, "op"], 177),
    (["terms", 0, "value"], 65536),
    (["terms", 0, "value"], KeyError),
    (["terms", 0, "value"], -1),
    (["terms", 0, "value"], 4294967296),
    (["terms", 0, "value"], None),
    (["terms", 0, "len"], 1),
]

FILTER = {
    "destPrefix": ["10.1.0.0/16"],
    "srcPrefix": ["10.2.0.0/16"],
    "protocols": [
        {
            "protocol": 6,
            "ports": [{"srcPort": [[1024, 65535]], "destPort": [80, [8000, 8080]]}],
            "icmpTypes": [{"type": 3, "codes": [1, [2, 4]]}],
            "tcpFlags": [{"flag": 2, "mask": 18}],
        }
    ],
    "length": [[64, 1500]],
    "dscp": [46],
    "fragment": "anyFragment",
}
IN_PROTOCOL = ["protocols", 0]
GOOD_FILTERS = [
    *[([name], KeyError) for name in FILTER],
    *[([name], []) for name in FILTER if name != "fragment"],
    *[(["fragment"], name) for name in (None, "firstFragment", "nonFirstFragment", "notFragment")],
    *[([*IN_PROTOCOL, name], KeyError) for name in ("ports", "icmpTypes", "tcpFlags")],
    ([*IN_PROTOCOL, "protocol"], [0, 255]),
    ([*IN_PROTOCOL, "ports", 0], {}),
    ([*IN_PROTOCOL, "icmpTypes", 0, "codes"], KeyError),
    ([*IN_PROTOCOL, "icmpTypes", 0, "type"], [0, 255]),
    ([*IN_PROTOCOL, "tcpFlags", 0, "mask"], 255),
    (["srcPrefix", 0], "2001:DB8::/32"),
    (["length", 0], 65535),
    (["dscp", 0], [0, 63]),
]
BAD_FILTERS = [
    *[([name], 1) for name in FILTER],
    *[([name], None) for name in FILTER if name != "fragment"],
    (["extra"], []),
    (["destPrefix", 0], "*"),
    (["destPrefix", 0], "10.0.0.0/08"),
    (["srcPrefix", 0], None),
    (["protocols", 0], 6),
    ([*IN_PROTOCOL, "extra"], []),
    ([*IN_PROTOCOL, "protocol"], KeyError),
    ([*IN_PROTOCOL, "protocol"], 256),
    ([*IN_PROTOCOL, "ports", 0], 80),
    ([*IN_PROTOCOL, "ports", 0, "extra"], []),
    ([*IN_PROTOCOL, "ports", 0, "srcPort"], 80),
    ([*IN_PROTOCOL, "ports", 0, "srcPort", 0], 65536),
    ([*IN_PROTOCOL, "ports", 0, "destPort", 1, 1], 65536),
    ([*IN_PROTOCOL, "icmpTypes", 0, "type"], KeyError),
    ([*IN_PROTOCOL, "icmpTypes", 0, "type"], 256),
    ([*IN_PROTOCOL, "icmpTypes", 0, "codes", 0], 256),
    ([*IN_PROTOCOL, "icmpTypes", 0, "extra"], []),
    ([*IN_PROTOCOL, "tcpFlags", 0, "flag"], KeyError),
    ([*IN_PROTOCOL, "tcpFlags", 0, "mask"], KeyError),
    ([*IN_PROTOCOL, "tcpFlags", 0, "flag"], 256),
    ([*IN_PROTOCOL, "tcpFlags", 0, "mask"], -1),
    ([*IN_PROTOCOL, "tcpFlags", 0, "extra"], 0),
    (["length", 0], [64]),
    (["length", 0], [64, 65, 66]),
    (["length", 0], 1.5),
    (["dscp", 0], 64),
    (["fragment"], "any"),
]


def changed(sound, path, value):
    key = copy.deepcopy(sound)
    place = key
    for step in path[:-1]:
        place = place[step]
    if value is KeyError:
        del place[path[-1]]
    else:
        place[path[-1]] = value
    return key


def main(program, schema_path, filter_schema_path, rules_folder):
    schema = json.loads(Path(schema_path).read_text())
    Draft202012Validator.check_schema(schema)
    key_schema = Draft202012Validator(schema)
    filter_schema = Draft202012Validator(json.loads(Path(filter_schema_path).read_text()))
    Draft202012Validator.check_schema(filter_schema.schema)
    line_schema = Draft202012Validator({**schema, "$ref": "#/$defs/line"})

    def run(arguments, text, command="key"):
        return subprocess.run(
            [program, command, *arguments], input=text, capture_output=True, text=True, check=False
        )

    faults = []

    def check(what, wanted, found):
        if wanted != found:
            faults.append(f"{what}: expected {wanted}, found {found}")

    for expected, changes in ((True, GOOD), (False, BAD)):
        for path, value in changes:
            key = changed(KEY, path, value)
            text = json.dumps(key)
            check(f"the schema on {text}", expected, key_schema.is_valid(key))
            check(f"flowspecctl on {text}", expected, run(["--from", "json"], text).returncode == 0)

    for expected, changes in ((True, GOOD_FILTERS), (False, BAD_FILTERS)):
        for path, value in changes:
            packet_filter = changed(FILTER, path, value)
            text = json.dumps(packet_filter)
            check(f"the schema on {text}", expected, filter_schema.is_valid(packet_filter))
            found = run([], text, "convert").returncode == 0
            check(f"flowspecctl on {text}", expected, found)

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
    if len(sys.argv) != 5:
        sys.exit(__doc__)
    sys.exit(main(*sys.argv[1:]))
