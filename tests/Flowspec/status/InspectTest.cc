#include "Vek/entity/Inspect.h"

#include "Flowspec/status/Counter.h"
#include "Flowspec/status/Status.h"
#include "Vek/types/TypeRegistry.h"
#include "tests/support/ChangeRecorder.h"

#include <gmock/gmock.h>

namespace Flowspec {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Vek::Any;
using Vek::InspectCode;
using Vek::inspectOperation;
using enum Vek::InspectAnswer;
using Zorv::AddressFamily;
using Zorv::IntfId;

using Arguments = std::vector< Any >;

FlowspecKey keyOf( U32 vrfId ) {
   FlowspecKey key;
   key.vrfIdIs( vrfId );
   return key;
}

/// Writes `value` to a field and reads it back.
template < typename T >
void checkAttribute( Vek::Entity& entity, U16 fieldId, T value ) {
   SCOPED_TRACE( fieldId );
   EXPECT_EQ(
      inspectOperation( entity, fieldId, InspectCode::write, Arguments{ Any::of( value ) } ),
      done );
   T got{};
   EXPECT_EQ( inspectOperation( entity, fieldId, InspectCode::read, {}, Any::of( got ) ), done );
   EXPECT_EQ( got, value );
   Vek::Ptr< Vek::Entity > wrong;
   EXPECT_EQ( inspectOperation( entity, fieldId, InspectCode::read, {}, Any::of( wrong ) ),
              wrongArgument );
   EXPECT_EQ(
      inspectOperation( entity, fieldId, InspectCode::write, Arguments{ Any::of( wrong ) } ),
      wrongArgument );
}

/// Reads `value` from a field, which refuses to be written.
template < typename T >
void checkReadOnly( Vek::Entity& entity, U16 fieldId, T value ) {
   SCOPED_TRACE( fieldId );
   T got{};
   EXPECT_EQ( inspectOperation( entity, fieldId, InspectCode::read, {}, Any::of( got ) ), done );
   EXPECT_EQ( got, value );
   T other{};
   EXPECT_EQ(
      inspectOperation( entity, fieldId, InspectCode::write, Arguments{ Any::of( other ) } ),
      readOnly );
   EXPECT_EQ( inspectOperation( entity, fieldId, InspectCode::read, {}, Any::of( got ) ), done );
   EXPECT_EQ( got, value );
}

TEST( StatusInspect, RuleStatus ) {
   const auto status = ruleStatusFactory( keyOf( 7 ) );
   TestSupport::ChangeRecorder changes( *status );
   checkReadOnly( *status, 258, keyOf( 7 ) );
   checkReadOnly( *status, 259, keyOf( 7 ) );
   checkReadOnly( *status, 267, false );
   EXPECT_THAT( changes.take(), IsEmpty() );
   status->versionIs( Osk::UniqueId( 5 ) );
   changes.take();

   checkAttribute( *status, 260, programmedWithFailures );
   checkReadOnly( *status, 267, true );
   checkAttribute( *status, 261, Vek::String( "full" ) );
   QosLib::ColoredCounters counters;
   counters.redIs( { 1, 2, 3 } );
   checkAttribute( *status, 262, counters );
   checkAttribute( *status, 263, U64{ 3 } );
   checkAttribute( *status, 264, U64{ 192 } );
   checkAttribute( *status, 265, Osk::UniqueId( 6 ) );
   checkAttribute( *status, 266, L3::ResolvedNexthopInfo( { Zorv::IpGenAddr() }, {} ) );
   EXPECT_THAT( changes.take(),
                ElementsAre( "260 statusCode was unprocessed", "261 errorReason was ",
                             "262 coloredCounters was "
                             "<packetHits=0,byteHits=0,green=0/0/0,yellow=0/0/0,red=0/0/0>",
                             "262 coloredCounters was "
                             "<packetHits=0,byteHits=0,green=0/0/0,yellow=0/0/0,red=1/2/3>",
                             "262 coloredCounters was "
                             "<packetHits=3,byteHits=0,green=0/0/0,yellow=0/0/0,red=1/2/3>",
                             "265 version was 0000000000000005",
                             "266 resolvedNexthopInfo was <nexthopSet={};vias={}>" ) );
   EXPECT_EQ( status->packetCount(), 3U );
   EXPECT_EQ( status->byteCount(), 192U );
   U64 packets = 3;
   EXPECT_EQ( inspectOperation( *status, 263, InspectCode::write, Arguments{ Any::of( packets ) } ),
              done );
   EXPECT_THAT( changes.take(), IsEmpty() ) << "equal";
   U32 wrong = 1;
   EXPECT_EQ( inspectOperation( *status, 263, InspectCode::write, Arguments{ Any::of( wrong ) } ),
              wrongArgument );
   for ( const U16 id : std::initializer_list< U16 >{ 0, 2, 255, 256, 257, 269, 65535 } ) {
      EXPECT_EQ( inspectOperation( *status, id, InspectCode::read, {}, Any::of( packets ) ),
                 noSuchField );
   }
}

TEST( StatusInspect, CodeWithoutAName ) {
   const auto status = ruleStatusFactory( keyOf( 1 ) );
   checkAttribute( *status, 260, HwRuleProgrammingStatus{ 9 } );
   EXPECT_EQ( status->statusCode(), HwRuleProgrammingStatus{ 9 } );
   EXPECT_EQ( Vek::valueText( HwRuleProgrammingStatus{ 9 } ), "9" );
   checkReadOnly( *status, 267, false );
}

TEST( StatusInspect, DumpsAreOperations ) {
   std::string text;
   Osk::DumpContext context( text );
   U32 indent = 2;
   const Arguments arguments{ Any::of( context ), Any::of( indent ) };
   const auto check = [&]( Vek::Entity& entity, U16 fieldId, const std::string& first ) {
      EXPECT_EQ( inspectOperation( entity, fieldId, InspectCode::call, arguments ), done );
      EXPECT_EQ( text.substr( 0, first.size() ), first );
      text.clear();
      EXPECT_EQ(
         inspectOperation( entity, fieldId, InspectCode::call, Arguments{ Any::of( context ) } ),
         wrongArgument );
      EXPECT_EQ( inspectOperation( entity, fieldId, InspectCode::write, arguments ),
                 noSuchOperation );
      EXPECT_EQ( text, "" );
   };
   check( *ruleStatusFactory( keyOf( 1 ) ), 268, "  key: *;*;\n  statusCode 0, errorReason , " );
   check( *vrfRuleStatusFactory( 1 ), 262, "  vrfId is 1, ruleStatuses #0\n" );
   check( *statusFactory( "a" ), 263,
          "  FlowspecStatus: vrfRuleStatuses #0\n  Unsupported AF quals: #0\n" );
   UnsupportedQual value( AddressFamily::ipv4 );
   const Vek::FieldDescriptor field{ 5 };
   EXPECT_EQ( inspectOperation( *Vek::TypeRegistry::find( UnsupportedQual::typeName ), &value,
                                &field, 0, arguments, {} ),
              done );
   EXPECT_EQ( text, "  AF ipv4\n    Unsupported actions: 0x0\n" );
}

/// Inserts, finds and erases a child.
template < typename Key >
void checkChildren( Vek::Entity& entity, U16 fieldId, Key key ) {
   SCOPED_TRACE( fieldId );
   TestSupport::ChangeRecorder changes( entity );
   const Arguments arguments{ Any::of( key ) };
   Vek::Ptr< Vek::Entity > child;
   EXPECT_EQ( inspectOperation( entity, fieldId, InspectCode::find, arguments, Any::of( child ) ),
              absent );
   EXPECT_EQ( inspectOperation( entity, fieldId, InspectCode::insert, arguments ), done );
   EXPECT_EQ( inspectOperation( entity, fieldId, InspectCode::insert, arguments ), done );
   EXPECT_EQ( changes.take().size(), 1U );
   EXPECT_EQ( inspectOperation( entity, fieldId, InspectCode::find, arguments, Any::of( child ) ),
              done );
   EXPECT_EQ( child->parent(), &entity );
   checkReadOnly( *child, 258, key );
   U32 number = 0;
   EXPECT_EQ( inspectOperation( entity, fieldId, InspectCode::size, {}, Any::of( number ) ), done );
   EXPECT_EQ( number, 1U );
   number = 0;
   Key found{};
   EXPECT_EQ( inspectOperation( entity, fieldId, InspectCode::keyAt, Arguments{ Any::of( number ) },
                                Any::of( found ) ),
              done );
   EXPECT_EQ( found, key );
   EXPECT_EQ(
      inspectOperation( entity, fieldId, InspectCode::insert, Arguments{ Any::of( child ) } ),
      wrongArgument );
   EXPECT_EQ( inspectOperation( entity, fieldId, InspectCode::erase, arguments ), done );
   EXPECT_EQ( inspectOperation( entity, fieldId, InspectCode::erase, arguments ), done );
   EXPECT_EQ( changes.take().size(), 1U );
   EXPECT_EQ( child->useCount(), 1U );
}

TEST( StatusInspect, Children ) {
   const auto status = statusFactory( "status" );
   checkChildren( *status, 258, U32{ 7 } );
   checkChildren( *status, 262, U16{ 16383 } );
   const auto vrf = vrfRuleStatusFactory( 1 );
   checkReadOnly( *vrf, 258, U32{ 1 } );
   checkChildren( *vrf, 259, AddressFamily::ipv6 );
   checkChildren( *vrf, 261, keyOf( 5 ) );
}

TEST( StatusInspect, ScalarsOfTheRoots ) {
   const auto status = statusFactory( "status" );
   checkAttribute( *status, 259, 1.5 );
   checkAttribute( *status, 260, true );
   const auto counter = counterFactory( "counters" );
   checkAttribute( *counter, 259, 2.5 );
}

/// Inserts, replaces, finds and erases a member of a map.
template < typename Key, typename Value >
void checkMap( Vek::Entity& entity, U16 fieldId, Key key, Value value, Value other ) {
   SCOPED_TRACE( fieldId );
   TestSupport::ChangeRecorder changes( entity );
   Value found{};
   const auto insert = [&]( Value& inserted ) {
      return inspectOperation( entity, fieldId, InspectCode::insert,
                               Arguments{ Any::of( key ), Any::of( inserted ) } );
   };
   const Arguments arguments{ Any::of( key ) };
   EXPECT_EQ( inspectOperation( entity, fieldId, InspectCode::find, arguments, Any::of( found ) ),
              absent );
   EXPECT_EQ( insert( value ), done );
   EXPECT_EQ( insert( value ), done );
   EXPECT_EQ( insert( other ), done );
   EXPECT_EQ( changes.take().size(), 2U );
   EXPECT_EQ( inspectOperation( entity, fieldId, InspectCode::find, arguments, Any::of( found ) ),
              done );
   EXPECT_EQ( found, other );
   EXPECT_EQ( inspectOperation( entity, fieldId, InspectCode::insert, arguments ), wrongArgument );
   EXPECT_EQ( inspectOperation( entity, fieldId, InspectCode::erase, arguments ), done );
   EXPECT_EQ( inspectOperation( entity, fieldId, InspectCode::erase, arguments ), done );
   EXPECT_EQ( changes.take().size(), 1U );
}

TEST( StatusInspect, Maps ) {
   checkMap( *vrfRuleStatusFactory( 1 ), 260, IntfErrorKey( IntfId( 1 ), AddressFamily::ipv4 ),
             Vek::String( "down" ), Vek::String( "" ) );
   UnsupportedQual value( AddressFamily::ipv6 );
   value.qualIs( port, "reason" );
   checkMap( *statusFactory( "status" ), 261, AddressFamily::ipv6, value,
             UnsupportedQual( AddressFamily::ipv6 ) );
   checkMap( *counterFactory( "counters" ), 258, keyOf( 5 ), CounterVersion(), CounterVersion() );
}

TEST( StatusInspect, SetsOfInterfaces ) {
   const auto set = interfaceSetFactory( 3 );
   const auto active = afIntfCollFactory( AddressFamily::ipv4 );
   checkReadOnly( *set, 258, U16{ 3 } );
   checkReadOnly( *active, 258, AddressFamily::ipv4 );
   IntfId intf( 5 );
   const Arguments arguments{ Any::of( intf ) };
   for ( Vek::Entity* const entity : std::initializer_list< Vek::Entity* >{ &*set, &*active } ) {
      EXPECT_EQ( inspectOperation( *entity, 259, InspectCode::find, arguments ), absent );
      EXPECT_EQ( inspectOperation( *entity, 259, InspectCode::insert, arguments ), done );
      EXPECT_EQ( inspectOperation( *entity, 259, InspectCode::find, arguments ), done );
   }
   EXPECT_TRUE( set->intf().contains( intf ) );
   EXPECT_TRUE( active->intf().contains( intf ) );
   for ( Vek::Entity* const entity : std::initializer_list< Vek::Entity* >{ &*set, &*active } ) {
      EXPECT_EQ( inspectOperation( *entity, 259, InspectCode::erase, arguments ), done );
   }
   EXPECT_TRUE( set->intf().empty() );
   EXPECT_TRUE( active->intf().empty() );
}

TEST( StatusInspect, ParentsOfChildren ) {
   const auto status = statusFactory( "status" );
   const auto vrf = status->vrfRuleStatusIs( 1 );
   const auto rule = vrf->ruleStatusIs( keyOf( 1 ) );
   const auto expectParent = []( Vek::Entity& child, const Vek::Ptr< Vek::Entity >& parent ) {
      const Vek::FieldDescriptor field{ 257 };
      Vek::Ptr< Vek::Entity > got;
      EXPECT_EQ( inspectOperation( Vek::Entity::baseInfo, dynamic_cast< void* >( &child ), &field,
                                   static_cast< U8 >( InspectCode::read ), {}, Any::of( got ) ),
                 done );
      EXPECT_EQ( got, parent );
   };
   expectParent( *vrf, status );
   expectParent( *rule, vrf );
   expectParent( *vrf->activeIntfPerAfIs( AddressFamily::ipv4 ), vrf );
}

} // namespace
} // namespace Flowspec
