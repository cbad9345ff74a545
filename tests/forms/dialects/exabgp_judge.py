#!/usr/bin/python3
"""Lets ExaBGP judge rules, one a line: each line is answered by one line.

text TEXT    a configuration's neighbor section holds TEXT: the UPDATE messages that ExaBGP sends,
             in hexadecimal digits
update HEX   the JSON message that ExaBGP writes of an UPDATE message

An answer that begins with "error" says what ExaBGP could not do.
"""

import itertools
import sys

try:
    import exabgp  # noqa: F401
except ImportError:
    sys.exit(77)  # is not installed

from exabgp.configuration.setup import environment

environment.application = "exabgp"
environment.setup("").log.enable = False

from exabgp.bgp.message import Open, Update  # noqa: E402
from exabgp.bgp.message.direction import Direction  # noqa: E402
from exabgp.bgp.message.open import ASN, HoldTime, RouterID, Version  # noqa: E402
from exabgp.bgp.message.open.capability import Capabilities, Capability, Negotiated  # noqa: E402
from exabgp.configuration.configuration import Configuration  # noqa: E402
from exabgp.reactor.api.response import Response  # noqa: E402

NEIGHBOR = """
neighbor 127.%d.%d.1 {
  router-id 2.2.2.2; local-address 127.0.0.2; local-as 65000; peer-as 65000;
  family { ipv4 flow; ipv6 flow; ipv4 flow-vpn; ipv6 flow-vpn; }
  %s
}
"""


numbers = itertools.count()


# What is sent to an address is remembered: each neighbor has one of its own.
def neighbor_of(text):
    high, low = divmod(next(numbers), 256)
    configuration = Configuration([NEIGHBOR % (high, low, text)], True)
    if not configuration.reload():
        raise ValueError(configuration.error)
    return next(iter(configuration.neighbors.values()))


def negotiated_of(neighbor):
    capabilities = Capabilities().new(neighbor, False)
    capabilities[Capability.CODE.MULTIPROTOCOL] = neighbor.families()
    negotiated = Negotiated(neighbor)
    for number, side in enumerate((negotiated.sent, negotiated.received)):
        router = RouterID("2.2.2.%d" % (number + 2))
        side(Open(Version(4), ASN(65000), HoldTime(180), router, capabilities))
    return negotiated


def sent(text):
    neighbor = neighbor_of(text)
    negotiated = negotiated_of(neighbor)
    for _ in neighbor.rib.outgoing.updates(False):
        pass
    messages = []
    for change in neighbor.rib.outgoing.cached_changes():
        messages += Update([change.nlri], change.attributes).messages(negotiated)
    return " ".join(message.hex() for message in messages)


def printed(octets, neighbor, negotiated):
    update = Update.unpack_message(bytes.fromhex(octets)[19:], Direction.IN, negotiated)
    return Response.JSON("4.0.1").update(neighbor, "in", update, None, "", "")


def main():
    neighbor = neighbor_of("")
    negotiated = negotiated_of(neighbor)
    for line in sys.stdin:
        kind, _, argument = line.rstrip("\n").partition(" ")
        try:
            answer = sent(argument) if kind == "text" else printed(argument, neighbor, negotiated)
        except Exception as problem:  # whatever it raises is the answer
            answer = "error %s: %s" % (type(problem).__name__, str(problem).replace("\n", " "))
        print(answer, flush=True)


main()
