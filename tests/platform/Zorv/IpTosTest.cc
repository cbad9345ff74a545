#include "Zorv/IpTos.h"

#include <iomanip>
#include <sstream>
#include <string>
#include <type_traits>

#include <gmock/gmock.h>

namespace {

using testing::ThrowsMessage;
using Zorv::IpTos;

static_assert( sizeof( IpTos ) == 1 && std::is_trivially_copyable_v< IpTos > );
static_assert( !std::is_convertible_v< U8, IpTos > );
static_assert( IpTos().value() == 0 );

TEST( IpTos, TextIsTheNumberBothWays ) {
   for ( unsigned value = 0; value <= 255; ++value ) {
      const IpTos tos( static_cast< U8 >( value ) );
      EXPECT_EQ( tos.value(), value );
      EXPECT_EQ( tos.stringValue(), std::to_string( value ) );
      EXPECT_EQ( IpTos::fromText( std::to_string( value ) ), tos );
      IpTos read;
      read.stringValueIs( std::to_string( value ) );
      EXPECT_EQ( read, tos );
      EXPECT_EQ( read.hash(), tos.hash() );
   }
}

TEST( IpTos, OtherTextsAreRejectedByNameAndChangeNothing ) {
   for ( const char* const text : { "", "256", "999", "4294967296", "00", "01", "-1", "+1", " 1",
                                    "1 ", "0x1", "a", "ef" } ) {
      EXPECT_EQ( IpTos::fromText( text ), std::nullopt ) << text;
      const Vek::String message =
         Vek::concat( "Zorv::IpTos: '", text, "' is not a number from 0 to 255" );
      EXPECT_EQ( IpTos::badTextMessage( text ), message );
      IpTos unchanged( 7 );
      EXPECT_THAT( [&] { unchanged.stringValueIs( text ); },
                   ThrowsMessage< Vek::RangeException >( message ) );
      EXPECT_EQ( unchanged, IpTos( 7 ) );
   }
}

TEST( IpTos, OrderAndHashFollowTheNumber ) {
   EXPECT_LT( IpTos( 46 ), IpTos( 128 ) );
   EXPECT_LT( IpTos( 127 ), IpTos( 255 ) );
   EXPECT_NE( IpTos( 0 ).hash(), IpTos( 1 ).hash() );
}

TEST( IpTos, StreamAndWriterGiveTheText ) {
   std::ostringstream out;
   out << std::hex << std::setw( 5 ) << IpTos( 184 );
   EXPECT_EQ( out.str(), "184" );
   EXPECT_EQ( Vek::concat( "tos=", IpTos( 46 ) ), "tos=46" );
}

} // namespace
