#include "Flowspec/config/CliConfig.h"
#include "Flowspec/config/RuleConfig.h"
#include "Flowspec/vocab/FlowspecUtil.h"
#include "Vek/entity/Inspect.h"
#include "Vek/types/TypeRegistry.h"
#include "tests/support/ExpectFailure.h"

namespace Flowspec {
namespace {

using Vek::Any;
using Vek::InspectAnswer;
using enum Vek::InspectAnswer;

using Arguments = std::vector< Any >;

template < typename T >
InspectAnswer inspect( T& value, std::optional< U16 > fieldId, unsigned code,
                       const Arguments& arguments = {}, Any result = {} ) {
   const Vek::FieldDescriptor field{ fieldId.value_or( 0 ) };
   return inspectOperation( *Vek::TypeRegistry::find( Vek::valueType< T >.name ), &value,
                            fieldId ? &field : nullptr, static_cast< U8 >( code ), arguments,
                            result );
}

constexpr unsigned read = 0;
constexpr unsigned write = 1;
constexpr unsigned insert = 0;
constexpr unsigned erase = 1;
constexpr unsigned find = 3;
constexpr unsigned call = 0;

TEST( InspectValue, EntitiesHaveNoCodesAsAWhole ) {
   const auto rule = ruleConfigFactory( FlowspecKey() );
   bool answer = false;
   for ( unsigned code = 0; code < 256; ++code ) {
      EXPECT_EQ( inspectOperation( rule->typeInfo(), rule.get(), nullptr, static_cast< U8 >( code ),
                                   {}, Any::of( answer ) ),
                 noSuchOperation );
   }
}

struct NotComparable {
   static constexpr std::string_view typeName = "NotComparable";
   U32 number = 0;
};
struct NotDefault {
   static constexpr std::string_view typeName = "NotDefault";
   explicit NotDefault( U32 its ) : number( its ) {}
   bool operator==( const NotDefault& ) const = default;
   U32 number;
};

template < typename T >
void expectNoCodesAsAWhole( T value ) {
   Vek::TypeInfo type;
   type.name = T::typeName;
   type.value = &Vek::valueType< T >;
   bool answer = false;
   for ( const Arguments& arguments : { Arguments(), Arguments{ Any::of( value ) } } ) {
      for ( unsigned code = 0; code < 256; ++code ) {
         EXPECT_EQ( inspectOperation( type, &value, nullptr, static_cast< U8 >( code ), arguments,
                                      Any::of( answer ) ),
                    noSuchOperation )
            << code;
      }
   }
}

TEST( InspectValue, WhatCannotBeComparedOrMadeHasNoCodesAsAWhole ) {
   expectNoCodesAsAWhole( NotComparable() );
   expectNoCodesAsAWhole( NotDefault( 1 ) );
}

TEST( InspectValue, CollectionsOfAKey ) {
   FlowspecKey key;
   MatchOpValIndex index( 0 );
   MatchOpVal word( destPort, 0x91, 443 );
   EXPECT_EQ( inspect( key, 6, insert, { Any::of( index ), Any::of( word ) } ), done );
   EXPECT_EQ( key.matchOpVal( 0 ), word );
   MatchOpVal got;
   EXPECT_EQ( inspect( key, 6, find, { Any::of( index ) }, Any::of( got ) ), done );
   EXPECT_EQ( got, word );
   EXPECT_EQ( inspect( key, 6, erase, { Any::of( index ) } ), done );
   EXPECT_EQ( key.matchOpVals(), 0U );
   EXPECT_EQ( inspect( key, 6, find, { Any::of( index ) }, Any::of( got ) ), absent );

   // Interface sets are overwritten at their positions, not inserted or erased.
   key.interfaceSetPush( 3 );
   U32 position = 0;
   U16 id = 9;
   EXPECT_EQ( inspect( key, 7, insert, { Any::of( position ), Any::of( id ) } ), done );
   EXPECT_EQ( key.interfaceSet( 0 ), 9U );
   EXPECT_EQ( inspect( key, 7, erase, { Any::of( position ) } ), readOnly );
   id = 0;
   EXPECT_EQ( inspect( key, 7, find, { Any::of( position ) }, Any::of( id ) ), done );
   EXPECT_EQ( id, 9U );
   position = 1;
   EXPECT_THROW( inspect( key, 7, insert, { Any::of( position ), Any::of( id ) } ),
                 Vek::VectorRangeException );
   EXPECT_EQ( inspect( key, 7, find, { Any::of( position ) }, Any::of( id ) ), absent );
   EXPECT_EQ( key.interfaceSets(), 1U );
}

TEST( InspectValue, ConstantsAndReadOnlyAttributes ) {
   FlowspecKey key;
   char separator = 0;
   EXPECT_EQ( inspect( key, 8, read, {}, Any::of( separator ) ), done );
   EXPECT_EQ( separator, ';' );
   EXPECT_EQ( inspect( key, 8, write, { Any::of( separator ) } ), readOnly );
   Vek::String anchor = "a text that is longer than what a string keeps inside";
   EXPECT_EQ( inspect( key, 11, read, {}, Any::of( anchor ) ), done );
   EXPECT_EQ( anchor, "Route Distinguisher: " );

   NumericalRange range( 1, 2 );
   U32 bound = 0;
   EXPECT_EQ( inspect( range, 3, read, {}, Any::of( bound ) ), done );
   EXPECT_EQ( bound, 2U );
   EXPECT_EQ( inspect( range, 3, write, { Any::of( bound ) } ), readOnly );
   EXPECT_EQ( inspect( range, 5, read, {}, Any::of( bound ) ), done );
   EXPECT_EQ( bound, 16777216U );
   EXPECT_EQ( range, NumericalRange( 1, 2 ) );
}

// Operations that take views of texts are handed strings.
TEST( InspectValue, TextsAreStrings ) {
   FlowspecUtil util;
   Vek::String text = "5;ipv4;IFSET:=3,17;10.1.0.0/16;*;IP:=6;";
   Vek::String found;
   EXPECT_EQ( inspect( util, 5, call, { Any::of( text ) }, Any::of( found ) ), done );
   EXPECT_EQ( found, "IFSET:=3,17;" );
   HwRuleProgrammingStatus code = unsupportedTcamProfile;
   EXPECT_EQ( inspect( util, 6, call, { Any::of( code ) }, Any::of( found ) ), done );
   EXPECT_EQ( found, "Unsupported TCAM Profile" );
   MatchCompType type = destPort;
   EXPECT_EQ( inspect( util, 3, call, { Any::of( type ) }, Any::of( found ) ), done );
   EXPECT_EQ( found, "Destination Port" );

   FlowspecKey key;
   text = "10.1.0.0/16;*;IP:=6;DP:=80|=443;";
   bool includesValueLength = false;
   bool taken = false;
   EXPECT_EQ( inspect( key, 22, call, { Any::of( text ), Any::of( includesValueLength ) },
                       Any::of( taken ) ),
              done );
   EXPECT_TRUE( taken );
   EXPECT_EQ( inspect( key, 17, call, { Any::of( includesValueLength ) }, Any::of( found ) ),
              done );
   EXPECT_EQ( found, text );
}

TEST( InspectValue, WhatASetterRaisesGoesThrough ) {
   FlowspecKey key;
   Vek::String text = "nothing of a key";
   EXPECT_THROW( inspect( key, 25, call, { Any::of( text ) } ), Vek::RangeException );
   EXPECT_EQ( key, FlowspecKey() );
   U16 id = 0;
   EXPECT_THROW( inspect( key, 15, call, {}, Any::of( id ) ), Vek::EmptyVectorException );
}

TEST( InspectValue, OperationsOfAKey ) {
   FlowspecKey key;
   key.vrfIdIs( 5 );
   key.addressFamilyIs( Zorv::AddressFamily::ipv4 );
   key.interfaceSetPush( 3 );
   FlowspecKey other = key;
   other.interfaceSetPop();
   bool skipIntfSet = true;
   bool answer = false;
   EXPECT_EQ(
      inspect( key, 27, call, { Any::of( other ), Any::of( skipIntfSet ) }, Any::of( answer ) ),
      done );
   EXPECT_TRUE( answer );
   skipIntfSet = false;
   EXPECT_EQ(
      inspect( key, 27, call, { Any::of( other ), Any::of( skipIntfSet ) }, Any::of( answer ) ),
      done );
   EXPECT_FALSE( answer );
   U32 hash = 0;
   EXPECT_EQ( inspect( key, 28, call, {}, Any::of( hash ) ), done );
   EXPECT_EQ( hash, key.hash() );
   Vek::String text;
   EXPECT_EQ( inspect( key, 29, call, {}, Any::of( text ) ), done );
   EXPECT_EQ( text, "5;ipv4;IFSET:=3;;;" );
   EXPECT_EQ( inspect( key, 30, call, {}, Any::of( text ) ), done );
   EXPECT_EQ( text, "5;ipv4;IFSET:=3;*;*;" );
}

// A word and a decoded term have the flags of their operator under the same ids.
TEST( InspectValue, FlagsOfAnOperator ) {
   MatchOpVal word( destPort, 0xA5, 0 );
   MatchOpValResult term( destPort, 0xA5, 0, 2 );
   const bool flags[] = { true, false, false, true, false, true, false, true };
   const auto expectFlags = [&]( auto& value ) {
      for ( U16 id = 7; id < 15; ++id ) {
         if ( id == 9 ) {
            continue;
         }
         bool flag = !flags[id - 7];
         EXPECT_EQ( inspect( value, id, read, {}, Any::of( flag ) ), done );
         EXPECT_EQ( flag, flags[id - 7] ) << id;
         EXPECT_EQ( inspect( value, id, write, { Any::of( flag ) } ), readOnly );
      }
      U8 number = 0;
      EXPECT_EQ( inspect( value, 9, read, {}, Any::of( number ) ), done );
      EXPECT_EQ( number, 2U );
      EXPECT_EQ( inspect( value, 15, read, {}, Any::of( number ) ), done );
      EXPECT_EQ( number, 4U );
      EXPECT_EQ( inspect( value, 16, read, {}, Any::of( number ) ), noSuchField );
   };
   expectFlags( word );
   expectFlags( term );
}

TEST( InspectValue, ComponentsAreDumpedAndPrinted ) {
   MatchComponent component( destPort );
   component.numericalRangeIs( NumericalRange( 80, 80 ) );
   std::string text;
   Osk::DumpContext context( [&]( std::string_view line ) { text += line; } );
   U32 indent = 1;
   EXPECT_EQ( inspect( component, 10, call, { Any::of( context ), Any::of( indent ) } ), done );
   EXPECT_EQ( text, " compType is 5, prefix is \n"
                    " numericalRanges #1\n"
                    "   [ 80, 80 ]\n"
                    " ipBitMasks #0\n"
                    " tcpBitMasks #0\n" );
   EXPECT_EQ( inspect( component, 10, call, { Any::of( indent ), Any::of( context ) } ),
              wrongArgument );
   Vek::String diagnostic;
   EXPECT_EQ( inspect( component, 11, call, {}, Any::of( diagnostic ) ), done );
   EXPECT_EQ( diagnostic, component.toStrep() );
}

TEST( InspectValue, CollectionsOfAMatchComponent ) {
   MatchComponent component( destPort );
   NumericalRange range( 80, 443 );
   EXPECT_EQ( inspect( component, 4, insert, { Any::of( range ) } ), done );
   EXPECT_TRUE( component.numericalRange().contains( range ) );
   EXPECT_EQ( inspect( component, 4, find, { Any::of( range ) } ), done );
   EXPECT_EQ( inspect( component, 5, insert, { Any::of( range ) } ), wrongArgument );
   MatchCompType type = port;
   EXPECT_EQ( inspect( component, 2, write, { Any::of( type ) } ), readOnly );
   EXPECT_EQ( inspect( component, 4, erase, { Any::of( range ) } ), done );
   EXPECT_EQ( component, MatchComponent( destPort ) );
   bool answer = false;
   EXPECT_EQ( inspect( component, 8, call, {}, Any::of( answer ) ), done );
   EXPECT_TRUE( answer );
}

} // namespace
} // namespace Flowspec
