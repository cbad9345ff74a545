#!/usr/bin/env python3
"""Compares what a shared library exports with a list that stands in the repository.

usage: symbols.py [--update] LIST LIBRARY

The list holds the demangled names of what the library alone defines, functions and data, in their
order, one a line; --update writes it. What its users may define too (inline functions, instances of
templates, virtual tables and type information) is passed over: it changes with compiler and
optimisation. But no instance of the standard library's templates is exported: another library's would
be replaced by it.
"""

import difflib
import re
import subprocess
import sys
from pathlib import Path

OWN = re.compile(r"[0-9a-f]+ [TDBR] (?!vtable for |VTT for |typeinfo )(.*)")


# Data, functions and type information of the standard library, however their mangled names begin.
STANDARD = re.compile(r"[0-9a-f]+ . _Z(GV|T[ISV])?Z?(NK?)?(S[abst]|9__gnu_cxx)")


def symbols_of(library, *options):
    return subprocess.run(
        ["nm", "--dynamic", "--defined-only", *options, library],
        stdout=subprocess.PIPE, text=True, check=True,
    ).stdout.splitlines()


def exported(library):
    """The demangled names of a library's own dynamic symbols, sorted."""
    symbols = symbols_of(library, "--demangle")
    return sorted({match.group(1) for match in map(OWN.fullmatch, symbols) if match})


def main():
    update = sys.argv[1] == "--update"
    path, library = sys.argv[1 + update :]
    standard = [symbol for symbol in symbols_of(library) if STANDARD.match(symbol)]
    if standard:
        print("of the standard library:", *standard, sep="\n")
        return 1
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
