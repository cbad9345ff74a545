#include "match/Packet.h"

#include "tests/support/PacketBytes.h"

#include <gtest/gtest.h>

namespace Match {
namespace {

using TestSupport::icmpBytes;
using TestSupport::packetBytes;
using TestSupport::PacketParts;
using TestSupport::portBytes;
using TestSupport::tcpBytes;

PacketParts withPayload( PacketParts parts, U8 protocol, const std::vector< U8 >& payload ) {
   parts.protocol = protocol;
   parts.payload = payload;
   return parts;
}

TEST( CutPacket, IsNothingWithoutAFixedHeader ) {
   EXPECT_FALSE( parsePacket( {} ) );
   const auto ipv4 = packetBytes( {} );
   const auto ipv6 = packetBytes( PacketParts::ipv6() );
   for ( std::size_t size = 0; size < 20; ++size ) {
      EXPECT_FALSE( parsePacket( std::span( ipv4 ).first( size ) ) );
   }
   for ( std::size_t size = 0; size < 40; ++size ) {
      EXPECT_FALSE( parsePacket( std::span( ipv6 ).first( size ) ) );
   }
   EXPECT_TRUE( parsePacket( ipv4 ) );
   EXPECT_TRUE( parsePacket( ipv6 ) );
   for ( const unsigned version : { 0U, 1U, 5U, 7U, 15U } ) {
      std::vector< U8 > other( 60 );
      other[0] = static_cast< U8 >( version << 4 | 5 );
      EXPECT_FALSE( parsePacket( other ) ) << version;
   }
}

TEST( CutPacket, FieldsBehindAWrongIpv4HeaderLengthAreAbsent ) {
   auto bytes = packetBytes( withPayload( {}, 17, portBytes( 53, 53 ) ) );
   for ( const U8 words : std::initializer_list< U8 >{ 0, 4, 8, 15 } ) {
      bytes[0] = static_cast< U8 >( 0x40 | words );
      const Packet packet = parsePacket( bytes ).value();
      EXPECT_EQ( packet.protocol, 17 );
      EXPECT_EQ( packet.destPort, std::nullopt );
   }
}

TEST( CutPacket, FieldsBehindThePacketsEndAreAbsent ) {
   // A frame's padding is no transport header.
   auto bytes = packetBytes( withPayload( {}, 17, {} ) );
   bytes.resize( 60 );
   Packet packet = parsePacket( bytes ).value();
   EXPECT_EQ( packet.length, 20U );
   EXPECT_EQ( packet.srcPort, std::nullopt );
   bytes[3] = 22;
   packet = parsePacket( bytes ).value();
   EXPECT_EQ( packet.srcPort, 0 );
   EXPECT_EQ( packet.destPort, std::nullopt );
   bytes[3] = 0; // shorter than its header
   packet = parsePacket( bytes ).value();
   EXPECT_EQ( packet.length, 0U );
   EXPECT_EQ( packet.srcPort, std::nullopt );

   auto ipv6 = packetBytes( withPayload( PacketParts::ipv6(), 58, icmpBytes( 128, 0 ) ) );
   ipv6[5] = 1;
   packet = parsePacket( ipv6 ).value();
   EXPECT_EQ( packet.length, 41U );
   EXPECT_EQ( packet.icmpType, 128 );
   EXPECT_EQ( packet.icmpCode, std::nullopt );
   ipv6[5] = 0;
   EXPECT_EQ( parsePacket( ipv6 ).value().icmpType, std::nullopt );
}

TEST( CutPacket, ACutOffChainLeavesProtocolAndFragmentAbsent ) {
   PacketParts parts = withPayload( PacketParts::ipv6(), 6, tcpBytes( 80, 443, 2 ) );
   parts.extensions = { 0, 44, 60 };
   parts.moreFragments = true;
   const auto bytes = packetBytes( parts );
   const auto cut = [&]( std::size_t size ) {
      return parsePacket( std::span( bytes ).first( size ) ).value();
   };
   EXPECT_EQ( cut( 41 ).protocol, std::nullopt );
   EXPECT_EQ( cut( 41 ).fragment, std::nullopt );
   EXPECT_EQ( cut( 51 ).fragment, std::nullopt ) << "half of the offset";
   EXPECT_EQ( cut( 52 ).fragment, 0x04 );
   EXPECT_EQ( cut( 52 ).protocol, std::nullopt );
   EXPECT_EQ( cut( 58 ).protocol, 6 ) << "named by the last extension header";
   EXPECT_EQ( cut( 58 ).srcPort, std::nullopt );
   EXPECT_EQ( cut( bytes.size() ).destPort, 443 );
}

TEST( CutPacket, AFieldIsThereOnceItsLastOctetIs ) {
   const auto tcp = packetBytes( withPayload( {}, 6, tcpBytes( 80, 443, 0x812 ) ) );
   const auto icmp = packetBytes( withPayload( {}, 1, icmpBytes( 8, 1 ) ) );
   const auto cut = []( const std::vector< U8 >& bytes, std::size_t transport ) {
      return parsePacket( std::span( bytes ).first( 20 + transport ) ).value();
   };
   EXPECT_EQ( cut( tcp, 1 ).srcPort, std::nullopt );
   EXPECT_EQ( cut( tcp, 2 ).srcPort, 80 );
   EXPECT_EQ( cut( tcp, 3 ).destPort, std::nullopt );
   EXPECT_EQ( cut( tcp, 4 ).destPort, 443 );
   EXPECT_EQ( cut( tcp, 13 ).tcpFlags, std::nullopt );
   EXPECT_EQ( cut( tcp, 14 ).tcpFlags, 0x812 );
   EXPECT_EQ( cut( icmp, 0 ).icmpType, std::nullopt );
   EXPECT_EQ( cut( icmp, 1 ).icmpType, 8 );
   EXPECT_EQ( cut( icmp, 1 ).icmpCode, std::nullopt );
   EXPECT_EQ( cut( icmp, 2 ).icmpCode, 1 );
}

// A field that was there stays as it is when more of the packet is captured.
template < typename T >
void expectGrows( const std::optional< T >& before, const std::optional< T >& after ) {
   EXPECT_TRUE( !before || before == after );
}

TEST( CutPacket, EveryTruncationHasOnlyTrueFields ) {
   std::vector< PacketParts > all;
   for ( const U8 protocol : std::initializer_list< U8 >{ 1, 6, 17, 58, 132 } ) {
      const auto payload =
         protocol == 1 || protocol == 58 ? icmpBytes( 8, 1 ) : tcpBytes( 80, 443, 0x812 );
      all.push_back( withPayload( {}, protocol, payload ) );
      all.back().options = 3;
      all.push_back( withPayload( PacketParts::ipv6(), protocol, payload ) );
      all.push_back( withPayload( PacketParts::ipv6(), protocol, payload ) );
      all.back().extensions = { 0, 43, 51, 44, 60 };
      all.push_back( all.back() );
      all.back().offset = 5;
   }
   for ( const PacketParts& parts : all ) {
      const auto bytes = packetBytes( parts );
      std::optional< Packet > before;
      for ( std::size_t size = 0; size <= bytes.size(); ++size ) {
         // An allocation of the very size, so that a read after it is seen.
         const std::vector< U8 > cut( bytes.begin(),
                                      bytes.begin() + static_cast< std::ptrdiff_t >( size ) );
         const auto packet = parsePacket( cut );
         ASSERT_TRUE( packet || !before );
         if ( before ) {
            expectGrows( before->protocol, packet->protocol );
            expectGrows( before->fragment, packet->fragment );
            expectGrows( before->srcPort, packet->srcPort );
            expectGrows( before->destPort, packet->destPort );
            expectGrows( before->icmpType, packet->icmpType );
            expectGrows( before->icmpCode, packet->icmpCode );
            expectGrows( before->tcpFlags, packet->tcpFlags );
            EXPECT_EQ( before->length, packet->length );
         }
         before = packet;
      }
      EXPECT_EQ( before, parsePacket( bytes ) );
   }
}

} // namespace
} // namespace Match
