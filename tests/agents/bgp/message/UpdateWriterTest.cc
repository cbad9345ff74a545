#include "agents/bgp/message/UpdateWriter.h"

#include "tests/agents/bgp/message/UpdateBytes.h"

#include <gmock/gmock.h>

namespace Bgp {
namespace {

using namespace TestSupport;

const std::vector< U8 > ruleOctets = bytesOf( rule );

// The attributes of an announcement to an external peer.
std::vector< U8 > attributesOf( const PathAttributes& attributes, bool fourOctetAs = true ) {
   std::vector< U8 > out;
   writeAttributes( attributes, fourOctetAs, out );
   return out;
}

TEST( BgpUpdateWriter, RoutesComeFirst ) {
   const std::vector< U8 > path = bytesOf( "0201 0000FBF4" );
   const std::vector< U8 > drop = bytesOf( "8006 0000 00000000" );
   PathAttributes attributes;
   attributes.asPath = AsPath( path );
   attributes.communities.extended = drop;
   const std::vector< U8 > written = attributesOf( attributes );
   std::vector< U8 > out;
   UpdateWriter writer = UpdateWriter::announcing( ipv4Flow, written, maxMessage, out );
   EXPECT_TRUE( writer.add( ruleOctets ) );
   EXPECT_TRUE( writer.add( ruleOctets ) );
   writer.finish();
   writer.finish();
   EXPECT_EQ( hexOf( out ), std::string( 32, 'F' ) + "004402"
                                                     "0000"
                                                     "002D"
                                                     "900E0011"
                                                     "0001"
                                                     "85"
                                                     "00"
                                                     "00"
                                                     "050118C00002"
                                                     "050118C00002"
                                                     "400101"
                                                     "00"
                                                     "400206"
                                                     "02010000FBF4"
                                                     "C01008"
                                                     "8006000000000000" );
}

TEST( BgpUpdateWriter, WithdrawalsHaveNoAttributes ) {
   std::vector< U8 > out;
   UpdateWriter writer = UpdateWriter::withdrawing( ipv6VpnFlow, maxMessage, out );
   writer.finish();
   EXPECT_TRUE( out.empty() ) << "nothing to withdraw";
   EXPECT_TRUE( writer.add( ruleOctets ) );
   writer.finish();
   EXPECT_EQ( hexOf( out ), std::string( 32, 'F' ) + "002402"
                                                     "0000"
                                                     "000D"
                                                     "900F0009"
                                                     "0002"
                                                     "86"
                                                     "050118C00002" );
}

TEST( BgpUpdateWriter, MessagesAreFilled ) {
   for ( const std::size_t maxLength : { maxMessage, maxExtendedMessage } ) {
      for ( const bool reach : { true, false } ) {
         const std::vector< U8 > attributes = attributesOf( {} );
         std::vector< U8 > out;
         UpdateWriter writer = reach
                                  ? UpdateWriter::announcing( ipv4Flow, attributes, maxLength, out )
                                  : UpdateWriter::withdrawing( ipv4Flow, maxLength, out );
         constexpr std::size_t rules = 30'000;
         for ( std::size_t i = 0; i < rules; ++i ) {
            ASSERT_TRUE( writer.add( ruleOctets ) );
         }
         writer.finish();
         const auto bodies = bodiesOf( out, MessageType::update );
         const std::size_t empty = reach ? 32 + attributes.size() : 30;
         const std::size_t each = ( maxLength - empty ) / ruleOctets.size();
         EXPECT_EQ( bodies.size(), ( rules + each - 1 ) / each );
         std::size_t read = 0;
         for ( const std::vector< U8 >& body : bodies ) {
            EXPECT_LE( headerSize + body.size(), maxLength );
            Update update;
            ASSERT_EQ( verdict( body, external, update ), "use" );
            read += ( reach ? update.reach : update.unreach )->nlri.size();
         }
         EXPECT_EQ( read, rules * ruleOctets.size() );
      }
   }
}

TEST( BgpUpdateWriter, RuleThatIsTooLongIsRefused ) {
   // 32 octets come before the rules of an announcement, 30 before those of a withdrawal.
   std::vector< U8 > attributes = attributesOf( {} );
   std::vector< U8 > out;
   UpdateWriter writer = UpdateWriter::announcing( ipv4Flow, attributes, maxMessage, out );
   EXPECT_TRUE( writer.add( ruleOctets ) );
   const std::size_t most = 4096 - 32 - attributes.size();
   EXPECT_FALSE( writer.add( std::vector< U8 >( most + 1 ) ) );
   EXPECT_TRUE( writer.add( ruleOctets ) ) << "the others are not harmed";
   EXPECT_TRUE( writer.add( std::vector< U8 >( most ) ) );
   writer.finish();
   const auto bodies = bodiesOf( out, MessageType::update );
   ASSERT_EQ( bodies.size(), 2U );
   EXPECT_EQ( bodies[1].size() + headerSize, 4096U );

   UpdateWriter withdrawing = UpdateWriter::withdrawing( ipv4Flow, maxMessage, out );
   EXPECT_FALSE( withdrawing.add( std::vector< U8 >( 4096 - 30 + 1 ) ) );
   EXPECT_TRUE( withdrawing.add( std::vector< U8 >( 4096 - 30 ) ) );

   attributes.resize( 5000 );
   UpdateWriter none = UpdateWriter::announcing( ipv4Flow, attributes, maxMessage, out );
   EXPECT_FALSE( none.add( ruleOctets ) );
}

TEST( BgpUpdateWriter, MessagesAreAppended ) {
   std::vector< U8 > out;
   writeKeepalive( out );
   UpdateWriter writer = UpdateWriter::withdrawing( ipv4Flow, maxMessage, out );
   EXPECT_TRUE( writer.add( ruleOctets ) );
   writer.finish();
   writeEndOfRib( ipv4Flow, out );
   EXPECT_TRUE( writer.add( ruleOctets ) );
   writer.finish();
   EXPECT_EQ( bodiesOf( std::span( out ).subspan( 19 ), MessageType::update ).size(), 3U );
}

TEST( BgpWriteAttributes, AllAreWritten ) {
   const std::vector< U8 > path = bytesOf( "0201 0000FBF4" );
   const std::vector< U8 > clusters = bytesOf( "00000001 00000002" );
   const std::vector< U8 > extended( 32 * 8, 0x11 );
   const std::vector< U8 > ipv6( 20, 0x22 );
   PathAttributes attributes;
   attributes.origin = Origin::egp;
   attributes.asPath = AsPath( path );
   attributes.med = 1;
   attributes.localPref = 100;
   attributes.originatorId = 7;
   attributes.clusterList = clusters;
   attributes.communities = { extended, ipv6 };
   EXPECT_EQ( hexOf( attributesOf( attributes ) ), "40010101"
                                                   "40020602010000FBF4"
                                                   "80040400000001"
                                                   "40050400000064"
                                                   "80090400000007"
                                                   "800A080000000100000002"
                                                   "D0100100" +
                                                      hexOf( extended ) + "C01914" +
                                                      hexOf( ipv6 ) );
}

TEST( BgpWriteAttributes, PathsOfTwoOctetsHaveAs4PathWhereTheyNeedIt ) {
   const std::vector< U8 > narrow = bytesOf( "0202 0000FBF4 0000FFFF" );
   PathAttributes attributes;
   attributes.asPath = AsPath( narrow );
   EXPECT_EQ( hexOf( attributesOf( attributes, false ) ), "40010100"
                                                          "4002060202FBF4FFFF" );
   const std::vector< U8 > wide = bytesOf( "0201 00010000 0102 0000FBF4 0001FFFF" );
   attributes.asPath = AsPath( wide );
   EXPECT_EQ( hexOf( attributesOf( attributes, false ) ), "40010100"
                                                          "40020A"
                                                          "02015BA0"
                                                          "0102FBF45BA0"
                                                          "C01110"
                                                          "020100010000"
                                                          "01020000FBF40001FFFF" );
}

} // namespace
} // namespace Bgp
