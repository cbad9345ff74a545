#!/usr/bin/env python3
"""Computes what the daemons are to make of rules, a profile and a capture: all of it from the
definitions, the slow way.

usage: model.py RULES PROFILE CAPTURE INTERFACE

RULES is a file that configd reads. Prints an object for each of its rules, on a line each: "line"
is the rule's in the file, from 1 on, and "outcome" is "refused", "infeasible" with the component
at fault as "component", or the status code, and then "packets" and "bytes" count the packets of
CAPTURE that came in on INTERFACE. "matching" is how many of these the rule matches, whatever rules
there are beside it.
"""

import functools
import ipaddress
import itertools
import json
import struct
import sys
from pathlib import Path

COMPONENTS = ("destPrefix", "srcPrefix", "ipProto", "port", "destPort", "srcPort", "icmpType",
              "icmpCode", "tcpFlags", "packetLength", "dscp", "fragment", "flowLabel")
TYPE = {name: number for number, name in enumerate(COMPONENTS, 1)}
BITMASKS = ("tcpFlags", "fragment")
BITS = 16
TOP = {"ipProto": 255, "port": 65535, "destPort": 65535, "srcPort": 65535, "icmpType": 255,
       "icmpCode": 255, "packetLength": 65535, "dscp": 63, "flowLabel": (1 << 20) - 1,
       "tcpFlags": 65535, "fragment": 65535}
PORTS = ("port", "destPort", "srcPort")
TCP, UDP = 6, 17
ICMP = {"ipv4": 1, "ipv6": 58}


def alternatives(terms):
    """The terms of a component, (op, value), as lists of those that AND joins."""
    groups = []
    for op, value in terms:
        if op & 0x40 and groups:
            groups[-1].append((op, value))
        else:
            groups.append([(op, value)])
    return groups


# Ranges of numbers: ascending (first, last), neither touching nor overlapping.


def ranges_of(holds, points, top):
    """Those of the numbers up to `top` that hold; this changes only at one of `points`."""
    ranges = []
    edges = sorted({0} | {point for point in points if 0 <= point <= top})
    for first, last in zip(edges, [edge - 1 for edge in edges[1:]] + [top]):
        if holds(first):
            if ranges and ranges[-1][1] == first - 1:
                first = ranges.pop()[0]
            ranges.append((first, last))
    return ranges


def numeric_holds(op, term, value):
    return bool(op & 4 and value < term or op & 2 and value > term or op & 1 and value == term)


def numeric_ranges(component, terms):
    groups = alternatives(terms)
    return ranges_of(lambda value: any(all(numeric_holds(*term, value) for term in group)
                                       for group in groups),
                     [value + step for _, value in terms for step in (0, 1)], TOP[component])


def prefix_count(first, last):
    """How few prefixes of numbers make up a range: always the largest that fits next."""
    count = 0
    while first <= last:
        size = 1
        while first % (size * 2) == 0 and first + size * 2 - 1 <= last:
            size *= 2
        first += size
        count += 1
    return count


# Masks: (all, bits that are set, bits that are tested). Any of the tested bits is as it should be
# when not all have to.


def bitmask_holds(op, term, value):
    found = value & term == term if op & 1 else value & term != 0
    return found != bool(op & 2)


def term_masks(op, value):
    """A term as (all, set, tested)."""
    wanted = 0 if op & 2 else value
    return (bool(op & 1) != bool(op & 2), wanted, value)


def masks_of(terms):
    """The masks that are alternatives of each other, each once."""
    masks = set()
    for group in alternatives(terms):
        parts = [term_masks(*term) for term in group]
        if len(parts) == 1:
            every, wanted, tested = parts[0]
            if tested.bit_count() == 1:
                every = True
            if every or tested:
                masks.add((every, wanted, tested))
            continue
        choices = []
        for every, wanted, tested in parts:
            single = [1 << bit for bit in range(BITS) if tested >> bit & 1]
            choices.append([(wanted, tested)] if every else
                           [(wanted & bit, bit) for bit in single])
        for chosen in itertools.product(*choices):
            tested = functools.reduce(lambda all_bits, part: all_bits | part[1], chosen, 0)
            wanted = functools.reduce(lambda all_bits, part: all_bits | part[0], chosen, 0)
            if all(wanted & part[1] == part[0] for part in chosen):
                masks.add((True, wanted, tested))
    return masks


class Rule:
    def __init__(self, line, fields):
        self.line = line
        self.family = fields["addressFamily"]
        self.vrf = fields["vrfId"]
        self.sets = fields["interfaceSet"]
        self.prefixes = {name: fields[name] and ipaddress.ip_network(fields[name], strict=False)
                         for name in ("destPrefix", "srcPrefix")}
        self.terms = {}
        for term in fields["terms"]:
            self.terms.setdefault(term["type"], []).append((term["op"], term["value"]))
        self.numeric = {name: numeric_ranges(name, terms) for name, terms in self.terms.items()
                        if name not in BITMASKS}
        self.masks = {name: masks_of(terms) for name, terms in self.terms.items()
                      if name in BITMASKS}
        self.actions = self.named_actions(fields.get("action", {}))
        self.result = {"line": line}
        self.counts = {"packets": 0, "bytes": 0, "matching": 0}

    @staticmethod
    def named_actions(action):
        """The names that a profile has for what is asked for."""
        redirect = action.get("redirect", {})
        rate = action.get("rateLimit", {})
        asked = {
            "trafficDrop": action.get("drop"), "trafficRate": "bytes" in rate,
            "trafficRatePkt": "packets" in rate, "trafficMarking": "markDscp" in action,
            "redirectVrf": "vrf" in redirect, "redirectAddr": "addr" in redirect,
            "redirectSrTePolicy": "srTePolicy" in redirect, "sample": action.get("sample"),
            "continue": action.get("continue"),
        }
        return {name for name, wanted in asked.items() if wanted} or {"trafficPermit"}

    def out_of_range(self):
        return any(value > TOP[name] for name, terms in self.terms.items() for _, value in terms)

    def has(self, *names):
        return any(name in self.terms for name in names)

    def sanitise(self):
        """Makes the protocols that other components ask for explicit; the component at fault."""
        for name in COMPONENTS:
            if name in self.terms and not (self.numeric.get(name) or self.masks.get(name)):
                return name
        asked = [("tcpFlags", ("tcpFlags",), {TCP}),
                 ("icmp", ("icmpType", "icmpCode"), {ICMP[self.family]}),
                 ("ports", PORTS, {TCP, UDP})]
        protocols = {number for number in range(256)
                     if "ipProto" not in self.terms or
                     any(first <= number <= last for first, last in self.numeric["ipProto"])}
        asked = [each for each in asked if self.has(*each[1])]
        left = functools.reduce(lambda sets, each: sets & each[2], asked, protocols)
        if asked and not left:
            return next(name for name in asked[0][1] if self.has(name))
        if asked:
            self.numeric["ipProto"] = ranges_of(lambda number: number in left,
                                                [n + step for n in left for step in (0, 1)], 255)
        return None

    def components(self):
        return ({name for name, prefix in self.prefixes.items() if prefix} |
                set(self.numeric) | set(self.masks))

    def entries(self):
        total = 1
        for ranges in self.numeric.values():
            total *= max(1, sum(prefix_count(*each) for each in ranges))
        for masks in self.masks.values():
            total *= max(1, sum(1 if every else tested.bit_count() for every, _, tested in masks))
        return total

    def holds(self, name, value):
        test = bitmask_holds if name in BITMASKS else numeric_holds
        return any(all(test(*term, value) for term in group)
                   for group in alternatives(self.terms[name]))

    def matches(self, packet):
        if packet["family"] != self.family:
            return False
        for name, prefix in self.prefixes.items():
            if prefix and packet[name] not in prefix:
                return False
        return all(any(self.holds(name, value) for value in packet[name]) for name in self.terms)


def component_bytes(rule, name):
    """A component as it stands in the NLRI, without its type."""
    wire = b""
    for op, value in rule.terms[name]:
        wire += bytes((op,)) + value.to_bytes(1 << (op >> 4 & 3), "big")
    return wire


def compare(a, b):
    """The order of RFC 8955 section 5.1: below 0 when `a` goes first."""
    for name in COMPONENTS:
        if name in a.prefixes:
            one, other = a.prefixes[name], b.prefixes[name]
            if one is None or other is None:
                if one is not other:
                    return -1 if one else 1
                continue
            if one == other:
                continue
            if one.overlaps(other):
                return other.prefixlen - one.prefixlen
            return -1 if one.network_address < other.network_address else 1
        present = name in a.terms, name in b.terms
        if present == (False, False):
            continue
        if present != (True, True):
            return -1 if present[0] else 1
        one, other = component_bytes(a, name), component_bytes(b, name)
        common = min(len(one), len(other))
        if one[:common] != other[:common]:
            return -1 if one[:common] < other[:common] else 1
        if one != other:
            return len(other) - len(one)
    return 0


def by_precedence(rules):
    groups = sorted({(rule.vrf, rule.family) for rule in rules})
    return [rule for group in groups
            for rule in sorted((each for each in rules if (each.vrf, each.family) == group),
                               key=functools.cmp_to_key(compare))]


def supported_actions(family):
    actions = set()
    for name in family["actions"]:
        actions |= {"trafficRedirect": {"redirectVrf", "redirectAddr", "redirectSrTePolicy"},
                    "trafficAction": {"sample", "continue"}}.get(name, {name})
    return actions


def program(rules, profile):
    """Gives each rule its status code; the rules in force, by precedence."""
    room, sets, in_force = profile["capacity"], set(), []
    for rule in by_precedence(rules):
        family = profile.get(rule.family)
        rule.done = rule.actions & supported_actions(family) if family else set()
        if family is None:
            code = "unsupportedTcamProfile"
        elif not rule.components() <= set(family["qualifiers"]):
            code = "unsupportedMatch"
        elif not rule.done:
            code = "unsupportedAction"
        elif len(sets | set(rule.sets)) > profile["interfaceSets"]:
            code = "intfSetResourceExhausted"
        elif rule.entries() > room:
            code = "resourceExhausted"
        else:
            room -= rule.entries()
            sets |= set(rule.sets)
            in_force.append(rule)
            code = "programmed" if rule.done == rule.actions else "programmedWithFailures"
        rule.result["outcome"] = code
    return in_force


# Packets: the values of each component, none for a field that is not there.


def transport(packet, protocol, data, icmp):
    if protocol in (TCP, UDP) and len(data) >= 4:
        source, destination = struct.unpack_from("!HH", data)
        packet.update(port=(source, destination), srcPort=(source,), destPort=(destination,))
    if protocol == TCP and len(data) >= 14:
        packet["tcpFlags"] = (int.from_bytes(data[12:14], "big") & 0xFFF,)
    if protocol == icmp and len(data) >= 2:
        packet.update(icmpType=(data[0],), icmpCode=(data[1],))


def fragment_bits(offset, more):
    return (2 if offset else 4 if more else 0) | (8 if offset and not more else 0)


def ipv4(packet, data):
    word = int.from_bytes(data[6:8], "big")
    offset = word & 0x1FFF
    packet.update(family="ipv4", dscp=(data[1] >> 2,), ipProto=(data[9],),
                  packetLength=(int.from_bytes(data[2:4], "big"),),
                  fragment=(fragment_bits(offset, word & 0x2000) | (word >> 14 & 1),),
                  srcPrefix=ipaddress.ip_address(data[12:16]),
                  destPrefix=ipaddress.ip_address(data[16:20]))
    if offset == 0:
        end = packet["packetLength"][0]
        transport(packet, data[9], data[(data[0] & 0xF) * 4:end], ICMP["ipv4"])


def ipv6(packet, data):
    word = int.from_bytes(data[:4], "big")
    length = 40 + int.from_bytes(data[4:6], "big")
    packet.update(family="ipv6", dscp=(word >> 22 & 63,), flowLabel=(word & 0xFFFFF,),
                  packetLength=(length,), fragment=(0,),
                  srcPrefix=ipaddress.ip_address(data[8:24]),
                  destPrefix=ipaddress.ip_address(data[24:40]))
    following, data, offset = data[6], data[40:length], 0
    while following in (0, 43, 44, 60) and offset == 0:
        size = 8 * (data[1] + 1)
        if following == 44:
            word, size = int.from_bytes(data[2:4], "big"), 8
            offset = word >> 3
            packet["fragment"] = (fragment_bits(offset, word & 1),)
        following, data = data[0], data[size:]
    packet["ipProto"] = (following,)
    if offset == 0:
        transport(packet, following, data, ICMP["ipv6"])


def packets_of(path):
    """The IP packets of a capture of Ethernet frames; "bytes" is the frame's length."""
    data = Path(path).read_bytes()
    at = 24
    while at < len(data):
        captured, length = struct.unpack_from("<II", data, at + 8)
        frame = data[at + 16:at + 16 + captured]
        at += 16 + captured
        start = 12
        while frame[start:start + 2] == b"\x81\x00":
            start += 4
        reader = {b"\x08\x00": ipv4, b"\x86\xdd": ipv6}.get(frame[start:start + 2])
        if reader:
            packet = {name: () for name in COMPONENTS}
            reader(packet, frame[start + 2:])
            yield packet | {"bytes": length}


def count(rules, in_force, vrf, path):
    """Rules are applied to packets of both families; interface sets have no members."""
    for packet in packets_of(path):
        for rule in rules:
            rule.counts["matching"] += rule.matches(packet)
        for rule in in_force:
            if rule.vrf == vrf and not rule.sets and rule.matches(packet):
                rule.counts["packets"] += 1
                rule.counts["bytes"] += packet["bytes"]
                if "continue" not in rule.done:
                    break


def main(rule_path, profile_path, capture_path, interface):
    profile = json.loads(Path(profile_path).read_text())
    vrf = {each["intf"]: each["vrf"] for each in profile["interfaces"]}[int(interface)]
    rules = [Rule(line, json.loads(text))
             for line, text in enumerate(Path(rule_path).read_text().splitlines(), 1)]
    feasible = []
    for rule in rules:
        if rule.out_of_range():
            rule.result["outcome"] = "refused"
        elif fault := rule.sanitise():
            rule.result.update(outcome="infeasible", component=fault)
        else:
            feasible.append(rule)
    count(feasible, program(feasible, profile), vrf, capture_path)
    for rule in rules:
        print(json.dumps(rule.result | (rule.counts if rule in feasible else {})))


if __name__ == "__main__":
    if len(sys.argv) != 5:
        sys.exit(__doc__)
    main(*sys.argv[1:])
