#include "Flowspec/config/MatchComponent.h"

#include "Vek/types/RecordText.h"
#include "Vek/types/TypeRegistry.h"
#include "tests/support/ExpectFailure.h"

namespace Flowspec {
namespace {

constexpr MatchCompType allTypes[] = { invalid,      destPrefix, srcPrefix, ipProto,  port,
                                       destPort,     srcPort,    icmpType,  icmpCode, tcpFlags,
                                       packetLength, dscp,       fragment,  flowLabel };

TEST( MatchComponent, StartsEmpty ) {
   const MatchComponent none;
   EXPECT_EQ( none.compType(), invalid );
   EXPECT_FALSE( none );
   for ( const MatchCompType type : allTypes ) {
      const MatchComponent component( type );
      EXPECT_EQ( component.compType(), type );
      EXPECT_TRUE( component.prefix().empty() );
      EXPECT_TRUE( component.numericalRange().empty() );
      EXPECT_TRUE( component.ipBitMask().empty() );
      EXPECT_TRUE( component.tcpBitMask().empty() );
      EXPECT_EQ( static_cast< bool >( component ), type != invalid );
      EXPECT_EQ( component == none, type == invalid );
   }
}

TEST( MatchComponent, EachTypeIsOfOneClass ) {
   for ( const MatchCompType type : allTypes ) {
      const MatchComponent component( type );
      const bool prefix = type == destPrefix || type == srcPrefix;
      const bool mask = type == tcpFlags || type == fragment;
      EXPECT_EQ( component.matchTypePrefix(), prefix ) << type;
      EXPECT_EQ( component.matchTypeBitMask(), mask ) << type;
      EXPECT_EQ( component.matchTypeNumericalRange(), type != invalid && !prefix && !mask ) << type;
   }
   // Numbers above 13 count as bitmask types.
   EXPECT_TRUE( MatchComponent( static_cast< MatchCompType >( 14 ) ).matchTypeBitMask() );
   EXPECT_FALSE( MatchComponent( static_cast< MatchCompType >( 14 ) ).matchTypeNumericalRange() );
}

TEST( MatchComponent, SetsHoldEachValueOnce ) {
   MatchComponent component( destPort );
   component.numericalRangeIs( NumericalRange( 80, 80 ) );
   component.numericalRangeIs( NumericalRange( 80, 80 ) );
   component.numericalRangeIs( NumericalRange( 80, 81 ) );
   EXPECT_EQ( component.numericalRange().size(), 2U );
   component.numericalRangeDel( NumericalRange( 1, 1 ) );
   EXPECT_EQ( component.numericalRange().size(), 2U );
   component.numericalRangeDel( NumericalRange( 80, 80 ) );
   EXPECT_FALSE( component.numericalRange().contains( NumericalRange( 80, 80 ) ) );
   EXPECT_TRUE( component.numericalRange().contains( NumericalRange( 80, 81 ) ) );

   component.ipBitMaskIs( IpBitMask( true, 1, 1 ) );
   component.ipBitMaskIs( IpBitMask( true, 1, 1 ) );
   component.ipBitMaskIs( IpBitMask( false, 1, 1 ) );
   EXPECT_EQ( component.ipBitMask().size(), 2U );
   component.ipBitMaskDel( IpBitMask( true, 0, 1 ) );
   component.ipBitMaskDel( IpBitMask( true, 1, 1 ) );
   EXPECT_EQ( component.ipBitMask().size(), 1U );

   component.tcpBitMaskIs( TcpBitMask( true, 2, 0x12 ) );
   component.tcpBitMaskIs( TcpBitMask( true, 2, 0x12 ) );
   component.tcpBitMaskIs( TcpBitMask( true, 2, 2 ) );
   EXPECT_EQ( component.tcpBitMask().size(), 2U );
   component.tcpBitMaskDel( TcpBitMask( true, 0, 2 ) );
   component.tcpBitMaskDel( TcpBitMask( true, 2, 2 ) );
   EXPECT_EQ( component.tcpBitMask().size(), 1U );

   component.numericalRangeDelAll();
   component.ipBitMaskDelAll();
   component.tcpBitMaskDelAll();
   EXPECT_EQ( component, MatchComponent( destPort ) );
   component.numericalRangeDelAll();
   EXPECT_EQ( component, MatchComponent( destPort ) );
}

TEST( MatchComponent, EqualityIsOfAllAttributesAndNoOrder ) {
   MatchComponent a( destPort );
   MatchComponent b( destPort );
   for ( U32 i = 0; i < 20; ++i ) {
      a.numericalRangeIs( NumericalRange( i, i ) );
      b.numericalRangeIs( NumericalRange( 19 - i, 19 - i ) );
   }
   EXPECT_EQ( a, b );
   b.numericalRangeDel( NumericalRange( 3, 3 ) );
   EXPECT_NE( a, b );
   b.numericalRangeIs( NumericalRange( 3, 4 ) );
   EXPECT_NE( a, b );

   const MatchComponent base( fragment );
   EXPECT_NE( base, MatchComponent( tcpFlags ) );
   MatchComponent changed = base;
   changed.prefixIs( Zorv::IpGenPrefix( Zorv::IpGenAddr::ipv4( 0 ), 0 ) );
   EXPECT_NE( changed, base );
   changed = base;
   changed.ipBitMaskIs( IpBitMask() );
   EXPECT_NE( changed, base );
   changed = base;
   changed.tcpBitMaskIs( TcpBitMask() );
   EXPECT_NE( changed, base );
}

TEST( MatchComponent, OfTypeInvalidIsTrueWhenItHoldsSomething ) {
   MatchComponent component;
   component.tcpBitMaskIs( TcpBitMask() );
   EXPECT_TRUE( component );
   component.tcpBitMaskDelAll();
   EXPECT_FALSE( component );
   component.prefixIs( Zorv::IpGenPrefix( Zorv::IpGenAddr::ipv4( 0 ), 0 ) );
   EXPECT_TRUE( component );
}

TEST( MatchComponent, CopiesAreDeep ) {
   MatchComponent component( destPort );
   component.numericalRangeIs( NumericalRange( 80, 80 ) );
   MatchComponent copy = component;
   copy.numericalRangeIs( NumericalRange( 443, 443 ) );
   EXPECT_EQ( component.numericalRange().size(), 1U );
   EXPECT_EQ( copy.numericalRange().size(), 2U );
}

TEST( MatchComponent, TextCountsMembers ) {
   EXPECT_EQ( MatchComponent().toStrep(),
              "<compType=invalid;prefix=;numericalRanges=0;ipBitMasks=0;tcpBitMasks=0>" );
   MatchComponent component( srcPrefix );
   component.prefixIs( Zorv::IpGenPrefix( Zorv::IpGenAddr::ipv4( 0x0A010000 ), 16 ) );
   component.numericalRangeIs( NumericalRange( 80, 80 ) );
   component.numericalRangeIs( NumericalRange( 1, 2 ) );
   component.ipBitMaskIs( IpBitMask( true, 1, 1 ) );
   component.ipBitMaskIs( IpBitMask( true, 0, 1 ) );
   component.ipBitMaskIs( IpBitMask( true, 0, 2 ) );
   component.tcpBitMaskIs( TcpBitMask( true, 1, 1 ) );
   EXPECT_EQ( component.toStrep(), "<compType=srcPrefix;prefix=10.1.0.0/16;numericalRanges=2;"
                                   "ipBitMasks=3;tcpBitMasks=1>" );
   EXPECT_EQ( Vek::valueText( component ), component.toStrep() );
}

constexpr const char* noString =
   "\"No String constructor for MatchComponent - has collection\" == nullptr";

TEST( MatchComponentDeathTest, HasNoGenericTextForm ) {
   EXPECT_ASSERTION( MatchComponent( Vek::String{} ), noString );
   EXPECT_ASSERTION( MatchComponent( Vek::String( "<compType=port>" ) ), noString );
   MatchComponent component;
   EXPECT_ASSERTION( Vek::strepToValue( "port", &component ), noString );
   const Vek::TypeInfo& type = *Vek::TypeRegistry::find( "Flowspec::MatchComponent" );
   EXPECT_ASSERTION( Vek::textToValue( type, "port", &component ), noString );
}

} // namespace
} // namespace Flowspec
