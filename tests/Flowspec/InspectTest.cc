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
