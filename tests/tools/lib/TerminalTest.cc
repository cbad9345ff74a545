#include "tools/lib/Terminal.h"

#include <cstdlib>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

using namespace Flowspec::Tools;

TEST( Terminal, PrintableTextIsKept ) {
   EXPECT_EQ( printable( "" ), "" );
   EXPECT_EQ( printable( " !\"\\~09azAZ" ), " !\"\\~09azAZ" );
}

TEST( Terminal, OtherBytesAreShownAsNumbers ) {
   EXPECT_EQ( printable( std::string_view( "a\0b\t\n\r\x1b[1m\x7f\x80\xff", 13 ) ),
              "a\\x00b\\x09\\x0a\\x0d\\x1b[1m\\x7f\\x80\\xff" );
}

TEST( Terminal, TheMiddleOfALongTextIsLeftOut ) {
   const Vek::String longest( 1000, 'x' );
   EXPECT_EQ( printable( longest ), longest );
   EXPECT_EQ( printable( Vek::String( 600, 'a' ) + "bc" + Vek::String( 399, 'd' ) ),
              Vek::String( 600, 'a' ) + " ... (101 bytes) ... " + Vek::String( 300, 'd' ) );
}

TEST( Terminal, ColumnsGiveTheWidth ) {
   ::setenv( "COLUMNS", "123", 1 );
   EXPECT_EQ( lineWidth(), 123U );
   ::setenv( "COLUMNS", "60", 1 );
   EXPECT_EQ( lineWidth(), 60U );
   ::setenv( "COLUMNS", "59", 1 );
   EXPECT_EQ( lineWidth(), 60U );
   ::setenv( "COLUMNS", "10000", 1 );
   EXPECT_EQ( lineWidth(), 10000U );
   ::unsetenv( "COLUMNS" );
}

TEST( Terminal, ColumnsThatAreNoWidthDoNotCount ) {
   ::unsetenv( "COLUMNS" );
   const unsigned width = lineWidth();
   for ( const char* const columns : { "", "wide", "-1", "10001", "0x50" } ) {
      ::setenv( "COLUMNS", columns, 1 );
      EXPECT_EQ( lineWidth(), width ) << columns;
   }
   ::unsetenv( "COLUMNS" );
}

// Standard output is a terminal of some columns meanwhile; the width then.
unsigned widthOnTerminal( unsigned short columns ) {
   const int near = ::posix_openpt( O_RDWR | O_NOCTTY );
   EXPECT_EQ( ::grantpt( near ), 0 );
   EXPECT_EQ( ::unlockpt( near ), 0 );
   const int far = ::open( ::ptsname( near ), O_RDWR | O_NOCTTY );
   const winsize size{ .ws_row = 24, .ws_col = columns, .ws_xpixel = 0, .ws_ypixel = 0 };
   EXPECT_EQ( ::ioctl( far, TIOCSWINSZ, &size ), 0 );
   const int kept = ::dup( STDOUT_FILENO );
   ::dup2( far, STDOUT_FILENO );
   const unsigned width = lineWidth();
   ::dup2( kept, STDOUT_FILENO );
   for ( const int fd : { kept, far, near } ) {
      ::close( fd );
   }
   return width;
}

TEST( Terminal, ATerminalTellsItsWidth ) {
   ::unsetenv( "COLUMNS" );
   EXPECT_EQ( widthOnTerminal( 143 ), 143U );
   EXPECT_EQ( widthOnTerminal( 20 ), 60U );
   EXPECT_EQ( widthOnTerminal( 0 ), 100U ); // it does not know
   int ends[2];
   ASSERT_EQ( ::pipe( ends ), 0 );
   const int kept = ::dup( STDOUT_FILENO );
   ::dup2( ends[1], STDOUT_FILENO );
   EXPECT_EQ( lineWidth(), 100U );
   ::dup2( kept, STDOUT_FILENO );
   for ( const int fd : { kept, ends[0], ends[1] } ) {
      ::close( fd );
   }
}

TEST( Terminal, OnlyTerminalsAreColoured ) {
   ::unsetenv( "NO_COLOR" );
   int ends[2];
   ASSERT_EQ( ::pipe( ends ), 0 );
   EXPECT_FALSE( mayColour( ends[1] ) );
   ::close( ends[0] );
   ::close( ends[1] );
   EXPECT_FALSE( mayColour( -1 ) );
}

} // namespace
