#!/usr/bin/env python3
"""Compiles sources with a mistake in a table of rows, and reads what the compiler says.

usage: refused.py ROOT COMPILER...

The first line of each source, "// error: TEXT", is the one error that every COMPILER reports; those
that are not installed are left out, but for the first. With FIXED, the source compiles.
"""

import os
import shutil
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path


def compile(root, compiler, source, *options):
    command = [compiler, "-std=c++20", "-fsyntax-only", f"-I{root}/platform", f"-I{root}", *options, source]
    return subprocess.run(command, capture_output=True, text=True, env={**os.environ, "LC_ALL": "C"})


def faults(root, compiler, source):
    expected = source.read_text().partition("\n")[0].removeprefix("// error: ")
    fixed = compile(root, compiler, source, "-DFIXED")
    if fixed.returncode:
        return f"{source.name}: {compiler}: does not compile when it is fixed:\n{fixed.stderr}"
    refused = compile(root, compiler, source)
    errors = [line for line in refused.stderr.splitlines() if "error:" in line]
    if not refused.returncode:
        return f"{source.name}: {compiler}: compiles, but should say: {expected}"
    if len(errors) != 1 or expected not in errors[0]:
        text = "\n".join(errors)
        return f"{source.name}: {compiler}: says\n{text}\ninstead of: {expected}"
    return None


def main():
    root = Path(sys.argv[1])
    # Each once, by whatever name.
    known = {Path(p).resolve(): p for p in map(shutil.which, reversed(sys.argv[2:])) if p}
    compilers = list(reversed(known.values()))
    sources = sorted((Path(__file__).parent / "refused").glob("*.cc"))
    with ThreadPoolExecutor(2) as pool:
        jobs = [pool.submit(faults, root, c, s) for c in compilers for s in sources]
    found = [job.result() for job in jobs if job.result()]
    print("\n".join(found))
    print(f"{len(sources)} sources, {len(compilers)} compilers, {len(found)} faults")
    return 1 if found or not sources else 0


sys.exit(main())
