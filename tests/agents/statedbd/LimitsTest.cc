#include "tests/agents/statedbd/Stranger.h"
#include "tests/support/Sanitized.h"

#include <algorithm>
#include <fstream>

namespace Flowspec {
namespace {

using testing::HasSubstr;
using testing::StartsWith;
using TestSupport::Folder;
using TestSupport::logOf;
using TestSupport::Process;
using TestSupport::Stranger;
using TestSupport::until;
using Vek::log::Mount;

// A statedbd under a limit of the shell, such as "ulimit -n 16".
class Limited {
public:
   explicit Limited( const Vek::String& limit )
      : process_( { "/bin/sh", "-c",
                    // What the tests inherited would count.
                    "exec 3>&- 4>&- 5>&- 6>&- 7>&- 8>&- 9>&-; " + limit +
                       "; exec " STATEDBD " --socket " + endpoint().text() + " --state-dir " +
                       folder_.path() + "/state" },
                  folder_.path() + "/errors" ) {
      for ( int i = 0; i < 1000 && process_.errors().empty(); ++i ) {
         ::usleep( 10'000 );
      }
   }

   Vek::log::Endpoint endpoint() const { return Vek::log::Endpoint( folder_.path() + "/s" ); }
   Process& process() { return process_; }

   /// Processor time that it has taken, in seconds.
   double seconds() const {
      std::istringstream stat(
         TestSupport::contents( "/proc/" + std::to_string( process_.number() ) + "/stat" ) );
      Vek::String skipped;
      for ( int field = 0; field < 13; ++field ) {
         stat >> skipped;
      }
      double user = 0;
      double system = 0;
      stat >> user >> system;
      return ( user + system ) / static_cast< double >( ::sysconf( _SC_CLK_TCK ) );
   }

private:
   Folder folder_;
   Process process_;
};

TEST( Limits, WithoutADescriptorClientsAreRefusedAndTheOthersServed ) {
   if ( TestSupport::sanitized ) {
      GTEST_SKIP() << "a sanitizer needs descriptors for its own checks";
   }
   Limited database( "ulimit -n 16" );
   std::vector< std::unique_ptr< Stranger > > clients;
   Vek::String refusal;
   for ( int i = 0; i < 16 && refusal.empty(); ++i ) {
      clients.push_back( std::make_unique< Stranger >( database.endpoint() ) );
      if ( i == 0 ) {
         clients[0]->send( "mount/1 write w some/root\n" );
         EXPECT_EQ( clients[0]->line(), "ok" );
      } else {
         refusal = clients.back()->answer( std::chrono::milliseconds( 100 ) );
      }
   }
   EXPECT_EQ( refusal, "refused the state database has too many clients\n" );
   const double before = database.seconds();
   std::vector< std::unique_ptr< Stranger > > waiting;
   for ( int i = 0; i < 20; ++i ) {
      waiting.push_back( std::make_unique< Stranger >( database.endpoint() ) );
   }
   ::usleep( 2'000'000 );
   EXPECT_LT( database.seconds() - before, 0.5 );
   // The first one is served.
   clients[0]->send( logOf( "some/root" ) );
   EXPECT_THAT( clients[0]->line(), StartsWith( "has " ) );
   // There is room again when they go.
   waiting.clear();
   clients.resize( 1 );
   ::usleep( 300'000 );
   const Stranger late( database.endpoint() );
   late.send( "mount/1 read r some/root\n" );
   EXPECT_EQ( late.line(), "ok" );
   EXPECT_THAT( database.process().errors(),
                StartsWith( "statedbd: listens on " + database.endpoint().text() +
                            "\nstatedbd: too many clients: those that come are refused\n"
                            "statedbd: w (user " ) );
}

TEST( Limits, SaysWhenItCannotEvenListen ) {
   if ( TestSupport::sanitized ) {
      GTEST_SKIP() << "a sanitizer needs descriptors for its own checks";
   }
   Limited database( "ulimit -n 4" );
   EXPECT_EQ( database.process().wait(), 1 );
   EXPECT_THAT( database.process().errors(), HasSubstr( "Too many open files\n" ) );
}

TEST( Limits, AFloodOfFaultsIsAFewShortLines ) {
   TestSupport::Database database;
   {
      // So that it listens.
      const Stranger first( database );
      first.send( "mount/1 list x\n" );
      EXPECT_THAT( first.answer(), StartsWith( "ok\n" ) );
   }
   const auto begin = std::chrono::steady_clock::now();
   for ( int i = 0; i < 500; ++i ) {
      const Stranger stranger( database );
      stranger.send( "mount/1 write fuzz r" + std::to_string( i ) + '\n' +
                     Vek::String( 100, 'x' ) );
      EXPECT_THAT( stranger.answer(), StartsWith( "ok\nrefused " ) );
   }
   const double seconds =
      std::chrono::duration< double >( std::chrono::steady_clock::now() - begin ).count();
   const Vek::String errors = database.process().errors();
   EXPECT_LT( static_cast< double >( std::ranges::count( errors, '\n' ) ), 13 + 4 * seconds );
   EXPECT_THAT( errors, HasSubstr( "which writes r0, is cut off" ) );
}

TEST( Limits, AForeignTypeNameForgesNoLine ) {
   TestSupport::Database database;
   const auto config = configFactory( "some/root" );
   const Stranger stranger( database );
   // The name of the type is the first in the message after the types.
   Vek::String log = logOf( *config );
   log.replace( log.rfind( "Flowspec::Config" ), 16, "\nstatedbd: x\x1B[2J" );
   stranger.send( "mount/1 write fuzz some/root\n" + log );
   EXPECT_THAT( stranger.answer(), HasSubstr( "\\x0Astatedbd: x\\x1B[2J" ) );
   for ( std::size_t at = 0;
         ( at = database.process().errors().find( '\n', at ) ) != Vek::String::npos; ++at ) {
      const Vek::String rest = database.process().errors().substr( at + 1 );
      EXPECT_FALSE( rest.starts_with( "statedbd: x" ) );
   }
   EXPECT_THAT( database.process().errors(), HasSubstr( "\\x0Astatedbd: x\\x1B[2J" ) );
}

TEST( Limits, WithoutMemoryForAClientTheOthersAreServed ) {
   if ( TestSupport::sanitized ) {
      GTEST_SKIP() << "a sanitizer reserves more memory than any limit";
   }
   Limited database( "ulimit -v 60000" );
   const auto small = configFactory( "small" );
   Mount writer( database.endpoint(), "configd", *small );
   ASSERT_TRUE( until( { &writer }, [&] { return writer.acknowledged(); } ) );
   const auto large = configFactory( "large" );
   const auto vrf = large->vrfRuleConfigIs( 0 );
   for ( U32 i = 0; i < 150'000; ++i ) {
      FlowspecKey key;
      key.setOpVal( 0, destPort, 0x91, i & 0xFFFF );
      key.setOpVal( 1, srcPort, 0x91, i >> 16 );
      vrf->ruleIs( key );
   }
   {
      Mount greedy( database.endpoint(), "greedy", *large );
      ASSERT_TRUE( until( { &greedy, &writer }, [&] {
         return database.process().errors().find( "out of memory" ) != Vek::String::npos;
      } ) );
   }
   small->vrfRuleConfigIs( 7 );
   EXPECT_TRUE( until( { &writer }, [&] { return writer.acknowledged(); } ) );
   EXPECT_EQ( writer.error(), "" );
}

} // namespace
} // namespace Flowspec
