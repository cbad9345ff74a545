#include "Classification/StructuredFilter.h"

#include <gmock/gmock.h>

namespace {

using namespace Classification;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

Zorv::IpGenPrefix prefix( std::string_view text ) {
   return Zorv::IpGenPrefix::fromText( text ).value();
}

TEST( StructuredFilter, NewOneHasNoCriterion ) {
   const auto filter = structuredFilterFactory();
   EXPECT_EQ( filter->useCount(), 1U );
   EXPECT_THAT( filter->destPrefix, IsEmpty() );
   EXPECT_THAT( filter->srcPrefix, IsEmpty() );
   EXPECT_THAT( filter->proto, IsEmpty() );
   EXPECT_THAT( filter->length, IsEmpty() );
   EXPECT_THAT( filter->dscp, IsEmpty() );
   EXPECT_EQ( filter->fragment, nullptr );
   EXPECT_EQ( StructuredFilter::typeName, "Classification::StructuredFilter" );
}

TEST( StructuredFilter, SetsAreInTheOrderOfTheirElements ) {
   const auto filter = structuredFilterFactory();
   filter->destPrefix = { prefix( "2001:db8::/32" ), prefix( "10.0.0.0/16" ),
                          prefix( "10.0.0.0/8" ), prefix( "10.0.0.0/16" ) };
   EXPECT_THAT( filter->destPrefix, ElementsAre( prefix( "10.0.0.0/8" ), prefix( "10.0.0.0/16" ),
                                                 prefix( "2001:db8::/32" ) ) );
   filter->length.emplace( 1500 );
   filter->length.emplace( 64, 128 );
   EXPECT_THAT( filter->length,
                ElementsAre( PacketLengthRange( 64, 128 ), PacketLengthRange( 1500 ) ) );
}

TEST( StructuredFilter, ProtocolsHaveCriteriaOfTheirOwn ) {
   const auto filter = structuredFilterFactory();
   PortField& web = filter->proto[ProtocolRange( 6 )].port[Osk::UniqueId()];
   web.dport.emplace( 80 );
   web.dport.emplace( 443 );
   filter->proto[ProtocolRange( 6 )].port[Osk::UniqueId()].sport.emplace( 1024, 65535 );
   filter->proto[ProtocolRange( 6 )].tcpFlagAndMask.emplace( 0x02, 0x12 );
   filter->proto[ProtocolRange( 1 )].icmpType[IcmpTypeRange( 3 )].icmpCode.emplace( 0, 4 );
   ASSERT_THAT( filter->proto, SizeIs( 2 ) );
   EXPECT_EQ( filter->proto.begin()->first, ProtocolRange( 1 ) );
   const ProtoField& tcp = filter->proto.at( ProtocolRange( 6 ) );
   ASSERT_THAT( tcp.port, SizeIs( 2 ) );
   // Identifiers are drawn in ascending order.
   EXPECT_THAT( tcp.port.begin()->second.dport, ElementsAre( PortRange( 80 ), PortRange( 443 ) ) );
   EXPECT_THAT( tcp.tcpFlagAndMask, ElementsAre( TcpFlagAndMask( 0x02, 0x12 ) ) );
   EXPECT_EQ( filter->proto.at( ProtocolRange( 1 ) ).icmpType.at( IcmpTypeRange( 3 ) ),
              ( TypeAndCode{ { IcmpCodeRange( 0, 4 ) } } ) );
}

TEST( StructuredFilter, SharesItsFragmentCriterionAndIsSharedItself ) {
   const auto fragment = fragmentFactory( FragmentType::anyFragment );
   {
      const auto filter = structuredFilterFactory();
      filter->fragment = fragment;
      const Vek::Ptr< const StructuredFilter > reader = filter;
      EXPECT_EQ( filter->useCount(), 2U );
      EXPECT_EQ( fragment->useCount(), 2U );
      EXPECT_EQ( reader->fragment->fragmentType(), FragmentType::anyFragment );
   }
   EXPECT_EQ( fragment->useCount(), 1U );
}

} // namespace
