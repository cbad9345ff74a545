#include "forms/Printable.h"

#include <gtest/gtest.h>

namespace {

using namespace Forms;

TEST( PrintableText, IsKept ) {
   EXPECT_EQ( printable( "" ), "" );
   EXPECT_EQ( printable( " !\"\\~09azAZ" ), " !\"\\~09azAZ" );
}

TEST( PrintableText, ShowsOtherBytesAsNumbers ) {
   EXPECT_EQ( printable( std::string_view( "a\0b\t\n\r\x1b[1m\x7f\x80\xff", 13 ) ),
              "a\\x00b\\x09\\x0a\\x0d\\x1b[1m\\x7f\\x80\\xff" );
}

TEST( PrintableText, LeavesOutTheMiddleOfALongOne ) {
   const Vek::String longest( 1000, 'x' );
   EXPECT_EQ( printable( longest ), longest );
   EXPECT_EQ( printable( Vek::String( 600, 'a' ) + "bc" + Vek::String( 399, 'd' ) ),
              Vek::String( 600, 'a' ) + " ... (101 bytes) ... " + Vek::String( 300, 'd' ) );
}

} // namespace
