#!/usr/bin/env python3
"""Computes what the daemons are to make of rules, a profile and a capture: all of it from the
definitions, the slow way.

usage: model.py RULES PROFILE CAPTURE INTERFACE

RULES is a file that configd reads. Prints an object for each of its rules, on a line each: "line"
is the rule's in the file, from 1 on, and "outcome" is "infeasible" with the component at fault as
"component", or the status code. Then "entries" is what the rule takes of the TCAM,
"packets" and "bytes" count the packets of CAPTURE that came in on INTERFACE, and "matching" is how
many of these the rule matches, whatever rules there are beside it.
"""

import functools
import ipaddress
import json
import sys
from pathlib import Path

from capture import COMPONENTS, ICMP, TCP, UDP, packets_of
from terms import (BITMASKS, TOP, alternatives, bitmask_holds, masks_of, meant, numeric_holds,
                   numeric_ranges, prefix_count, ranges_of, some_fragment_passes)

PORTS = ("port", "destPort", "srcPort")


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
        self.meant = {name: [(op, meant(name, self.family, value)) for op, value in terms]
                      for name, terms in self.terms.items()}
        assert all(value <= TOP["tcpFlags"] for _, value in self.terms.get("tcpFlags", []))
        self.numeric = {name: numeric_ranges(name, terms) for name, terms in self.meant.items()
                        if name not in BITMASKS}
        self.masks = {name: masks_of(terms) for name, terms in self.meant.items()
                      if name in BITMASKS}
        if "fragment" in self.masks:
            self.masks["fragment"] = {mask for mask in self.masks["fragment"]
                                      if some_fragment_passes(mask, self.family)}
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
                   for group in alternatives(self.meant[name]))

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
        if fault := rule.sanitise():
            rule.result.update(outcome="infeasible", component=fault)
        else:
            feasible.append(rule)
    count(feasible, program(feasible, profile), vrf, capture_path)
    for rule in rules:
        if rule in feasible:
            rule.result.update(rule.counts, entries=rule.entries())
        print(json.dumps(rule.result))


if __name__ == "__main__":
    if len(sys.argv) != 5:
        sys.exit(__doc__)
    main(*sys.argv[1:])
