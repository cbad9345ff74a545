#include "tools/terminal/Screen.h"

#include <cstdlib>

#include <gtest/gtest.h>

namespace {

using Tools::Screen;

// What is shown, and that the terminal is put right, is seen where a command runs on one.
TEST( Screen, LinesGiveTheHeight ) {
   ::setenv( "LINES", "50", 1 );
   EXPECT_EQ( Screen::height(), 50U );
   ::setenv( "LINES", "3", 1 );
   EXPECT_EQ( Screen::height(), 4U );
   ::setenv( "LINES", "10000", 1 );
   EXPECT_EQ( Screen::height(), 10000U );
   ::unsetenv( "LINES" );
}

TEST( Screen, LinesThatAreNoHeightDoNotCount ) {
   ::unsetenv( "LINES" );
   const unsigned height = Screen::height();
   for ( const char* const lines : { "", "tall", "-1", "10001", "0x50" } ) {
      ::setenv( "LINES", lines, 1 );
      EXPECT_EQ( Screen::height(), height ) << lines;
   }
   ::unsetenv( "LINES" );
}

} // namespace
