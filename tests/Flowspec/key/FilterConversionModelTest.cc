// Filters that a key can hold whole: the converted key takes the same packets as the filter.
#include "tests/support/FilterGenerator.h"

#include <gtest/gtest.h>

namespace {

using namespace Classification;
using Flowspec::FlowspecKey;
using Flowspec::MatchOpVal;
using Flowspec::OpBits;
using TestSupport::FilterGenerator;
using TestSupport::Packet;
using Zorv::AddressFamily;
using Zorv::IpGenAddr;
using Zorv::IpGenPrefix;

/// The same key without end-of-list bits, which no command-line text carries.
FlowspecKey withoutEnds( FlowspecKey key ) {
   for ( U32 i = 0; i < key.matchOpVals(); ++i ) {
      constexpr U32 end = U32{ OpBits::endOfList } << 16;
      key.matchOpValIs( i, MatchOpVal( key.matchOpVal( i ).storage() & ~end ) );
   }
   return key;
}

/// The key of an IPv4 or IPv6 filter and the keys read back from its texts.
std::vector< FlowspecKey > convertedAndReadBack( const FlowspecKey::FilterPtr& filter,
                                                 AddressFamily family ) {
   std::vector< FlowspecKey > keys( 4 );
   keys[0].vrfIdIs( 5 );
   keys[0].addressFamilyIs( family );
   keys[0].copyInStructuredFilter( filter );
   for ( FlowspecKey& key : { std::ref( keys[1] ), std::ref( keys[2] ) } ) {
      key.vrfIdIs( 5 );
      key.addressFamilyIs( family );
   }
   EXPECT_TRUE( keys[1].copyInStrCli( keys[0].toStrepCli( true ), true ) );
   EXPECT_TRUE( keys[2].copyInStrCli( keys[0].toStrepCli( false ), false ) );
   keys[3].copyInStringValue( keys[0].stringValue() );
   return keys;
}

TEST( FilterConversionModel, KeyTakesTheSamePacketsAsTheFilter ) {
   FilterGenerator generator( 20250214 );
   U32 taken = 0;
   U32 seen = 0;
   for ( int round = 0; round < 3000; ++round ) {
      const auto family = generator.oneIn( 3 ) ? AddressFamily::ipv6 : AddressFamily::ipv4;
      const auto filter = generator.filter( family );
      const auto keys = convertedAndReadBack( filter, family );
      for ( const FlowspecKey& key : keys ) {
         ASSERT_EQ( withoutEnds( key ), withoutEnds( keys[0] ) ) << keys[0];
      }
      for ( int i = 0; i < 60; ++i ) {
         const Packet packet = generator.packet( *filter, family );
         const bool expected = matches( *filter, packet );
         taken += expected;
         ++seen;
         for ( const FlowspecKey& key : keys ) {
            ASSERT_EQ( matches( key, packet ), expected ) << key;
         }
      }
   }
   // The packets tell right keys from wrong ones: many are taken and many are not.
   EXPECT_GT( taken, seen / 8 );
   EXPECT_LT( taken, seen / 2 );
}

/// Whether the converted key of a filter takes a packet.
bool keyTakes( const FlowspecKey::FilterPtr& filter, const Packet& packet ) {
   FlowspecKey key;
   key.copyInStructuredFilter( filter );
   return matches( key, packet );
}

TEST( FilterConversionModel, OfTwoPrefixesTheSecondIsLost ) {
   const auto filter = structuredFilterFactory();
   filter->destPrefix = { IpGenPrefix::fromText( "10.0.0.0/8" ).value(),
                          IpGenPrefix::fromText( "192.0.2.0/24" ).value() };
   Packet packet;
   packet.destination = IpGenAddr::fromText( "192.0.2.1" ).value();
   EXPECT_TRUE( matches( *filter, packet ) );
   EXPECT_FALSE( keyTakes( filter, packet ) );
}

TEST( FilterConversionModel, WhichPortsWentWithWhichProtocolIsLost ) {
   const auto filter = structuredFilterFactory();
   filter->proto[ProtocolRange( 6 )].port[Osk::UniqueId()].dport = { PortRange( 80 ) };
   filter->proto[ProtocolRange( 17 )].port[Osk::UniqueId()].dport = { PortRange( 53 ) };
   Packet packet;
   packet.protocol = 17;
   packet.destPort = 80;
   EXPECT_FALSE( matches( *filter, packet ) );
   EXPECT_TRUE( keyTakes( filter, packet ) );
}

TEST( FilterConversionModel, ProtocolWithoutPortsNoLongerPassesBesideOneWithPorts ) {
   const auto filter = structuredFilterFactory();
   filter->proto[ProtocolRange( 6 )].port[Osk::UniqueId()].dport = { PortRange( 80 ) };
   filter->proto[ProtocolRange( 1 )];
   Packet packet;
   packet.protocol = 1;
   EXPECT_TRUE( matches( *filter, packet ) );
   EXPECT_FALSE( keyTakes( filter, packet ) );
}

TEST( FilterConversionModel, PairsOfPortsAreLost ) {
   const auto filter = structuredFilterFactory();
   ProtoField& udp = filter->proto[ProtocolRange( 17 )];
   udp.port[Osk::UniqueId()] = { { PortRange( 53 ) }, { PortRange( 1000 ) } };
   udp.port[Osk::UniqueId()] = { { PortRange( 123 ) }, { PortRange( 2000 ) } };
   Packet packet;
   packet.protocol = 17;
   packet.srcPort = 53;
   packet.destPort = 2000;
   EXPECT_FALSE( matches( *filter, packet ) );
   EXPECT_TRUE( keyTakes( filter, packet ) );
}

TEST( FilterConversionModel, CodesOfAnIcmpTypeAreLost ) {
   const auto filter = structuredFilterFactory();
   ProtoField& icmp = filter->proto[ProtocolRange( 1 )];
   icmp.icmpType[IcmpTypeRange( 3 )].icmpCode = { IcmpCodeRange( 4 ) };
   icmp.icmpType[IcmpTypeRange( 11 )].icmpCode = { IcmpCodeRange( 0 ) };
   Packet packet;
   packet.protocol = 1;
   packet.icmpType = 3;
   EXPECT_FALSE( matches( *filter, packet ) );
   EXPECT_TRUE( keyTakes( filter, packet ) );
}

TEST( FilterConversionModel, TestOfNoTcpFlagIsLostBesideOthers ) {
   const auto filter = structuredFilterFactory();
   filter->proto[ProtocolRange( 6 )].tcpFlagAndMask = { { 0x00, 0x00 }, { 0x02, 0x02 } };
   Packet packet;
   packet.protocol = 6;
   EXPECT_TRUE( matches( *filter, packet ) );
   EXPECT_FALSE( keyTakes( filter, packet ) );
}

TEST( FilterConversionModel, OtherFragmentTypesAreLost ) {
   const auto filter = structuredFilterFactory();
   Packet whole;
   Packet first;
   first.moreFragments = true;
   for ( const FragmentType type :
         { FragmentType::firstFragment, FragmentType::nonFirstFragment } ) {
      filter->fragment = fragmentFactory( type );
      EXPECT_FALSE( matches( *filter, whole ) );
      EXPECT_TRUE( keyTakes( filter, whole ) );
   }
   filter->fragment = fragmentFactory( FragmentType::notFragment );
   EXPECT_FALSE( matches( *filter, first ) );
   EXPECT_TRUE( keyTakes( filter, first ) );
}

} // namespace
