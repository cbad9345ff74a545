#!/usr/bin/env python3
"""Fails when an object file of the libraries runs code at load time.

usage: initialisers.py OBJECT...

Everything that the libraries keep is constant-initialised, so that loading them costs nothing and
no order of initialisation can go wrong.
"""

import subprocess
import sys


def main():
    faults = 0
    for path in sys.argv[1:]:
        sections = subprocess.run(
            ["readelf", "--section-headers", "--wide", path],
            stdout=subprocess.PIPE, text=True, check=True,
        ).stdout
        if " .init_array" in sections:
            faults += 1
            print(f"{path}: has a dynamic initialiser")
    print(f"{len(sys.argv) - 1} objects read, {faults} faults")
    return 1 if faults or len(sys.argv) == 1 else 0


sys.exit(main())
