#include "Vek/entity/Inspect.h"

#include "Flowspec/config/CliConfig.h"
#include "Flowspec/config/RuleConfig.h"
#include "Flowspec/status/Status.h"
#include "tests/support/ChangeRecorder.h"

#include <gmock/gmock.h>

namespace Flowspec {
namespace {

using testing::IsEmpty;
using Vek::Any;
using Vek::InspectCode;
using Vek::inspectOperation;
using enum Vek::InspectAnswer;

using Arguments = std::vector< Any >;

/// Files `value` under its own key `right`, but not under `wrong`.
template < typename Key, typename Value >
void checkOwnKey( Vek::Entity& entity, U16 fieldId, Value value, Key right, Key wrong ) {
   SCOPED_TRACE( fieldId );
   TestSupport::ChangeRecorder changes( entity );
   U32 count = 9;
   EXPECT_EQ( inspectOperation( entity, fieldId, InspectCode::insert,
                                Arguments{ Any::of( wrong ), Any::of( value ) } ),
              wrongArgument );
   EXPECT_THAT( changes.take(), IsEmpty() );
   EXPECT_EQ( inspectOperation( entity, fieldId, InspectCode::size, {}, Any::of( count ) ), done );
   EXPECT_EQ( count, 0U );
   EXPECT_EQ( inspectOperation( entity, fieldId, InspectCode::insert,
                                Arguments{ Any::of( right ), Any::of( value ) } ),
              done );
   EXPECT_EQ( changes.take().size(), 1U );
   EXPECT_EQ( inspectOperation( entity, fieldId, InspectCode::insert,
                                Arguments{ Any::of( wrong ), Any::of( value ) } ),
              wrongArgument );
   Value found{};
   EXPECT_EQ( inspectOperation( entity, fieldId, InspectCode::find, Arguments{ Any::of( right ) },
                                Any::of( found ) ),
              done );
   EXPECT_EQ( found, value );
   EXPECT_EQ( inspectOperation( entity, fieldId, InspectCode::find, Arguments{ Any::of( wrong ) },
                                Any::of( found ) ),
              absent );
   EXPECT_THAT( changes.take(), IsEmpty() );
}

TEST( Inspect, ValuesThatKnowTheirKeysAreFiledUnderNoOther ) {
   const Zorv::IntfId one( 1 );
   const Zorv::IntfId two( 2 );
   checkOwnKey( *ruleConfigFactory( FlowspecKey() ), 260, MatchComponent( port ), port, destPort );
   checkOwnKey( *ruleConfigFactory( FlowspecKey() ), 260, MatchComponent(), invalid, port );
   checkOwnKey( *cliConfigFactory( "cli" ), 258, InterfaceEnableConfig( one ), one, two );
   checkOwnKey( *cliConfigFactory( "cli" ), 260, FlowspecIntfInterfaceSetConfig( one ), one, two );
   checkOwnKey( *statusFactory( "status" ), 261, UnsupportedQual( Zorv::AddressFamily::ipv4 ),
                Zorv::AddressFamily::ipv4, Zorv::AddressFamily::ipv6 );
}

} // namespace
} // namespace Flowspec
