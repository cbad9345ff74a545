#include "tools/terminal/Table.h"

#include <gtest/gtest.h>

namespace {

using Tools::Table;

Vek::String row( const Table& table, std::vector< Vek::String > cells ) {
   Vek::String out;
   table.appendRow( out, cells );
   return out;
}

TEST( Table, ShortTextsStandOnOneLine ) {
   const Table table( { { "one", 5 }, { "two", 6 }, { "three", 5 } } );
   Vek::String out;
   table.appendHeading( out );
   EXPECT_EQ( out, "one    two     three\n-----  ------  -----\n" );
}

// Whatever the width, a column has the least.
TEST( Table, ANarrowWidthLeavesEachColumnTheLeast ) {
   Vek::String least;
   Table( { { "a", 9 }, { "b", 4 } } ).appendHeading( least );
   const auto heading = []( const Table& table ) {
      Vek::String out;
      table.appendHeading( out );
      return out;
   };
   const Vek::String open = heading( Table( 5, { { "a", 9 }, { "b", 0 } } ) );
   for ( const std::size_t width : { 11U, 12U, 20U, 21U } ) {
      EXPECT_EQ( open, heading( Table( width, { { "a", 9 }, { "b", 0 } } ) ) );
   }
   EXPECT_EQ( open.substr( 0, 12 ), least.substr( 0, 12 ) );
   EXPECT_EQ( heading( Table::filling( 1, { { "a", 1 }, { "b", 1 } } ) ),
              heading( Table::filling( 2, { { "a", 1 }, { "b", 1 } } ) ) );
}

TEST( Table, NothingStandsBehindTheLastText ) {
   const Table table( { { "a", 5 }, { "b", 6 }, { "c", 4 } } );
   EXPECT_EQ( row( table, { "x", "y", "" } ), "x      y\n" );
   EXPECT_EQ( row( table, { "", "", "" } ), "\n" );
   EXPECT_EQ( row( table, { "", "y", "" } ), "       y\n" );
   EXPECT_EQ( row( table, { "12345", "123456", "1234" } ), "12345  123456  1234\n" );
}

TEST( Table, LongTextsGoOnBelowAndAnEmptyLineFollows ) {
   const Table table( { { "a", 4 }, { "b", 4 } } );
   EXPECT_EQ( row( table, { "abcdefghij", "k" } ), "abcd  k\nefgh\nij\n\n" );
   EXPECT_EQ( row( table, { "a", "klmno" } ), "a     klmn\n      o\n\n" );
}

TEST( Table, LinesBreakBehindSeparators ) {
   const Table table( { { "a", 10 } } );
   EXPECT_EQ( row( table, { "one two three" } ), "one two\nthree\n\n" );
   EXPECT_EQ( row( table, { "abcdefghij klm" } ), "abcdefghij\nklm\n\n" );
   EXPECT_EQ( row( table, { "=80|=443|=8080" } ), "=80|=443|\n=8080\n\n" );
   EXPECT_EQ( row( table, { ">=1024&<=2047" } ), ">=1024&\n<=2047\n\n" );
   EXPECT_EQ( row( table, { "[1,22,333,4444]" } ), "[1,22,333,\n4444]\n\n" );
}

TEST( Table, TheEndOfAFieldInTheSecondHalfIsTheBestBreak ) {
   const Table table( { { "a", 10 } } );
   EXPECT_EQ( row( table, { "12345;7 9 bc" } ), "12345;\n7 9 bc\n\n" );
   EXPECT_EQ( row( table, { "1234;67 9 bc" } ), "1234;67 9\nbc\n\n" );
   EXPECT_EQ( row( table, { "1;2;3;4;5;6;7" } ), "1;2;3;4;5;\n6;7\n\n" );
}

TEST( Table, TheLastOfFewerCellsTakesOverTheRest ) {
   const Table table( { { "a", 3 }, { "b", 4 }, { "c", 5 } } );
   EXPECT_EQ( row( table, { "x", "1234567890a" } ), "x    1234567890a\n" );
   EXPECT_EQ( row( table, { "x", "1234567890ab" } ), "x    1234567890a\n     b\n\n" );
   EXPECT_EQ( row( table, { "1234567890123456" } ), "1234567890123456\n" );
   EXPECT_EQ( row( table, { "12345678901234567" } ), "1234567890123456\n7\n\n" );
}

TEST( Table, FillingSharesTheWidth ) {
   const std::vector< Table::Column > columns{ { "a", 1 }, { "b", 2 }, { "c", 3 } };
   Vek::String out;
   Table::filling( 100, columns ).appendHeading( out );
   EXPECT_EQ( out, "a" + Vek::String( 17, ' ' ) + "b" + Vek::String( 33, ' ' ) + "c\n" +
                      Vek::String( 16, '-' ) + "  " + Vek::String( 32, '-' ) + "  " +
                      Vek::String( 48, '-' ) + "\n" );
   out.clear();
   Table::filling( 20, columns ).appendHeading( out );
   EXPECT_EQ( out, "a           b           c\n----------  ----------  ----------\n" );
}

} // namespace
