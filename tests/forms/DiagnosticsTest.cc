#include "forms/Diagnostics.h"

#include <cstdlib>

#include <gtest/gtest.h>

#include <unistd.h>

namespace {

using namespace Forms;

TEST( Diagnostics, OnlyTerminalsAreColoured ) {
   ::unsetenv( "NO_COLOR" );
   int ends[2];
   ASSERT_EQ( ::pipe( ends ), 0 );
   EXPECT_FALSE( mayColour( ends[1] ) );
   ::close( ends[0] );
   ::close( ends[1] );
   EXPECT_FALSE( mayColour( -1 ) );
}

} // namespace
