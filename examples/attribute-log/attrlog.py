"""The frame of the attribute log (docs/attribute-log.md): greeting, messages, types and values."""

import socket
import struct

MAGIC, VERSION = 0x56454B4C, 1
TYPES, ROOT, CHILD, ATTRIBUTE, MEMBER, TRANSACTION, SYNCHRONISED = range(1, 8)
REMOVED = 1
START, END = 0, 2
PREAMBLE = struct.Struct(">IHHQ")
HEADER = struct.Struct(">IBQHB")
MAX_LINE, MAX_TYPES, MAX_PAYLOAD = 1024, 1 << 16, 1 << 24


class Fault(Exception):
    """Why a connection is of no use."""


def connect(endpoint):
    """A socket that is connected to the path of a Unix socket or to ADDRESS:PORT."""
    if "/" in endpoint:
        connection = socket.socket(socket.AF_UNIX)
        connection.connect(endpoint)
        return connection
    address, port = endpoint.split(":")
    return socket.create_connection((address, int(port)))


def read_line(stream):
    """A line of the database without its end."""
    line = stream.readline(MAX_LINE)
    if not line.endswith(b"\n"):
        raise Fault("the state database closed the connection")
    return line[:-1].decode("ascii", "backslashreplace")


def greet(connection, doing, agent, root):
    """Greets, and returns the stream of what the database sends."""
    connection.sendall(f"mount/1 {doing} {agent} {root}\n".encode())
    stream = connection.makefile("rb")
    reply = read_line(stream)
    if reply != "ok":
        raise Fault(reply)
    return stream


def digest(text):
    """64-bit FNV-1a."""
    value = 0xCBF29CE484222325
    for byte in text:
        value = (value ^ byte) * 0x100000001B3 % (1 << 64)
    return value


def message(kind, entity=0, field=0, payload=b"", flags=0):
    return HEADER.pack(len(payload), kind, entity, field, flags) + payload


def preamble(types):
    """The beginning of a stream: the preamble and the types."""
    return PREAMBLE.pack(MAGIC, VERSION, 0, digest(types)) + message(TYPES, payload=types)


def take(stream, size):
    data = stream.read(size)
    if len(data) < size:
        raise EOFError
    return data


def read_preamble(stream):
    """Reads up to the first message and returns the text of the types."""
    magic, version, zero, told = PREAMBLE.unpack(take(stream, PREAMBLE.size))
    if (magic, version, zero) != (MAGIC, VERSION, 0):
        raise Fault("this is not version 1 of the attribute log")
    length, kind, entity, field, flags = HEADER.unpack(take(stream, HEADER.size))
    if (kind, entity, field, flags) != (TYPES, 0, 0, 0) or length > MAX_TYPES:
        raise Fault("the first message does not tell the types")
    text = take(stream, length)
    if digest(text) != told:
        raise Fault("the types do not have the digest that was told")
    return text.decode("ascii")


def read_message(stream):
    length, kind, entity, field, flags = HEADER.unpack(take(stream, HEADER.size))
    if length > MAX_PAYLOAD:
        raise Fault(f"a payload of {length} bytes is too long")
    return kind, entity, field, flags, take(stream, length)


class Row:
    """A field of an entity type."""

    def __init__(self, line):
        self.id, self.name, self.kind, shape = line.split(" ", 3)
        self.id = int(self.id)
        self.key, _, self.value = shape.rpartition(" -> ")


class Type:
    def __init__(self, line):
        self.name, self.kind, parameters = line.split(" ", 2)
        self.parameters = [p for p in parameters[1:-1].split(", ") if p]
        self.rows = {}


def parse_types(text):
    """The types by their names."""
    types = {}
    current = None
    for line in text.splitlines():
        if line.startswith("  "):
            row = Row(line[2:])
            current.rows[row.id] = row
        else:
            current = Type(line)
            types[current.name] = current
    return types


class Payload:
    """A cursor over a payload."""

    def __init__(self, data):
        self.data, self.at = data, 0

    def take(self, size):
        if size > len(self.data) - self.at:
            raise Fault(f"{size} bytes are wanted, {len(self.data) - self.at} are left")
        self.at += size
        return self.data[self.at - size : self.at]

    def unpack(self, form):
        values = struct.unpack(">" + form, self.take(struct.calcsize(">" + form)))
        return values[0] if len(values) == 1 else list(values)

    def list(self, read):
        return [read() for _ in range(self.unpack("I"))]

    def end(self):
        if self.at != len(self.data):
            raise Fault(f"{len(self.data) - self.at} bytes too many")


class Decoder:
    """Reads values by the names of their types."""

    PLAIN = {
        "bool": "?", "U8": "B", "U16": "H", "U32": "I", "U64": "Q", "float": "f",
        "Vek::Duration": "d", "Osk::UniqueId": "Q", "Zorv::AddressFamily": "I",
        "Zorv::IntfId": "Q", "Zorv::RouteDistinguisher": "Q", "Zorv::IpTos": "B",
        "QosLib::ColoredCounters": "11Q", "PolicyMap::PoliceRate": "Q",
        "PolicyMap::PoliceBurstSize": "Q", "PolicyMap::Dscp": "B",
        "Flowspec::TrafficAction": "I", "Flowspec::ActionFieldSet": "I",
        "Flowspec::FlowspecIntfSetId": "?H", "Flowspec::IntfErrorKey": "QI",
    }

    def __init__(self, types):
        self.types = types

    def value(self, name, data):
        if name in self.PLAIN:
            return data.unpack(self.PLAIN[name])
        special = getattr(self, name.replace("::", "_"), None)
        if special:
            return special(data)
        if name not in self.types:
            return data.unpack("I")  # an enumeration or a set of flags
        if not self.types[name].parameters:
            raise Fault(f"the encoding of {name} is not known")
        return [self.value(parameter, data) for parameter in self.types[name].parameters]

    def Vek_String(self, data):
        return data.take(data.unpack("I")).decode("utf-8", "backslashreplace")

    def Zorv_IpGenAddr(self, data):
        family, octets = data.unpack("I"), data.take(16)
        if family == 0:
            return None
        return socket.inet_ntop(*((socket.AF_INET, octets[:4]) if family == 1 else
                                  (socket.AF_INET6, octets)))

    def Zorv_IpGenPrefix(self, data):
        address, length = self.Zorv_IpGenAddr(data), data.unpack("I")
        return address and f"{address}/{length}"

    def SrTePolicy_PolicyKey(self, data):
        return [data.unpack("I"), self.Zorv_IpGenAddr(data)]

    def L3_ResolvedNexthopInfo(self, data):
        def via():
            return [self.Zorv_IpGenAddr(data), *data.unpack("QI?")]

        return [data.list(lambda: self.Zorv_IpGenAddr(data)), data.list(via)]

    def Flowspec_FlowspecKey(self, data):
        key = {"vrf": data.unpack("I"), "family": data.unpack("I"),
               "destination": self.Zorv_IpGenPrefix(data),
               "source": self.Zorv_IpGenPrefix(data), "words": {}}
        while (index := data.unpack("H")) != 2047:
            key["words"][index] = f"{data.unpack('I'):08x}"
        key["interfaceSets"] = data.list(lambda: data.unpack("H"))
        return key

    def Flowspec_MatchComponent(self, data):
        return {"type": data.unpack("I"), "prefix": self.Zorv_IpGenPrefix(data),
                "ranges": data.list(lambda: data.unpack("II")),
                "ipMasks": data.list(lambda: data.unpack("?HH")),
                "tcpMasks": data.list(lambda: data.unpack("?HH"))}

    def Flowspec_FlowspecIntfInterfaceSetConfig(self, data):
        return [data.unpack("Q"), data.list(lambda: data.unpack("?H"))]

    def Flowspec_UnsupportedQual(self, data):
        value = {"family": data.unpack("I"), "reasons": {}}
        while (component := data.unpack("I")) != 0:
            value["reasons"][component] = self.Vek_String(data)
        value["actions"] = data.unpack("I")
        return value
