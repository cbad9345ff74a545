#include "tools/terminal/Wrap.h"

#include <gtest/gtest.h>

namespace Tools {
namespace {

TEST( Wrap, LinesThatFitStayAsTheyAre ) {
   for ( const char* const text : { "", "\n", "a b", "a b\n\nc\n", "   \n", "  --to  Forms\n" } ) {
      EXPECT_EQ( wrapped( text, 12 ), text );
   }
}

TEST( Wrap, ALineGoesOnBelowItsLastColumn ) {
   EXPECT_EQ( wrapped( "one two three four\n", 9 ), "one two\nthree\nfour\n" );
   EXPECT_EQ( wrapped( "one two three\n", 13 ), "one two three\n" );
   EXPECT_EQ( wrapped( "one two three\n", 12 ), "one two\nthree\n" );
   EXPECT_EQ( wrapped( "  one two three", 9 ), "  one two\n  three" );
   EXPECT_EQ( wrapped( "  --to FORM  Forms of the output\nnext\n", 22 ),
              "  --to FORM  Forms of\n             the\n             output\nnext\n" );
}

TEST( Wrap, WordsStayWhole ) {
   EXPECT_EQ( wrapped( "  --to  extraordinary words", 10 ),
              "  --to  extraordinary\n        words" );
   EXPECT_EQ( wrapped( "extraordinary", 4 ), "extraordinary" );
   EXPECT_EQ( wrapped( "         a  b c", 3 ), "         a  b\n            c" );
}

} // namespace
} // namespace Tools
