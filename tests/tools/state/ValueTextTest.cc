#include "tools/state/ValueText.h"

#include "Flowspec/FlowspecDalb.h"
#include "Flowspec/FlowspecPolicy.h"
#include "Vek/log/StreamType.h"
#include "Vek/types/TypeRegistry.h"
#include "Vek/types/ValueBuffer.h"

#include <algorithm>

#include <gtest/gtest.h>

namespace Tools {

using namespace Flowspec;

namespace {

template < typename T >
Vek::String text( const T& value ) {
   Vek::String out;
   appendValue( out, Vek::valueType< T >, &value );
   return out;
}

TEST( ValueText, PlainValuesAreAsTheRuntimeWritesThem ) {
   EXPECT_EQ( text( true ), "1" );
   EXPECT_EQ( text( U8{ 65 } ), "65" );
   EXPECT_EQ( text( 1.5F ), "1.5" );
   EXPECT_EQ( text( MatchCompType::destPort ), "destPort" );
   EXPECT_EQ( text( Zorv::IpGenPrefix() ), "-" );
}

// A type of a program's own need not be registered.
TEST( ValueText, ATypeThatIsNotRegisteredIsAsItWritesItself ) {
   Vek::ValueType own = Vek::valueType< Zorv::IpTos >;
   own.name = "Agent::Own";
   const Zorv::IpTos value( 46 );
   Vek::String out;
   appendValue( out, own, &value );
   EXPECT_EQ( out, "46" );
}

TEST( ValueText, StringsAreQuoted ) {
   EXPECT_EQ( text( Vek::String() ), "\"\"" );
   EXPECT_EQ( text( Vek::String( "a \"b\" \\ \x7f\n" ) ), R"("a \"b\" \\ \x7f\x0a")" );
}

TEST( ValueText, OfRecordsAndCollectionsEveryMemberIsTold ) {
   MatchComponent component( MatchCompType::ipProto );
   EXPECT_EQ( text( component ), "{compType ipProto, prefix -, numericalRange {}, ipBitMask {}, "
                                 "tcpBitMask {}}" );
   component.numericalRangeIs( NumericalRange( 6, 17 ) );
   component.numericalRangeIs( NumericalRange( 1, 1 ) );
   EXPECT_EQ( text( component ),
              "{compType ipProto, prefix -, numericalRange {{rangeMin 1, rangeMax "
              "1}, {rangeMin 6, rangeMax 17}}, ipBitMask {}, tcpBitMask {}}" );
   EXPECT_EQ( text( TcpBitMask( true, 2, 18 ) ), "{matchAll 1, val 2, mask 18}" );
   UnsupportedQual qual( Zorv::AddressFamily::ipv6 );
   qual.qualIs( MatchCompType::flowLabel, "no\n" );
   EXPECT_EQ( text( qual ), "{addressFamily ipv6, qual {flowLabel -> \"no\\x0a\"}, "
                            "unsupportedActions -}" );
}

TEST( ValueText, ARuleKeyIsItsDiagnosticText ) {
   FlowspecKey key;
   key.copyInStringValue( "5;ipv4;IFSET:=3;10.1.0.0/16;*;IP:=0L6;" );
   EXPECT_EQ( text( key ), "5;ipv4;IFSET:=3;10.1.0.0/16;;58785798;@" );
}

TEST( ValueText, EveryStreamedTypeHasOne ) {
   std::size_t checked = 0;
   const auto expectText = [&]( const Vek::ValueType* type ) {
      if ( type ) {
         Vek::String out;
         appendValue( out, *type, Vek::ValueBuffer( *type ).get() );
         EXPECT_NE( out, "" ) << type->name;
         ++checked;
      }
   };
   for ( const Vek::Module* const module : Vek::TypeRegistry::modules() ) {
      for ( const Vek::TypeInfo* const info : module->types() ) {
         if ( !info->isEntity() ) {
            continue;
         }
         std::for_each( info->parameters.begin(), info->parameters.end(), expectText );
         const Vek::log::StreamType type( *info );
         for ( const Vek::Field* const row : type.rows() ) {
            expectText( row->key );
            if ( row->kind == Vek::FieldKind::attribute ||
                 row->kind == Vek::FieldKind::collection ) {
               expectText( row->value );
            }
         }
      }
   }
   EXPECT_GT( checked, 50U );
}

TEST( StateText, IsTheDumpOfATypeThatHasOne ) {
   const auto config = configFactory( "config" );
   EXPECT_EQ( stateText( *config ), "FlowspecConfig: vrfRuleConfigs #0\n" );
}

TEST( StateText, ListsTheRowsAndChildrenOfAnyOther ) {
   const auto policy = flowspecPolicyConfigFactory( "policy" );
   policy->actionsIs( "all" )->dropActionIs( "drop", Osk::UniqueId( 1 ) );
   EXPECT_EQ( stateText( *policy ), "cmapType: \"FlowspecPolicy\"\n"
                                    "actions: \"FlowspecPolicy\"\n"
                                    "  dropAction #1\n"
                                    "    \"drop\", 0000000000000001\n"
                                    "  policeAction #0\n"
                                    "  setDscpAction #0\n"
                                    "  setNexthopAction #0\n"
                                    "  redirectVrfRtAction #0\n" );
   policy->actionsDel();
   EXPECT_EQ( stateText( *policy ), "cmapType: \"FlowspecPolicy\"\nactions: none\n" );
}

} // namespace
} // namespace Tools
