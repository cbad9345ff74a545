#include "agents/bgp/message/Header.h"

#include "tests/support/Hex.h"

#include <gmock/gmock.h>

namespace Bgp {
namespace {

using TestSupport::bytesOf;
using TestSupport::hexOf;

const std::string marker( 32, 'F' );

// The header, or the notification and its text.
std::string read( const std::string& hex, std::size_t maxLength = maxMessage ) {
   const std::vector< U8 > octets = bytesOf( hex );
   Header header{};
   if ( const auto fault =
           readHeader( std::span( octets ).first< headerSize >(), maxLength, header ) ) {
      const Notification& told = fault->notification;
      return Vek::concat( told.code, '/', told.subcode, ' ', hexOf( told.data ), ": ",
                          fault->text );
   }
   return Vek::concat( "type ", static_cast< U8 >( header.type ), " length ", header.length );
}

TEST( BgpHeader, ShortestAndLongestOfEachTypeAreRead ) {
   EXPECT_EQ( read( marker + "001D01" ), "type 1 length 29" );
   EXPECT_EQ( read( marker + "001702" ), "type 2 length 23" );
   EXPECT_EQ( read( marker + "001503" ), "type 3 length 21" );
   EXPECT_EQ( read( marker + "001304" ), "type 4 length 19" );
   EXPECT_EQ( read( marker + "001705" ), "type 5 length 23" );
   EXPECT_EQ( read( marker + "100001" ), "type 1 length 4096" );
   EXPECT_EQ( read( marker + "100002" ), "type 2 length 4096" );
   EXPECT_EQ( read( marker + "FFFF02", maxExtendedMessage ), "type 2 length 65535" );
   EXPECT_EQ( read( marker + "FFFF03", maxExtendedMessage ), "type 3 length 65535" );
}

TEST( BgpHeader, MarkerIsAllOnes ) {
   for ( std::size_t octet = 0; octet < 16; ++octet ) {
      std::string hex = marker;
      hex[2 * octet + 1] = 'E';
      EXPECT_EQ( read( hex + "001304" ), "1/1 : the marker is not all ones" );
   }
}

TEST( BgpHeader, LengthIsOneThatTheTypeCanHave ) {
   const auto length = []( const char* hex, const char* text ) {
      return Vek::concat( "1/2 ", hex, ": the message length is ", text );
   };
   EXPECT_EQ( read( marker + "000004" ), length( "0000", "0, it must be 19 to 4096" ) );
   EXPECT_EQ( read( marker + "001204" ), length( "0012", "18, it must be 19 to 4096" ) );
   EXPECT_EQ( read( marker + "100102" ), length( "1001", "4097, it must be 19 to 4096" ) );
   const auto lengthOf = []( int type, const char* hex, const char* text ) {
      return Vek::concat( "1/2 ", hex, ": the length of a message of type ", type, " is ", text );
   };
   EXPECT_EQ( read( marker + "001C01" ), lengthOf( 1, "001C", "28, it must be 29 to 4096" ) );
   EXPECT_EQ( read( marker + "100101", maxExtendedMessage ),
              lengthOf( 1, "1001", "4097, it must be 29 to 4096" ) );
   EXPECT_EQ( read( marker + "001602" ), lengthOf( 2, "0016", "22, it must be 23 to 4096" ) );
   EXPECT_EQ( read( marker + "001403" ), lengthOf( 3, "0014", "20, it must be 21 to 4096" ) );
   EXPECT_EQ( read( marker + "001404" ), lengthOf( 4, "0014", "20, it must be 19 to 19" ) );
   EXPECT_EQ( read( marker + "001605" ), lengthOf( 5, "0016", "22, it must be 23 to 4096" ) );
}

TEST( BgpHeader, TypeIsKnown ) {
   EXPECT_EQ( read( marker + "001300" ), "1/3 00: the message type 0 is not known" );
   EXPECT_EQ( read( marker + "001306" ), "1/3 06: the message type 6 is not known" );
   EXPECT_EQ( read( marker + "1000FF" ), "1/3 FF: the message type 255 is not known" );
}

TEST( BgpHeader, MessagesAreWrittenOneAfterTheOther ) {
   std::vector< U8 > out;
   writeKeepalive( out );
   const std::size_t start = beginMessage( MessageType::update, out );
   append32( out, 0x01020304 );
   endMessage( start, out );
   EXPECT_EQ( hexOf( out ), marker + "001304" + marker + "00170201020304" );
}

} // namespace
} // namespace Bgp
