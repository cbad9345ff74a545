#!/usr/bin/env python3
"""Compares what a shared library exports with a list that stands in the repository.

usage: symbols.py [--update] LIST LIBRARY

The list holds demangled names in their order, one a line; --update writes it. Instantiations of
the standard library's templates are passed over: they change with compiler and optimisation.
"""

import difflib
import re
import subprocess
import sys
from pathlib import Path

STANDARD = re.compile(r"_Z(T[ISV]|GV|Z)?N?K?(St|9__gnu_cxx)")


def lines_of(*command, text=None):
    return subprocess.run(
        command, input=text, stdout=subprocess.PIPE, text=True, check=True
    ).stdout.splitlines()


def exported(library):
    """The demangled names of a library's dynamic symbols, sorted."""
    symbols = lines_of("nm", "--dynamic", "--defined-only", "--format=just-symbols", library)
    own = [symbol for symbol in symbols if not STANDARD.match(symbol)]
    return sorted(set(lines_of("c++filt", text="\n".join(own))))


def main():
    update = sys.argv[1] == "--update"
    path, library = sys.argv[1 + update :]
    actual = exported(library)
    if update:
        Path(path).write_text("\n".join(actual) + "\n")
        return 0
    listed = Path(path).read_text().splitlines()
    difference = list(difflib.unified_diff(listed, actual, "listed", "exported", n=0, lineterm=""))
    for line in difference:
        print(line)
    if difference:
        print(f"When the change is meant: {sys.argv[0]} --update {path} {library}")
    return 1 if difference else 0


sys.exit(main())
