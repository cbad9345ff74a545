#!/usr/bin/env python3
"""Reads every #include line and fails on one that points the wrong way.

usage: layers.py ROOT

A source includes headers of its own layer and of the layers before it, always by the path from the
layer's include root. The libraries stand on the standard library and the system alone and include
each header once. A source includes the header of its name first, so that it compiles by itself.
"""

import re
import sys
from pathlib import Path

# Layer and folder, from the ground up.
LAYERS = [
    ("Osk", "platform/Osk"),
    ("Mell", "platform/Mell"),
    ("Vek", "platform/Vek"),
    ("Zorv", "platform/Zorv"),
    ("siblings", "siblings"),
    ("Flowspec", "Flowspec"),
    ("wire", "wire"),
    ("forms", "forms"),
    ("tools", "tools"),
    ("agents", "agents"),
    ("examples", "examples"),
    ("tests", "tests"),
    ("fuzz", "fuzz"),
    ("bench", "bench"),
]
LIBRARY_LAYERS = 7
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


def layer_of(path):
    """The layer's number of a path from the project's root, or None."""
    for number, (_, folder) in enumerate(LAYERS):
        if path.is_relative_to(folder):
            return number
    return None


def resolve(root, name):
    """The path from the project's root of the header that `name` stands for, or None."""
    for base in INCLUDE_ROOTS:
        path = Path(base) / name
        if ".." not in path.parts and (root / path).is_file():
            return path
    return None


def fault(root, layer, text):
    """What is wrong with an include of `text` in a source of `layer`, or None."""
    name = text[1:-1]
    if text[0] == "<":
        if resolve(root, name):
            return "a header of the project goes between quotes"
        if layer < LIBRARY_LAYERS and name not in STANDARD_HEADERS | SYSTEM_HEADERS:
            return "the libraries include the standard library only"
        return None
    if text[0] != '"':
        return "an include names its header"
    path = resolve(root, name)
    if path is None:
        return "no such header below an include root"
    target = layer_of(path)
    if target is None:
        return "the header stands in no layer"
    if target > layer:
        return f"{LAYERS[layer][0]} stands below {LAYERS[target][0]}"
    return None


def main():
    root = Path(sys.argv[1])
    sources, faults = 0, 0
    for layer, (_, folder) in enumerate(LAYERS):
        for source in sorted((root / folder).rglob("*")):
            if source.suffix not in (".h", ".cc"):
                continue
            sources += 1
            lines = source.read_text().splitlines()
            seen = set()
            own = source.with_suffix(".h")
            first = source.suffix == ".cc" and own.is_file()
            for number, line in enumerate(lines, start=1):
                match = INCLUDE.match(line)
                what = match and fault(root, layer, match.group(1))
                if match and match.group(1) in seen and layer < LIBRARY_LAYERS:
                    what = "included above"
                if match and first and root / (resolve(root, match.group(1)[1:-1]) or "") != own:
                    what = f"{own.name} comes first"
                if match:
                    first = False
                    seen.add(match.group(1))
                if what:
                    faults += 1
                    print(f"{source.relative_to(root)}:{number}: {line.strip()}: {what}")
    print(f"{sources} sources read, {faults} faults")
    return 1 if faults or not sources else 0


sys.exit(main())
