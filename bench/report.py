#!/usr/bin/env python3
"""Runs the benchmarks and prints each figure beside its rival, with the target.

usage: report.py [--quick] [--only PROGRAM] BUILD-FOLDER

A figure is the median CPU time of one item over repetitions that are interleaved at random, so that
a machine with other work slows figure and rival alike; or the memory that one member takes.
"""

import argparse
import json
import statistics
import subprocess
import sys
from pathlib import Path

# Program, work, figure, rival, how many times faster or smaller than the rival it is to be. Below 1:
# it may take longer than the rival.
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
    ("RuntimeBench", "create and drop a counted object", "createCounted", "createShared", 3),
    ("RuntimeBench", "create and drop an entity", "createEntity", "createShared", None),
    ("RuntimeBench", "one more reference", "referenceEntity", "referenceShared", 8),
    ("RuntimeBench", "set an attribute to its value", "setSame", "setSamePlain", 1 / 2),
    ("RuntimeBench", "set an attribute to another value", "setOther", "setOtherPlain", 1 / 5),
    ("RuntimeBench", "sanitise a rule", "sanitize", "copyMatchSet", 1),
]
for size in (100_000, 1_000_000):
    for rival in ("StdMap", "AbslMap"):
        for work, wanted in (("find", 1.9), ("insert", 1.3), ("iterate", 3)):
            FIGURES.append(
                (
                    "OrderedMapBench",
                    f"{work}, {size:,} rules in order, {rival}",
                    f"{work}< OrderedMap >/{size}",
                    f"{work}< {rival} >/{size}",
                    wanted,
                )
            )
    FIGURES.append(
        (
            "OrderedMapBench",
            f"memory of one of {size:,} rules in order, AbslMap",
            f"memory< OrderedMap >/{size}",
            f"memory< AbslMap >/{size}",
            1,
        )
    )
for kind in ("Numbers", "Rules"):
    for work, wanted in (("find", 1), ("insert", 1.3), ("memory", None)):
        FIGURES.append(
            (
                "HashMapBench",
                f"{work}, 1,000,000 {kind.lower()} hashed, Absl{kind}",
                f"{work}< {kind} >/1000000",
                f"{work}< Absl{kind} >/1000000",
                wanted,
            )
        )

FIGURES.append(
    (
        "HashMapBench",
        "sort 1,000,000 rules hashed, by whole keys",
        "sorted/1000000",
        "sortedByWholeKeys/1000000",
        2,
    )
)

FIGURES += [
    ("LogBench", work, f"{figure}/1000000", f"{rival}/1000000", wanted)
    for work, figure, rival, wanted in (
        ("a record to bytes and back, FlatBuffers", "encodeDecode", "encodeDecodeFlat", 2.5),
        ("a record to bytes and back, Protocol Buffers", "encodeDecode", "encodeDecodeProto", 6),
        ("all records to bytes and back, memcpy", "encodeAllDecodeAll", "copyEncoded", 0.4),
        ("a record through a socket", "throughSocket", "throughSocketProto", 2.3),
        ("refresh an unchanged record, look-up", "refreshUnchanged", "lookUp", 1 / 1.5),
        ("synchronise a rule status, sender", "synchroniseSending", "encodeTheSameBytes", 0.5),
        (
            "synchronise a rule status, receiver",
            "synchroniseReceiving",
            "decodeAndInsertTheSameBytes",
            0.5,
        ),
    )
]
FIGURES += [
    (
        "LogBench",
        "a change to 100 connections, three to one and 100 copies",
        "changeTo100",
        "threeChangesTo1AndCopies",
        1,
    ),
    ("LogBench", "dump a rule status of 100,000", "dump/100000", "dumpPlain/100000", 3),
]
FIGURES += [
    (
        "LogBench",
        f"a change beside {readers} stalled readers, for each; beside one",
        f"changeBesideStalled/{readers}",
        "changeBesideStalled/1",
        None,
    )
    for readers in (100, 300, 1000)
]
FIGURES += [
    (
        "LogBench",
        "a record that comes and goes before a stalled reader, before none",
        "comeAndGo/1",
        "comeAndGo/0",
        None,
    ),
    (
        "LogBench",
        "begin a transaction of 100,000 records, of 10",
        "beginTransaction/100000",
        "beginTransaction/10",
        None,
    ),
]
FIGURES += [
    ("MatchBench", "match a packet, 1,000 rules, slow", "matcher/1000", "slow/1000", 20),
    ("MatchBench", "match a packet, 1,000 rules, one by one", "matcher/1000", "linear/1000", None),
    ("MatchBench", "match a packet, 10 rules", "matcher/10", None, None),
    ("MatchBench", "match a packet, 100 rules", "matcher/100", None, None),
    ("MatchBench", "match a packet, 10,000 rules", "matcher/10000", None, None),
    ("MatchBench", "match a packet, 100,000 rules", "matcher/100000", None, None),
    ("MatchBench", "ranges for one victim, 1,000 rules", "victim/1000", None, None),
    ("MatchBench", "ranges for one victim, 10,000, one by one", "victim/10000", "linearVictim/10000", None),
    ("MatchBench", "ranges for one victim, 100,000 rules", "victim/100000", None, None),
    ("MatchBench", "nested prefixes, 1,000 rules", "nested/1000", None, None),
    ("MatchBench", "nested prefixes, 10,000, one by one", "nested/10000", "linearNested/10000", None),
    ("MatchBench", "nested prefixes, 100,000 rules", "nested/100000", None, None),
    ("MatchBench", "a rule leaves 100,000 and comes back", "changeMixed", None, None),
    ("MatchBench", "the same, ranges for one victim", "changeVictim", None, None),
    ("MatchBench", "memory of one of 100,000 rules", "memoryMixed", None, None),
    ("MatchBench", "the same, ranges for one victim", "memoryVictim", None, None),
    ("MatchBench", "read a packet", "parse", None, None),
    ("MatchBench", "build a matcher of 10,000 rules, per rule", "buildMatcher/10000", None, None),
]

for kind, what in (("", "each with a destination"), ("OfOneDestination", "of one destination")):
    FIGURES += [
        (
            "OverlapsBench",
            f"look for what hides a rule, {size:,} {what}; beside 1,000",
            f"overlaps{kind}/{size}",
            f"overlaps{kind}/1000",
            None,
        )
        for size in (10, 10_000, 100_000)
    ]

FIGURES += [
    ("WireBench", "read an NLRI, plain decoder", "decodeRules", "decodeRulesPlain", 10),
    ("WireBench", "read an NLRI, memcpy of its octets", "decodeRules", "copyRules", 1 / 8),
    ("WireBench", "write an NLRI, memcpy of its octets", "encodeRules", "copyRules", 1 / 9),
]
FIGURES += [
    ("FilingBench", "read a rule's line, JSON parser", "readRuleLines", "parseRuleLines", None),
    ("FilingBench", "file a rule, taken apart alone", "fileRules", "takeApart", None),
    ("FilingBench", "file it again unchanged", "fileUnchanged", "takeApart", None),
]
FIGURES += [
    ("RouteBench", "take a rule of a peer", "announceRules", None, None),
    ("RouteBench", "take it and its withdrawal", "announceAndWithdrawRules", None, None),
    ("RouteBench", "take it and withdraw it with its session", "loseSession", None, None),
    ("RouteBench", "announce a rule of ours, first and last", "announceOurs", None, None),
]

# Those with a million members are filled anew for every repetition, and rules filed anew.
REPETITIONS = {"OrderedMapBench": 5, "HashMapBench": 7, "LogBench": 5, "FilingBench": 7, "RouteBench": 7}


def names(program):
    """The benchmarks of a program that the table shows."""
    return {name for row in FIGURES if row[0] == program for name in row[2:4] if name}


def measure(build, program, quick):
    """The median of each benchmark of a program: nanoseconds for an item, or bytes."""
    wanted = "|".join(sorted(names(program)))
    run = subprocess.run(
        [
            build / "bench" / program,
            "--benchmark_format=json",
            f"--benchmark_filter=^({wanted})$",
            f"--benchmark_min_time={0.01 if quick else 0.1}",
            f"--benchmark_repetitions={2 if quick else REPETITIONS.get(program, 21)}",
            "--benchmark_enable_random_interleaving=true",
        ],
        stdout=subprocess.PIPE,
        check=True,
    )
    values = {}
    for row in json.loads(run.stdout)["benchmarks"]:
        if row["run_type"] == "iteration":
            memory = row.get("bytesPerKey", row.get("bytesPerMember"))
            value = (row["perItem"] * 1e9, "ns") if memory is None else (memory, "bytes")
            values.setdefault(row["run_name"], []).append(value)
    return {
        name: (statistics.median(value for value, _ in found), found[0][1])
        for name, found in values.items()
    }


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--quick", action="store_true", help="short rounds, rough figures")
    parser.add_argument("--only", metavar="PROGRAM", help="the figures of one program")
    parser.add_argument("build", type=Path)
    options = parser.parse_args()

    figures = [row for row in FIGURES if options.only in (None, row[0])]
    programs = dict.fromkeys(row[0] for row in figures)
    medians = {p: measure(options.build, p, options.quick) for p in programs}
    missed = 0
    print("| work | figure | rival | factor | wanted | |")
    print("|---|---|---|---|---|---|")
    for program, work, figure, rival, wanted in figures:
        ours, unit = medians[program][figure]
        cells = [work, f"{ours:.1f} {unit}", "", "", "", ""]
        if rival:
            theirs, _ = medians[program][rival]
            cells[2:4] = [f"{theirs:.1f} {unit}", f"{theirs / ours:.2f}"]
            if wanted:
                met = theirs / ours >= wanted
                missed += not met
                cells[4:6] = [f"{wanted:g}", "met" if met else "MISSED"]
        print("| " + " | ".join(cells) + " |")
    return 1 if missed and not options.quick else 0


sys.exit(main())
