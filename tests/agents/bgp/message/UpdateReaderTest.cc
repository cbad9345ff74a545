#include "agents/bgp/message/UpdateWriter.h"
#include "tests/agents/bgp/message/UpdateBytes.h"
#include "tests/support/AllocationCounter.h"

#include <gmock/gmock.h>

namespace Bgp {
namespace {

using namespace TestSupport;

TEST( BgpUpdateReader, RoutesAndAttributesAreViewsOfTheMessage ) {
   const std::string communities = "8006 0000 00000000";
   const std::vector< U8 > body = updateBody(
      attribute( 0x90, 14, "0002 86 18" + std::string( 48, '1' ) + "00" + rule + rule ) +
      attribute( 0x80, 15, "0001 85" + rule ) + attribute( 0x40, 1, "02" ) +
      attribute( 0x50, 2, "0202 0000FBF4 00010001 0101 0000FBF5" ) +
      attribute( 0x80, 4, "00000007" ) + attribute( 0x40, 5, "00000064" ) +
      attribute( 0x80, 9, "C0000201" ) + attribute( 0x80, 10, "C0000202 C0000203" ) +
      attribute( 0xC0, 16, communities ) + attribute( 0xC0, 25, std::string( 40, '2' ) ) );
   Update update;
   ASSERT_EQ( verdict( body, internal, update ), "use" );
   ASSERT_TRUE( update.reach && update.unreach );
   EXPECT_EQ( update.reach->family, ipv6VpnFlow );
   EXPECT_EQ( hexOf( update.reach->nlri ), hexOf( bytesOf( rule + rule ) ) );
   EXPECT_EQ( hexOf( update.nextHop ), std::string( 48, '1' ) );
   EXPECT_EQ( update.unreach->family, ipv4Flow );
   EXPECT_EQ( hexOf( update.unreach->nlri ), hexOf( bytesOf( rule ) ) );
   EXPECT_FALSE( update.endOfRib );
   const PathAttributes& attributes = update.attributes;
   EXPECT_EQ( attributes.origin, Origin::incomplete );
   EXPECT_EQ( attributes.asPath.text(), "64500 65537 {64501}" );
   EXPECT_EQ( attributes.med, 7U );
   EXPECT_EQ( attributes.localPref, 100U );
   EXPECT_EQ( attributes.originatorId, 0xC0000201 );
   EXPECT_TRUE( attributes.passed( 0xC0000202 ) );
   EXPECT_TRUE( attributes.passed( 0xC0000203 ) );
   EXPECT_FALSE( attributes.passed( 0xC0000201 ) );
   ASSERT_TRUE( attributes.communities.extended && attributes.communities.ipv6 );
   EXPECT_EQ( hexOf( *attributes.communities.extended ), hexOf( bytesOf( communities ) ) );
   EXPECT_EQ( attributes.communities.ipv6->size(), 20U );
   for ( const std::span< const U8 > view :
         { update.reach->nlri, update.nextHop, attributes.asPath.octets(),
           *attributes.communities.extended } ) {
      EXPECT_GE( view.data(), body.data() );
      EXPECT_LE( view.data() + view.size(), body.data() + body.size() );
   }
}

TEST( BgpUpdateReader, NothingStaysOfTheUpdateBefore ) {
   Update update;
   ASSERT_EQ( verdict( updateBody( reachRule + unreachRule + attribute( 0x80, 4, "00000007" ) +
                                   attribute( 0x40, 6, "00" ) ),
                       external, update ),
              "withdraw: ORIGIN is missing; ATOMIC_AGGREGATE: the length is 1" );
   ASSERT_EQ( verdict( updateBody( attribute( 0x80, 15, "000185" ) ), external, update ), "use" );
   EXPECT_EQ( update.endOfRib, ipv4Flow );
   ASSERT_EQ( verdict( updateBody( "" ), external, update ), "use" );
   EXPECT_FALSE( update.reach || update.unreach || update.endOfRib || update.attributes.med );
   EXPECT_TRUE( update.nextHop.empty() && update.attributes.asPath.empty() );
}

TEST( BgpUpdateReader, EndOfRibIsAnUpdateOfNothing ) {
   Update update;
   for ( const Family family : flowFamilies ) {
      std::vector< U8 > message;
      writeEndOfRib( family, message );
      ASSERT_EQ( message.size(), 30U );
      ASSERT_FALSE(
         readUpdate( bodiesOf( message, MessageType::update ).at( 0 ), external, update ) );
      EXPECT_EQ( update.endOfRib, family );
      EXPECT_FALSE( update.unreach );
   }
   const std::string empty = attribute( 0x80, 15, "000185" );
   const auto endOf = [&update]( const std::vector< U8 >& body, const Agreed& agreed = external ) {
      EXPECT_FALSE( readUpdate( body, agreed, update ) );
      return update.endOfRib;
   };
   EXPECT_EQ( endOf( updateBody( empty ) ), ipv4Flow );
   EXPECT_EQ( endOf( updateBody( empty + origin ) ), std::nullopt );
   EXPECT_TRUE( update.unreach && update.unreach->nlri.empty() );
   EXPECT_EQ( endOf( updateBody( empty, "00" ) ), std::nullopt );
   EXPECT_EQ( endOf( updateBody( empty, "", "00" ) ), std::nullopt );
   EXPECT_EQ( endOf( updateBody( unreachRule ) ), std::nullopt );
   EXPECT_EQ( endOf( updateBody( attribute( 0x80, 14, "0001850000" ) ) ), std::nullopt );
   EXPECT_EQ( endOf( updateBody( "" ) ), std::nullopt ) << "of IPv4 unicast";
   EXPECT_EQ( endOf( updateBody( attribute( 0x80, 15, "000201" ) ) ), std::nullopt );
   Agreed other = external;
   other.families = { ipv6Flow };
   EXPECT_EQ( endOf( updateBody( empty ), other ), std::nullopt );
}

TEST( BgpUpdateReader, NothingIsAllocated ) {
   const std::vector< U8 > body =
      updateBody( reachRule + unreachRule + origin + asPath + attribute( 0x40, 5, "00000064" ) +
                  attribute( 0xC0, 16, "8006000000000000" ) );
   const std::vector< U8 > refused = updateBody( reachRule + attribute( 0x40, 1, "03" ) );
   const std::vector< U8 > narrow =
      updateBody( reachRule + origin + attribute( 0x40, 2, "0201 FBF4" ) );
   Update update;
   EXPECT_FALSE( readUpdate( narrow, twoOctet, update ) ) << "takes memory for the path, once";
   const AllocationCounter counter;
   EXPECT_FALSE( readUpdate( body, external, update ) );
   EXPECT_FALSE( readUpdate( refused, external, update ) );
   EXPECT_FALSE( readUpdate( narrow, twoOctet, update ) );
   EXPECT_EQ( counter.count(), 0U );
}

// What the path of a peer with two octets comes to.
std::string merged( const char* path, const std::string& others = "" ) {
   Update update;
   EXPECT_EQ( verdict( updateBody( reachRule + origin + attribute( 0x40, 2, path ) + others ),
                       twoOctet, update ),
              "use" );
   return update.attributes.asPath.text();
}

std::string as4Path( const char* value ) { return attribute( 0xC0, 17, value ); }

TEST( BgpUpdateReader, PathOfTwoOctetsIsCompletedByAs4Path ) {
   // 23456 stands for a number that two octets do not hold.
   EXPECT_EQ( merged( "" ), "" );
   EXPECT_EQ( merged( "0203 FBF4 5BA0 FBF5" ), "64500 23456 64501" );
   EXPECT_EQ( merged( "0203 FBF4 5BA0 FBF5", as4Path( "0202 00010001 0000FBF5" ) ),
              "64500 65537 64501" );
   EXPECT_EQ( merged( "0203 FBF4 5BA0 FBF5", as4Path( "0203 0000FBF4 00010001 0000FBF5" ) ),
              "64500 65537 64501" );
   EXPECT_EQ(
      merged( "0203 FBF4 5BA0 FBF5", as4Path( "0204 0000FBF3 0000FBF4 00010001 0000FBF5" ) ),
      "64500 23456 64501" )
      << "AS4_PATH is longer: it is not used";
}

TEST( BgpUpdateReader, SetsCountAsOneWhenPathsAreMerged ) {
   EXPECT_EQ( merged( "0202 FBF4 FBF5 0102 5BA0 FBF6", as4Path( "0102 00010001 0000FBF6" ) ),
              "64500 64501 {65537 64502}" );
   EXPECT_EQ( merged( "0103 FBF4 FBF5 FBF6 0201 5BA0", as4Path( "0201 00010001" ) ),
              "{64500 64501 64502} 65537" );
   EXPECT_EQ( merged( "0201 FBF4 0102 FBF5 FBF6 0201 5BA0", as4Path( "0202 0000FBF9 00010001" ) ),
              "64500 64505 65537" );
   EXPECT_EQ( merged( "0102 FBF5 FBF6", as4Path( "0202 00010001 00010002" ) ), "{64501 64502}" );
}

TEST( BgpUpdateReader, SegmentsOfConfederationsAreLeftOut ) {
   EXPECT_EQ( merged( "0202 FBF4 5BA0", as4Path( "0301 00010009 0201 00010001" ) ), "64500 65537" );
   EXPECT_EQ( merged( "0202 FBF4 5BA0", as4Path( "0402 00010008 00010009" ) ), "64500 23456" );
}

TEST( BgpUpdateReader, LaterAggregatorMakesAs4PathOutdated ) {
   const std::string as4 = as4Path( "0201 00010001" );
   const std::string as4Aggregator = attribute( 0xC0, 18, "00010001 C0000201" );
   const std::string known = attribute( 0xC0, 7, "FBF4 C0000202" );
   const std::string trans = attribute( 0xC0, 7, "5BA0 C0000202" );
   EXPECT_EQ( merged( "0202 FBF4 5BA0", known + as4 + as4Aggregator ), "64500 23456" );
   EXPECT_EQ( merged( "0202 FBF4 5BA0", trans + as4 + as4Aggregator ), "64500 65537" );
   EXPECT_EQ( merged( "0202 FBF4 5BA0", known + as4 ), "64500 65537" );
   EXPECT_EQ( merged( "0202 FBF4 5BA0", as4 + as4Aggregator ), "64500 65537" );
}

TEST( BgpAsPath, IsLookedAt ) {
   const std::vector< U8 > octets =
      bytesOf( "0202 0000FBF4 00010001 0103 00000001 00000002 00000003" );
   const AsPath path( octets );
   EXPECT_EQ( path.length(), 3U );
   EXPECT_EQ( path.first(), 64500U );
   EXPECT_TRUE( path.contains( 64500 ) && path.contains( 65537 ) && path.contains( 3 ) );
   EXPECT_FALSE( path.contains( 4 ) );
   EXPECT_EQ( path.text(), "64500 65537 {1 2 3}" );
   const std::vector< U8 > set = bytesOf( "0101 00000001" );
   EXPECT_EQ( AsPath( set ).first(), std::nullopt );
   EXPECT_EQ( AsPath().first(), std::nullopt );
   EXPECT_EQ( AsPath().length(), 0U );
   EXPECT_EQ( AsPath().text(), "" );
   EXPECT_FALSE( AsPath().contains( 0 ) );
   const std::vector< U8 > copy = octets;
   EXPECT_TRUE( AsPath( copy ) == path );
   EXPECT_FALSE( AsPath( set ) == path );
}

} // namespace
} // namespace Bgp
