#pragma once

#include "Vek/text/String.h"
#include "match/Packet.h"

namespace Dataplane {

/// A packet in words, such as "ipv4 tcp 192.0.2.2:0 > 10.1.0.0:80 length 34 flags 0x2": family,
/// protocol, addresses with ports, and what else it has that is not 0. "cut" stands for a protocol
/// that is not known, as a chain of extension headers is cut off.
Vek::String packetText( const Match::Packet& packet );

} // namespace Dataplane
