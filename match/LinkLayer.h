#pragma once

#include "Osk/Types.h"

#include <span>

namespace Match {

/// How captured frames begin, by the numbers that capture files give their link layers.
struct LinkType {
   static constexpr U32 ethernet = 1;      ///< Ethernet II, with any number of VLAN tags
   static constexpr U32 rawIpBsd = 12;     ///< IP without anything in front, as `rawIp`
   static constexpr U32 rawIp = 101;       ///< IPv4 or IPv6, told apart by the version
   static constexpr U32 linuxCooked = 113; ///< the 16 bytes of Linux's "any" interface
   static constexpr U32 ipv4 = 228;
   static constexpr U32 ipv6 = 229;
};

/// The part of a frame from the IP header on, as `parsePacket` takes it; it may be padded at its
/// end. Empty when the frame is cut off before, carries something else than IP, or has a link type
/// that is not among the above. VLAN tags are those of the types 0x8100, 0x88A8 and 0x9100.
OSK_EXPORT std::span< const U8 > ipPacketOf( std::span< const U8 > frame, U32 linkType );

} // namespace Match
