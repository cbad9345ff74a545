#!/usr/bin/env python3
"""Runs the benchmarks and prints each figure beside its rival, with the target.

usage: report.py [--quick] BUILD-FOLDER

A figure is the median CPU time of one item over repetitions that are interleaved at random, so that
a machine with other work slows figure and rival alike.
"""

import argparse
import json
import statistics
import subprocess
import sys
from pathlib import Path

# Program, work, figure, rival, how many times faster than the rival it is to be.
FIGURES = [
    ("KeyTextBench", "read the command-line form with lengths", "readCliLen", "readCliLenPlain", 5),
    ("KeyTextBench", "read the command-line form", "readCliText", "readCliTextPlain", None),
    ("KeyTextBench", "read the value form", "readValue", "readValuePlain", 6),
    ("KeyTextBench", "read the diagnostic form", "readDiagnostic", None, None),
    ("KeyTextBench", "write the command-line form", "writeCliLen", "writeCliLenPlain", 10),
    ("KeyTextBench", "write the value form", "writeValue", "writeValuePlain", None),
    ("KeyTextBench", "write the detail form", "writeDetail", None, None),
    ("KeyTextBench", "write the diagnostic form", "writeDiagnostic", None, None),
    ("KeyBench", "equality of six-word keys", "equality", "equalityPlain", 6),
    ("KeyBench", "copy of a six-word key", "copy", "copyPlain", 10),
    ("KeyBench", "find one of 100,000 rules in a set", "findInSet", None, None),
    ("KeyBench", "find one of 100,000 rules in a hash set", "findInHashSet", None, None),
    ("KeyBench", "sort 100,000 rules, per rule", "sortRules", None, None),
    ("KeyHashBench", "hash of a six-word key, XXH3 called", "hash", "hashXxh3", 1),
    ("KeyHashBench", "hash of a six-word key, XXH3 inlined", "hash", "hashXxh3Inline", None),
]


def measure(program, quick):
    """The median of each benchmark of a program, in nanoseconds for an item."""
    run = subprocess.run(
        [
            program,
            "--benchmark_format=json",
            f"--benchmark_min_time={0.01 if quick else 0.1}",
            f"--benchmark_repetitions={3 if quick else 21}",
            "--benchmark_enable_random_interleaving=true",
        ],
        stdout=subprocess.PIPE,
        check=True,
    )
    times = {}
    for row in json.loads(run.stdout)["benchmarks"]:
        if row["run_type"] == "iteration":
            times.setdefault(row["run_name"], []).append(row["perItem"] * 1e9)
    return {name: statistics.median(values) for name, values in times.items()}


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--quick", action="store_true", help="short rounds, rough figures")
    parser.add_argument("build", type=Path)
    options = parser.parse_args()

    programs = dict.fromkeys(row[0] for row in FIGURES)
    medians = {p: measure(options.build / "bench" / p, options.quick) for p in programs}
    missed = 0
    print("| work | time | rival | factor | wanted | |")
    print("|---|---|---|---|---|---|")
    for program, work, figure, rival, wanted in FIGURES:
        ours = medians[program][figure]
        cells = [work, f"{ours:.1f} ns", "", "", "", ""]
        if rival:
            theirs = medians[program][rival]
            cells[2:4] = [f"{theirs:.1f} ns", f"{theirs / ours:.2f}"]
            if wanted:
                met = theirs / ours >= wanted
                missed += not met
                cells[4:6] = [str(wanted), "met" if met else "MISSED"]
        print("| " + " | ".join(cells) + " |")
    return 1 if missed and not options.quick else 0


sys.exit(main())
