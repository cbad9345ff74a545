#include "forms/dialects/Cursor.h"

#include <gtest/gtest.h>

namespace Forms {
namespace {

/// What a reader of a text throws, with its place; "" when it throws nothing.
template < typename Read >
std::string fault( std::string_view text, Read read ) {
   Cursor cursor( text );
   try {
      read( cursor );
   } catch ( const Fault& thrown ) {
      return Vek::concat( thrown.line, ':', thrown.column, ": ", thrown.reason );
   }
   return "";
}

std::string badNumber( std::string_view text, U64 max ) {
   return fault( text, [=]( Cursor& cursor ) { cursor.number( max ); } );
}

TEST( Cursor, TakesNumbersUpToALimit ) {
   for ( const auto& [text, value] : { std::pair( "0", U64{ 0 } ),
                                       { "65535 ", 65535 },
                                       { "0xfFfF/", 0xFFFF },
                                       { "007", 7 } } ) {
      Cursor cursor( text );
      EXPECT_EQ( cursor.number( 65535 ), value ) << text;
   }
   Cursor largest( "18446744073709551615" );
   EXPECT_EQ( largest.number( ~U64{ 0 } ), ~U64{ 0 } );
   EXPECT_EQ( badNumber( "65536", 65535 ), "1:1: the number is above 65535" );
   EXPECT_EQ( badNumber( "18446744073709551616", ~U64{ 0 } ),
              "1:1: the number is above 18446744073709551615" );
   EXPECT_EQ( badNumber( "-1", 9 ), "1:1: expected a number, found '-1'" );
   EXPECT_EQ( badNumber( "0x", 9 ), "1:1: expected a number, found '0x'" );
   EXPECT_EQ( badNumber( "", 9 ), "1:1: expected a number, found the end" );
}

TEST( Cursor, TakesPrefixesWithoutHostBits ) {
   Cursor both( "10.1.0.0/16 2001:db8::/32;" );
   EXPECT_EQ( both.prefix(), Zorv::IpGenPrefix::fromText( "10.1.0.0/16" ) );
   both.skipBlanks();
   EXPECT_EQ( both.prefix(), Zorv::IpGenPrefix::fromText( "2001:db8::/32" ) );
   EXPECT_EQ( both.rest(), ";" );
   const auto bad = []( std::string_view text ) {
      return fault( text, []( Cursor& cursor ) { cursor.prefix(); } );
   };
   EXPECT_EQ( bad( "10.1.0.1/16" ),
              "1:1: the prefix has bits after its length: expected 10.1.0.0/16" );
   EXPECT_EQ( bad( "10.1.0.0" ), "1:1: expected a prefix, found '10'" );
   EXPECT_EQ( bad( "10.1.0.0/33" ), "1:1: expected a prefix, found '10'" );
   EXPECT_EQ( bad( "x" ), "1:1: expected a prefix, found 'x'" );
}

TEST( Cursor, TakesWordsWholly ) {
   Cursor cursor( "next-header_6 ip" );
   EXPECT_FALSE( cursor.takeWord( "next" ) );
   EXPECT_EQ( cursor.offset(), 0U );
   EXPECT_TRUE( cursor.take( "next" ) );
   EXPECT_EQ( cursor.takeWord(), "-header_6" );
   EXPECT_EQ( cursor.takeWord(), "" );
   cursor.skipBlanks();
   EXPECT_TRUE( cursor.takeWord( "ip" ) );
   EXPECT_TRUE( cursor.atEnd() );
   EXPECT_EQ( cursor.next(), '\0' );
   EXPECT_FALSE( cursor.take( 'p' ) );
}

TEST( Cursor, TakesRunsOfCharacters ) {
   Cursor cursor( "1.2;rest" );
   EXPECT_EQ( cursor.takeAllOf( "0123456789." ), "1.2" );
   EXPECT_EQ( cursor.takeUntil( "t" ), ";res" );
   EXPECT_EQ( cursor.takeUntil( "x" ), "t" );
   EXPECT_EQ( cursor.takeUntil( "x" ), "" );
}

TEST( Cursor, KnowsLinesAndColumns ) {
   const auto at = []( std::string_view text, std::size_t offset ) {
      return fault( text, [=]( Cursor& cursor ) { cursor.failAt( offset, "x ", 5 ); } );
   };
   EXPECT_EQ( at( "", 0 ), "1:1: x 5" );
   EXPECT_EQ( at( "ab\ncd\n", 2 ), "1:3: x 5" );
   EXPECT_EQ( at( "ab\ncd\n", 3 ), "2:1: x 5" );
   EXPECT_EQ( at( "ab\ncd\n", 6 ), "3:1: x 5" );
   EXPECT_EQ( at( "ab\r\n\nc", 6 ), "3:2: x 5" );
}

TEST( Cursor, SaysWhatItFoundInstead ) {
   const auto expectBrace = []( Cursor& cursor ) { cursor.expect( "{" ); };
   EXPECT_EQ( fault( "}", expectBrace ), "1:1: expected '{', found '}'" );
   EXPECT_EQ( fault( "word two", expectBrace ), "1:1: expected '{', found 'word'" );
   EXPECT_EQ( fault( "", expectBrace ), "1:1: expected '{', found the end" );
   EXPECT_EQ( fault( "{", expectBrace ), "" );
   EXPECT_EQ( fault( std::string( 50, 'a' ), expectBrace ),
              "1:1: expected '{', found '" + std::string( 40, 'a' ) + '\'' );
   EXPECT_EQ( fault( "x", []( Cursor& cursor ) { cursor.expectEnd(); } ),
              "1:1: expected the end of the rule, found 'x'" );
}

} // namespace
} // namespace Forms
