#include "agents/configd/Filing.h"
#include "tests/agents/system/System.h"
#include "tests/tools/flowspecctl/Run.h"

#include <random>

namespace Flowspec {
namespace {

using TestSupport::dump;
using TestSupport::Folder;
using TestSupport::StateReader;
using TestSupport::System;
using Vek::log::Mount;

using Keys = std::set< FlowspecKey, FlowspecKeyOrder >;

void addKeys( const VrfRuleConfig& vrf, Keys& keys ) {
   for ( const auto& rule : vrf.rule() ) {
      keys.insert( rule->ruleKey() );
   }
   for ( const auto& rule : vrf.infeasibleRule() ) {
      keys.insert( rule->ruleKey() );
   }
}

// Notes the key of each rule that a configuration ever gets, feasible or not.
class RuleWatch final : public Vek::Observer {
public:
   explicit RuleWatch( Config& config ) { watch( config ); }

   const Keys& seen() const { return seen_; }
   void forget() { seen_.clear(); }

   void onChange( const Vek::Change& change ) override {
      if ( change.removed ) {
         return;
      }
      if ( auto* const config = dynamic_cast< Config* >( &change.entity ) ) {
         if ( change.field.name == "vrfRuleConfig" ) {
            const auto vrf = config->vrfRuleConfig( change.keyAs< Vrf::VrfIdMap::VrfId >() );
            watch( *vrf );
            addKeys( *vrf, seen_ );
         }
      } else {
         seen_.insert( change.keyAs< FlowspecKey >() );
      }
   }

private:
   void watch( Vek::Entity& entity ) { observations_.push_back( entity.observe( *this ) ); }

   Keys seen_;
   std::vector< Vek::Observation > observations_;
};

// A rule file of which the versions are subsets of the example's lines.
class RuleVersions {
public:
   explicit RuleVersions( std::mt19937& random ) : random_( random ) {
      std::istringstream text( TestSupport::contents( "examples/system/rules.jsonl" ) );
      for ( Vek::String line; std::getline( text, line ); ) {
         lines_.push_back( line + '\n' );
      }
      next();
   }

   Vek::String file() const { return folder_.path() + "/rules.jsonl"; }

   // Replaces the file at once.
   void next() {
      Vek::String text;
      for ( const Vek::String& line : lines_ ) {
         if ( random_() % 2 ) {
            text += line;
         }
      }
      std::filesystem::rename( folder_.file( "new", text ), file() );
   }

   // What is to be configured.
   Vek::Ptr< Config > config() const {
      const auto config = configFactory( "flowspec/config" );
      const Forms::RuleFile rules = Forms::readRuleFile( file(), {} );
      Agents::Filing( config ).apply( { &rules, 1 } );
      return config;
   }

private:
   std::mt19937& random_;
   std::vector< Vek::String > lines_;
   Folder folder_;
};

TEST( SystemKilled, AtAnyMomentEndsInTheStateOfAnUndisturbedOne ) {
   constexpr int versions = 10;
   constexpr int killsPerVersion = 5;

   std::mt19937 random( 8955 );
   RuleVersions file( random );
   System system( file.file() );
   RuleWatch watch( system.reader().config() );
   system.startConfigd();
   system.startProgramd();
   Keys old;
   addKeys( *file.config()->vrfRuleConfig( 0 ), old );
   for ( int version = 0; version < versions; ++version ) {
      file.next();
      const auto expected = file.config();
      for ( int kill = 0; kill < killsPerVersion; ++kill ) {
         // While daemons start and connect, or when they have settled.
         const unsigned longest = random() % 2 ? 20 : 400;
         const std::chrono::milliseconds pause( random() % longest );
         const auto end = Mount::Clock::now() + pause;
         system.until( [end] { return Mount::Clock::now() > end; } );
         switch ( random() % 3 ) {
         case 0:
            system.restartDatabase();
            break;
         case 1:
            system.startConfigd();
            break;
         default:
            system.startProgramd();
         }
      }
      ASSERT_TRUE( system.until(
         [&] { return dump( system.reader().config(), 0 ) == dump( *expected, 0 ); } ) );
      Keys keys;
      addKeys( *expected->vrfRuleConfig( 0 ), keys );
      EXPECT_FALSE( watch.seen().empty() );
      for ( const FlowspecKey& key : watch.seen() ) {
         EXPECT_TRUE( old.contains( key ) || keys.contains( key ) ) << key;
      }
      watch.forget();
      old = std::move( keys );
   }

   System undisturbed( file.file() );
   undisturbed.startConfigd();
   undisturbed.startProgramd();
   // One that was not there before, so that it knows what the database has.
   StateReader fresh( system.endpoint() );
   std::vector< Mount* > mounts = system.mounts();
   for ( auto& more : { undisturbed.mounts(), fresh.mounts() } ) {
      mounts.insert( mounts.end(), more.begin(), more.end() );
   }
   const auto& wanted = undisturbed.reader();
   const Vek::String configured = dump( *file.config(), 0 );
   EXPECT_TRUE( TestSupport::until( mounts, [&] {
      return wanted.isComplete() && dump( wanted.config(), 0 ) == configured &&
             system.reader().text() == wanted.text() && fresh.text() == wanted.text();
   } ) );
   EXPECT_EQ( system.reader().text(), wanted.text() );
   EXPECT_EQ( fresh.text(), wanted.text() );
}

// Which interfaces the database has enabled.
std::set< U64 > enabledIn( const Vek::log::Endpoint& endpoint ) {
   const Vek::String root = "flowspec/cliconfig";
   Vek::Directory directory;
   Mount reader( endpoint, "test", root, directory );
   EXPECT_TRUE( TestSupport::untilAllStand( { &reader } ) ) << reader.error();
   std::set< U64 > intfs;
   if ( const auto entity = directory.entity( root ) ) {
      for ( const auto& [intf, enabled] : static_cast< CliConfig& >( *entity ).enabledIntf() ) {
         intfs.insert( intf.value() );
      }
   }
   return intfs;
}

// Commands of an operator, while all daemons and the commands themselves are killed.
TEST( SystemKilled, AtAnyMomentLosesNoCommandThatEndedWell ) {
   std::mt19937 random( 5575 );
   RuleVersions file( random );
   System system( file.file(), System::Operator::commands );
   system.startConfigd();
   system.startProgramd();
   ASSERT_TRUE( TestSupport::until( system.mounts(), [&] {
      return dump( system.reader().config(), 0 ) == dump( *file.config(), 0 );
   } ) );
   const Folder folder;
   // Whether an interface is enabled; either may be when a command did not end well.
   std::map< U64, std::set< bool > > wanted;
   for ( int number = 0; number < 40; ++number ) {
      const U64 intf = 1 + random() % 10;
      const bool enables = random() % 3 != 0;
      TestSupport::Process command( { TestSupport::flowspecctlPath(),
                                      enables ? "enable" : "disable", std::to_string( intf ),
                                      "--socket", system.endpoint().text() },
                                    folder.path() + "/errors" );
      ::usleep( static_cast< useconds_t >( random() % 15'000 ) );
      bool isKilled = false;
      // A command that comes while there is no database says so and ends.
      bool mayFail = false;
      switch ( random() % 5 ) {
      case 0:
         mayFail = true;
         system.restartDatabase();
         break;
      case 1:
         system.startConfigd();
         break;
      case 2:
         system.startProgramd();
         break;
      case 3:
         mayFail = true;
         system.killConfigd();
         system.killProgramd();
         system.restartDatabase();
         system.startProgramd();
         system.startConfigd();
         break;
      default:
         command.kill();
         isKilled = true;
      }
      wanted.try_emplace( intf, std::set< bool >{ false } );
      const int status = isKilled ? -1 : command.wait();
      if ( status == 0 ) {
         wanted[intf] = { enables };
      } else {
         ASSERT_TRUE( isKilled || ( mayFail && status == 1 ) ) << number << ' ' << status;
         wanted[intf].insert( enables );
      }
      const std::set< U64 > enabled = enabledIn( system.endpoint() );
      for ( const auto& [id, either] : wanted ) {
         ASSERT_TRUE( either.contains( enabled.contains( id ) ) ) << number << ' ' << id;
      }
   }
   EXPECT_FALSE( enabledIn( system.endpoint() ).empty() );
   // All are at work in the end.
   EXPECT_TRUE( TestSupport::until( system.mounts(), [&] {
      return system.reader().isComplete() &&
             dump( system.reader().config(), 0 ) == dump( *file.config(), 0 );
   } ) );
}

} // namespace
} // namespace Flowspec
