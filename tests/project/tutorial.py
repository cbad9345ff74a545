#!/usr/bin/env python3
"""Holds the tutorial of agents against the program that it builds, and runs its commands.

usage: tutorial.py SOURCES PREFIX COMPILER

The C++ blocks of the page are the pieces of the program, and with each section they compile. The
commands of its console blocks are run with the tree that is installed in PREFIX, in a folder of
their own, and what they print is compared. A daemon goes on running; the others end.
"""

import os
import re
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

DAEMONS = ("statedbd", "programd", "blockd")
PATIENCE = 120  # seconds
WARNINGS = "-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror"


def blocks(page):
    """The code blocks of a page: section, language and lines of each."""
    for number, section in enumerate(re.split(r"^## ", page, flags=re.M)):
        for language, text in re.findall(r"^```(\w+)\n(.*?)^```$", section, flags=re.M | re.S):
            yield number, language, text.splitlines()


def places(whole, piece):
    return [at for at in range(len(whole)) if whole[at : at + len(piece)] == piece]


def check_pieces(page, folder, compiler, flags):
    """That the C++ blocks are all of the program, and a program with each section."""
    program = (folder / "blockd.cc").read_text().splitlines()
    shown = {}  # section of each line
    for section, language, lines in blocks(page):
        if language == "cmake":
            assert lines == (folder / "CMakeLists.txt").read_text().splitlines(), lines
        if language == "cpp":
            found = places(program, lines)
            assert len(found) == 1, f"found {len(found)} times: {lines}"
            for line in range(found[0], found[0] + len(lines)):
                assert line not in shown, f"shown twice: {program[line]}"
                shown[line] = section
    missing = [line for at, line in enumerate(program) if line and at not in shown]
    assert not missing, f"not shown: {missing}"
    for last in sorted(set(shown.values()))[:-1]:  # the last one makes it whole
        part = "\n".join(program[at] for at in sorted(shown) if shown[at] <= last) + "\n"
        subprocess.run(
            [compiler, "-std=c++20", "-fsyntax-only", *flags, "-x", "c++", "-"],
            input=part, text=True, check=True,
        )


def until(condition, what):
    end = time.monotonic() + PATIENCE
    while not condition():
        assert time.monotonic() < end, f"waited in vain for {what()}"
        time.sleep(0.02)


class Terminal:
    """Runs commands in a folder, and ends the daemons among them."""

    def __init__(self, folder, environment):
        self.folder = folder
        self.environment = environment
        self.daemons = {}  # process and output file by name

    def start(self, command):
        name = Path(command.split()[0]).name
        output = self.folder / f"{name}.{len(self.daemons)}.output"
        with output.open("w") as file:
            # A daemon does not outlive this script, however that ends.
            process = subprocess.Popen(
                ["setpriv", "--pdeathsig", "KILL", "bash", "-c", f"exec {command}"],
                cwd=self.folder, env=self.environment, stdout=file, stderr=subprocess.STDOUT,
            )
        self.daemons[name] = (process, output)

    def lines(self, name):
        return self.daemons[name][1].read_text().splitlines()

    def end(self, name, number=signal.SIGTERM):
        process, output = self.daemons.pop(name)
        process.send_signal(number)
        status = process.wait(PATIENCE)
        assert status == 0, f"{name} ended with {status}:\n{output.read_text()}"

    def kill(self):
        for process, _ in self.daemons.values():
            process.kill()
            process.wait()

    def run(self, command):
        """What a command prints, and its status."""
        result = subprocess.run(
            ["bash", "-c", command], cwd=self.folder, env=self.environment, timeout=PATIENCE,
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
        )
        return result.stdout.splitlines(), result.returncode

    def try_command(self, command, shown):
        """Runs a command of the page; `shown` is what it is to print, nothing when it is left out."""
        is_daemon = Path(command.split()[0]).name in DAEMONS and "||" not in command
        if is_daemon:
            self.start(command)
            name = list(self.daemons)[-1]
            # Two connections stand in any order.
            until(
                lambda: sorted(self.lines(name)) == sorted(shown),
                lambda: f"{shown}, not {self.lines(name)}",
            )
            return
        printed, status = self.run(command)
        assert status == 0, f"{command}: status {status}\n{printed}"
        assert not shown or printed == shown, f"{command}: {printed}, not {shown}"


def transcript(page):
    """The commands of the console blocks, each with the lines that it prints."""
    commands = []
    for _, language, lines in blocks(page):
        for line in lines if language == "console" else []:
            if line.startswith("$ "):
                commands.append((line[2:], []))
            else:
                commands[-1][1].append(line)
    return commands


def check_program(terminal, commands):
    """What the page tells in words, once its commands were run."""
    shown = dict(commands)
    database, _, agent = [
        next(command for command in shown if Path(command.split()[0]).name == name)
        for name in DAEMONS
    ]
    dump = next(command for command in shown if " dump " in command)
    assert sorted(terminal.lines("blockd")) == sorted(shown[agent]), terminal.lines("blockd")

    terminal.end("statedbd")
    terminal.start(database)
    until(lambda: terminal.run(dump) == (shown[dump], 0), lambda: terminal.run(dump))
    terminal.end("blockd")

    # The next one is told what is there; some of it again when programd was not done.
    terminal.run("sed -i '$d' blocks.txt")
    terminal.start(agent)
    until(
        lambda: set(terminal.lines("blockd")) == set(shown[agent]),
        lambda: f"{shown[agent]}, not {terminal.lines('blockd')}",
    )
    terminal.end("blockd", signal.SIGINT)

    program = agent.split()[0]
    for arguments, status, message in (
        ("", 2, "blockd: usage: blockd FILE [ENDPOINT [ROOT]]"),
        ("a b/c d e", 2, "blockd: usage: blockd FILE [ENDPOINT [ROOT]]"),
        ("blocks.txt b", 2, "blockd: 'b' is neither a path with a '/' nor 127.0.0.1:PORT"),
        ("missing", 1, "blockd: cannot read missing: No such file or directory"),
        (".", 1, "blockd: cannot read .: Is a directory"),
    ):
        result = terminal.run(f"{program} {arguments}")
        assert result == ([message], status), f"blockd {arguments}: {result}"


def main():
    sources, prefix = Path(sys.argv[1]).resolve(), Path(sys.argv[2])
    compiler = sys.argv[3]
    page = (sources / "docs/writing-an-agent.md").read_text()
    flags = subprocess.run(
        ["pkg-config", "--cflags", "FlowspecDalbTypes"],
        stdout=subprocess.PIPE, text=True, check=True,
    ).stdout.split()
    check_pieces(page, sources / "examples/agent", compiler, flags)

    commands = transcript(page)
    environment = os.environ | {
        "PATH": f"{prefix}/bin:{os.environ['PATH']}",
        "CMAKE_PREFIX_PATH": str(prefix),
        "CMAKE_GENERATOR": "Ninja",
        "CXX": compiler,
        "CXXFLAGS": WARNINGS,
    }
    with tempfile.TemporaryDirectory() as folder:
        terminal = Terminal(Path(folder), environment)
        (terminal.folder / "examples").symlink_to(sources / "examples")
        try:
            for command, shown in commands:
                terminal.try_command(command, shown)
            check_program(terminal, commands)
        finally:
            terminal.kill()
    return 0


sys.exit(main())
