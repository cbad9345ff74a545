#!/usr/bin/env python3
"""Compares the time to compile a file that includes FlowspecDalb.h with that of one which includes
four headers of the standard library: user CPU time, in turns, for every compiler that is there.

usage: includeTime.py [--quick]
"""

import argparse
import resource
import shutil
import statistics
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
OURS = ["Flowspec/FlowspecDalb.h"]
STANDARD = ["string", "vector", "optional", "functional"]
MOST = 2.3


def compile_time(compiler, headers):
    """The user CPU seconds to compile a file that includes the headers and has nothing else."""
    folders = [f"-I{ROOT / name}" for name in ("", "platform", "siblings")]
    command = [compiler, "-std=c++20", "-O2", *folders, "-x", "c++", "-c", "-", "-o", "/dev/null"]
    source = "".join(f"#include <{header}>\n" for header in headers)
    before = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime
    subprocess.run(command, input=source, text=True, check=True)
    return resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime - before


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n", maxsplit=1)[0])
    parser.add_argument("--quick", action="store_true", help="few rounds, no failure")
    options = parser.parse_args()

    missed = False
    print("| compiler | FlowspecDalb.h | standard headers | ratio | at most | |")
    print("|---|---|---|---|---|---|")
    for compiler in filter(shutil.which, ("g++", "clang++-14")):
        rounds = range(2 if options.quick else 15)
        pairs = [(compile_time(compiler, OURS), compile_time(compiler, STANDARD)) for _ in rounds]
        ours, theirs = (statistics.median(times) for times in zip(*pairs))
        met = ours <= MOST * theirs
        missed |= not met
        print(
            f"| {compiler} | {ours:.3f} s | {theirs:.3f} s | {ours / theirs:.2f} | {MOST} |"
            f" {'met' if met else 'MISSED'} |"
        )
    return 1 if missed and not options.quick else 0


sys.exit(main())
