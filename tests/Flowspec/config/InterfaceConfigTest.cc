#include "Flowspec/config/CliConfig.h"
#include "Flowspec/key/FlowspecKey.h"
#include "Flowspec/vocab/FlowspecUtil.h"
#include "Vek/types/RecordText.h"
#include "Vek/types/TypeRegistry.h"
#include "tests/support/ExpectFailure.h"

#include <algorithm>

namespace Flowspec {
namespace {

using TestSupport::raisesRange;

FlowspecIntfSetId id( U16 number ) { return FlowspecIntfSetId( number ); }
Zorv::IntfId intf( U64 number ) { return Zorv::IntfId( number ); }

FlowspecIntfInterfaceSetConfig setsOf( std::initializer_list< U16 > numbers ) {
   FlowspecIntfInterfaceSetConfig config( intf( 7 ) );
   for ( const U16 number : numbers ) {
      config.interfaceSetIs( id( number ) );
   }
   return config;
}

TEST( FlowspecIntfSetId, NoneComesBeforeEveryNumber ) {
   const FlowspecIntfSetId none;
   EXPECT_EQ( none.intfSetId(), std::nullopt );
   EXPECT_EQ( none, FlowspecIntfSetId() );
   EXPECT_FALSE( none < none );
   for ( const U16 number : std::initializer_list< U16 >{ 0, 1, 16383, 65535 } ) {
      EXPECT_EQ( id( number ).intfSetId(), number );
      EXPECT_EQ( id( number ), id( number ) );
      EXPECT_NE( none, id( number ) );
      EXPECT_LT( none, id( number ) );
      EXPECT_FALSE( id( number ) < none );
   }
   EXPECT_LT( id( 2 ), id( 10 ) );
   EXPECT_FALSE( id( 10 ) < id( 2 ) );
}

TEST( FlowspecIntfSetId, Text ) {
   EXPECT_EQ( FlowspecIntfSetId().stringValue(), "" );
   EXPECT_EQ( id( 16383 ).stringValue(), "16383" );
   FlowspecIntfSetId read = id( 5 );
   read.stringValueIs( "" );
   EXPECT_EQ( read, FlowspecIntfSetId() );
   read.stringValueIs( "65535" );
   EXPECT_EQ( read, id( 65535 ) );
   for ( const std::string text : { "65536", "x", "-1", " 1", "1 ", "0x1" } ) {
      EXPECT_THAT( [&] { read.stringValueIs( text ); },
                   raisesRange( "Flowspec::FlowspecIntfSetId: '" + text +
                                "' is not an interface-set number" ) );
      EXPECT_EQ( read, id( 65535 ) );
   }
}

TEST( FlowspecIntfInterfaceSetConfig, SetOperations ) {
   FlowspecIntfInterfaceSetConfig config( intf( 7 ) );
   EXPECT_EQ( config.intfId(), intf( 7 ) );
   EXPECT_TRUE( config.interfaceSet().empty() );
   config.interfaceSetIs( id( 3 ) );
   config.interfaceSetIs( id( 3 ) );
   config.interfaceSetIs( FlowspecIntfSetId() );
   EXPECT_EQ( config.interfaceSet().size(), 2U );
   EXPECT_TRUE( config.interfaceSetHas( id( 3 ) ) );
   EXPECT_TRUE( config.interfaceSetHas( FlowspecIntfSetId() ) );
   EXPECT_FALSE( config.interfaceSetHas( id( 0 ) ) );
   EXPECT_EQ( *config.interfaceSet().begin(), FlowspecIntfSetId() );
   config.interfaceSetDel( id( 0 ) );
   EXPECT_EQ( config.interfaceSet().size(), 2U );
   config.interfaceSetDel( FlowspecIntfSetId() );
   EXPECT_EQ( config, setsOf( { 3 } ) );
   config.interfaceSetDelAll();
   EXPECT_EQ( config, FlowspecIntfInterfaceSetConfig( intf( 7 ) ) );
   EXPECT_NE( config, FlowspecIntfInterfaceSetConfig( intf( 8 ) ) );
   EXPECT_NE( config, setsOf( { 3 } ) );
}

TEST( FlowspecIntfInterfaceSetConfig, CommandLineText ) {
   EXPECT_EQ( setsOf( {} ).interfaceSetStrep(), "" );
   EXPECT_EQ( setsOf( { 0 } ).interfaceSetStrep(), "IFSET:=0;" );
   EXPECT_EQ( setsOf( { 3, 10, 200 } ).interfaceSetStrep(), "IFSET:=3,10,200;" );
   EXPECT_EQ( setsOf( { 16383 } ).interfaceSetStrep(), "IFSET:=16383;" );
   EXPECT_EQ( setsOf( { 3 } ).toStrep(), "intf7;IFSET:=3;" );
   EXPECT_EQ( setsOf( {} ).toStrep(), "intf7;" );
   // Whatever the order of insertion.
   std::array< U16, 4 > numbers{ 2, 10, 100, 1000 };
   do {
      const auto [a, b, c, d] = numbers;
      EXPECT_EQ( setsOf( { a, b, c, d } ).interfaceSetStrep(), "IFSET:=2,10,100,1000;" );
   } while ( std::ranges::next_permutation( numbers ).found );
}

TEST( FlowspecIntfInterfaceSetConfig, NoneIsNotWritten ) {
   FlowspecIntfInterfaceSetConfig config( intf( 7 ) );
   config.interfaceSetIs( FlowspecIntfSetId() );
   EXPECT_EQ( config.interfaceSetStrep(), "" );
   config.interfaceSetIs( id( 4 ) );
   EXPECT_EQ( config.interfaceSetStrep(), "IFSET:=4;" );
}

TEST( FlowspecIntfInterfaceSetConfig, TextIsWhatTheReaderFinds ) {
   const Vek::String text = setsOf( { 3, 10, 200 } ).interfaceSetStrep();
   EXPECT_EQ( FlowspecUtil::findInterfaceSet( "5;ipv4;" + text + "*;*;" ), text );
   EXPECT_EQ( FlowspecUtil::findInterfaceSet( text + "IFSET:=4;" ), text );
   EXPECT_EQ( FlowspecUtil::findInterfaceSet( "IFSET:=3,10" ), "" );
   EXPECT_EQ( FlowspecUtil::findInterfaceSet( ";IFSET:=" ), "" );
   EXPECT_EQ( FlowspecUtil::findInterfaceSet( "5;ipv4;" ), "" );
}

TEST( InterfaceEnableConfig, IsDefaultsWithoutFamiliesAndVrf ) {
   InterfaceEnableConfig config( intf( 7 ) );
   EXPECT_EQ( config.intfId(), intf( 7 ) );
   EXPECT_FALSE( config.ipVersion() );
   EXPECT_EQ( config.sourceVrfOverride(), "" );
   EXPECT_TRUE( config.isDefaults() );
   config.ipVersionIs( IpVersion( 2 ) );
   EXPECT_FALSE( config.isDefaults() );
   config.sourceVrfOverrideIs( "red" );
   EXPECT_FALSE( config.isDefaults() );
   config.ipVersionIs( IpVersion() );
   EXPECT_FALSE( config.isDefaults() );
   EXPECT_EQ( config, InterfaceEnableConfig( intf( 7 ), IpVersion(), "red" ) );
   EXPECT_NE( config, InterfaceEnableConfig( intf( 8 ), IpVersion(), "red" ) );
   EXPECT_NE( config, InterfaceEnableConfig( intf( 7 ), IpVersion( 1 ), "red" ) );
   config.sourceVrfOverrideIs( "" );
   EXPECT_TRUE( config.isDefaults() );
}

TEST( InterfaceEnableConfig, TextIsThatOfItsAttributes ) {
   const Vek::TypeInfo& type = *Vek::TypeRegistry::find( "Flowspec::InterfaceEnableConfig" );
   const InterfaceEnableConfig config( intf( 7 ), IpVersion( 3 ), "red" );
   EXPECT_EQ( Vek::valueText( type, &config ), "intf7;ipv4|ipv6;red;" );
   InterfaceEnableConfig read;
   Vek::textToValue( type, "intf7;ipv4|ipv6;red;", &read );
   EXPECT_EQ( read, config );
}

constexpr const char* setConfigText =
   "\"No String constructor for FlowspecIntfInterfaceSetConfig - has collection\" == nullptr";
constexpr const char* keyText =
   "\"No String constructor for FlowspecKey - has collection\" == nullptr";

TEST( CollectionHoldersDeathTest, HaveNoGenericTextForm ) {
   EXPECT_ASSERTION( FlowspecIntfInterfaceSetConfig( Vek::String( "intf7;" ) ), setConfigText );
   FlowspecIntfInterfaceSetConfig config;
   EXPECT_ASSERTION( Vek::strepToValue( "", &config ), setConfigText );
   const auto& type = *Vek::TypeRegistry::find( "Flowspec::FlowspecIntfInterfaceSetConfig" );
   EXPECT_ASSERTION( Vek::textToValue( type, "intf7;", &config ), setConfigText );

   EXPECT_ASSERTION( FlowspecKey( Vek::String{} ), keyText );
   FlowspecKey key;
   EXPECT_ASSERTION( Vek::strepToValue( "1;ipv4;;;", &key ), keyText );
   EXPECT_ASSERTION(
      Vek::textToValue( *Vek::TypeRegistry::find( "Flowspec::FlowspecKey" ), "", &key ), keyText );
}

TEST( CliConfig, StartsWithItsNameAndDefaults ) {
   const auto config = cliConfigFactory( "cli" );
   EXPECT_EQ( config->name(), "cli" );
   EXPECT_TRUE( config->enabledIntf().empty() );
   EXPECT_EQ( config->counterUpdateRequestTime(), 0 );
   EXPECT_TRUE( config->intfInterfaceSetConfig().empty() );
   EXPECT_TRUE( config->sourceVrfOverride().empty() );
   EXPECT_EQ( config->interfaceSetCountLimit(), 0U );
   EXPECT_FALSE( config->isConfigDriven() );
}

TEST( CliConfig, FilesValuesUnderTheirInterface ) {
   const auto config = cliConfigFactory( "cli" );
   const InterfaceEnableConfig enabled( intf( 3 ), IpVersion( 1 ), "red" );
   config->enabledIntfIs( enabled );
   EXPECT_EQ( config->enabledIntf( intf( 3 ) ), enabled );
   EXPECT_EQ( config->enabledIntf( intf( 4 ) ), InterfaceEnableConfig() );
   EXPECT_EQ( config->enabledIntf().size(), 1U );

   config->intfInterfaceSetConfigIs( setsOf( { 3, 4 } ) );
   config->intfInterfaceSetConfigIs( setsOf( { 9 } ) );
   EXPECT_EQ( config->intfInterfaceSetConfig( intf( 7 ) ), setsOf( { 9 } ) )
      << "the set is replaced whole";
   EXPECT_EQ( config->intfInterfaceSetConfig( intf( 3 ) ), FlowspecIntfInterfaceSetConfig() );

   config->sourceVrfOverrideIs( intf( 3 ), "blue" );
   EXPECT_EQ( config->sourceVrfOverride( intf( 3 ) ), "blue" );
   EXPECT_EQ( config->sourceVrfOverride( intf( 7 ) ), "" );
   config->sourceVrfOverrideDel( intf( 3 ) );
   EXPECT_TRUE( config->sourceVrfOverride().empty() );
}

} // namespace
} // namespace Flowspec
