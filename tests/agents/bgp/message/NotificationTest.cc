#include "agents/bgp/message/Notification.h"

#include "agents/bgp/message/RouteRefresh.h"
#include "tests/agents/bgp/message/UpdateBytes.h"

#include <gmock/gmock.h>

namespace Bgp {
namespace {

using namespace TestSupport;

TEST( BgpNotification, IsWrittenAndReadBack ) {
   const Notification notification{ 3, 2, bytesOf( "40630102" ) };
   std::vector< U8 > out;
   writeNotification( notification, out );
   EXPECT_EQ( hexOf( out ), std::string( 32, 'F' ) + "001903"
                                                     "0302"
                                                     "40630102" );
   EXPECT_EQ( readNotification( bodiesOf( out, MessageType::notification ).at( 0 ) ),
              notification );
   EXPECT_EQ( readNotification( bytesOf( "0400" ) ), ( Notification{ 4, 0, {} } ) );
}

TEST( BgpNotification, DataIsCutOffWhereAMessageEnds ) {
   for ( const std::size_t size : { 4075U, 4076U, 65530U } ) {
      std::vector< U8 > out;
      writeNotification( { 3, 9, std::vector< U8 >( size, 7 ) }, out );
      EXPECT_EQ( out.size(), 4096U );
      EXPECT_EQ( bodiesOf( out, MessageType::notification ).at( 0 ).size(), 4077U );
   }
}

TEST( BgpNotification, TextForOperatorsIsWrittenAndRead ) {
   Notification notification = shutdown( Cease::administrativeShutdown, "moving racks" );
   EXPECT_EQ( hexOf( notification.data ), "0C" + hexOf( bytesOf( "6D6F76696E67207261636B73" ) ) );
   EXPECT_EQ( shutdownCommunication( notification ), "moving racks" );
   notification.subcode = Cease::administrativeReset;
   EXPECT_EQ( shutdownCommunication( notification ), "moving racks" );
   notification.subcode = Cease::peerDeconfigured;
   EXPECT_EQ( shutdownCommunication( notification ), std::nullopt );
   notification = shutdown( Cease::administrativeShutdown );
   EXPECT_TRUE( notification.data.empty() );
   EXPECT_EQ( shutdownCommunication( notification ), std::nullopt );
}

TEST( BgpNotification, TextForOperatorsEndsWithACharacter ) {
   const auto sent = []( const std::string& text ) {
      return Vek::String(
         shutdownCommunication( shutdown( Cease::administrativeReset, text ) ).value_or( "none" ) );
   };
   EXPECT_EQ( sent( std::string( 255, 'x' ) ), std::string( 255, 'x' ) );
   EXPECT_EQ( sent( std::string( 256, 'x' ) ), std::string( 255, 'x' ) );
   EXPECT_EQ( sent( std::string( 254, 'x' ) + "\u00e4" ), std::string( 254, 'x' ) );
   EXPECT_EQ( sent( std::string( 253, 'x' ) + "\u00e4" ), std::string( 253, 'x' ) + "\u00e4" );
   EXPECT_EQ( sent( "abc\xff" ), "abc" );
   EXPECT_EQ( sent( "\xff" ), "none" );
}

TEST( BgpNotification, TextForOperatorsIsUtf8OfTheLengthThatIsTold ) {
   const auto received = []( const std::string& hex ) {
      return shutdownCommunication(
                { ErrorCode::cease, Cease::administrativeShutdown, bytesOf( hex ) } )
         .has_value();
   };
   EXPECT_TRUE( received( "0141" ) );
   EXPECT_FALSE( received( "00" ) );
   EXPECT_FALSE( received( "0241" ) );
   EXPECT_FALSE( received( "014141" ) );
   for ( const char* good : { "02C3A4", "03E282AC", "04F09F9880", "03ED9FBF", "04F48FBFBF",
                              "03E0A080", "04F0908080", "02C280", "0100" } ) {
      EXPECT_TRUE( received( good ) ) << good;
   }
   for ( const char* bad :
         { "0180", "01C3", "02C341", "02C0AF", "02C1BF", "03E09F80", "03EDA080", "03E28241",
           "04F08F8080", "04F4908080", "04F5808080", "03F09F98", "01FF", "0241C3" } ) {
      EXPECT_FALSE( received( bad ) ) << bad;
   }
}

TEST( BgpNotification, HardResetCarriesAnother ) {
   const Notification inner = shutdown( Cease::administrativeShutdown, "bye" );
   const Notification outer = hardReset( inner );
   EXPECT_EQ( hexOf( outer.data ), "0602"
                                   "03"
                                   "627965" );
   EXPECT_EQ( insideHardReset( outer ), inner );
   EXPECT_EQ( insideHardReset( inner ), std::nullopt );
   EXPECT_EQ( insideHardReset( { 6, 9, { 6 } } ), std::nullopt );
   EXPECT_EQ( describe( outer ), "cease, hard reset: cease, administrative shutdown: \"bye\"" );
   EXPECT_EQ( describe( hardReset( outer ) ), "cease, hard reset" );
}

TEST( BgpNotification, IsDescribed ) {
   const auto text = []( U8 code, U8 subcode ) { return describe( { code, subcode, {} } ); };
   EXPECT_EQ( text( 1, 2 ), "message header error, bad message length" );
   EXPECT_EQ( text( 2, 6 ), "OPEN message error, unacceptable hold time" );
   EXPECT_EQ( text( 3, 1 ), "UPDATE message error, malformed attribute list" );
   EXPECT_EQ( text( 4, 0 ), "hold timer expired" );
   EXPECT_EQ( text( 5, 3 ), "state machine error, unexpected message in Established" );
   EXPECT_EQ( text( 6, 7 ), "cease, connection collision resolution" );
   EXPECT_EQ( text( 7, 1 ), "ROUTE-REFRESH message error, invalid message length" );
   EXPECT_EQ( text( 8, 0 ), "send hold timer expired" );
   EXPECT_EQ( text( 2, 0 ), "OPEN message error" );
   EXPECT_EQ( text( 6, 200 ), "cease, subcode 200" );
   EXPECT_EQ( text( 4, 1 ), "hold timer expired, subcode 1" );
   EXPECT_EQ( text( 0, 0 ), "error 0/0" );
   EXPECT_EQ( text( 9, 1 ), "error 9/1" );
   EXPECT_EQ( describe( shutdown( 2, "a\nb\u00e4" ) ),
              "cease, administrative shutdown: \"a\\x0Ab\\xC3\\xA4\"" );
}

TEST( BgpRouteRefresh, IsWrittenAndReadBack ) {
   for ( const U8 subtype : { U8{ 0 }, U8{ 1 }, U8{ 2 }, U8{ 3 }, U8{ 255 } } ) {
      const RouteRefresh refresh{ ipv6VpnFlow, subtype };
      std::vector< U8 > out;
      writeRouteRefresh( refresh, out );
      RouteRefresh again;
      EXPECT_FALSE( readRouteRefresh( bodiesOf( out, MessageType::routeRefresh ).at( 0 ), again ) );
      EXPECT_EQ( again, refresh );
   }
   std::vector< U8 > out;
   writeRouteRefresh( { ipv4Flow }, out );
   EXPECT_EQ( hexOf( out ), std::string( 32, 'F' ) + "001705"
                                                     "00010085" );
}

TEST( BgpRouteRefresh, HasOneLength ) {
   RouteRefresh refresh;
   for ( const char* body : { "0001008500", "0001018500", "0001028500" } ) {
      const auto fault = readRouteRefresh( bytesOf( body ), refresh );
      ASSERT_TRUE( fault );
      EXPECT_EQ( fault->notification.code, ErrorCode::routeRefresh );
      EXPECT_EQ( fault->notification.subcode, RouteRefreshError::badLength );
      EXPECT_EQ( hexOf( fault->notification.data ), std::string( 32, 'F' ) + "001805" + body );
      EXPECT_EQ( fault->text, "the length of a ROUTE-REFRESH message is 24, it must be 23" );
   }
   EXPECT_FALSE( readRouteRefresh( bytesOf( "0001038500" ), refresh ) );
   EXPECT_EQ( refresh.subtype, 3 ) << "to be ignored";
}

} // namespace
} // namespace Bgp
