#include "forms/dialects/RuleLines.h"

#include "Vek/text/Text.h"

#include <gmock/gmock.h>

namespace Forms {
namespace {

using testing::ElementsAre;

/// The texts that lines make, each after the number of its first line.
std::vector< std::string > texts( const std::vector< std::string >& lines,
                                  bool spansLines = true ) {
   std::vector< std::string > all;
   const auto take = [&]( U64 first, std::string_view text ) {
      all.push_back( Vek::concat( first, ": ", text ) );
   };
   RuleLines rules( spansLines );
   U64 number = 0;
   for ( const std::string& line : lines ) {
      ++number;
      // As the readers of files do with those that say nothing.
      if ( !line.empty() && line[0] != '#' ) {
         rules.line( number, line, take );
      }
   }
   rules.end( take );
   rules.end( take );
   return all;
}

TEST( RuleLines, ALineIsATextWhereRulesSpanNone ) {
   EXPECT_THAT( texts( { "a {", "", "b }" }, false ), ElementsAre( "1: a {", "3: b }" ) );
}

TEST( RuleLines, ATextGoesOnWhileABraceIsOpen ) {
   EXPECT_THAT( texts( { "a", "b { c; }", "d {", "  e { f }", "}", "g" } ),
                ElementsAre( "1: a", "2: b { c; }", "3: d {\n  e { f }\n}", "6: g" ) );
   EXPECT_THAT( texts( { "a { # }", "} # {", "b" } ), ElementsAre( "1: a { # }\n} # {", "3: b" ) );
   EXPECT_THAT( texts( { "}", "a {", "}" } ), ElementsAre( "1: }", "2: a {\n}" ) );
   EXPECT_THAT( texts( { "a {", "b" } ), ElementsAre( "1: a {\nb" ) );
}

TEST( RuleLines, ATextGoesOnWithABraceOnTheNextLine ) {
   EXPECT_THAT( texts( { "a { b }", " \t{ c }", "d" } ),
                ElementsAre( "1: a { b }\n \t{ c }", "3: d" ) );
   EXPECT_THAT( texts( { "{ a }" } ), ElementsAre( "1: { a }" ) );
}

TEST( RuleLines, ATextGoesOnWithWhatBirdPrintsBelowAMatch ) {
   EXPECT_THAT(
      texts( { "a { b }  [s4] * (200)", "\tType: static univ", "\tBGP.med: 5", "c { }" } ),
      ElementsAre( "1: a { b }  [s4] * (200)\n\tType: static univ\n\tBGP.med: 5", "4: c { }" ) );
   EXPECT_THAT( texts( { "a { } [s4]", "   [s5]", "\tType: univ" } ),
                ElementsAre( "1: a { } [s4]\n   [s5]\n\tType: univ" ) );
   EXPECT_THAT(
      texts( { "a", "b: c", "  d: e", "\tf :", "\tg:", "[h]", "\t" } ),
      ElementsAre( "1: a", "2: b: c", "3:   d: e", "4: \tf :", "5: \tg:", "6: [h]", "7: \t" ) );
}

TEST( RuleLines, LinesThatWerePassedOverCount ) {
   EXPECT_THAT( texts( { "", "a {", "", "# c", "b }" } ), ElementsAre( "2: a {\n\n\nb }" ) );
}

TEST( RuleLines, ATextHasAnEnd ) {
   const std::string half( RuleLines::maxText / 2, 'x' );
   const auto all = texts( { "{", half, half, "}" } );
   ASSERT_EQ( all.size(), 3U );
   EXPECT_TRUE( all[0] == "1: {\n" + half );
   EXPECT_TRUE( all[1] == "3: " + half );
   EXPECT_EQ( all[2], "4: }" );
   // Lines that were passed over count, too.
   std::vector< std::string > pieces;
   RuleLines rules( true );
   const auto take = [&]( U64, std::string_view text ) { pieces.emplace_back( text ); };
   rules.line( 1, "{", take );
   rules.line( RuleLines::maxText + 1, "}", take );
   rules.end( take );
   EXPECT_EQ( pieces, ( std::vector< std::string >{ "{", "}" } ) );
}

} // namespace
} // namespace Forms
