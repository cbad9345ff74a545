#include "tests/agents/statedbd/Stranger.h"

#include <gmock/gmock.h>

namespace Flowspec {
namespace {

using TestSupport::Database;
using TestSupport::logOf;
using TestSupport::Stranger;
using TestSupport::untilAllStand;
using Vek::log::Mount;

class Strangers : public testing::Test {
protected:
   Strangers() { EXPECT_TRUE( untilAllStand( { &writer } ) ); }

   // The database does its work as before.
   void expectUnharmed() {
      Vek::Directory replica;
      Mount reader( database.endpoint(), "show", "flowspec/config", replica );
      ASSERT_TRUE( untilAllStand( { &reader } ) );
      EXPECT_NE( replica.entity( "flowspec/config" ), nullptr );
   }

   U64 linesWith( const Vek::String& text ) {
      const Vek::String errors = database.process().errors();
      U64 count = 0;
      for ( auto at = errors.find( text ); at != Vek::String::npos;
            at = errors.find( text, at + 1 ) ) {
         ++count;
      }
      return count;
   }

   Database database{ { "--verbose" } };
   Vek::Ptr< Config > config = configFactory( "flowspec/config" );
   Mount writer{ database.endpoint(), "configd", *config };
};

TEST_F( Strangers, AGreetingThatIsNoneIsRefused ) {
   for ( const char* const line :
         { "GET / HTTP/1.1\r\n", "\n", "mount/2 read a b\n", "mount/1 read a\n",
           "mount/1 read  b\n", "mount/1 write a \n", "mount/1 read a b\x01\n" } ) {
      const Stranger stranger( database );
      stranger.send( line );
      EXPECT_EQ( stranger.answer(), "refused invalid greeting\n" ) << line;
   }
   expectUnharmed();
}

TEST_F( Strangers, AGreetingWithoutEndIsCutOff ) {
   const Stranger stranger( database );
   stranger.send( Vek::String( 1025, 'x' ) );
   EXPECT_EQ( stranger.answer(), "" );
   EXPECT_TRUE( stranger.isClosed() );
   expectUnharmed();
}

TEST_F( Strangers, AGreetingHasAtMost1024Octets ) {
   Vek::String greeting = "mount/1 read show ";
   greeting.resize( 1023, 'r' );
   const Stranger longest( database );
   longest.send( greeting + '\n' );
   EXPECT_EQ( longest.line(), "ok" );
   const Stranger tooLong( database );
   tooLong.send( greeting + "r\n" );
   EXPECT_EQ( tooLong.answer(), "" );
   EXPECT_TRUE( tooLong.isClosed() );
   expectUnharmed();
}

TEST_F( Strangers, AWriterOfGarbageIsCutOffAndLoggedOnce ) {
   const Stranger stranger( database );
   stranger.send( "mount/1 write fuzz some/root\n" );
   stranger.send( Vek::String( 100, 'x' ) );
   EXPECT_EQ( stranger.answer(), "ok\nrefused the peer does not speak the attribute log\n" );
   expectUnharmed();
   EXPECT_EQ( linesWith( ", which writes some/root, is cut off: " ), 1U );
}

TEST_F( Strangers, AWriterIsToldHowManyBytesTheDatabaseHas ) {
   const Vek::String log = logOf( "some/root" );
   const Stranger stranger( database );
   stranger.send( "mount/1 write fuzz some/root\n" + log );
   const Vek::String all = "has " + std::to_string( log.size() ) + '\n';
   EXPECT_THAT( stranger.answer( std::chrono::milliseconds( 500 ) ), testing::EndsWith( all ) );
   // The last message here is the bare header of one.
   stranger.send( Vek::String( 15, '\0' ) );
   EXPECT_EQ( stranger.answer( std::chrono::milliseconds( 300 ) ), "" );
}

TEST_F( Strangers, AWriterThatDoesNotReadWhatItIsToldEndsOrderly ) {
   {
      const Stranger stranger( database );
      stranger.send( "mount/1 write fuzz some/root\n" + logOf( "some/root" ) );
      ::usleep( 200'000 );
   }
   expectUnharmed();
   EXPECT_EQ( linesWith( ") no longer writes some/root" ), 1U );
   EXPECT_EQ( linesWith( "cut off" ), 0U );
}

TEST_F( Strangers, AReaderThatSendsIsCutOff ) {
   const Stranger stranger( database );
   stranger.send( "mount/1 read fuzz flowspec/config\nx" );
   EXPECT_THAT( stranger.answer(), testing::StartsWith( "ok\n" ) );
   expectUnharmed();
   EXPECT_EQ( linesWith( "), which reads flowspec/config, is cut off: nothing is received on this "
                         "connection" ),
              1U );
}

TEST_F( Strangers, AWriterOfAnotherRootIsCutOff ) {
   const Stranger stranger( database );
   stranger.send( "mount/1 write liar flowspec/mine\n" );
   stranger.send( logOf( "flowspec/other" ) );
   EXPECT_EQ( stranger.answer(),
              "ok\nrefused message 2 (root): 'flowspec/other' is not the root that it said to "
              "write\n" );
   expectUnharmed();
   EXPECT_EQ( linesWith( "'flowspec/other' is not the root that it said to write" ), 1U );
}

TEST_F( Strangers, OneThatDoesNotGreetIsCutOffSilently ) {
   const Stranger stranger( database );
   EXPECT_EQ( stranger.answer( std::chrono::seconds( 30 ) ), "" );
   EXPECT_TRUE( stranger.isClosed() );
   EXPECT_EQ( linesWith( "cut off" ), 0U );
}

TEST_F( Strangers, OnesThatSayNothingHarmNobody ) {
   std::vector< std::unique_ptr< Stranger > > silent;
   for ( int i = 0; i < 50; ++i ) {
      silent.push_back( std::make_unique< Stranger >( database ) );
   }
   for ( int i = 0; i < 1000; ++i ) {
      const Stranger dropped( database );
   }
   expectUnharmed();
   EXPECT_EQ( linesWith( "cut off" ), 0U );
}

} // namespace
} // namespace Flowspec
