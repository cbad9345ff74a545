#pragma once

#include "Vek/text/String.h"
#include "match/Packet.h"

namespace Dataplane {

/// A packet in words, such as "ipv4 tcp 192.0.2.2:0 > 10.1.0.0:80 length 40 flags 0x2": family,
/// protocol, addresses with ports, and what else it has that is not 0. "cut" stands for a protocol
/// that is not known, as a chain of extension headers is cut off.
Vek::String packetText( const Match::Packet& packet );

/// Reads such a text: the packet, or in `reason` why it is none, such as "expected a port, found
/// 'x'". Protocols are "tcp", "udp", "icmp" (of either family), "cut", and "proto NUMBER". Fields
/// may be left out: the length is then that of the headers, a field that such a packet has is 0,
/// and others are absent. A TCP packet has flags when it has ports of both sides, is long enough
/// for them and is no later fragment.
std::optional< Match::Packet > readPacketText( std::string_view text, Vek::String& reason );

} // namespace Dataplane
