#include "tests/match/RandomMatch.h"

#include "tests/match/SlowMatch.h"

#include <algorithm>

namespace TestSupport {

namespace {

using namespace Flowspec;
using Zorv::AddressFamily;

constexpr U16 ports[] = { 0, 53, 80, 443, 1024, 65535 };
constexpr U8 icmpNumbers[] = { 0, 3, 8, 128, 255 };
constexpr U8 dscps[] = { 0, 10, 46, 63 };
constexpr U32 flowLabels[] = { 0, 1, 0x12345, 0xFFFFF };
constexpr U16 flags[] = { 0x002, 0x012, 0x010, 0x004, 0x102, 0xFFF, 0 };

AddressFamily familyOf( const std::vector< U8 >& packet ) {
   return packet[0] >> 4 == 6 ? AddressFamily::ipv6 : AddressFamily::ipv4;
}

} // namespace

Zorv::IpGenAddr RandomMatch::address( AddressFamily family ) {
   if ( family == AddressFamily::ipv4 ) {
      return Zorv::IpGenAddr::ipv4( 0x0A000000 | ( random_.number( 24 ) & 0x00C10083 ) );
   }
   Zorv::IpGenAddr::Bytes bytes{ 0x20, 0x01, 0x0D, 0xB8 };
   bytes[6] = static_cast< U8 >( random_.below( 3 ) );
   bytes[15] = static_cast< U8 >( random_.below( 4 ) );
   return Zorv::IpGenAddr::ipv6( bytes );
}

std::vector< U8 > RandomMatch::payload( U8 protocol ) {
   const U16 source = random_.oneOf( ports );
   const U16 destination = random_.oneOf( ports );
   std::vector< U8 > bytes;
   if ( protocol == 6 ) {
      bytes = tcpBytes( source, destination, random_.oneOf( flags ) );
   } else if ( protocol == 1 || protocol == 58 ) {
      const U8 type = random_.oneOf( icmpNumbers );
      bytes = icmpBytes( type, random_.oneOf( icmpNumbers ) );
   } else {
      bytes = portBytes( source, destination );
   }
   if ( random_.oneIn( 8 ) ) {
      bytes.resize( random_.below( bytes.size() ) );
   }
   return bytes;
}

std::vector< U8 > RandomMatch::packet() {
   static constexpr U8 protocols[] = { 6, 6, 6, 6, 17, 17, 1, 1, 58, 58, 132, 33, 136, 50, 59 };
   static constexpr U8 extensions[] = { 0, 43, 44, 51, 60 };
   PacketParts parts;
   if ( random_.oneIn( 3 ) ) {
      parts = PacketParts::ipv6();
   }
   parts.destination = address( parts.family );
   parts.source = address( parts.family );
   parts.dscp = random_.oneOf( dscps );
   parts.protocol = random_.oneOf( protocols );
   parts.dontFragment = random_.oneIn( 3 );
   parts.moreFragments = random_.oneIn( 4 );
   parts.offset = random_.oneIn( 4 ) ? static_cast< U16 >( random_.number( 13 ) ) : U16{ 0 };
   parts.flowLabel = random_.oneOf( flowLabels );
   parts.options = static_cast< U8 >( random_.oneIn( 3 ) ? random_.below( 11 ) : 0 );
   for ( U64 count = random_.oneIn( 2 ) ? random_.below( 4 ) : 0; count > 0; --count ) {
      parts.extensions.push_back( random_.oneOf( extensions ) );
   }
   parts.payload = payload( parts.protocol );
   std::vector< U8 > bytes = packetBytes( parts );
   switch ( random_.below( 8 ) ) {
   case 0:
      bytes.resize( 1 + random_.below( bytes.size() ) );
      break;
   case 1:
      bytes.resize( bytes.size() + random_.below( 30 ), 0 );
      break;
   case 2: // anything in the lengths
      bytes[random_.oneIn( 2 ) ? 0 : 3] ^= static_cast< U8 >( random_.below( 16 ) );
      break;
   default:
      break;
   }
   return bytes;
}

Zorv::IpGenPrefix RandomMatch::prefix( const std::vector< U8 >& packet, std::size_t place,
                                       bool meant ) {
   const bool v4 = familyOf( packet ) == AddressFamily::ipv4;
   const std::size_t size = v4 ? 4 : 16;
   if ( packet.size() < place + size || ( !meant && random_.oneIn( 4 ) ) ) {
      return { address( familyOf( packet ) ),
               static_cast< unsigned >( random_.below( size * 8 + 1 ) ) };
   }
   Zorv::IpGenAddr::Bytes bytes{};
   std::copy_n( packet.begin() + static_cast< std::ptrdiff_t >( place ), size, bytes.begin() );
   return { v4 ? Zorv::IpGenAddr::ipv4( Osk::loadBig32( bytes.data() ) )
               : Zorv::IpGenAddr::ipv6( bytes ),
            static_cast< unsigned >( random_.below( size * 8 + 1 ) ) };
}

U32 RandomMatch::value( MatchCompType type, const std::vector< U8 >& packet ) {
   static constexpr U8 protocols[] = { 0, 1, 6, 6, 17, 17, 33, 50, 58, 132, 255 };
   switch ( type ) {
   case ipProto:
      return random_.oneOf( protocols );
   case icmpType:
   case icmpCode:
      return random_.oneOf( icmpNumbers );
   case tcpFlags:
      return random_.oneIn( 4 ) ? random_.number( 16 ) : random_.oneOf( flags );
   case packetLength:
      return static_cast< U32 >( packet.size() + random_.below( 3 ) ) - 1;
   case dscp:
      return random_.oneOf( dscps ) | ( random_.oneIn( 8 ) ? 0x40U : 0U );
   case fragment:
      return random_.number( 5 );
   case flowLabel:
      return random_.oneOf( flowLabels );
   default:
      return random_.oneOf( ports );
   }
}

U32 RandomMatch::addComponent( FlowspecKey& key, U32 index, MatchCompType type,
                               const std::vector< U8 >& packet ) {
   for ( U64 terms = 1 + random_.below( 3 ); terms > 0; --terms ) {
      const U32 number = value( type, packet );
      U64 op = random_.below( 8 ) | random_.below( 2 ) * OpBits::andPrevious;
      op |= terms == 1 ? OpBits::endOfList : 0U;
      op |= number <= 0xFF ? 0x00U : number <= 0xFFFF ? 0x10U : 0x20U;
      index = key.setOpVal( index, type, static_cast< U8 >( op ), number );
   }
   return index;
}

FlowspecKey RandomMatch::rule( const std::vector< U8 >& packet ) {
   const bool meant = random_.oneIn( 2 );
   const bool v4 = familyOf( packet ) == AddressFamily::ipv4;
   FlowspecKey key;
   key.addressFamilyIs( familyOf( packet ) );
   if ( random_.oneIn( 2 ) ) {
      key.destPrefixIs( prefix( packet, v4 ? 16 : 24, meant ) );
   }
   if ( random_.oneIn( 4 ) ) {
      key.srcPrefixIs( prefix( packet, v4 ? 12 : 8, meant ) );
   }
   std::vector< MatchCompType > types;
   for ( U64 count = random_.below( 4 ) + 1; count > 0; --count ) {
      const auto type = static_cast< MatchCompType >( 3 + random_.below( 11 ) );
      if ( std::ranges::find( types, type ) == types.end() ) {
         types.push_back( type );
      }
   }
   U32 index = 0;
   for ( const MatchCompType type : types ) {
      for ( U64 tries = meant ? 12 : 1; tries > 0; --tries ) {
         FlowspecKey alone;
         alone.addressFamilyIs( familyOf( packet ) );
         const U32 words = addComponent( alone, 0, type, packet );
         if ( !meant || slowMatches( alone, packet ) ) {
            for ( U32 i = 0; i < words; ++i ) {
               key.matchOpValIs( index++, alone.matchOpVal( i ) );
            }
            break;
         }
      }
   }
   return key;
}

} // namespace TestSupport
