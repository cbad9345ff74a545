#!/usr/bin/env python3
"""Writes the configuration of an operator to a state database: replaces the root flowspec/cliconfig
by one in which some interfaces are enabled for IPv4 and IPv6, and have interface sets.

usage: writer.py ENDPOINT [INTERFACE[:SET,...]]...

INTERFACE and SET are numbers. It ends when the database has all.
"""

import struct
import sys

import attrlog
from attrlog import Fault

ROOT_NAME = "flowspec/cliconfig"
ROOT_TYPE = "Flowspec::CliConfig"
ENABLED, INTERFACE_SETS, LIMIT = 258, 260, 262  # fields

# The root's type and all that it is made of.
TYPES = b"""\
Flowspec::CliConfig root (Vek::String)
  258 enabledIntf collection Zorv::IntfId -> Flowspec::InterfaceEnableConfig
  259 counterUpdateRequestTime attribute Vek::Duration
  260 intfInterfaceSetConfig collection Zorv::IntfId -> Flowspec::FlowspecIntfInterfaceSetConfig
  261 sourceVrfOverride collection Zorv::IntfId -> Vek::String
  262 interfaceSetCountLimit attribute U32
  263 isConfigDriven attribute bool
Flowspec::FlowspecIntfInterfaceSetConfig value ()
  3 interfaceSet collection Flowspec::FlowspecIntfSetId -> nothing
Flowspec::FlowspecIntfSetId value ()
Flowspec::InterfaceEnableConfig value (Zorv::IntfId, Flowspec::IpVersion, Vek::String)
U32 value ()
Vek::Duration value ()
Vek::String value ()
Zorv::IntfId value ()
bool value ()
"""

NUMBER = 1  # of the root
IPV4, IPV6 = 1, 2  # flags of Flowspec::IpVersion


def string(text):
    data = text.encode()
    return struct.pack(">I", len(data)) + data


def enable_config(interface):
    return struct.pack(">QI", interface, IPV4 | IPV6) + string("")


def set_config(interface, sets):
    members = b"".join(struct.pack(">?H", True, number) for number in sorted(sets))
    return struct.pack(">QI", interface, len(sets)) + members


def collection(field, members):
    """A collection told whole: what is not in it goes."""
    yield attrlog.message(attrlog.TRANSACTION, NUMBER, field, bytes([attrlog.START]))
    for key, value in sorted(members.items()):
        yield attrlog.message(attrlog.MEMBER, NUMBER, field, struct.pack(">Q", key) + value)
    yield attrlog.message(attrlog.TRANSACTION, NUMBER, field, bytes([attrlog.END]))


def stream(interfaces):
    yield attrlog.preamble(TYPES)
    yield attrlog.message(attrlog.ROOT, NUMBER, payload=string(ROOT_TYPE) + string(ROOT_NAME))
    yield from collection(ENABLED, {number: enable_config(number) for number in interfaces})
    yield from collection(
        INTERFACE_SETS,
        {number: set_config(number, sets) for number, sets in interfaces.items() if sets})
    yield attrlog.message(attrlog.ATTRIBUTE, NUMBER, LIMIT, struct.pack(">I", 2))
    yield attrlog.message(attrlog.SYNCHRONISED)


def write(endpoint, interfaces):
    connection = attrlog.connect(endpoint)
    replies = attrlog.greet(connection, "write", "writer.py", ROOT_NAME)
    data = b"".join(stream(interfaces))
    connection.sendall(data)
    while (line := attrlog.read_line(replies)) != f"has {len(data)}":
        if not line.startswith("has "):
            raise Fault(line)


def parse(argument):
    interface, _, sets = argument.partition(":")
    return int(interface), {int(number) for number in sets.split(",") if number}


def main(arguments):
    try:
        endpoint, *interfaces = arguments
        interfaces = dict(map(parse, interfaces))
    except ValueError:
        print(__doc__, file=sys.stderr)
        return 2
    try:
        write(endpoint, interfaces)
    except (Fault, OSError) as error:
        print(f"writer.py: {error}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
