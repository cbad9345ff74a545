#!/usr/bin/env python3
"""Reads every #include line and fails on one that points the wrong way.

usage: layers.py ROOT

A source includes headers of its own room and of the rooms before it, always by the path from the
layer's include root. The libraries use the standard library and the system alone and include each
header once. A source includes the header of its name first, so that it compiles by itself.
"""

import re
import sys
from pathlib import Path

# The rooms, from the ground up; a folder that is not named belongs to the one that it is in. Those of
# one line are beside each other and do not include one another.
ROOMS = """
    platform/Osk
    platform/Mell
    platform/Vek/text
    platform/Vek/codec
    platform/Vek/collections
    platform/Vek/types
    platform/Vek/entity
    platform/Vek/log
    platform/Vek/mount
    platform/Zorv
    siblings
    Flowspec/types
    Flowspec/vocab
    Flowspec/key
    Flowspec/config
    Flowspec/status
    Flowspec/policy
    Flowspec
    peers
    wire
    match
    forms
    dataplane
    tools/terminal agents/daemon agents/bgp/message agents/filing
    tools/state agents/statedbd agents/configd agents/programd agents/bgp/session agents/peerd/policy
    agents/peerd/rib
    agents/peerd
    tools/flowspecctl
    examples
    tests
    fuzz
    bench
"""
FLOORS = [line.split() for line in ROOMS.strip().splitlines()]
FIRST_OF_PROGRAMS = FLOORS.index(["forms"])
# Neither is built on the other, whatever their rooms.
APART = {"tools", "agents"}
INCLUDE_ROOTS = ("platform", "siblings", ".")

STANDARD_HEADERS = set(
    """
    algorithm any array atomic barrier bit bitset charconv chrono compare complex concepts
    condition_variable coroutine deque exception execution filesystem format forward_list fstream
    functional future initializer_list iomanip ios iosfwd iostream istream iterator latch limits
    list locale map memory memory_resource mutex new numbers numeric optional ostream queue random
    ranges ratio regex scoped_allocator semaphore set shared_mutex source_location span sstream
    stack stdexcept stop_token streambuf string string_view strstream syncstream system_error
    thread tuple type_traits typeindex typeinfo unordered_map unordered_set utility valarray
    variant vector version
    cassert cctype cerrno cfenv cfloat cinttypes climits clocale cmath csetjmp csignal cstdarg
    cstddef cstdint cstdio cstdlib cstring ctime cuchar cwchar cwctype
    """.split()
)
# What the libraries take from the system where the standard library has nothing.
SYSTEM_HEADERS = {
    "arpa/inet.h",
    "emmintrin.h",
    "fcntl.h",
    "netinet/in.h",
    "poll.h",
    "pthread.h",
    "sys/socket.h",
    "sys/stat.h",
    "sys/un.h",
    "unistd.h",
}

INCLUDE = re.compile(r'^\s*#\s*include\s*(<[^>]*>|"[^"]*"|.*)')


def room_of(path):
    """The floor's number and the room of a path from the project's root, or None."""
    rooms = [
        (number, room)
        for number, floor in enumerate(FLOORS)
        for room in floor
        if path.is_relative_to(room)
    ]
    return max(rooms, key=lambda found: len(found[1]), default=None)


def is_library(place):
    return place[0] < FIRST_OF_PROGRAMS


def resolve(root, name):
    """The path from the project's root of the header that `name` stands for, or None."""
    for base in INCLUDE_ROOTS:
        path = Path(base) / name
        if ".." not in path.parts and (root / path).is_file():
            return path
    return None


def fault(root, own, text):
    """What is wrong with an include of `text` in a source of the room `own`, or None."""
    name = text[1:-1]
    if text[0] == "<":
        if resolve(root, name):
            return "a header of the project goes between quotes"
        if is_library(own) and name not in STANDARD_HEADERS | SYSTEM_HEADERS:
            return "the libraries include the standard library only"
        return None
    if text[0] != '"':
        return "an include names its header"
    path = resolve(root, name)
    if path is None:
        return "no such header below an include root"
    target = room_of(path)
    if target is None:
        return "the header is in no room"
    if target[1] == own[1]:
        return None
    if target[0] > own[0]:
        return f"{own[1]} comes before {target[1]}"
    if target[0] == own[0] or {target[1].split("/")[0], own[1].split("/")[0]} == APART:
        return f"{own[1]} and {target[1]} are beside each other"
    return None


def main():
    root = Path(sys.argv[1])
    sources, faults = 0, 0
    for source in sorted(
        file
        for top in sorted({room.split("/")[0] for floor in FLOORS for room in floor})
        for file in (root / top).rglob("*")
        if file.suffix in (".h", ".cc")
    ):
        own_room = room_of(source.relative_to(root))
        sources += 1
        lines = source.read_text().splitlines()
        seen = set()
        own = source.with_suffix(".h")
        first = source.suffix == ".cc" and own.is_file()
        for number, line in enumerate(lines, start=1):
            match = INCLUDE.match(line)
            what = "the source is in no room" if own_room is None else None
            if match and own_room:
                what = fault(root, own_room, match.group(1))
                if match.group(1) in seen and is_library(own_room):
                    what = "included above"
            if match and first and root / (resolve(root, match.group(1)[1:-1]) or "") != own:
                what = f"{own.name} comes first"
            if match:
                first = False
                seen.add(match.group(1))
            if what:
                faults += 1
                print(f"{source.relative_to(root)}:{number}: {line.strip()}: {what}")
            if own_room is None:
                break
    print(f"{sources} sources read, {faults} faults")
    return 1 if faults or not sources else 0


sys.exit(main())
