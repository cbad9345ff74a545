#include "Vek/mount/Greeting.h"

#include "Vek/text/Exceptions.h"

#include <gmock/gmock.h>

namespace Vek::log {
namespace {

using testing::ThrowsMessage;

TEST( Greeting, IsALine ) {
   EXPECT_EQ( ( Greeting{ .writes = false, .agent = "show", .root = "a root" }.text() ),
              "mount/1 read show a root\n" );
   EXPECT_EQ( ( Greeting{ .writes = true, .agent = "configd", .root = "x" }.text() ),
              "mount/1 write configd x\n" );
}

TEST( Greeting, ReadsBack ) {
   const auto greeting = Greeting::fromText( "mount/1 write configd a root" );
   ASSERT_TRUE( greeting );
   EXPECT_TRUE( greeting->writes );
   EXPECT_EQ( greeting->agent, "configd" );
   EXPECT_EQ( greeting->root, "a root" );
   EXPECT_FALSE( Greeting::fromText( "mount/1 read a b" )->writes );
}

TEST( Greeting, MayAskForAListOfRoots ) {
   const auto greeting = Greeting::fromText( "mount/1 list show" );
   ASSERT_TRUE( greeting );
   EXPECT_TRUE( greeting->lists );
   EXPECT_FALSE( greeting->writes );
   EXPECT_EQ( greeting->agent, "show" );
   EXPECT_EQ( greeting->root, "" );
   EXPECT_FALSE( Greeting::fromText( "mount/1 list " ) );
   EXPECT_FALSE( Greeting::fromText( "mount/1 list two words" ) );
}

TEST( Greeting, RefusesWhatIsNone ) {
   for ( const char* const line :
         { "", "mount/1 read ", "mount/1 read a", "mount/1 read a ", "mount/1 read  b",
           "mount/1 watch a b", "mount/1 read a b\r", "mount/1 read a\x1F b",
           "mount/1 read a b\x7F", "mount/1 read a\x7F b", "mount/1 list \x7F",
           "mount/1 write a \t" } ) {
      EXPECT_FALSE( Greeting::fromText( line ) ) << line;
   }
}

TEST( Greeting, NamesMayHaveAllButControlCharacters ) {
   for ( int c = 0; c < 256; ++c ) {
      const String root( 1, static_cast< char >( c ) );
      EXPECT_EQ( Greeting::fromText( "mount/1 read a " + root ).has_value(),
                 c >= 0x20 && c != 0x7F )
         << c;
      EXPECT_EQ( Greeting::fromText( "mount/1 read " + root + " b" ).has_value(),
                 c > 0x20 && c != 0x7F )
         << c;
   }
}

TEST( Greeting, ALineHasAtMost1024Bytes ) {
   Greeting greeting{ .writes = false, .agent = "a", .root = "" };
   greeting.root = String( Greeting::maxSize - String( "mount/1 read a \n" ).size(), 'x' );
   EXPECT_EQ( greeting.text().size(), 1024U );
   greeting.root += 'x';
   EXPECT_THROW( greeting.text(), RangeException );
}

TEST( Greeting, OneThatListsHasNoRoot ) {
   EXPECT_EQ( ( Greeting{ .lists = true, .agent = "show", .root = "" }.text() ),
              "mount/1 list show\n" );
   EXPECT_THROW( ( Greeting{ .lists = true, .agent = "two words", .root = "" }.text() ),
                 RangeException );
}

TEST( Greeting, NamesMustStandInTheLine ) {
   const String longest( 1024, 'x' );
   for ( const auto& [agent, root, shown] : std::vector< std::tuple< String, String, String > >{
            { "", "x", "'' and 'x'" },
            { "two words", "x", "'two words' and 'x'" },
            { "a", "", "'a' and ''" },
            { "a", "line\nend", "'a' and 'line\\x0Aend'" },
            { "a", longest, "'a' and '" + String( 117, 'x' ) + "...'" } } ) {
      EXPECT_THAT(
         ( [&one = agent, &other = root] {
            Greeting{ .writes = false, .agent = one, .root = other }.text();
         } ),
         ThrowsMessage< RangeException >( shown + " are not names of an agent and a root" ) );
   }
}

} // namespace
} // namespace Vek::log
