#!/usr/bin/env python3
"""Runs what a section of a page shows, in a network namespace of its own.

usage: documented.py PAGE SECTION PROGRAM BINARIES...

BINARIES are the daemons and tools of this build, which the page calls by their names. A code block
after a line that is the name of a file and a colon is that file. In a block of the language `console`
each line that begins with "$ " is a command: one that ends with "&" runs beside the others, any other
is to end with status 0 and to print what stands below it, and is run again until it does. The whole
ends with status 77, and says why, when PROGRAM is not installed or there are no namespaces.
"""

import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

PATIENCE = 40  # seconds for one command
ADDRESSES = ["192.0.2.%d/32" % host for host in range(1, 6)]


def section_of(page, title):
    parts = re.split(r"^## (.*)$", Path(page).read_text(), flags=re.M)
    return dict(zip(parts[1::2], parts[2::2]))[title]


def blocks_of(text):
    """Name of the file or None, language, content."""
    pattern = r"(?:^`([^`\n]+)`:\n\n)?^```(\w*)\n(.*?)^```$"
    return re.findall(pattern, text, flags=re.M | re.S)


def commands_of(block):
    commands = []
    for line in block.splitlines():
        if line.startswith("$ "):
            commands.append((line[2:], []))
        else:
            commands[-1][1].append(line)
    return commands


def enter_namespaces(arguments):
    """All that is started ends with this process, whatever ends it. /proc tells of these processes:
    a sanitizer looks its own up there."""
    unshare = ["unshare", "--net", "--pid", "--mount-proc", "--fork", "--kill-child"]
    if os.geteuid() != 0:
        unshare.append("--map-root-user")
    if subprocess.run([*unshare, "true"], stderr=subprocess.DEVNULL).returncode != 0:
        print("there are no namespaces")
        return 77
    sys.stdout.flush()
    os.execvp(unshare[0], [*unshare, sys.executable, __file__, "--inside", *arguments])


def wrap(folder, binary):
    """A program of this build, with the socket of this run."""
    path = folder / "bin" / Path(binary).name
    path.write_text(f'#!/bin/sh\nexec {binary} "$@" --socket {folder}/statedb.sock\n')
    path.chmod(0o755)


def run(folder, command, expected, environment):
    end = time.monotonic() + PATIENCE
    while True:
        done = subprocess.run(
            command, shell=True, cwd=folder, env=environment, text=True,
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=PATIENCE,
        )
        got = [line.rstrip() for line in done.stdout.splitlines()]
        if done.returncode == 0 and (not expected or got == expected):
            return True
        if time.monotonic() > end:
            print(f"$ {command}\nstatus {done.returncode}\n" + "\n".join(got))
            print("expected:\n" + "\n".join(expected))
            return False
        time.sleep(0.1)


def inside(page, title, program, *binaries):
    subprocess.run(["ip", "link", "set", "lo", "up"], check=True)
    for address in ADDRESSES:
        subprocess.run(["ip", "address", "add", address, "dev", "lo"], check=True)
    started = []
    with tempfile.TemporaryDirectory(prefix="flowspec-page-") as name:
        folder = Path(name)
        folder.chmod(0o755)
        (folder / "bin").mkdir()
        for binary in binaries:
            wrap(folder, binary)
        environment = {**os.environ, "PATH": f"{folder}/bin:{os.environ['PATH']}:/usr/sbin:/usr/lib/frr"}
        environment["exabgp.log.level"] = "ERR"

        def start(command):
            with open(folder / "log", "a") as log:
                started.append(subprocess.Popen(
                    command, shell=True, cwd=folder, env=environment, stdin=subprocess.DEVNULL,
                    stdout=log, stderr=log, start_new_session=True,
                ))

        try:
            start(f"statedbd --state-dir {folder}/state")
            for file, language, content in blocks_of(section_of(page, title)):
                if file:
                    (folder / file).write_text(content)
                    continue
                for command, expected in commands_of(content) if language == "console" else []:
                    if command.endswith(" &"):
                        start(command[:-2])
                    elif not run(folder, command, expected, environment):
                        print((folder / "log").read_text())
                        return 1
            return 0
        finally:
            for process in reversed(started):
                os.killpg(process.pid, signal.SIGKILL)
                process.wait()


def main(arguments):
    if arguments[0] == "--inside":
        return inside(*arguments[1:])
    program = arguments[2]
    if not shutil.which(program, path=f"{os.environ['PATH']}:/usr/sbin:/usr/lib/frr"):
        print(f"{program} is not installed")
        return 77
    return enter_namespaces(arguments)


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
