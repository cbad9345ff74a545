"""The terms of a rule's components: whether they hold, and the ranges and masks that they leave."""

import functools
import itertools

BITMASKS = ("tcpFlags", "fragment")
BITS = 16
TOP = {"ipProto": 255, "port": 65535, "destPort": 65535, "srcPort": 65535, "icmpType": 255,
       "icmpCode": 255, "packetLength": 65535, "dscp": 63, "flowLabel": (1 << 20) - 1,
       "tcpFlags": 4095}
# What a fragment term can be tested against: a whole packet, the first, a middle and the last
# fragment, in IPv4 with "don't fragment" and without.
FRAGMENTS = {"ipv4": (0, 1, 4, 5, 2, 3, 10, 11), "ipv6": (0, 4, 2, 10)}


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


def meant(component, family, value):
    """What counts of a term's value."""
    used = {"dscp": 63, "fragment": 15 if family == "ipv4" else 14}
    return value & used.get(component, 0xFFFFFFFF)


def some_fragment_passes(mask, family):
    every, wanted, tested = mask
    return any((tested & (field ^ wanted)) == 0 if every else (tested & (field ^ wanted)) != tested
               for field in FRAGMENTS[family])


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
