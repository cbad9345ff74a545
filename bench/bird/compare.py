#!/usr/bin/env python3
"""Compares the CPU time that flowspecctl takes to convert rules with the time that `bird -p` takes
to read the same rules as static flow routes, whole processes, in turns.

usage: compare.py [--quick] BUILD-FOLDER
"""

import argparse
import os
import statistics
import subprocess
import sys
import tempfile
from pathlib import Path


def run(command, output):
    """Runs a command to its end; returns its CPU seconds and its peak memory in MB."""
    with open(output, "wb") as out:
        process = subprocess.Popen(command, stdout=out)
        _, status, usage = os.wait4(process.pid, 0)
    if status != 0:
        sys.exit(f"{command[0]} failed")
    return usage.ru_utime + usage.ru_stime, usage.ru_maxrss / 1024


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--quick", action="store_true", help="few rules, one round")
    parser.add_argument("build", type=Path)
    options = parser.parse_args()
    count, rounds = (20_000, 1) if options.quick else (1_000_000, 7)

    with tempfile.TemporaryDirectory() as folder:
        folder = Path(folder)

        def write(rules):
            keys, routes = folder / f"{rules}.cli-len", folder / f"{rules}.conf"
            run([options.build / "bench/writeRules", str(rules), keys, routes], os.devnull)
            return keys, routes

        def convert(keys):
            output = folder / "values"
            key = [options.build / "tools/flowspecctl", "key"]
            result = run(key + ["--from", "cli-len", "--to", "value", keys], output)
            with open(keys, "rb") as lines, open(output, "rb") as values:
                if sum(1 for _ in lines) != sum(1 for _ in values):
                    sys.exit("flowspecctl did not convert every rule")
            return result

        def parse(routes):
            return run(["bird", "-p", "-c", routes], os.devnull)

        few, _ = write(count // 10)
        keys, routes = write(count)
        measured = [(convert(keys), parse(routes)) for _ in range(rounds)]
        (ours, memory), (theirs, bird_memory) = (
            [statistics.median(values) for values in zip(*runs)] for runs in zip(*measured)
        )
        _, memory_of_few = convert(few)

    factor = theirs / ours
    flat = memory < memory_of_few * 1.1
    print(f"{count} rules, medians of {rounds}; CPU time is user and system time")
    print("| program | CPU time for a rule | peak memory |")
    print("|---|---|---|")
    print(f"| `flowspecctl key --from cli-len --to value` | {ours / count * 1e9:.0f} ns | {memory:.1f} MB |")
    print(f"| the same, {count // 10} rules | | {memory_of_few:.1f} MB |")
    print(f"| `bird -p` | {theirs / count * 1e9:.0f} ns | {bird_memory:.1f} MB |")
    print()
    print(f"{factor:.1f} times faster, at least 4 wanted: {'met' if factor >= 4 else 'MISSED'}")
    print(f"memory independent of the number of rules: {'met' if flat else 'MISSED'}")
    return 0 if options.quick or (factor >= 4 and flat) else 1


sys.exit(main())
