#include "Vek/entity/Directory.h"

#include "Flowspec/config/CliConfig.h"
#include "Flowspec/config/Config.h"
#include "Flowspec/policy/FlowspecPolicyConfig.h"
#include "Flowspec/status/Counter.h"
#include "Flowspec/status/Status.h"
#include "Vek/types/TypeRegistry.h"
#include "tests/support/ExpectFailure.h"
#include "tests/support/TraceRecorder.h"

namespace Flowspec {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StrEq;
using testing::ThrowsMessage;
using TestSupport::raisesRange;

TEST( Directory, CreatesRootsByNameAndKeepsThem ) {
   Vek::Directory directory;
   EXPECT_THAT( directory.names(), IsEmpty() );
   EXPECT_EQ( directory.entity( "rules" ), nullptr );
   const auto rules = directory.create( "Flowspec::Config", "rules" );
   ASSERT_TRUE( rules );
   EXPECT_EQ( rules->name(), "rules" );
   EXPECT_EQ( &rules->typeInfo(), &Config::type() );
   EXPECT_EQ( rules->parent(), nullptr );
   EXPECT_EQ( rules->useCount(), 2U );
   EXPECT_EQ( directory.create( "Flowspec::Config", "rules" ), rules );
   EXPECT_EQ( directory.entity( "rules" ), rules );

   const auto cli = directory.create( "Flowspec::CliConfig", "cli" );
   EXPECT_EQ( &cli->typeInfo(), &CliConfig::type() );
   EXPECT_EQ( &directory.create( "Flowspec::Status", "status" )->typeInfo(), &Status::type() );
   EXPECT_EQ( &directory.create( "Flowspec::Counter", "counter" )->typeInfo(), &Counter::type() );
   const auto policy = directory.create( "Flowspec::FlowspecPolicyConfig", "policy" );
   EXPECT_TRUE( dynamic_cast< FlowspecPolicyConfig& >( *policy ).actions() );
   EXPECT_NE( directory.create( "Flowspec::Config", "more rules" ), rules );
   EXPECT_TRUE( directory.create( "Flowspec::Config", "" ) );
   EXPECT_THAT( directory.names(),
                ElementsAre( "", "cli", "counter", "more rules", "policy", "rules", "status" ) );

   directory.erase( "nothing" );
   directory.erase( "rules" );
   EXPECT_EQ( directory.entity( "rules" ), nullptr );
   EXPECT_EQ( rules->useCount(), 1U );
   EXPECT_THAT( directory.names(),
                ElementsAre( "", "cli", "counter", "more rules", "policy", "status" ) );
   EXPECT_NE( directory.create( "Flowspec::Config", "rules" ), rules );
}

TEST( Directory, HoldsItsRootsAsLongAsItLives ) {
   const U64 live = Vek::TypeRegistry::liveInstances( Config::type() );
   {
      Vek::Directory directory;
      directory.create( "Flowspec::Config", "a" );
      directory.create( "Flowspec::Config", "b" );
      EXPECT_EQ( Vek::TypeRegistry::liveInstances( Config::type() ), live + 2 );
      directory.erase( "a" );
      EXPECT_EQ( Vek::TypeRegistry::liveInstances( Config::type() ), live + 1 );
   }
   EXPECT_EQ( Vek::TypeRegistry::liveInstances( Config::type() ), live );
}

TEST( Directory, RefusesWhatIsNoRootType ) {
   Vek::Directory directory;
   for ( const std::string type : { "Flowspec::Nothing", "", "Config" } ) {
      EXPECT_THAT( [&] { directory.create( type, "x" ); },
                   raisesRange( "Vek::Directory: type '" + type + "' is not loaded" ) );
   }
   for ( const std::string type :
         { "Flowspec::RuleConfig", "Flowspec::RuleStatus",
           "Flowspec::FlowspecPolicyActionContainer", "Flowspec::NumericalRange",
           "Flowspec::MatchCompType", "Flowspec::FlowspecUtil", "Vek::String" } ) {
      EXPECT_THAT( [&] { directory.create( type, "x" ); },
                   raisesRange( "Vek::Directory: '" + type + "' is not a root type" ) );
   }
   EXPECT_THAT( directory.names(), IsEmpty() );
}

TEST( Directory, RefusesTheNameOfAnotherType ) {
   Vek::Directory directory;
   const auto rules = directory.create( "Flowspec::Config", "rules" );
   EXPECT_THAT( [&] { directory.create( "Flowspec::CliConfig", "rules" ); },
                raisesRange( "Vek::Directory: 'rules' is a Flowspec::Config" ) );
   EXPECT_EQ( directory.entity( "rules" ), rules );
}

TEST( Directory, RefusesArgumentsBeyondTheName ) {
   Vek::Directory directory;
   U32 argument = 5;
   const Vek::Any arguments[] = { Vek::Any::of( argument ) };
   const U64 live = Vek::TypeRegistry::liveInstances( Config::type() );
   const auto refused = [&]( const std::string& module, const std::string& type ) {
      EXPECT_THAT(
         [&] { directory.create( type, "x", arguments ); },
         ThrowsMessage< Vek::NewEntityArgsException >(
            StrEq( module + ": " + type + " takes no constructor arguments beyond its name" ) ) );
   };
   refused( "FlowspecDalb", "Flowspec::Config" );
   refused( "FlowspecDalb", "Flowspec::CliConfig" );
   refused( "FlowspecDalb", "Flowspec::Status" );
   refused( "FlowspecDalb", "Flowspec::Counter" );
   refused( "FlowspecPolicy", "Flowspec::FlowspecPolicyConfig" );
   EXPECT_THAT( directory.names(), IsEmpty() );
   EXPECT_EQ( Vek::TypeRegistry::liveInstances( Config::type() ), live );
   directory.create( "Flowspec::Config", "x" );
   refused( "FlowspecDalb", "Flowspec::Config" );
}

/// A module with a root type that needs what another module has.
Vek::TypeInfo configNamed( std::string_view name ) {
   Vek::TypeInfo type = Config::type();
   type.name = name;
   return type;
}

struct Sample {
   ~Sample() {
      module.unloaded();
      other.unloaded();
   }

   static const Vek::TypeInfo& root() {
      static const Vek::TypeInfo type = configNamed( "Sample::Root" );
      return type;
   }
   static const Vek::TypeInfo& missing() {
      static const Vek::TypeInfo type = configNamed( "Sample::Missing" );
      return type;
   }

   static constexpr Vek::Description types[] = { root };
   static constexpr Vek::Description otherTypes[] = { missing };
   static constexpr std::string_view needs[] = { "Zorv", "Sample::Missing", "SampleOther" };
   Vek::Module module{ "Sample", types, needs };
   Vek::Module other{ "SampleOther", otherTypes, {} };
};

TEST( Module, SaysWhatItMissesAndCreatesNothingUntilItIsLoaded ) {
   Sample sample;
   Vek::Directory directory;
   EXPECT_FALSE( sample.module.isLoaded() );
   EXPECT_EQ( Vek::TypeRegistry::find( "Sample::Root" ), nullptr );
   {
      const TestSupport::TraceRecorder recorder( Vek::traceHandle, { 0 } );
      sample.module.loaded();
      sample.module.loaded();
      EXPECT_THAT( recorder.texts(),
                   ElementsAre( "Sample needs Sample::Missing, which is not loaded",
                                "Sample needs SampleOther, which is not loaded" ) );
      EXPECT_EQ( recorder.records().at( 0 ).level, 0U );
      EXPECT_EQ( recorder.records().at( 0 ).file, "Vek" );
   }
   EXPECT_TRUE( sample.module.isLoaded() );
   EXPECT_EQ( Vek::TypeRegistry::find( "Sample::Root" ), &Sample::root() );
   EXPECT_EQ( Vek::TypeRegistry::modules().back(), &sample.module );
   EXPECT_THAT( sample.module.missing(), ElementsAre( "Sample::Missing", "SampleOther" ) );
   EXPECT_THAT(
      [&] { directory.create( "Sample::Root", "x" ); },
      raisesRange( "Vek::Directory: Sample needs Sample::Missing, which is not loaded" ) );
   EXPECT_THAT( directory.names(), IsEmpty() );

   sample.other.loaded();
   EXPECT_THAT( sample.module.missing(), IsEmpty() );
   EXPECT_TRUE( directory.create( "Sample::Root", "x" ) );

   sample.other.unloaded();
   EXPECT_FALSE( sample.other.isLoaded() );
   EXPECT_THAT( sample.module.missing(), ElementsAre( "Sample::Missing", "SampleOther" ) );
   sample.other.unloaded();
   sample.module.unloaded();
   EXPECT_EQ( Vek::TypeRegistry::find( "Sample::Root" ), nullptr );
   EXPECT_EQ( Vek::TypeRegistry::moduleOf( Sample::root() ), nullptr );
   EXPECT_NE( Vek::TypeRegistry::module( "FlowspecPolicy" ), nullptr );
}

TEST( Module, ThatGoesLeavesThoseThatCameAfterIt ) {
   Sample sample;
   sample.module.loaded();
   sample.other.loaded();
   sample.module.unloaded();
   EXPECT_EQ( Vek::TypeRegistry::module( "Sample" ), nullptr );
   EXPECT_EQ( Vek::TypeRegistry::module( "SampleOther" ), &sample.other );
   EXPECT_EQ( Vek::TypeRegistry::find( "Sample::Missing" ), &Sample::missing() );
   EXPECT_EQ( Vek::TypeRegistry::modules().back(), &sample.other );
   // One that comes again is the last.
   sample.module.loaded();
   EXPECT_EQ( Vek::TypeRegistry::modules().back(), &sample.module );
   EXPECT_EQ( Vek::TypeRegistry::module( "SampleOther" ), &sample.other );
}

TEST( Module, ThatMissesOneTypeCreatesNothingEither ) {
   static const Vek::TypeInfo root = configNamed( "Single::Root" );
   static constexpr Vek::Description types[] = { []() -> const Vek::TypeInfo& { return root; } };
   static constexpr std::string_view needs[] = { "Zorv", "Single::Missing" };
   Vek::Module module{ "Single", types, needs };
   module.loaded();
   Vek::Directory directory;
   EXPECT_THAT(
      [&] { directory.create( "Single::Root", "x" ); },
      raisesRange( "Vek::Directory: Single needs Single::Missing, which is not loaded" ) );
   EXPECT_THAT( directory.names(), IsEmpty() );
   module.unloaded();
}

} // namespace
} // namespace Flowspec
