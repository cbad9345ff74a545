#include "match/LinkLayer.h"

#include "Osk/Endian.h"

namespace Match {

namespace {

constexpr U16 typeIpv4 = 0x0800;
constexpr U16 typeIpv6 = 0x86DD;

bool isTag( U16 type ) { return type == 0x8100 || type == 0x88A8 || type == 0x9100; }

// What follows the type at `at` and the tags after it.
std::span< const U8 > behindType( std::span< const U8 > frame, std::size_t at ) {
   while ( at + 2 <= frame.size() ) {
      const U16 type = Osk::loadBig16( &frame[at] );
      if ( type == typeIpv4 || type == typeIpv6 ) {
         return frame.subspan( at + 2 );
      }
      if ( !isTag( type ) ) {
         break;
      }
      at += 4;
   }
   return {};
}

} // namespace

std::span< const U8 > ipPacketOf( std::span< const U8 > frame, U32 linkType ) {
   switch ( linkType ) {
   case LinkType::ethernet:
      return behindType( frame, 12 );
   case LinkType::linuxCooked:
      return behindType( frame, 14 );
   case LinkType::rawIpBsd:
   case LinkType::rawIp:
   case LinkType::ipv4:
   case LinkType::ipv6:
      return frame;
   default:
      return {};
   }
}

} // namespace Match
