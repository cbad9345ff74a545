"""The packets of a capture, with a field for each component of rules."""

import ipaddress
import struct
from pathlib import Path

COMPONENTS = ("destPrefix", "srcPrefix", "ipProto", "port", "destPort", "srcPort", "icmpType",
              "icmpCode", "tcpFlags", "packetLength", "dscp", "fragment", "flowLabel")
TCP, UDP = 6, 17
ICMP = {"ipv4": 1, "ipv6": 58}

# A packet has the values of each component, none for a field that is not there, and two ports.


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
