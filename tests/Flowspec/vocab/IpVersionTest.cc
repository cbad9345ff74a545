#include "Flowspec/vocab/IpVersion.h"

#include "tests/support/ExpectFailure.h"

namespace Flowspec {
namespace {

using TestSupport::raisesRange;

TEST( IpVersion, IsASetOfTwoFlagsInOneByte ) {
   EXPECT_EQ( sizeof( IpVersion ), 1U );
   for ( unsigned value = 0; value <= 3; ++value ) {
      const IpVersion versions( value );
      EXPECT_EQ( versions.value(), value );
      EXPECT_EQ( versions.ipv4(), value == 1 || value == 3 );
      EXPECT_EQ( versions.ipv6(), value >= 2 );
      EXPECT_EQ( static_cast< bool >( versions ), value != 0 );
   }
}

TEST( IpVersion, IsEmptyByDefault ) {
   EXPECT_EQ( IpVersion(), IpVersion( 0 ) );
   EXPECT_FALSE( IpVersion() );
}

TEST( IpVersion, NumberAboveThreeRaisesTheRangeException ) {
   EXPECT_THAT( [] { IpVersion( 4 ); },
                raisesRange( "Flowspec::IpVersion: 4 is not a set of flags" ) );
   EXPECT_THAT( [] { IpVersion( 256 ); },
                raisesRange( "Flowspec::IpVersion: 256 is not a set of flags" ) );
   EXPECT_THAT( [] { IpVersion( 0xFFFFFFFF ); },
                raisesRange( "Flowspec::IpVersion: 4294967295 is not a set of flags" ) );
}

TEST( IpVersion, FlagsAreSetAndClearedOneByOne ) {
   IpVersion versions;
   versions.ipv6Is( true );
   EXPECT_EQ( versions.value(), 2 );
   versions.ipv4Is( true );
   EXPECT_EQ( versions.value(), 3 );
   versions.ipv4Is( true );
   EXPECT_EQ( versions.value(), 3 );
   versions.ipv6Is( false );
   EXPECT_EQ( versions.value(), 1 );
   versions.ipv4Is( false );
   EXPECT_EQ( versions.value(), 0 );
   versions.ipv4Is( false );
   EXPECT_EQ( versions.value(), 0 );
}

TEST( IpVersion, TextJoinsTheNamesInBitOrder ) {
   EXPECT_EQ( IpVersion( 0 ).stringValue(), "" );
   EXPECT_EQ( IpVersion( 1 ).stringValue(), "ipv4" );
   EXPECT_EQ( IpVersion( 2 ).stringValue(), "ipv6" );
   EXPECT_EQ( IpVersion( 3 ).stringValue(), "ipv4|ipv6" );
}

TEST( IpVersion, IsOrderedByItsNumber ) {
   for ( unsigned a = 0; a <= 3; ++a ) {
      for ( unsigned b = 0; b <= 3; ++b ) {
         EXPECT_EQ( IpVersion( a ) == IpVersion( b ), a == b );
         EXPECT_EQ( IpVersion( a ) < IpVersion( b ), a < b );
      }
   }
}

} // namespace
} // namespace Flowspec
