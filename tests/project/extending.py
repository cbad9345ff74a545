#!/usr/bin/env python3
"""Applies the patches of docs/extending.md to copies of the sources, builds and runs what they add.

usage: extending.py SOURCES COMPILER PLATFORM LIBRARIES...

SOURCES is the root of the project, PLATFORM is the library of the runtime, and LIBRARIES are those
above it and the objects of flowspecctl, from the build of the unchanged sources.

A section of the page has a patch (`diff`) and either a program (`cpp`) with what it prints (`text`) or
a command of flowspecctl (`console`). A patch of the types changes the libraries: they are compiled
anew, but for the runtime, and so are the sources of tools and agents that it changes, to see that
they still compile. Of the others only the new files are compiled, and flowspecctl's list.
"""

import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

FOLDERS = (
    "platform", "siblings", "Flowspec", "wire", "match", "forms", "dataplane", "tools", "agents"
)
# What a program with keys, match sets, octets and packets needs. The files of a folder are compiled in
# one go, which costs a third of the time, but for those that have names in their anonymous namespaces
# that others of the folder have, too.
LIBRARY = (
    "siblings/*/*.cc",
    "Flowspec/*.cc",
    "Flowspec/*/*.cc",
    "wire/Nlri*.cc",
    "wire/UsualNlri.cc",
    "match/Packet.cc",
    "match/RuleMatch.cc",
)
ALONE = ("FilterConversion.cc", "FlowspecPolicyModule.cc", "NlriEncoder.cc", "UsualNlri.cc")
COMMANDS = "tools/flowspecctl/Commands.cc"
FLAGS = "-std=c++20 -O0 -fPIC -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror".split()


class Section:
    def __init__(self, text):
        self.title = text.split("\n", 1)[0]
        blocks = dict(re.findall(r"^```(\w+)\n(.*?)^```$", text, flags=re.M | re.S))
        self.patch = blocks.get("diff")
        self.program = blocks.get("cpp")
        self.command, _, self.expected = blocks.get("console", "\n").partition("\n")
        self.expected = blocks.get("text", self.expected)

    def changes_library(self):
        return any(f"+++ b/{name}/" in self.patch for name in ("siblings", "Flowspec", "wire"))

    def changed_programs(self):
        """The sources of tools and agents that the patch changes."""
        return re.findall(r"^\+\+\+ b/((?:forms|dataplane|tools|agents)/\S+\.cc)$", self.patch, flags=re.M)


class Tree:
    """A copy of the sources with the patch of a section."""

    def __init__(self, sources, folder, compiler, section):
        self.root = folder
        self.compiler = compiler
        for name in FOLDERS:
            shutil.copytree(sources / name, folder / name)
        before = set(folder.rglob("*.cc"))
        subprocess.run(
            ["patch", "--strip=1", "--fuzz=0", "--no-backup-if-mismatch", "--quiet"],
            input=section.patch, text=True, check=True, cwd=folder,
        )
        self.added = sorted(set(folder.rglob("*.cc")) - before)

    def compile(self, text, name):
        target = self.root / f"{name}.o"
        roots = [f"-I{self.root / name}" for name in (".", "platform", "siblings")]
        command = [self.compiler, *FLAGS, *roots, '-DOSK_MODULE="FlowspecDalb"']
        subprocess.run(
            [*command, "-c", "-x", "c++", "-", "-o", target],
            input=text, text=True, check=True, cwd=self.root,
        )
        return target

    def compile_files(self, files, name):
        includes = (f'#include "{file.relative_to(self.root)}"\n' for file in files)
        return self.compile("".join(includes), name)

    def compile_library(self):
        groups = {}
        for pattern in LIBRARY:
            for path in sorted(self.root.glob(pattern)):
                group = path if path.name in ALONE else path.parent
                groups.setdefault(group.name, []).append(path)
        return [self.compile_files(files, name) for name, files in groups.items()]

    def run(self, objects, arguments, folder):
        program = self.root / "program"
        paths = {f"-Wl,-rpath,{Path(item).parent}" for item in objects if ".so" in Path(item).name}
        subprocess.run([self.compiler, *objects, *paths, "-o", program], check=True)
        result = subprocess.run(
            [program, *arguments], cwd=folder, capture_output=True, text=True, check=False
        )
        if result.returncode != 0:
            sys.exit(f"{program} ended with {result.returncode}:\n{result.stdout}{result.stderr}")
        return result.stdout + result.stderr


def output_of(section, tree, sources, platform, libraries):
    """What the program or the command of a section prints."""
    archives = [item for item in libraries if not item.endswith(".o")]
    if section.command:
        added = [tree.compile_files([path], path.stem) for path in tree.added]
        added.append(tree.compile_files([tree.root / COMMANDS], "Commands"))
        others = [item for item in libraries if item.endswith(".o")]
        others = [item for item in others if not item.endswith("/Commands.cc.o")]
        words = section.command.removeprefix("$ flowspecctl ").split()
        return tree.run([*added, *others, *archives, platform], words, sources)
    objects = [tree.compile(section.program, "main")]
    if section.changes_library():
        objects += tree.compile_library()
        for changed in section.changed_programs():
            tree.compile_files([tree.root / changed], Path(changed).stem)
    else:
        objects += [tree.compile_files([path], path.stem) for path in tree.added] + archives
    return tree.run([*objects, platform], [], sources)


def main():
    sources, compiler, platform, *libraries = sys.argv[1:]
    sources = Path(sources)
    page = (sources / "docs/extending.md").read_text()
    sections = [Section(text) for text in re.split(r"^## ", page, flags=re.M)[1:]]
    assert len(sections) >= 5, "sections are missing"
    for section in sections:
        with tempfile.TemporaryDirectory() as folder:
            tree = Tree(sources, Path(folder) / "tree", compiler, section)
            output = output_of(section, tree, sources, platform, libraries)
        assert output == section.expected, f"{section.title} printed:\n{output}"
        print(f"{section.title}: as the page says")


if __name__ == "__main__":
    main()
