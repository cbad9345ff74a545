#!/usr/bin/env python3
"""Plants faults and tells which the tests do not notice.

usage: run.py SOURCES BUILD [PATH...]     plants them in SOURCES, of which BUILD is a build with Ninja
       run.py --check SOURCES [PATH...]   only looks for the texts that they replace
       run.py --copy FROM TO              makes TO what git knows of FROM, and touches only what differs

A list is made of blocks like this one, with a blank line between them:

   # What is wrong then, where the change alone does not tell.
   at platform/Vek/codec/LogReader.cc
   - length != 0 &&
   + length > 1 &&
   by platformTest LogReader*
   by FlowspecTest

The text after '- ', which may be a part of a line or several lines, is at one place of the file;
blanks at the beginning of lines do not count. The text after '+ ' takes its place; without it, the
text just goes. A line 'by' names a test program and which of its tests to run first; all of them run
when these pass. A fault that makes no difference has a line 'same' with the reason, and must survive.
"""

import re
import shutil
import subprocess
import sys
import time
from pathlib import Path

LIMIT = 600  # seconds for a test program; a fault may let it go on for ever
LISTS = Path(__file__).parent


class Fault:
    def __init__(self, where):
        self.where = where  # file and line of the list
        self.path = self.same = None
        self.old, self.new, self.programs = [], [], []

    def __str__(self):
        return f"{self.where}: {self.path}: {' '.join(self.old)} -> {' '.join(self.new)}"

    def plant(self, text):
        """The text with the fault in it; None unless there is one place for it."""
        pattern = r"\n[ ]*".join(re.escape(line) for line in self.old)
        found = re.findall(pattern, text)
        return re.sub(pattern, lambda _: "\n".join(self.new), text) if len(found) == 1 else None


def read_faults(paths):
    faults = []
    for file in sorted(LISTS.glob("*.txt")):
        fault = None
        for number, line in enumerate([*file.read_text().splitlines(), ""], 1):
            word, _, rest = line.partition(" ")
            if not line:
                fault = None
            elif word == "#":
                pass
            elif word == "at":
                fault = Fault(f"{file.name}:{number}")
                fault.path = rest
                faults.append(fault)
            elif fault and word in ("-", "+"):
                (fault.old if word == "-" else fault.new).append(rest)
            elif fault and word == "by":
                fault.programs.append(rest.split())
            elif fault and word == "same":
                fault.same = rest
            else:
                sys.exit(f"{file.name}:{number}: error: neither at, -, +, by nor same: {line}")
    for fault in faults:
        if not fault.old or not fault.programs:
            sys.exit(f"{fault.where}: error: a fault has a text that goes and a test program")
    faults = [f for f in faults if not paths or any(is_in(f.path, path) for path in paths)]
    if not faults:
        sys.exit("error: no fault is planted there")
    return faults


def is_in(path, folder):
    return Path(path).is_relative_to(folder)


def check(root, faults):
    """The faults that have a place; says which have none."""
    good = []
    for fault in faults:
        file = root / fault.path
        if not file.is_file():
            print(f"{fault.where}: error: there is no {fault.path}")
        elif fault.plant(file.read_text()) is None:
            print(f"{fault.where}: error: {fault.path} has not one place with: {' '.join(fault.old)}")
        else:
            good.append(fault)
    return good


def make(build, programs):
    command = ["ninja", "-C", build, "--quiet", *programs]
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)


def failing_test(root, build, program, pattern):
    """The first test that fails; None when all pass. The pattern must fit one at least."""
    command = [build / "tests" / program, "--gtest_brief=1", "--gtest_fail_fast"]
    command.append(f"--gtest_filter={pattern}")
    try:
        run = subprocess.run(command, cwd=root, capture_output=True, text=True, errors="replace",
                             timeout=LIMIT)
    except subprocess.TimeoutExpired:
        return f"{program} does not end within {LIMIT} s"
    failed = re.search(r"\[  FAILED  \] (\S+?),? ", run.stdout)
    if run.returncode:
        return failed[1] if failed else f"{program} ends with status {run.returncode}"
    if re.search(r"\b0 tests from 0 test suites", run.stdout) or "PASSED  ] 0 tests" in run.stdout:
        sys.exit(f"error: {program} has no test that fits {pattern}")
    return None


def noticed(root, build, fault):
    likely = [(program, ":".join(patterns)) for program, *patterns in fault.programs if patterns]
    for program, pattern in [*likely, *((program, "*") for program, *_ in fault.programs)]:
        if failed := failing_test(root, build, program, pattern):
            return failed
    return None


def run(root, build, faults):
    programs = sorted({program for fault in faults for program, *_ in fault.programs})
    built = make(build, programs)
    if built.returncode:
        sys.exit(built.stdout + "error: the sources do not build without a fault")
    for program, *patterns in sorted({tuple(p) for f in faults for p in f.programs if len(p) > 1}):
        if failed := failing_test(root, build, program, ":".join(patterns)):
            sys.exit(f"error: fails without a fault: {failed}")

    bad = []
    begin = time.monotonic()
    for fault in faults:
        file = root / fault.path
        original = file.read_text()
        try:
            file.write_text(fault.plant(original))
            built = make(build, [program for program, *_ in fault.programs])
            failed = None if built.returncode else noticed(root, build, fault)
        finally:
            file.write_text(original)
        if built.returncode:
            error = re.search(r"error: .*", built.stdout)
            verdict = f"DOES NOT COMPILE: {error[0] if error else built.stdout}"
        elif fault.same:
            verdict = f"NOTICED, but listed as the same: {failed}" if failed else "the same"
        else:
            verdict = f"noticed by {failed}" if failed else "SURVIVES"
        if verdict.split()[0].isupper():
            bad.append(f"{fault}: {verdict}")
        print(f"{time.monotonic() - begin:6.0f} s  {fault}: {verdict}", flush=True)

    same = sum(bool(fault.same) for fault in faults)
    print(f"\n{len(faults)} faults: {len(bad)} to look at, {same} listed as making no difference")
    print("\n".join(bad))
    return not bad


def copy(source, target):
    command = ["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"]
    listed = subprocess.run(command, cwd=source, check=True, capture_output=True, text=True).stdout
    names = {name for name in listed.split("\0") if name and (source / name).is_file()}
    for name in names:
        here, there = source / name, target / name
        if not there.is_file() or here.read_bytes() != there.read_bytes():
            there.parent.mkdir(parents=True, exist_ok=True)
            shutil.copyfile(here, there)
            shutil.copymode(here, there)
    for file in list(target.rglob("*")) if target.is_dir() else []:
        name = file.relative_to(target)
        if file.is_file() and name.parts[0] != "build" and str(name) not in names:
            file.unlink()


def main(arguments):
    if len(arguments) == 3 and arguments[0] == "--copy":
        copy(Path(arguments[1]), Path(arguments[2]))
        return 0
    only_check = arguments[:1] == ["--check"]
    if len(arguments) < 2:
        sys.exit(__doc__.split("\n\n")[1])
    root = Path(arguments[1 if only_check else 0]).resolve()
    faults = read_faults(arguments[2:])
    good = check(root, faults)
    if only_check:
        print(f"{len(faults)} faults, {len(good)} have their place")
        return len(good) != len(faults)
    done = run(root, Path(arguments[1]).resolve(), good)
    return not done or len(good) != len(faults)


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
