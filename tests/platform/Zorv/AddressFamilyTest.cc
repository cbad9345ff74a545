#include "Zorv/AddressFamily.h"

#include <gtest/gtest.h>

namespace {

using Zorv::addressFamily;
using Zorv::AddressFamily;

static_assert( static_cast< U8 >( AddressFamily::none ) == 0 );
static_assert( static_cast< U8 >( AddressFamily::ipv4 ) == 1 );
static_assert( static_cast< U8 >( AddressFamily::ipv6 ) == 2 );
static_assert( sizeof( AddressFamily ) == 1 );

TEST( AddressFamily, TextIsTheNameOrTheNumberBehindAf ) {
   EXPECT_EQ( stringValue( AddressFamily::none ), "none" );
   EXPECT_EQ( stringValue( AddressFamily::ipv4 ), "ipv4" );
   EXPECT_EQ( stringValue( AddressFamily::ipv6 ), "ipv6" );
   EXPECT_EQ( stringValue( static_cast< AddressFamily >( 3 ) ), "af3" );
   EXPECT_EQ( stringValue( static_cast< AddressFamily >( 65 ) ), "af65" );
   EXPECT_EQ( stringValue( static_cast< AddressFamily >( 255 ) ), "af255" );
}

TEST( AddressFamily, WriterAppendsTheText ) {
   EXPECT_EQ( Vek::concat( '<', AddressFamily::ipv4, '|', static_cast< AddressFamily >( 9 ), '>' ),
              "<ipv4|af9>" );
}

TEST( AddressFamily, EveryNumberIsReadBackFromItsText ) {
   for ( unsigned number = 0; number < 256; ++number ) {
      const auto family = static_cast< AddressFamily >( number );
      EXPECT_EQ( addressFamily( stringValue( family ) ), family ) << number;
   }
}

TEST( AddressFamily, OtherTextsNameNone ) {
   for ( const std::string_view text : { "",      "IPv4",
                                         "IPV6",  "ipv",
                                         "ipv5",  "ipv4 ",
                                         " ipv4", "ipv46",
                                         "ip",    "non",
                                         "none0", "0",
                                         "1",     "af",
                                         "af0",   "af1",
                                         "af2",   "af03",
                                         "af+3",  "af-3",
                                         "af 3",  "af3 ",
                                         "af256", "af0x3",
                                         "AF3",   "af18446744073709551619" } ) {
      EXPECT_EQ( addressFamily( text ), std::nullopt ) << text;
   }
   EXPECT_EQ( addressFamily( std::string_view( "ipv4\0", 5 ) ), std::nullopt );
}

} // namespace
