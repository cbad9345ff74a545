#include "tools/terminal/Terminal.h"

#include <cstdlib>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

using namespace Tools;

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

} // namespace
