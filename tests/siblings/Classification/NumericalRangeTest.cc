#include "Classification/NumericalRange.h"

#include "Classification/Fragment.h"
#include "tests/support/ExpectFailure.h"

#include <concepts>
#include <iomanip>
#include <set>
#include <sstream>

#include <gmock/gmock.h>

namespace {

using namespace Classification;
using testing::ElementsAre;
using TestSupport::raisesRange;

template < typename A, typename B >
concept Comparable = requires( const A& a, const B& b ) {
   a == b;
}
|| requires( const A& a, const B& b ) { a < b; };

static_assert( Comparable< PortRange, PortRange > );
static_assert( !Comparable< PortRange, PacketLengthRange > );
static_assert( !Comparable< IcmpTypeRange, IcmpCodeRange > );
static_assert( !std::convertible_to< PortRange, PacketLengthRange > );
static_assert( !std::convertible_to< U32, PortRange > );
static_assert( std::convertible_to< PortRange, NumericalRange > );

TEST( NumericalRange, HasItsBounds ) {
   const NumericalRange range( 1024, 2047 );
   EXPECT_EQ( range.rangeMin(), 1024U );
   EXPECT_EQ( range.rangeMax(), 2047U );
   EXPECT_TRUE( range.hasRange() );
   EXPECT_FALSE( NumericalRange( 80, 80 ).hasRange() );
   EXPECT_TRUE( NumericalRange( 80, 81 ).hasRange() );
   EXPECT_TRUE( NumericalRange( 0, 0xFFFFFFFF ).hasRange() );
}

TEST( NumericalRange, UpsideDownIsRefused ) {
   EXPECT_THAT( [] { NumericalRange( 2047, 1024 ); },
                raisesRange( "Classification::NumericalRange: 2047-1024 is upside down" ) );
   EXPECT_THAT( [] { NumericalRange( 1, 0 ); },
                raisesRange( "Classification::NumericalRange: 1-0 is upside down" ) );
}

TEST( NumericalRange, WideNumbersAreNotCut ) {
   EXPECT_THAT( [] { NumericalRange( 5, 0x1'0000'0009 ); },
                raisesRange( "Classification::NumericalRange: 4294967305 is above 4294967295" ) );
   EXPECT_THAT( [] { NumericalRange( 0x1'0000'0005, 9 ); },
                raisesRange( "Classification::NumericalRange: 4294967301-9 is upside down" ) );
   EXPECT_THAT( [] { PortRange( 0x1'0000'0050 ); },
                raisesRange( "Classification::PortRange: 4294967376 is above 65535" ) );
   EXPECT_THAT( [] { Classification::FragmentTypeInstance( 0x1'0000'0001 ); },
                raisesRange( "Classification::FragmentType: 4294967297 is not an enumerator" ) );
}

TEST( NumericalRange, OrderIsByLowerThenUpperBound ) {
   const NumericalRange ascending[] = { { 0, 0 },  { 0, 9 },   { 0, 10 },
                                        { 9, 10 }, { 10, 10 }, { 0xFFFFFFFF, 0xFFFFFFFF } };
   for ( std::size_t i = 0; i < std::size( ascending ); ++i ) {
      for ( std::size_t j = 0; j < std::size( ascending ); ++j ) {
         EXPECT_EQ( ascending[i] <=> ascending[j], i <=> j );
         EXPECT_EQ( ascending[i].isEq( ascending[j] ), i == j );
         EXPECT_EQ( ascending[i] == ascending[j], i == j );
      }
   }
}

TEST( NumericalRange, TextIsTheBoundsOrTheSingleValue ) {
   EXPECT_EQ( NumericalRange( 1024, 2047 ).stringValue(), "1024-2047" );
   EXPECT_EQ( NumericalRange( 80, 80 ).stringValue(), "80" );
   EXPECT_EQ( NumericalRange( 80, 81 ).stringValue(), "80-81" );
   EXPECT_EQ( NumericalRange( 0, 4294967295 ).stringValue(), "0-4294967295" );
   std::ostringstream out;
   out << std::hex << std::setw( 20 ) << NumericalRange( 16, 32 );
   EXPECT_EQ( out.str(), "16-32" );
   EXPECT_EQ( Vek::concat( ' ', PortRange( 443 ), ',' ), " 443," );
}

/// A range of one field, as far as its type says: largest value, name and refusals.
template < typename Range >
void expectField( U32 max, const std::string& name ) {
   EXPECT_EQ( Range::max(), max );
   EXPECT_EQ( Range::typeName, name );
   const Range all( 0, max );
   EXPECT_EQ( all.rangeMin(), 0U );
   EXPECT_EQ( all.rangeMax(), max );
   EXPECT_EQ( Range( max ), Range( max, max ) );
   EXPECT_FALSE( Range( 5 ).hasRange() );
   EXPECT_LT( Range( 5 ), Range( 5, 6 ) );
   const std::string above = std::to_string( max + 1 );
   const std::string text = name + ": " + above + " is above " + std::to_string( max );
   EXPECT_THAT( [max] { Range( 0, max + 1 ); }, raisesRange( text ) );
   EXPECT_THAT( [max] { Range( max + 1 ); }, raisesRange( text ) );
   EXPECT_THAT( [] { Range( 6, 5 ); }, raisesRange( name + ": 6-5 is upside down" ) );
   EXPECT_THAT( [max] { Range( max + 1, 0 ); },
                raisesRange( name + ": " + above + "-0 is upside down" ) );
}

TEST( FieldRange, EachFieldHasItsLargestValueAndName ) {
   expectField< ProtocolRange >( 255, "Classification::ProtocolRange" );
   expectField< PortRange >( 65535, "Classification::PortRange" );
   expectField< IcmpTypeRange >( 255, "Classification::IcmpTypeRange" );
   expectField< IcmpCodeRange >( 255, "Classification::IcmpCodeRange" );
   expectField< PacketLengthRange >( 65535, "Classification::PacketLengthRange" );
   expectField< DscpRange >( 63, "Classification::DscpRange" );
}

TEST( FieldRange, SetHoldsEachRangeOnceInOrder ) {
   std::set< PortRange > ports;
   for ( const PortRange& range : { PortRange( 443 ), PortRange( 80, 90 ), PortRange( 80 ),
                                    PortRange( 443 ), PortRange( 8, 9 ) } ) {
      ports.insert( range );
   }
   EXPECT_THAT( ports, ElementsAre( PortRange( 8, 9 ), PortRange( 80 ), PortRange( 80, 90 ),
                                    PortRange( 443 ) ) );
}

} // namespace
