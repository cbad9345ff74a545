#include "Flowspec/status/UnsupportedQual.h"

#include "Vek/types/RecordText.h"
#include "Vek/types/TypeRegistry.h"
#include "tests/support/ExpectFailure.h"

namespace Flowspec {
namespace {

using Zorv::AddressFamily;

UnsupportedQual valueOf( AddressFamily family, unsigned actions,
                         std::initializer_list< std::pair< MatchCompType, const char* > > quals ) {
   UnsupportedQual value( family );
   value.unsupportedActionsIs( ActionFieldSet( actions ) );
   for ( const auto& [type, reason] : quals ) {
      value.qualIs( type, reason );
   }
   return value;
}

TEST( UnsupportedQual, DefaultSaysNothing ) {
   const UnsupportedQual none;
   EXPECT_EQ( none.addressFamily(), AddressFamily::none );
   EXPECT_EQ( none.unsupportedActions(), ActionFieldSet() );
   EXPECT_TRUE( none.qual().empty() );
   EXPECT_EQ( none.qual( port ), "" );
   EXPECT_EQ( none.toStrep(), "<addressFamily=none;quals=0;unsupportedActions=>" );
}

TEST( UnsupportedQual, QualOperations ) {
   UnsupportedQual value( AddressFamily::ipv6 );
   EXPECT_EQ( value.addressFamily(), AddressFamily::ipv6 );
   value.qualIs( tcpFlags, "no flags" );
   value.qualIs( port, "two look-ups" );
   value.qualIs( flowLabel, "" );
   EXPECT_EQ( value.qual().size(), 3U );
   EXPECT_EQ( value.qual( port ), "two look-ups" );
   EXPECT_EQ( value.qual( flowLabel ), "" );
   EXPECT_EQ( value.qual( dscp ), "" );
   value.qualIs( port, "other" );
   EXPECT_EQ( value.qual( port ), "other" );
   EXPECT_EQ( value.qual().size(), 3U );
   std::vector< MatchCompType > types;
   for ( const auto& [type, reason] : value.qual() ) {
      types.push_back( type );
   }
   EXPECT_EQ( types, ( std::vector{ port, tcpFlags, flowLabel } ) );
   value.qualDel( dscp );
   EXPECT_EQ( value.qual().size(), 3U );
   value.qualDel( port );
   EXPECT_EQ( value.qual( port ), "" );
   EXPECT_EQ( value.qual().size(), 2U );
   value.qualDelAll();
   EXPECT_TRUE( value.qual().empty() );
   value.qualDelAll();
   EXPECT_EQ( value, UnsupportedQual( AddressFamily::ipv6 ) );
   value.unsupportedActionsIs( ActionFieldSet( 6 ) );
   EXPECT_EQ( value.toStrep(),
              "<addressFamily=ipv6;quals=0;unsupportedActions=trafficPermit|trafficDrop>" );
}

// Reasons may live in the value that is changed.
TEST( UnsupportedQual, ReasonsAreCopied ) {
   UnsupportedQual value;
   value.qualIs( port, "a reason too long to be kept inside a string" );
   for ( unsigned number = 14; number < 200; ++number ) {
      value.qualIs( static_cast< MatchCompType >( number ), value.qual().begin()->second );
   }
   for ( const auto& [type, reason] : value.qual() ) {
      ASSERT_EQ( reason, "a reason too long to be kept inside a string" );
   }
}

// Machines report what they like; a number that is no type is kept.
TEST( UnsupportedQual, AnyNumberOfATypeIsKept ) {
   UnsupportedQual value( AddressFamily::ipv4 );
   value.qualIs( invalid, "none" );
   value.qualIs( MatchCompType{ 255 }, "last" );
   EXPECT_EQ( value.qual( invalid ), "none" );
   EXPECT_EQ( value.qual( MatchCompType{ 255 } ), "last" );
   EXPECT_EQ( value.qual().size(), 2U );
   UnsupportedQual without = value;
   without.qualDel( invalid );
   EXPECT_NE( without, value );
}

TEST( UnsupportedQual, EqualityClauseByClause ) {
   const auto value = valueOf( AddressFamily::ipv4, 4, { { port, "a" }, { dscp, "b" } } );
   EXPECT_EQ( value, value );
   EXPECT_EQ( value, valueOf( AddressFamily::ipv4, 4, { { dscp, "b" }, { port, "a" } } ) )
      << "whatever the order of insertion";
   const UnsupportedQual others[] = {
      valueOf( AddressFamily::ipv6, 4, { { port, "a" }, { dscp, "b" } } ),
      valueOf( AddressFamily::ipv4, 0, { { port, "a" }, { dscp, "b" } } ),
      valueOf( AddressFamily::ipv4, 6, { { port, "a" }, { dscp, "b" } } ),
      valueOf( AddressFamily::ipv4, 4, { { port, "a" } } ),
      valueOf( AddressFamily::ipv4, 4, { { port, "a" }, { dscp, "b" }, { invalid, "" } } ),
      valueOf( AddressFamily::ipv4, 4, { { port, "a" }, { fragment, "b" } } ),
      valueOf( AddressFamily::ipv4, 4, { { port, "a" }, { dscp, "B" } } ),
      valueOf( AddressFamily::ipv4, 4, { { port, "a" }, { dscp, "" } } ),
      valueOf( AddressFamily::ipv4, 4, { { port, "b" }, { dscp, "a" } } ),
      valueOf( AddressFamily::ipv4, 4, {} ),
   };
   for ( const UnsupportedQual& other : others ) {
      EXPECT_NE( value, other ) << other.toStrep();
      EXPECT_NE( other, value ) << other.toStrep();
   }
}

TEST( UnsupportedQual, IsTrueWhenItDiffersFromADefaultOne ) {
   EXPECT_FALSE( UnsupportedQual() );
   EXPECT_FALSE( UnsupportedQual( AddressFamily::none ) );
   EXPECT_TRUE( UnsupportedQual( AddressFamily::ipv4 ) );
   EXPECT_TRUE( valueOf( AddressFamily::none, 1, {} ) );
   EXPECT_TRUE( valueOf( AddressFamily::none, 0, { { invalid, "" } } ) );
   auto emptied = valueOf( AddressFamily::none, 0, { { invalid, "" } } );
   emptied.qualDelAll();
   EXPECT_FALSE( emptied );
}

constexpr const char* noText =
   "\"No String constructor for UnsupportedQual - has collection\" == nullptr";

TEST( UnsupportedQualDeathTest, HasNoGenericTextForm ) {
   EXPECT_ASSERTION( UnsupportedQual( Vek::String( "ipv4" ) ), noText );
   EXPECT_ASSERTION( UnsupportedQual( Vek::String{} ), noText );
   UnsupportedQual value;
   EXPECT_ASSERTION( Vek::strepToValue( "", &value ), noText );
   EXPECT_ASSERTION(
      Vek::textToValue( *Vek::TypeRegistry::find( "Flowspec::UnsupportedQual" ), "", &value ),
      noText );
}

} // namespace
} // namespace Flowspec
