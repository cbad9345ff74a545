#include "Vek/log/Greeting.h"

#include "Vek/Exceptions.h"

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
           "mount/1 watch a b", "mount/1 read a b\r" } ) {
      EXPECT_FALSE( Greeting::fromText( line ) ) << line;
   }
}

TEST( Greeting, NamesMustStandInTheLine ) {
   for ( const auto& [agent, root] :
         std::vector< std::pair< String, String > >{ { "", "x" },
                                                     { "two words", "x" },
                                                     { "a", "" },
                                                     { "a", "line\nend" },
                                                     { "a", String( 1024, 'x' ) } } ) {
      EXPECT_THAT( ( [&one = agent, &other = root] {
                      Greeting{ .writes = false, .agent = one, .root = other }.text();
                   } ),
                   ThrowsMessage< RangeException >( "'" + agent + "' and '" + root +
                                                    "' are no names of an agent and a root" ) );
   }
}

} // namespace
} // namespace Vek::log
