#include "Vek/entity/Inspect.h"

#include "Flowspec/config/CliConfig.h"
#include "Flowspec/config/Config.h"
#include "Flowspec/policy/FlowspecPolicyConfig.h"
#include "tests/support/ChangeRecorder.h"

#include <gmock/gmock.h>

namespace Flowspec {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Vek::Any;
using Vek::InspectAnswer;
using enum Vek::InspectAnswer;

using Arguments = std::vector< Any >;

InspectAnswer inspect( Vek::Entity& entity, U16 fieldId, unsigned code,
                       const Arguments& arguments = {}, Any result = {} ) {
   return inspectOperation( entity, Vek::FieldDescriptor{ fieldId }, static_cast< U8 >( code ),
                            arguments, result );
}

constexpr unsigned read = 0;
constexpr unsigned write = 1;
constexpr unsigned insert = 0;
constexpr unsigned erase = 1;
constexpr unsigned size = 2;
constexpr unsigned find = 3;
constexpr unsigned keyAt = 4;
constexpr unsigned call = 0;

FlowspecKey keyOf( U32 vrfId ) {
   FlowspecKey key;
   key.vrfIdIs( vrfId );
   return key;
}

TEST( Inspect, AnswersHaveTexts ) {
   EXPECT_EQ( stringValue( done ), "done" );
   EXPECT_EQ( stringValue( noSuchField ), "no such field" );
   EXPECT_EQ( stringValue( noSuchOperation ), "no such operation" );
   EXPECT_EQ( stringValue( readOnly ), "read-only" );
   EXPECT_EQ( stringValue( wrongArgument ), "wrong argument" );
   EXPECT_EQ( stringValue( absent ), "absent" );
}

TEST( Inspect, FieldsOutsideTheTypeDoNotExist ) {
   const auto rule = ruleConfigFactory( keyOf( 1 ) );
   TestSupport::ChangeRecorder changes( *rule );
   U64 value = 5;
   for ( const unsigned id : { 0U, 2U, 255U, 256U, 257U, 269U, 65535U } ) {
      for ( unsigned code = 0; code < 256; ++code ) {
         EXPECT_EQ( inspect( *rule, static_cast< U16 >( id ), code, { Any::of( value ) },
                             Any::of( value ) ),
                    noSuchField );
      }
   }
   EXPECT_EQ( value, 5U );
   EXPECT_THAT( changes.take(), IsEmpty() );
}

TEST( Inspect, ReadsAndWritesAttributes ) {
   const auto rule = ruleConfigFactory( keyOf( 1 ) );
   TestSupport::ChangeRecorder changes( *rule );
   U64 id = 5;
   EXPECT_EQ( inspect( *rule, 259, write, { Any::of( id ) } ), done );
   EXPECT_EQ( rule->ruleId(), 5U );
   EXPECT_EQ( inspect( *rule, 259, write, { Any::of( id ) } ), done );
   EXPECT_THAT( changes.take(), ElementsAre( "259 ruleId was 0" ) );
   U64 got = 0;
   EXPECT_EQ( inspect( *rule, 259, read, {}, Any::of( got ) ), done );
   EXPECT_EQ( got, 5U );

   const float limit = 2.5;
   EXPECT_EQ( inspect( *rule, 265, write, { Any::of( limit ) } ), done );
   EXPECT_EQ( rule->trafficRateLimit(), 2.5 );
   const TrafficRedirect redirect( 5, TrafficRedirectType::addr, {}, {}, true );
   EXPECT_EQ( inspect( *rule, 263, write, { Any::of( redirect ) } ), done );
   TrafficRedirect gotRedirect;
   EXPECT_EQ( inspect( *rule, 263, read, {}, Any::of( gotRedirect ) ), done );
   EXPECT_EQ( gotRedirect, redirect );
   changes.take();

   FlowspecKey key;
   EXPECT_EQ( inspect( *rule, 258, read, {}, Any::of( key ) ), done );
   EXPECT_EQ( key, keyOf( 1 ) );
}

TEST( Inspect, WhatEveryEntityHasIsAFieldOfTheBase ) {
   const auto config = configFactory( "rules" );
   const auto vrf = config->vrfRuleConfigIs( 7 );
   const Vek::TypeInfo& base = Vek::Entity::baseInfo;
   const Vek::TypeInfo& namedBase = Vek::NamedEntity::baseInfo;
   const auto inspectBase = [&]( const Vek::TypeInfo& type, Vek::Entity& entity, U16 fieldId,
                                 unsigned code, const Arguments& arguments = {}, Any result = {} ) {
      const Vek::FieldDescriptor field{ fieldId };
      return inspectOperation( type, dynamic_cast< void* >( &entity ), &field,
                               static_cast< U8 >( code ), arguments, result );
   };
   Vek::Ptr< Vek::Entity > parent;
   Vek::String name;
   EXPECT_EQ( inspectBase( base, *vrf, 257, read, {}, Any::of( parent ) ), done );
   EXPECT_EQ( parent, config );
   EXPECT_EQ( inspectBase( base, *vrf, 257, write, { Any::of( parent ) } ), readOnly );
   EXPECT_EQ( inspectBase( base, *vrf, 256, read, {}, Any::of( name ) ), noSuchField );
   EXPECT_EQ( inspectBase( base, *vrf, 258, read, {}, Any::of( name ) ), noSuchField );
   EXPECT_EQ( inspectBase( namedBase, *config, 256, read, {}, Any::of( name ) ), done );
   EXPECT_EQ( name, "rules" );
   EXPECT_EQ( inspectBase( namedBase, *config, 256, write, { Any::of( name ) } ), readOnly );
   EXPECT_EQ( inspectBase( namedBase, *config, 257, read, {}, Any::of( parent ) ), done );
   EXPECT_EQ( parent, nullptr );
   for ( const U16 id : { U16{ 256 }, U16{ 257 } } ) {
      EXPECT_EQ( inspect( *config, id, read, {}, Any::of( name ) ), noSuchField );
      EXPECT_EQ( inspect( *config, id, read, {}, Any::of( parent ) ), noSuchField );
      EXPECT_EQ( inspect( *vrf, id, read, {}, Any::of( parent ) ), noSuchField );
   }
   // The fields of a kind of action are those of its types too.
   const auto drop =
      flowspecPolicyActionContainerFactory( "drop" )->dropActionIs( "drop", Osk::UniqueId( 5 ) );
   Osk::UniqueId id( 0 );
   EXPECT_EQ( inspect( *drop, 258, read, {}, Any::of( id ) ), done );
   EXPECT_EQ( id, drop->id() );
   EXPECT_EQ( inspect( *drop, 257, read, {}, Any::of( parent ) ), noSuchField );
}

TEST( Inspect, ConstantsOfAnEntity ) {
   const auto config = configFactory( "rules" );
   U16 bound = 5;
   EXPECT_EQ( inspect( *config, 262, read, {}, Any::of( bound ) ), done );
   EXPECT_EQ( bound, 0U );
   EXPECT_EQ( inspect( *config, 263, read, {}, Any::of( bound ) ), done );
   EXPECT_EQ( bound, 16383U );
   EXPECT_EQ( inspect( *config, 263, write, { Any::of( bound ) } ), readOnly );
}

TEST( Inspect, RefusesOnAttributes ) {
   const auto rule = ruleConfigFactory( keyOf( 1 ) );
   TestSupport::ChangeRecorder changes( *rule );
   U64 right = 9;
   U32 wrong = 8;
   FlowspecKey key = keyOf( 2 );
   EXPECT_EQ( inspect( *rule, 259, read ), wrongArgument );
   EXPECT_EQ( inspect( *rule, 259, read, {}, Any::of( wrong ) ), wrongArgument );
   EXPECT_EQ( inspect( *rule, 259, read, {}, Any{ &Vek::valueType< U64 >, nullptr } ),
              wrongArgument );
   EXPECT_EQ( inspect( *rule, 259, read, { Any::of( right ) }, Any::of( right ) ), wrongArgument );
   EXPECT_EQ( inspect( *rule, 259, write ), wrongArgument );
   EXPECT_EQ( inspect( *rule, 259, write, { Any::of( wrong ) } ), wrongArgument );
   EXPECT_EQ( inspect( *rule, 259, write, { Any{} } ), wrongArgument );
   EXPECT_EQ( inspect( *rule, 259, write, { Any{ &Vek::valueType< U64 >, nullptr } } ),
              wrongArgument );
   EXPECT_EQ( inspect( *rule, 259, write, { Any::of( right ), Any::of( right ) } ), wrongArgument );
   for ( unsigned code = 2; code < 256; ++code ) {
      EXPECT_EQ( inspect( *rule, 259, code, { Any::of( right ) }, Any::of( right ) ),
                 noSuchOperation );
   }
   EXPECT_EQ( inspect( *rule, 258, write, { Any::of( key ) } ), readOnly );
   EXPECT_EQ( inspect( *rule, 258, write ), readOnly );
   EXPECT_EQ( right, 9U );
   EXPECT_EQ( wrong, 8U );
   EXPECT_EQ( rule->ruleId(), 0U );
   EXPECT_EQ( rule->ruleKey(), keyOf( 1 ) );
   EXPECT_THAT( changes.take(), IsEmpty() );
}

TEST( Inspect, MapsOfValues ) {
   const auto config = cliConfigFactory( "cli" );
   TestSupport::ChangeRecorder changes( *config );
   Zorv::IntfId intf( 2 );
   Vek::String name = "red";
   EXPECT_EQ( inspect( *config, 261, insert, { Any::of( intf ), Any::of( name ) } ), done );
   EXPECT_EQ( inspect( *config, 261, insert, { Any::of( intf ), Any::of( name ) } ), done );
   name = "blue";
   EXPECT_EQ( inspect( *config, 261, insert, { Any::of( intf ), Any::of( name ) } ), done );
   intf = Zorv::IntfId( 1 );
   EXPECT_EQ( inspect( *config, 261, insert, { Any::of( intf ), Any::of( name ) } ), done );
   EXPECT_THAT( changes.take(),
                ElementsAre( "261 sourceVrfOverride[intf2]", "261 sourceVrfOverride[intf2] was red",
                             "261 sourceVrfOverride[intf1]" ) );
   U32 count = 0;
   EXPECT_EQ( inspect( *config, 261, size, {}, Any::of( count ) ), done );
   EXPECT_EQ( count, 2U );
   name.clear();
   EXPECT_EQ( inspect( *config, 261, find, { Any::of( intf ) }, Any::of( name ) ), done );
   EXPECT_EQ( name, "blue" );
   for ( U32 position = 0; position < 2; ++position ) {
      EXPECT_EQ( inspect( *config, 261, keyAt, { Any::of( position ) }, Any::of( intf ) ), done );
      EXPECT_EQ( intf, Zorv::IntfId( position + 1 ) ) << "ascending";
   }
   U32 position = 2;
   EXPECT_EQ( inspect( *config, 261, keyAt, { Any::of( position ) }, Any::of( intf ) ), absent );
   EXPECT_EQ( intf, Zorv::IntfId( 2 ) );
   EXPECT_EQ( inspect( *config, 261, erase, { Any::of( intf ) } ), done );
   EXPECT_THAT( changes.take(), ElementsAre( "261 sourceVrfOverride[intf2] was blue" ) );
   EXPECT_EQ( inspect( *config, 261, erase, { Any::of( intf ) } ), done );
   EXPECT_THAT( changes.take(), IsEmpty() );
   EXPECT_EQ( inspect( *config, 261, find, { Any::of( intf ) }, Any::of( name ) ), absent );
   EXPECT_EQ( name, "blue" );
}

TEST( Inspect, RefusesOnMapsOfValues ) {
   const auto config = cliConfigFactory( "cli" );
   config->sourceVrfOverrideIs( Zorv::IntfId( 1 ), "red" );
   TestSupport::ChangeRecorder changes( *config );
   Zorv::IntfId intf( 1 );
   Vek::String name = "blue";
   U64 wrong = 1;
   U32 number = 0;
   const std::vector< std::tuple< unsigned, Arguments, Any > > refused = {
      { insert, {}, {} },
      { insert, { Any::of( intf ) }, {} },
      { insert, { Any::of( wrong ), Any::of( name ) }, {} },
      { insert, { Any::of( intf ), Any::of( wrong ) }, {} },
      { insert, { Any::of( name ), Any::of( intf ) }, {} },
      { insert, { Any::of( intf ), Any::of( name ), Any::of( name ) }, {} },
      { erase, {}, {} },
      { erase, { Any::of( wrong ) }, {} },
      { erase, { Any::of( intf ), Any::of( intf ) }, {} },
      { size, {}, {} },
      { size, {}, Any::of( wrong ) },
      { size, { Any::of( intf ) }, Any::of( number ) },
      { find, {}, Any::of( name ) },
      { find, { Any::of( wrong ) }, Any::of( name ) },
      { find, { Any::of( intf ) }, Any::of( wrong ) },
      { find, { Any::of( intf ) }, {} },
      { keyAt, {}, Any::of( intf ) },
      { keyAt, { Any::of( wrong ) }, Any::of( intf ) },
      { keyAt, { Any::of( number ) }, Any::of( wrong ) },
      { keyAt, { Any::of( number ) }, {} },
   };
   for ( std::size_t i = 0; i < refused.size(); ++i ) {
      const auto& [code, arguments, result] = refused[i];
      EXPECT_EQ( inspect( *config, 261, code, arguments, result ), wrongArgument ) << i;
   }
   for ( unsigned code = 5; code < 256; ++code ) {
      EXPECT_EQ( inspect( *config, 261, code, { Any::of( intf ) }, Any::of( name ) ),
                 noSuchOperation );
   }
   EXPECT_THAT( changes.take(), IsEmpty() );
   EXPECT_EQ( config->sourceVrfOverride( intf ), "red" );
   EXPECT_EQ( name, "blue" );
   EXPECT_EQ( number, 0U );
   EXPECT_EQ( wrong, 1U );
}

TEST( Inspect, Sets ) {
   const auto config = configFactory( "rules" );
   TestSupport::ChangeRecorder changes( *config );
   Zorv::IntfId intf( 2 );
   EXPECT_EQ( inspect( *config, 258, find, { Any::of( intf ) } ), absent );
   EXPECT_EQ( inspect( *config, 258, insert, { Any::of( intf ) } ), done );
   EXPECT_EQ( inspect( *config, 258, insert, { Any::of( intf ), Any::of( intf ) } ),
              wrongArgument );
   EXPECT_EQ( inspect( *config, 258, find, { Any::of( intf ) } ), done );
   EXPECT_EQ( inspect( *config, 258, erase, { Any::of( intf ) } ), done );
   EXPECT_THAT( changes.take(), ElementsAre( "258 enabledIntf[intf2]", "258 enabledIntf[intf2]" ) );
}

TEST( Inspect, Children ) {
   const auto config = configFactory( "rules" );
   TestSupport::ChangeRecorder changes( *config );
   U32 vrfId = 7;
   Vek::Ptr< Vek::Entity > child;
   EXPECT_EQ( inspect( *config, 259, find, { Any::of( vrfId ) }, Any::of( child ) ), absent );
   EXPECT_EQ( inspect( *config, 259, insert, { Any::of( vrfId ) } ), done );
   EXPECT_EQ( inspect( *config, 259, insert, { Any::of( vrfId ) } ), done );
   EXPECT_THAT( changes.take(), ElementsAre( "259 vrfRuleConfig[7]" ) );
   EXPECT_EQ( inspect( *config, 259, find, { Any::of( vrfId ) }, Any::of( child ) ), done );
   EXPECT_EQ( child, config->vrfRuleConfig( 7 ) );
   EXPECT_EQ( child->parent(), config.get() );
   U32 got = 0;
   U32 position = 0;
   EXPECT_EQ( inspect( *config, 259, keyAt, { Any::of( position ) }, Any::of( got ) ), done );
   EXPECT_EQ( got, 7U );
   EXPECT_EQ( inspect( *config, 259, size, {}, Any::of( got ) ), done );
   EXPECT_EQ( got, 1U );
   EXPECT_EQ( inspect( *config, 259, find, { Any::of( vrfId ) }, Any::of( got ) ), wrongArgument );
   EXPECT_EQ( inspect( *config, 259, insert, { Any::of( vrfId ), Any::of( child ) } ),
              wrongArgument );
   EXPECT_EQ( inspect( *config, 259, erase, { Any::of( vrfId ) } ), done );
   EXPECT_THAT( changes.take(), ElementsAre( "259 vrfRuleConfig[7]" ) );
   EXPECT_EQ( child->useCount(), 1U );

   // Rules are children by their keys.
   const auto vrf = vrfRuleConfigFactory( 1 );
   FlowspecKey key = keyOf( 3 );
   EXPECT_EQ( inspect( *vrf, 259, insert, { Any::of( key ) } ), done );
   EXPECT_EQ( inspect( *vrf, 259, find, { Any::of( key ) }, Any::of( child ) ), done );
   EXPECT_EQ( child, vrf->rule( key ) );
   EXPECT_EQ( inspect( *vrf, 259, erase, { Any::of( key ) } ), done );
   EXPECT_TRUE( vrf->rule().empty() );
}

TEST( Inspect, PolicyActionsCannotBeCreatedAndTheOnlyChildIsRead ) {
   const auto policy = flowspecPolicyConfigFactory( "policy" );
   const auto container = policy->actions();
   Osk::UniqueId id( 1 );
   for ( U16 field = 258; field <= 262; ++field ) {
      EXPECT_EQ( inspect( *container, field, insert, { Any::of( id ) } ), readOnly );
   }
   const auto action = container->dropActionIs( "drop", id );
   EXPECT_EQ( inspect( *container, 258, erase, { Any::of( id ) } ), done );
   EXPECT_EQ( container->dropAction( id ), nullptr );

   Vek::Ptr< Vek::Entity > child;
   EXPECT_EQ( inspect( *policy, 261, read, {}, Any::of( child ) ), done );
   EXPECT_EQ( child, container );
   EXPECT_EQ( inspect( *policy, 261, write, { Any::of( child ) } ), readOnly );
   U32 wrong = 0;
   EXPECT_EQ( inspect( *policy, 261, read, {}, Any::of( wrong ) ), wrongArgument );
   policy->actionsDel();
   EXPECT_EQ( inspect( *policy, 261, read, {}, Any::of( child ) ), absent );
}

TEST( Inspect, Operations ) {
   const auto rule = ruleConfigFactory( keyOf( 1 ) );
   rule->matchSetIs( MatchComponent( icmpType ) );
   MatchCompType type = flowLabel;
   EXPECT_EQ( inspect( *rule, 267, call, {}, Any::of( type ) ), done );
   EXPECT_EQ( type, invalid );
   EXPECT_EQ( rule->matchSet().size(), 2U );
   rule->matchSetIs( MatchComponent( tcpFlags ) );
   EXPECT_EQ( inspect( *rule, 266, call, {}, Any::of( type ) ), done );
   EXPECT_EQ( type, tcpFlags );

   const auto infeasible = infeasibleRuleFactory( keyOf( 1 ) );
   std::string text;
   Osk::DumpContext context( text );
   U32 indent = 2;
   EXPECT_EQ( inspect( *infeasible, 261, call, { Any::of( context ), Any::of( indent ) } ), done );
   EXPECT_EQ( text, "  ruleKey: *;*;, ruleId: 0\n  matchCompType is 0\n" );
}

TEST( Inspect, RefusesOnOperations ) {
   const auto rule = ruleConfigFactory( keyOf( 1 ) );
   rule->matchSetIs( MatchComponent( icmpType ) );
   TestSupport::ChangeRecorder changes( *rule );
   std::string text;
   Osk::DumpContext context( text );
   U32 indent = 2;
   U64 wrong = 0;
   MatchCompType type = flowLabel;
   EXPECT_EQ( inspect( *rule, 267, call ), wrongArgument );
   EXPECT_EQ( inspect( *rule, 267, call, {}, Any::of( indent ) ), wrongArgument );
   EXPECT_EQ( inspect( *rule, 267, call, { Any::of( indent ) }, Any::of( type ) ), wrongArgument );
   const std::vector< Arguments > refused = {
      {},
      { Any::of( context ) },
      { Any::of( indent ), Any::of( context ) },
      { Any::of( context ), Any::of( wrong ) },
      { Any::of( context ), Any{ &Vek::valueType< U32 >, nullptr } },
      { Any::of( context ), Any::of( indent ), Any::of( indent ) },
      { Any::of( context ), Any::of( indent ), Any::of( indent ), Any::of( indent ),
        Any::of( indent ), Any::of( indent ) },
   };
   for ( std::size_t i = 0; i < refused.size(); ++i ) {
      EXPECT_EQ( inspect( *rule, 268, call, refused[i] ), wrongArgument ) << i;
   }
   for ( unsigned code = 1; code < 256; ++code ) {
      EXPECT_EQ( inspect( *rule, 267, code, {}, Any::of( type ) ), noSuchOperation );
   }
   EXPECT_EQ( text, "" );
   EXPECT_EQ( type, flowLabel );
   EXPECT_EQ( rule->matchSet().size(), 1U );
   EXPECT_THAT( changes.take(), IsEmpty() );
}

} // namespace
} // namespace Flowspec
