#pragma once

#include "Zorv/IpGenAddr.h"

#include <vector>

namespace TestSupport {

/// What an IP packet is made of. The length fields are those of what is there.
struct PacketParts {
   Zorv::AddressFamily family = Zorv::AddressFamily::ipv4;
   Zorv::IpGenAddr destination = Zorv::IpGenAddr::ipv4( 0x0A010203 );
   Zorv::IpGenAddr source = Zorv::IpGenAddr::ipv4( 0xC0000201 );
   U8 dscp = 0;
   U8 protocol = 17;
   bool dontFragment = false;
   bool moreFragments = false;
   U16 offset = 0; ///< in units of 8 bytes
   U32 flowLabel = 0;
   U8 options = 0; ///< of IPv4, in units of 4 bytes
   /// Extension headers of IPv6 by their numbers; a fragment header has offset and flag from above.
   std::vector< U8 > extensions;
   std::vector< U8 > payload;

   /// An IPv6 packet between two fixed addresses.
   static PacketParts ipv6();
};

std::vector< U8 > packetBytes( const PacketParts& parts );

/// The first bytes of a transport header.
std::vector< U8 > portBytes( U16 source, U16 destination );
/// A TCP header of 20 bytes; `flags` has 12 bits.
std::vector< U8 > tcpBytes( U16 source, U16 destination, U16 flags );
std::vector< U8 > icmpBytes( U8 type, U8 code );

} // namespace TestSupport
