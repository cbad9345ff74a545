#!/usr/bin/env python3
"""Tells which branches the tests do not take, file by file, and fails when an area has less than it
must have, or when justified.txt names a line that is gone.

usage: report.py [--mcdc] ROOT EXPORT

EXPORT is what `llvm-cov export` says about the sources under ROOT. A branch is one outcome of one
condition; one that is the same for all instances of a template counts once, and is taken when one of
them takes it. With --mcdc a condition counts in its place: whether a test shows that it decides.
"""

import json
import sys
from collections import defaultdict
from pathlib import Path

# Percent of its branches that the tests must take in an area, a little below what they do, so that
# new work is not stopped by one branch, and what is wanted. Raise the first number with the tests.
# Tests that use up the memory do not run under AddressSanitizer. What talks to the kernel is tested
# where it has namespaces and nf_tables, which not every machine does.
AREAS = {
    "Flowspec": (99.7, 100.0),
    "platform": (99.7, 100.0),
    "wire": (99.4, 100.0),
    "match": (99.0, 100.0),
    "forms": (98.3, 100.0),
    "dataplane": (96.5, 95.0),
    "tools/terminal": (96.0, 100.0),
    "tools/state": (98.5, 100.0),
    "agents": (93.5, 95.0),
    "agents/programd/netlink": (0.0, 95.0),
    "agents/programd/nftables": (0.0, 95.0),
}
# The same for conditions that decide by themselves.
MCDC_AREAS = {
    "Flowspec": (96.0, 90.0),
    "platform": (90.0, 90.0),
    "wire": (97.0, 90.0),
    "match": (95.0, 90.0),
    "forms": (0.0, 90.0),
    "dataplane": (0.0, 90.0),
    "tools/terminal": (0.0, 90.0),
    "tools/state": (0.0, 90.0),
    "agents": (0.0, 90.0),
    "agents/programd/netlink": (0.0, 90.0),
    "agents/programd/nftables": (0.0, 90.0),
}


def area_of(path, areas):
    """The area of a file: the innermost one."""
    return max((area for area in areas if path.startswith(area + "/")), key=len, default=None)


def outcomes(export, root):
    """{ path: { (line, place, outcome): count } } of all branches."""
    found = defaultdict(lambda: defaultdict(int))

    def count(path, line, place, branch):
        found[path][line, place, "true"] += branch[4]
        found[path][line, place, "false"] += branch[5]

    for file in files(export, root):
        path = file["path"]
        for branch in file["branches"]:
            count(path, branch[0], tuple(branch[1:4]), branch)
        # Branches inside a macro belong to the line that uses it.
        for use in file["expansions"]:
            region = use["source_region"]
            for index, branch in enumerate(use["branches"]):
                count(path, region[0], (region[1], index), branch)
    return found


def conditions(export, root):
    """{ path: { (line, place, number): whether it was shown to decide } }."""
    found = defaultdict(lambda: defaultdict(int))
    for file in files(export, root):
        for record in file.get("mcdc_records", []):
            for number, shown in enumerate(record[-1], 1):
                key = record[0], tuple(record[1:4]), f"condition {number}"
                found[file["path"]][key] += shown
    return found


def files(export, root):
    for file in export["data"][0]["files"]:
        path = Path(file["filename"])
        if path.is_relative_to(root):
            yield file | {"path": str(path.relative_to(root))}


class Justified:
    """Lines with branches that no test can take. The list names them by their text."""

    def __init__(self, path, root):
        self.errors = []
        self.lines = defaultdict(dict)  # path -> line number -> number in the list
        self.used = set()
        self.path = path
        for number, entry in enumerate(path.read_text().splitlines(), 1):
            if not entry or entry.startswith(("#", "   ")):
                continue
            source, _, text = entry.partition(": ")
            at = [
                line
                for line, content in enumerate((root / source).read_text().splitlines(), 1)
                if content.strip() == text
            ] if (root / source).is_file() else []
            if len(at) != 1:
                self.errors.append(f"{path.name}:{number}: {len(at)} lines of {source} are: {text}")
            for line in at:
                self.lines[source][line] = number

    def holds(self, path, line):
        number = self.lines.get(path, {}).get(line)
        self.used.add(number)
        return number is not None

    def unused(self):
        return [
            f"{self.path.name}:{number}: the tests take all branches of {path}:{line}"
            for path, lines in self.lines.items()
            for line, number in lines.items()
            if number not in self.used
        ]


def main(arguments):
    mcdc = arguments[:1] == ["--mcdc"]
    if len(arguments) != 2 + mcdc:
        sys.exit(__doc__.split("\n\n")[1])
    root, export = (Path(argument).resolve() for argument in arguments[-2:])
    read, areas = (conditions, MCDC_AREAS) if mcdc else (outcomes, AREAS)
    found = read(json.loads(export.read_text()), root)
    justified = Justified(Path(__file__).with_name("justified.txt"), root)

    errors = justified.errors
    table = []
    for area, (least, wanted) in areas.items():
        taken = total = 0
        for path in sorted(found):
            if area_of(path, areas) != area:
                continue
            source = (root / path).read_text().splitlines()
            missing = defaultdict(list)
            for (line, place, outcome), count in sorted(found[path].items(), key=str):
                if not count and justified.holds(path, line):
                    continue
                total += 1
                taken += bool(count)
                if not count:
                    missing[line].append(outcome)
            if missing:
                number = sum(map(len, missing.values()))
                print(f"\n{path}: {number} not taken")
                for line, which in sorted(missing.items()):
                    print(f"{line:6} {', '.join(which):12}  {source[line - 1].strip()}")
        percent = 100.0 * taken / total if total else 0.0
        table.append(f"{area:24} {taken:6} of {total:6}  {percent:6.2f} %  (wanted {wanted:g} %)")
        if percent < least:
            errors.append(f"{area} has {percent:.2f} % and must have {least:.2f} %")
    if not mcdc:
        print("\n" + "\n".join(justified.unused()))
    print("\n" + ("conditions shown to decide" if mcdc else "branches taken"))
    print("\n".join(table))
    for error in errors:
        print(f"error: {error}", file=sys.stderr)
    return 1 if errors else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
