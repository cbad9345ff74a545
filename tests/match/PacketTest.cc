#include "match/Packet.h"

#include "tests/support/PacketBytes.h"

#include <gmock/gmock.h>

namespace Match {
namespace {

using testing::ElementsAre;
using TestSupport::icmpBytes;
using TestSupport::packetBytes;
using TestSupport::PacketParts;
using TestSupport::portBytes;
using TestSupport::tcpBytes;

Packet parsed( const PacketParts& parts ) { return parsePacket( packetBytes( parts ) ).value(); }

PacketParts withPayload( PacketParts parts, U8 protocol, const std::vector< U8 >& payload ) {
   parts.protocol = protocol;
   parts.payload = payload;
   return parts;
}

TEST( Packet, HasTheFieldsOfAnIpv4Header ) {
   PacketParts parts;
   parts.dscp = 46;
   parts.payload = portBytes( 53, 1024 );
   const Packet packet = parsed( parts );
   EXPECT_EQ( packet.family, Zorv::AddressFamily::ipv4 );
   EXPECT_EQ( packet.destination.stringValue(), "10.1.2.3" );
   EXPECT_EQ( packet.source.stringValue(), "192.0.2.1" );
   EXPECT_EQ( packet.length, 28U );
   EXPECT_EQ( packet.dscp, 46 );
   EXPECT_EQ( packet.protocol, 17 );
   EXPECT_EQ( packet.fragment, 0 );
   EXPECT_EQ( packet.srcPort, 53 );
   EXPECT_EQ( packet.destPort, 1024 );
   EXPECT_EQ( packet.flowLabel, std::nullopt );
   EXPECT_EQ( packet.tcpFlags, std::nullopt );
   EXPECT_EQ( packet.icmpType, std::nullopt );
   EXPECT_EQ( packet.icmpCode, std::nullopt );
}

TEST( Packet, HasTheFieldsOfAnIpv6Header ) {
   PacketParts parts = PacketParts::ipv6();
   parts.dscp = 10;
   parts.flowLabel = 0xABCDE;
   parts.payload = portBytes( 1, 2 );
   const Packet packet = parsed( parts );
   EXPECT_EQ( packet.family, Zorv::AddressFamily::ipv6 );
   EXPECT_EQ( packet.destination.stringValue(), "2001:db8::1" );
   EXPECT_EQ( packet.source.stringValue(), "2001:db8:ffff::2" );
   EXPECT_EQ( packet.length, 48U ) << "with the 40 bytes of the header";
   EXPECT_EQ( packet.dscp, 10 );
   EXPECT_EQ( packet.flowLabel, 0xABCDEU );
   EXPECT_EQ( packet.protocol, 17 );
   EXPECT_EQ( packet.fragment, 0 );
   EXPECT_EQ( packet.destPort, 2 );
}

TEST( Packet, FindsTheTransportHeaderBehindIpv4Options ) {
   PacketParts parts = withPayload( {}, 6, tcpBytes( 80, 443, 0x012 ) );
   for ( const U8 options : std::initializer_list< U8 >{ 0, 1, 10 } ) {
      parts.options = options;
      const Packet packet = parsed( parts );
      EXPECT_EQ( packet.srcPort, 80 );
      EXPECT_EQ( packet.destPort, 443 );
      EXPECT_EQ( packet.tcpFlags, 0x012 );
   }
}

TEST( Packet, HasPortsOfFiveProtocolsOnly ) {
   for ( unsigned protocol = 0; protocol < 256; ++protocol ) {
      const Packet packet =
         parsed( withPayload( {}, static_cast< U8 >( protocol ), portBytes( 7, 9 ) ) );
      const bool ports =
         protocol == 6 || protocol == 17 || protocol == 33 || protocol == 132 || protocol == 136;
      EXPECT_EQ( packet.destPort.has_value(), ports ) << protocol;
      EXPECT_EQ( packet.srcPort.has_value(), ports ) << protocol;
      EXPECT_EQ( packet.icmpType.has_value(), protocol == 1 ) << protocol;
   }
}

std::vector< U32 > valuesOf( const Packet& packet, Flowspec::MatchCompType type ) {
   const FieldValues values = packet.values( type );
   return { values.begin(), values.end() };
}

TEST( Packet, RulesSeePortsOfTcpAndUdpOnly ) {
   for ( const U8 protocol : std::initializer_list< U8 >{ 6, 17 } ) {
      const Packet packet = parsed( withPayload( {}, protocol, portBytes( 7, 9 ) ) );
      EXPECT_THAT( valuesOf( packet, Flowspec::port ), ElementsAre( 9, 7 ) );
      EXPECT_THAT( valuesOf( packet, Flowspec::destPort ), ElementsAre( 9 ) );
      EXPECT_THAT( valuesOf( packet, Flowspec::srcPort ), ElementsAre( 7 ) );
   }
   for ( const U8 protocol : std::initializer_list< U8 >{ 33, 132, 136 } ) {
      const Packet packet = parsed( withPayload( {}, protocol, portBytes( 7, 9 ) ) );
      EXPECT_EQ( packet.destPort, 9 );
      EXPECT_THAT( valuesOf( packet, Flowspec::port ), ElementsAre() );
      EXPECT_THAT( valuesOf( packet, Flowspec::destPort ), ElementsAre() );
      EXPECT_THAT( valuesOf( packet, Flowspec::srcPort ), ElementsAre() );
   }
}

TEST( Packet, GivesNoValuesForTypesWithoutTerms ) {
   const Packet packet = parsed( withPayload( {}, 6, tcpBytes( 1, 2, 3 ) ) );
   for ( const unsigned type : { 0U, 1U, 2U, 14U, 255U } ) {
      EXPECT_THAT( valuesOf( packet, static_cast< Flowspec::MatchCompType >( type ) ),
                   ElementsAre() );
   }
   EXPECT_THAT( valuesOf( packet, Flowspec::packetLength ), ElementsAre( 40 ) );
   EXPECT_THAT( valuesOf( packet, Flowspec::dscp ), ElementsAre( 0 ) );
}

TEST( Packet, TakesIcmpOfItsOwnFamilyOnly ) {
   const auto icmp = icmpBytes( 3, 4 );
   EXPECT_EQ( parsed( withPayload( {}, 1, icmp ) ).icmpType, 3 );
   EXPECT_EQ( parsed( withPayload( {}, 1, icmp ) ).icmpCode, 4 );
   EXPECT_EQ( parsed( withPayload( {}, 58, icmp ) ).icmpType, std::nullopt );
   EXPECT_EQ( parsed( withPayload( PacketParts::ipv6(), 58, icmp ) ).icmpType, 3 );
   EXPECT_EQ( parsed( withPayload( PacketParts::ipv6(), 58, icmp ) ).icmpCode, 4 );
   EXPECT_EQ( parsed( withPayload( PacketParts::ipv6(), 1, icmp ) ).icmpType, std::nullopt );
}

TEST( Packet, TcpFlagsAreTheTwelveBitsBesideTheDataOffset ) {
   EXPECT_EQ( parsed( withPayload( {}, 6, tcpBytes( 1, 2, 0xFFF ) ) ).tcpFlags, 0xFFF );
   EXPECT_EQ( parsed( withPayload( {}, 6, tcpBytes( 1, 2, 0x802 ) ) ).tcpFlags, 0x802 );
   EXPECT_EQ( parsed( withPayload( {}, 6, tcpBytes( 1, 2, 0 ) ) ).tcpFlags, 0 );
}

TEST( Packet, FragmentBitsOfIpv4 ) {
   struct Case {
      bool dontFragment;
      bool moreFragments;
      U16 offset;
      U8 bits;
   };
   for ( const auto& [dontFragment, more, offset, bits] : {
            Case{ false, false, 0, 0x00 },
            Case{ true, false, 0, 0x01 },
            Case{ false, true, 0, 0x04 },
            Case{ true, true, 0, 0x05 },
            Case{ false, true, 185, 0x02 },
            Case{ false, false, 185, 0x0A },
            Case{ true, false, 0x1FFF, 0x0B },
         } ) {
      PacketParts parts = withPayload( {}, 6, tcpBytes( 80, 443, 2 ) );
      parts.dontFragment = dontFragment;
      parts.moreFragments = more;
      parts.offset = offset;
      const Packet packet = parsed( parts );
      EXPECT_EQ( packet.fragment, bits );
      EXPECT_EQ( packet.protocol, 6 );
      EXPECT_EQ( packet.destPort.has_value(), offset == 0 );
      EXPECT_EQ( packet.tcpFlags.has_value(), offset == 0 );
      // IPv6 has no bit against fragments.
      parts.family = Zorv::AddressFamily::ipv6;
      parts.source = parts.destination = PacketParts::ipv6().source;
      parts.extensions = { 44 };
      const Packet ipv6 = parsed( parts );
      EXPECT_EQ( ipv6.fragment, bits & 0x0E );
      EXPECT_EQ( ipv6.protocol, 6 );
      EXPECT_EQ( ipv6.destPort.has_value(), offset == 0 );
   }
}

TEST( Packet, WalksIpv6ExtensionHeaders ) {
   const std::vector< U8 > chains[] = {
      { 0 },      { 43 },     { 60 },         { 51 },
      { 44 },     { 0, 60 },  { 60, 43, 60 }, { 0, 43, 44, 51, 60 },
      { 51, 51 }, { 44, 44 }, { 0, 60, 51 } };
   for ( const auto& chain : chains ) {
      PacketParts parts = withPayload( PacketParts::ipv6(), 6, tcpBytes( 80, 443, 0x010 ) );
      parts.extensions = chain;
      const Packet packet = parsed( parts );
      EXPECT_EQ( packet.protocol, 6 );
      EXPECT_EQ( packet.srcPort, 80 );
      EXPECT_EQ( packet.tcpFlags, 0x010 );
      EXPECT_EQ( packet.fragment, 0 );
      EXPECT_EQ( packet.length, packetBytes( parts ).size() );
   }
}

TEST( Packet, EspAndNoNextHeaderEndTheWalk ) {
   for ( const U8 protocol : std::initializer_list< U8 >{ 50, 59, 135, 255 } ) {
      PacketParts parts = withPayload( PacketParts::ipv6(), protocol, portBytes( 1, 2 ) );
      parts.extensions = { 0 };
      const Packet packet = parsed( parts );
      EXPECT_EQ( packet.protocol, protocol );
      EXPECT_EQ( packet.fragment, 0 );
      EXPECT_EQ( packet.srcPort, std::nullopt );
   }
}

TEST( Packet, LaterFragmentOfExtensionHeadersHasNoProtocol ) {
   PacketParts parts = withPayload( PacketParts::ipv6(), 6, tcpBytes( 80, 443, 0x010 ) );
   parts.extensions = { 44, 60 };
   parts.offset = 100;
   const Packet packet = parsed( parts );
   EXPECT_EQ( packet.fragment, 0x0A );
   EXPECT_EQ( packet.protocol, std::nullopt );
   EXPECT_EQ( packet.destPort, std::nullopt );
}

} // namespace
} // namespace Match
