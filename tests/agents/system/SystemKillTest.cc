#include "agents/configd/Filing.h"
#include "tests/agents/system/System.h"

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
      const Configd::RuleFile rules = Configd::readRuleFile( file(), {} );
      Configd::Filing( config ).apply( { &rules, 1 } );
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

} // namespace
} // namespace Flowspec
