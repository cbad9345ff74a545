#!/usr/bin/env python3
"""Writes packets.pcap: for each rule of rules.jsonl that packets can match some that do, and
ordinary traffic among them. The file is the same each time.

usage: packets.py [--check]

With --check nothing is written; the exit status tells whether the file is up to date. Frames are
cut off behind their headers; transport checksums are left 0.
"""

import ipaddress
import json
import random
import struct
import sys
from pathlib import Path

FOLDER = Path(__file__).parent
CAPTURE = FOLDER / "packets.pcap"
FRAMES_PER_RULE, CONVERSATIONS = 4, 50
SNAPLEN = 96
FIRST_SECOND, MICROSECONDS_APART = 1735732800, 1700

ICMP, TCP, UDP, FRAGMENT, ICMP6 = 1, 6, 17, 44, 58
TOP = {"icmpType": 255, "icmpCode": 255, "tcpFlags": 255, "dscp": 63, "flowLabel": 0xFFFFF}
# Don't fragment, other than the first, first, last.
FRAGMENTS = {4: (0, 1, 2, 4, 10), 6: (0, 2, 4, 10)}
LENGTHS = (60, 120, 400, 576, 1000, 1280, 1500, 4000)

# Who has 100.64.7.254?
ARP = bytes.fromhex("ffffffffffff02000000000a0806000108000604000102000000000a64400701"
                    "000000000000644007fe").ljust(60, b"\0")


class Packet:
    """The header fields of one packet; `fragment` has the bits of a fragment term."""

    def __init__(self, source, destination, protocol, **fields):
        self.version = ipaddress.ip_address(source).version
        self.source, self.destination, self.protocol = source, destination, protocol
        self.ports, self.icmp, self.flags = (0, 0), (0, 0), 0x10
        self.dscp = self.fragment = self.label = 0
        self.length = 0  # the shortest that holds the headers when it is less
        self.hop_by_hop, self.vlan = False, None
        vars(self).update(fields)

    def transport(self, before):
        """The header behind `before` bytes; nothing in a later fragment."""
        if self.fragment & 2:
            return b""
        if self.protocol == TCP:
            return struct.pack("!HHIIHHHH", *self.ports, 1, 1, 5 << 12 | self.flags, 8192, 0, 0)
        if self.protocol == UDP:
            return struct.pack("!HHHH", *self.ports, max(8, self.length - before), 0)
        if self.protocol == (ICMP if self.version == 4 else ICMP6):
            return struct.pack("!BBHI", *self.icmp, 0, 1)
        return b""

    def offset_and_more(self):
        """Of a fragment, as IPv6 has them; IPv4's offset is in the same unit, 8 bytes."""
        return (185 << 3 if self.fragment & 2 else 0) | (self.fragment in (2, 4))

    def ipv4(self):
        transport = self.transport(20)
        length = max(self.length, 20 + len(transport))
        word = self.offset_and_more()
        word = (self.fragment & 1) << 14 | (word & 1) << 13 | word >> 3
        header = bytearray(struct.pack("!BBHHHBBH4s4s", 0x45, self.dscp << 2, length, 1, word, 64,
                                       self.protocol, 0, packed(self.source),
                                       packed(self.destination)))
        total = sum(struct.unpack("!10H", header))
        total = (total & 0xFFFF) + (total >> 16)
        header[10:12] = struct.pack("!H", ~((total & 0xFFFF) + (total >> 16)) & 0xFFFF)
        return bytes(header) + transport, length

    def ipv6(self):
        extensions = bool(self.fragment) + self.hop_by_hop
        chain, following = self.transport(40 + 8 * extensions), self.protocol
        if self.fragment:
            chain = struct.pack("!BBHI", following, 0, self.offset_and_more(), 7) + chain
            following = FRAGMENT
        if self.hop_by_hop:
            chain = bytes((following, 0, 1, 4, 0, 0, 0, 0)) + chain
            following = 0
        length = max(self.length, 40 + len(chain))
        header = struct.pack("!IHBB16s16s", 6 << 28 | self.dscp << 22 | self.label, length - 40,
                             following, 64, packed(self.source), packed(self.destination))
        return header + chain, length

    def frame(self):
        """What is captured of the Ethernet frame, and its length on the wire."""
        headers, length = self.ipv4() if self.version == 4 else self.ipv6()
        link = bytes.fromhex("02000000000102000000000a")
        if self.vlan is not None:
            link += struct.pack("!HH", 0x8100, self.vlan)
        link += struct.pack("!H", 0x0800 if self.version == 4 else 0x86DD)
        wire = max(60, len(link) + length)
        return (link + headers).ljust(min(wire, SNAPLEN), b"\0")[:SNAPLEN], wire


def packed(address):
    return ipaddress.ip_address(address).packed


def numeric_holds(op, term, value):
    return op & 4 and value < term or op & 2 and value > term or op & 1 and value == term


def bitmask_holds(op, term, value):
    found = value & term == term if op & 1 else value & term != 0
    return found != bool(op & 2)


class Attack:
    """Draws packets that match one rule."""

    def __init__(self, rule, draw):
        self.rule, self.draw = rule, draw
        self.version = 4 if rule["addressFamily"] == "ipv4" else 6
        self.terms = {}
        for term in rule["terms"]:
            self.terms.setdefault(term["type"], []).append((term["op"], term["value"]))

    def has(self, *types):
        return not self.terms.keys().isdisjoint(types)

    def holds(self, component, value):
        """Whether one of the alternatives, terms joined by AND, holds."""
        test = bitmask_holds if component in ("tcpFlags", "fragment") else numeric_holds
        groups = []
        for op, term in self.terms.get(component, ()):
            if not op & 0x40 or not groups:
                groups.append(True)
            groups[-1] = groups[-1] and test(op, term, value)
        return any(groups) or component not in self.terms

    def values(self, component, usual):
        """Those of the usual values that hold, and values at the bounds of the terms."""
        if component not in self.terms:
            return usual
        bounds = {term + step for _, term in self.terms[component] for step in (-1, 0, 1)}
        bounds |= set(range(256)) if component == "tcpFlags" else set()
        return [each for each in sorted(bounds | set(usual))
                if 0 <= each <= TOP.get(component, 65535) and self.holds(component, each)]

    def value(self, component, usual):
        return self.draw.choice(self.values(component, usual))

    def protocols(self):
        icmp = ICMP if self.version == 4 else ICMP6
        usual = {icmp, TCP, UDP}
        usual &= {TCP} if self.has("tcpFlags") else usual
        usual &= {icmp} if self.has("icmpType", "icmpCode") else usual
        usual &= {TCP, UDP} if self.has("port", "destPort", "srcPort") else usual
        return [each for each in sorted(usual) if self.holds("ipProto", each)]

    def ports(self):
        usual = (80, 443, self.draw.randrange(1024, 65536), self.draw.randrange(1024, 65536))
        if self.has("port"):
            usual += tuple(self.values("port", usual))
        pairs = [(source, destination) for source in self.values("srcPort", usual)
                 for destination in self.values("destPort", usual)
                 if self.holds("port", source) or self.holds("port", destination)]
        return self.draw.choice(pairs)

    def address(self, prefix):
        if prefix is None:
            prefix = "198.18.0.0/15" if self.version == 4 else "2001:db8:f::/48"
        network = ipaddress.ip_network(prefix)
        return network[self.draw.randrange(min(network.num_addresses, 1 << 16))]

    def packet(self):
        """A packet that matches; `IndexError` when there is none."""
        headed = self.has("port", "destPort", "srcPort", "icmpType", "icmpCode", "tcpFlags")
        fragment = self.draw.choice([each for each in FRAGMENTS[self.version]
                                     if self.holds("fragment", each) and
                                     (self.has("fragment") or each < 2) and
                                     not (headed and each & 2)])
        packet = Packet(self.address(self.rule["srcPrefix"]), self.address(self.rule["destPrefix"]),
                        self.draw.choice(self.protocols()), fragment=fragment, ports=self.ports())
        packet.icmp = (self.value("icmpType", (0, 3, 8) if self.version == 4 else (1, 128, 129)),
                       self.value("icmpCode", (0, 1)))
        packet.flags = self.value("tcpFlags", (0x02, 0x10, 0x18))
        packet.dscp = self.value("dscp", (0, 0, 10))
        packet.label = self.value("flowLabel", (0, 0x12345)) if self.version == 6 else 0
        shortest = packet.ipv4()[1] if self.version == 4 else packet.ipv6()[1]
        packet.length = self.draw.choice([each for each in self.values("packetLength", LENGTHS)
                                          if each >= shortest])
        return packet


def conversation(draw):
    """A client and a server talk: web, TLS, name service or ping."""
    number, high = draw.randrange(1, 250), draw.randrange(32768, 61000)
    if draw.random() < 0.6:
        client, server, icmp, ping = f"100.64.7.{number}", f"198.51.101.{number % 9}", ICMP, (8, 0)
    else:
        client, server = f"2001:db8:c::{number:x}", f"2001:db8:5::{number % 9:x}"
        icmp, ping = ICMP6, (128, 129)
    service, flags = draw.choice(((80, (0x02, 0x12, 0x10, 0x18, 0x18, 0x11)),
                                  (443, (0x02, 0x12, 0x10, 0x18, 0x18)), (53, None), (0, None)))
    more = {"vlan": 20 if service == 443 and draw.random() < 0.3 else None,
            "hop_by_hop": icmp == ICMP6 and service == 53, "dscp": draw.choice((0, 0, 0, 46))}
    for index in range(len(flags or "12")):
        back = index % 2
        ends = (server, client) if back else (client, server)
        ports = (service, high) if back else (high, service)
        length = draw.choice((140, 800, 1500)) if back else 0
        if service == 0:
            yield Packet(*ends, icmp, icmp=(ping[back], 0), length=84, **more)
        elif flags is None:
            yield Packet(*ends, UDP, ports=ports, length=60 + length // 4, **more)
        else:
            yield Packet(*ends, TCP, ports=ports, flags=flags[index], length=length, **more)


def capture():
    draw = random.Random(8955)
    attacks, ordinary = [], []
    for line in (FOLDER / "rules.jsonl").read_text().splitlines():
        attack = Attack(json.loads(line), draw)
        try:
            attacks += [attack.packet() for _ in range(FRAMES_PER_RULE)]
        except IndexError:
            pass  # no packet matches
    for _ in range(CONVERSATIONS):
        ordinary += conversation(draw)
    draw.shuffle(attacks)
    sources = [iter(attacks)] * len(attacks) + [iter(ordinary)] * len(ordinary)
    draw.shuffle(sources)
    frames = [(ARP, len(ARP))] + [next(source).frame() for source in sources]
    out = struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, SNAPLEN, 1)
    for index, (frame, length) in enumerate(frames):
        seconds, microseconds = divmod(index * MICROSECONDS_APART, 1000000)
        out += struct.pack("<IIII", FIRST_SECOND + seconds, microseconds, len(frame), length)
        out += frame
    return out


def main(arguments):
    if arguments == ["--check"]:
        return CAPTURE.read_bytes() != capture()
    if arguments:
        sys.exit(__doc__)
    CAPTURE.write_bytes(capture())
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
