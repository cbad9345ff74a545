#include "Vek/entity/Inspect.h"

#include "Flowspec/status/Status.h"
#include "Vek/types/TypeRegistry.h"

#include <gtest/gtest.h>

namespace Flowspec {
namespace {

using Vek::Any;
using Vek::InspectCode;
using Vek::inspectOperation;
using enum Vek::InspectAnswer;
using Zorv::AddressFamily;

using Arguments = std::vector< Any >;

FlowspecKey keyOf( U32 vrfId ) {
   FlowspecKey key;
   key.vrfIdIs( vrfId );
   return key;
}

TEST( StatusInspect, CodeWithoutAName ) {
   const auto status = ruleStatusFactory( keyOf( 1 ) );
   HwRuleProgrammingStatus code{ 9 };
   EXPECT_EQ( inspectOperation( *status, 260, InspectCode::write, Arguments{ Any::of( code ) } ),
              done );
   code = programmed;
   EXPECT_EQ( inspectOperation( *status, 260, InspectCode::read, {}, Any::of( code ) ), done );
   EXPECT_EQ( code, HwRuleProgrammingStatus{ 9 } );
   EXPECT_EQ( Vek::valueText( code ), "9" );
   bool isProgrammed = true;
   EXPECT_EQ( inspectOperation( *status, 267, InspectCode::read, {}, Any::of( isProgrammed ) ),
              done );
   EXPECT_FALSE( isProgrammed );
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

} // namespace
} // namespace Flowspec
