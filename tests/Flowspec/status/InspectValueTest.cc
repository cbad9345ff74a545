#include "Flowspec/status/Counter.h"
#include "Flowspec/status/IntfErrorKey.h"
#include "Flowspec/status/UnsupportedQual.h"
#include "Flowspec/vocab/FlowspecUtil.h"
#include "Vek/entity/Inspect.h"
#include "Vek/types/TypeRegistry.h"

#include <gtest/gtest.h>

namespace Flowspec {
namespace {

using Vek::Any;
using Vek::InspectAnswer;
using enum Vek::InspectAnswer;
using Zorv::AddressFamily;
using Zorv::IntfId;

using Arguments = std::vector< Any >;

template < typename T >
InspectAnswer inspectValue( T& value, std::optional< U16 > fieldId, unsigned code,
                            const Arguments& arguments = {}, Any result = {} ) {
   const Vek::FieldDescriptor field{ fieldId.value_or( 0 ) };
   return inspectOperation( *Vek::TypeRegistry::find( Vek::valueType< T >.name ), &value,
                            fieldId ? &field : nullptr, static_cast< U8 >( code ), arguments,
                            result );
}

TEST( StatusInspectValue, FieldsOfValues ) {
   IntfErrorKey key( IntfId( 3 ), AddressFamily::ipv6 );
   IntfId intf;
   EXPECT_EQ( inspectValue( key, 2, 0, {}, Any::of( intf ) ), done );
   EXPECT_EQ( intf, IntfId( 3 ) );
   AddressFamily family{};
   EXPECT_EQ( inspectValue( key, 3, 0, {}, Any::of( family ) ), done );
   EXPECT_EQ( family, AddressFamily::ipv6 );
   EXPECT_EQ( inspectValue( key, 3, 1, { Any::of( family ) } ), readOnly );
   EXPECT_EQ( inspectValue( key, 4, 0, {}, Any::of( family ) ), noSuchField );

   UnsupportedQual value( AddressFamily::ipv4 );
   EXPECT_EQ( inspectValue( value, 2, 0, {}, Any::of( family ) ), done );
   EXPECT_EQ( family, AddressFamily::ipv4 );
   EXPECT_EQ( inspectValue( value, 2, 1, { Any::of( family ) } ), readOnly );
   MatchCompType type = port;
   Vek::String reason = "reason";
   EXPECT_EQ( inspectValue( value, 3, 0, { Any::of( type ), Any::of( reason ) } ), done );
   EXPECT_EQ( value.qual( port ), "reason" );
   EXPECT_EQ( inspectValue( value, 3, 1, { Any::of( type ) } ), done );
   EXPECT_TRUE( value.qual().empty() );
   ActionFieldSet actions( 4 );
   EXPECT_EQ( inspectValue( value, 4, 1, { Any::of( actions ) } ), done );
   EXPECT_EQ( value.unsupportedActions(), actions );
   EXPECT_EQ( inspectValue( value, 6, 0 ), noSuchField );

   CounterVersion version;
   Osk::UniqueId id( 5 );
   EXPECT_EQ( inspectValue( version, 3, 1, { Any::of( id ) } ), done );
   EXPECT_EQ( version.version(), id );
   QosLib::ColoredCounters counters;
   counters.packetHitsIs( 3 );
   EXPECT_EQ( inspectValue( version, 2, 1, { Any::of( counters ) } ), done );
   EXPECT_EQ( version.coloredCounters(), counters );
   EXPECT_EQ( inspectValue( version, 1, 0, {}, Any::of( id ) ), noSuchField );
}

TEST( StatusInspectValue, ValuesAsAWhole ) {
   bool answer = false;
   UnsupportedQual none;
   UnsupportedQual value( AddressFamily::ipv4 );
   EXPECT_EQ( inspectValue( none, {}, 11, {}, Any::of( answer ) ), done );
   EXPECT_FALSE( answer );
   EXPECT_EQ( inspectValue( value, {}, 11, {}, Any::of( answer ) ), done );
   EXPECT_TRUE( answer );
   EXPECT_EQ( inspectValue( value, {}, 12, { Any::of( none ) }, Any::of( answer ) ), done );
   EXPECT_FALSE( answer );
   IntfErrorKey key( IntfId(), AddressFamily::ipv4 );
   IntfErrorKey same = key;
   EXPECT_EQ( inspectValue( key, {}, 11, {}, Any::of( answer ) ), done );
   EXPECT_TRUE( answer );
   answer = false;
   EXPECT_EQ( inspectValue( key, {}, 12, { Any::of( same ) }, Any::of( answer ) ), done );
   EXPECT_TRUE( answer );
   // A default one has a version of its own, so that every value differs from it.
   CounterVersion version;
   answer = false;
   EXPECT_EQ( inspectValue( version, {}, 11, {}, Any::of( answer ) ), done );
   EXPECT_TRUE( answer );
   HwRuleProgrammingStatus code = unprocessed;
   EXPECT_EQ( inspectValue( code, {}, 11, {}, Any::of( answer ) ), done );
   EXPECT_FALSE( answer );
}

TEST( StatusInspectValue, StatusTextIsAnOperation ) {
   FlowspecUtil util;
   HwRuleProgrammingStatus code = unsupportedTcamProfile;
   Vek::String text;
   EXPECT_EQ( inspectValue( util, 6, 0, { Any::of( code ) }, Any::of( text ) ), done );
   EXPECT_EQ( text, "Unsupported TCAM Profile" );
}

} // namespace
} // namespace Flowspec
