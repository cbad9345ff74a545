#include "match/Packet.h"

#include "Osk/Endian.h"

#include <algorithm>

namespace Match {

namespace {

using Bytes = std::span< const U8 >;

// Assigned protocol numbers.
constexpr U8 hopByHop = 0;
constexpr U8 icmp = 1;
constexpr U8 tcp = 6;
constexpr U8 udp = 17;
constexpr U8 dccp = 33;
constexpr U8 routing = 43;
constexpr U8 fragmentHeader = 44;
constexpr U8 authentication = 51;
constexpr U8 icmpV6 = 58;
constexpr U8 destinationOptions = 60;
constexpr U8 sctp = 132;
constexpr U8 udpLite = 136;

constexpr std::size_t ipv4HeaderSize = 20;
constexpr std::size_t ipv6HeaderSize = 40;

// The packet's bytes from `at` up to where it says that it ends.
Bytes inside( Bytes bytes, std::size_t at, std::size_t length ) {
   const std::size_t end = std::min( bytes.size(), length );
   return at < end ? bytes.subspan( at, end - at ) : Bytes();
}

// `offset` in any unit.
U8 fragmentBits( unsigned offset, bool more ) {
   constexpr U8 last = FragmentBits::isFragment | FragmentBits::lastFragment;
   if ( offset == 0 ) {
      return more ? FragmentBits::firstFragment : U8{ 0 };
   }
   return more ? FragmentBits::isFragment : last;
}

bool hasPorts( U8 protocol ) {
   return protocol == tcp || protocol == udp || protocol == sctp || protocol == dccp ||
          protocol == udpLite;
}

// The fields of the header after those of IP; `bytes` begin with it.
void readTransport( Bytes bytes, Packet& packet ) {
   const U8 protocol = *packet.protocol;
   if ( hasPorts( protocol ) ) {
      if ( bytes.size() >= 2 ) {
         packet.srcPort = Osk::loadBig16( bytes.data() );
      }
      if ( bytes.size() >= 4 ) {
         packet.destPort = Osk::loadBig16( &bytes[2] );
      }
      if ( protocol == tcp && bytes.size() >= 14 ) {
         packet.tcpFlags = static_cast< U16 >( Osk::loadBig16( &bytes[12] ) & 0x0FFF );
      }
   } else if ( protocol == ( packet.family == Zorv::AddressFamily::ipv4 ? icmp : icmpV6 ) ) {
      if ( !bytes.empty() ) {
         packet.icmpType = bytes[0];
      }
      if ( bytes.size() >= 2 ) {
         packet.icmpCode = bytes[1];
      }
   }
}

std::optional< Packet > parseIpv4( Bytes bytes ) {
   if ( bytes.size() < ipv4HeaderSize ) {
      return std::nullopt;
   }
   Packet packet;
   packet.family = Zorv::AddressFamily::ipv4;
   packet.dscp = bytes[1] >> 2;
   packet.length = Osk::loadBig16( &bytes[2] );
   const U16 flags = Osk::loadBig16( &bytes[6] );
   const unsigned offset = flags & 0x1FFFU;
   const U8 dontFragment = flags & 0x4000 ? FragmentBits::dontFragment : U8{ 0 };
   packet.fragment = static_cast< U8 >( fragmentBits( offset, flags & 0x2000 ) | dontFragment );
   packet.protocol = bytes[9];
   packet.source = Zorv::IpGenAddr::ipv4( Osk::loadBig32( &bytes[12] ) );
   packet.destination = Zorv::IpGenAddr::ipv4( Osk::loadBig32( &bytes[16] ) );
   const std::size_t headerSize = 4U * ( bytes[0] & 0x0FU );
   if ( headerSize >= ipv4HeaderSize && offset == 0 ) {
      readTransport( inside( bytes, headerSize, packet.length ), packet );
   }
   return packet;
}

bool isExtension( U8 next ) {
   return next == hopByHop || next == routing || next == fragmentHeader || next == authentication ||
          next == destinationOptions;
}

// Walks the extension headers; `next` says what the first byte of `rest` belongs to.
void readChain( U8 next, Bytes rest, Packet& packet ) {
   bool transport = true;
   while ( isExtension( next ) ) {
      // After another fragment's beginning there is nothing to walk.
      if ( !transport || rest.size() < ( next == fragmentHeader ? 4U : 2U ) ) {
         return;
      }
      std::size_t size = 8U * ( rest[1] + 1U );
      if ( next == authentication ) {
         size = 4U * ( rest[1] + 2U );
      } else if ( next == fragmentHeader ) {
         size = 8;
         const U16 word = Osk::loadBig16( &rest[2] );
         packet.fragment = fragmentBits( word >> 3, word & 1 );
         transport = word >> 3 == 0;
      }
      next = rest[0];
      rest = rest.subspan( std::min( size, rest.size() ) );
   }
   packet.protocol = next;
   packet.fragment = packet.fragment.value_or( U8{ 0 } );
   if ( transport ) {
      readTransport( rest, packet );
   }
}

Zorv::IpGenAddr ipv6Address( const U8* bytes ) {
   Zorv::IpGenAddr::Bytes address;
   std::copy_n( bytes, address.size(), address.begin() );
   return Zorv::IpGenAddr::ipv6( address );
}

std::optional< Packet > parseIpv6( Bytes bytes ) {
   if ( bytes.size() < ipv6HeaderSize ) {
      return std::nullopt;
   }
   Packet packet;
   packet.family = Zorv::AddressFamily::ipv6;
   packet.dscp = static_cast< U8 >( ( Osk::loadBig16( bytes.data() ) >> 6 ) & 0x3F );
   packet.flowLabel = Osk::loadBig32( bytes.data() ) & 0xFFFFF;
   packet.length = Osk::loadBig16( &bytes[4] ) + U32{ ipv6HeaderSize };
   packet.source = ipv6Address( &bytes[8] );
   packet.destination = ipv6Address( &bytes[24] );
   readChain( bytes[6], inside( bytes, ipv6HeaderSize, packet.length ), packet );
   return packet;
}

} // namespace

FieldValues Packet::values( Flowspec::MatchCompType type ) const {
   using namespace Flowspec;
   const bool rulePorts = protocol == tcp || protocol == udp;
   FieldValues values;
   switch ( type ) {
   case ipProto:
      values.add( protocol );
      break;
   case MatchCompType::port:
   case MatchCompType::destPort:
   case MatchCompType::srcPort:
      if ( rulePorts && type != MatchCompType::srcPort ) {
         values.add( destPort );
      }
      if ( rulePorts && type != MatchCompType::destPort ) {
         values.add( srcPort );
      }
      break;
   case MatchCompType::icmpType:
      values.add( icmpType );
      break;
   case MatchCompType::icmpCode:
      values.add( icmpCode );
      break;
   case MatchCompType::tcpFlags:
      values.add( tcpFlags );
      break;
   case packetLength:
      values.add( std::optional( length ) );
      break;
   case MatchCompType::dscp:
      values.add( std::optional( dscp ) );
      break;
   case MatchCompType::fragment:
      values.add( fragment );
      break;
   case MatchCompType::flowLabel:
      values.add( flowLabel );
      break;
   case MatchCompType::invalid:
   case MatchCompType::destPrefix:
   case MatchCompType::srcPrefix:
      break;
   }
   return values;
}

std::optional< Packet > parsePacket( std::span< const U8 > bytes ) {
   if ( bytes.empty() ) {
      return std::nullopt;
   }
   switch ( bytes[0] >> 4 ) {
   case 4:
      return parseIpv4( bytes );
   case 6:
      return parseIpv6( bytes );
   default:
      return std::nullopt;
   }
}

} // namespace Match
