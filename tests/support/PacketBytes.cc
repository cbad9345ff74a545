#include "tests/support/PacketBytes.h"

namespace TestSupport {

namespace {

using Bytes = std::vector< U8 >;

void append16( Bytes& bytes, U32 value ) {
   bytes.push_back( static_cast< U8 >( value >> 8 ) );
   bytes.push_back( static_cast< U8 >( value ) );
}

void append32( Bytes& bytes, U32 value ) {
   append16( bytes, value >> 16 );
   append16( bytes, value );
}

void append( Bytes& bytes, const Bytes& more ) {
   bytes.insert( bytes.end(), more.begin(), more.end() );
}

Bytes ipv4Packet( const PacketParts& parts ) {
   const U32 headerSize = 20U + 4U * parts.options;
   Bytes bytes;
   bytes.push_back( static_cast< U8 >( 0x40 | headerSize / 4 ) );
   bytes.push_back( static_cast< U8 >( parts.dscp << 2 | 1 ) ); // some ECN bits
   append16( bytes, headerSize + static_cast< U32 >( parts.payload.size() ) );
   append16( bytes, 0x1234 );
   append16( bytes, ( parts.dontFragment ? 0x4000U : 0U ) | ( parts.moreFragments ? 0x2000U : 0U ) |
                       parts.offset );
   bytes.push_back( 64 );
   bytes.push_back( parts.protocol );
   append16( bytes, 0xBEEF );
   append32( bytes, parts.source.ipv4Value() );
   append32( bytes, parts.destination.ipv4Value() );
   bytes.resize( headerSize, 1 );
   append( bytes, parts.payload );
   return bytes;
}

// One extension header; the sizes differ with `number`.
Bytes extension( const PacketParts& parts, std::size_t number, U8 next ) {
   const U8 type = parts.extensions[number];
   Bytes bytes{ next };
   if ( type == 44 ) {
      bytes.push_back( 0 );
      append16( bytes, U32{ parts.offset } << 3 | ( parts.moreFragments ? 1U : 0U ) );
      append32( bytes, 0xCAFE0001 );
   } else if ( type == 51 ) {
      bytes.push_back( 4 );
      bytes.resize( 24, 0xAA );
   } else {
      bytes.push_back( static_cast< U8 >( number % 2 ) );
      bytes.resize( 8 + number % 2 * 8, 0x55 );
   }
   return bytes;
}

Bytes ipv6Packet( const PacketParts& parts ) {
   Bytes chain;
   const std::size_t count = parts.extensions.size();
   for ( std::size_t i = 0; i < count; ++i ) {
      append( chain,
              extension( parts, i, i + 1 < count ? parts.extensions[i + 1] : parts.protocol ) );
   }
   Bytes bytes;
   // Traffic class with some ECN bits.
   append32( bytes, 6U << 28 | ( parts.dscp * 4U + 2U ) << 20 | parts.flowLabel );
   append16( bytes, static_cast< U32 >( chain.size() + parts.payload.size() ) );
   bytes.push_back( count == 0 ? parts.protocol : parts.extensions[0] );
   bytes.push_back( 64 );
   for ( const Zorv::IpGenAddr& address : { parts.source, parts.destination } ) {
      bytes.insert( bytes.end(), address.bytes().begin(), address.bytes().end() );
   }
   append( bytes, chain );
   append( bytes, parts.payload );
   return bytes;
}

} // namespace

PacketParts PacketParts::ipv6() {
   PacketParts parts;
   parts.family = Zorv::AddressFamily::ipv6;
   parts.destination = *Zorv::IpGenAddr::fromText( "2001:db8::1" );
   parts.source = *Zorv::IpGenAddr::fromText( "2001:db8:ffff::2" );
   return parts;
}

std::vector< U8 > packetBytes( const PacketParts& parts ) {
   return parts.family == Zorv::AddressFamily::ipv4 ? ipv4Packet( parts ) : ipv6Packet( parts );
}

std::vector< U8 > portBytes( U16 source, U16 destination ) {
   Bytes bytes;
   append16( bytes, source );
   append16( bytes, destination );
   append32( bytes, 8 );
   return bytes;
}

std::vector< U8 > tcpBytes( U16 source, U16 destination, U16 flags ) {
   Bytes bytes = portBytes( source, destination );
   append32( bytes, 1 );
   append16( bytes, 0x5000U | flags );
   bytes.resize( 20 );
   return bytes;
}

std::vector< U8 > icmpBytes( U8 type, U8 code ) { return { type, code, 0, 0, 0, 0, 0, 0 }; }

} // namespace TestSupport
