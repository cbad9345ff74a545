#!/usr/bin/env python3
"""Fails when an object file of the libraries runs code at load time.

usage: initialisers.py OBJECT...

Everything that the libraries keep is constant-initialised, so that loading them costs nothing and
no order of initialisation can go wrong. The sources that register the modules are the exception.
"""

import subprocess
import sys


MODULES = ("FlowspecDalbModule.cc", "FlowspecPolicyModule.cc", "PeersModule.cc")


def main():
    faults = 0
    for path in sys.argv[1:]:
        sections = subprocess.run(
            ["readelf", "--section-headers", "--wide", path],
            stdout=subprocess.PIPE, text=True, check=True,
        ).stdout
        registers = any(module in path for module in MODULES)
        if (" .init_array" in sections) != registers:
            faults += 1
            print(f"{path}: has {'no' if registers else 'a'} dynamic initialiser")
    print(f"{len(sys.argv) - 1} objects read, {faults} faults")
    return 1 if faults or len(sys.argv) == 1 else 0


sys.exit(main())
