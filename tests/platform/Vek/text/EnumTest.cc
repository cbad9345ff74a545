#include "Vek/text/Enum.h"

#include <sstream>

#include <gmock/gmock.h>

namespace Sample {

enum class Colour : U8 { red = 0, green = 1, blue = 2 };

constexpr Vek::Enumerator colourRows[] = { { 0, "red" }, { 1, "green" }, { 2, "blue" } };
constexpr Vek::EnumInfo colourInfo( "Sample::Colour", colourRows );
constexpr const Vek::EnumInfo& enumInfo( Colour ) { return colourInfo; }

enum class Sparse : U8 { low = 3, high = 255 };

constexpr Vek::Enumerator sparseRows[] = { { 3, "low" }, { 255, "high" } };
constexpr Vek::EnumInfo sparseInfo( "Sample::Sparse", sparseRows );
constexpr const Vek::EnumInfo& enumInfo( Sparse ) { return sparseInfo; }

enum class Nameless : U8 { one };

// As a module offers them beside its enumerations.
using Vek::operator<<;
using Vek::sequenceToValue;
using Vek::stringValue;

} // namespace Sample

namespace {

using Sample::Colour;
using Sample::Sparse;
using testing::ThrowsMessage;
using Vek::RangeException;

static_assert( Vek::NamedEnum< Colour > );
static_assert( !Vek::NamedEnum< Sample::Nameless > && !Vek::NamedEnum< int > );

static_assert( Vek::enumeratorsAreDense( Sample::colourRows ) );
static_assert( !Vek::enumeratorsAreDense( Sample::sparseRows ) );
constexpr Vek::Enumerator unordered[] = { { 1, "one" }, { 0, "zero" } };
static_assert( !Vek::enumeratorsAreDense( unordered ) );
constexpr Vek::Enumerator unnamed[] = { { 0, "zero" }, { 1, "" } };
static_assert( !Vek::enumeratorsAreDense( unnamed ) );

static_assert( Sample::sparseInfo.find( U64{ 255 } )->name == "high" );
static_assert( Sample::sparseInfo.find( "low" )->number == 3 );
static_assert( !Sample::sparseInfo.find( U64{ 0 } ) && !Sample::sparseInfo.find( "" ) );

TEST( Enum, NumberAndNameGiveTheEnumerator ) {
   EXPECT_EQ( Vek::enumInstance< Colour >( 0 ), Colour::red );
   EXPECT_EQ( Vek::enumInstance< Colour >( 2 ), Colour::blue );
   EXPECT_EQ( Vek::enumInstance< Sparse >( 255 ), Sparse::high );
   EXPECT_EQ( Vek::enumInstance< Colour >( "green" ), Colour::green );
   EXPECT_EQ( Vek::enumInstance< Sparse >( std::string_view( "lower", 3 ) ), Sparse::low );
   EXPECT_EQ( Vek::enumNumber( Sample::sparseInfo, U64{ 3 } ), 3 );
   EXPECT_EQ( Vek::enumNumber( Sample::sparseInfo, "high" ), 255 );
}

TEST( Enum, NumberWithoutEnumeratorIsRejectedAtItsFullWidth ) {
   EXPECT_THAT( [] { Vek::enumInstance< Colour >( 3 ); },
                ThrowsMessage< RangeException >( "Sample::Colour: 3 is not an enumerator" ) );
   EXPECT_THAT( [] { Vek::enumInstance< Sparse >( 4 ); },
                ThrowsMessage< RangeException >( "Sample::Sparse: 4 is not an enumerator" ) );
   EXPECT_THAT( [] { Vek::enumInstance< Colour >( 256 ); },
                ThrowsMessage< RangeException >( "Sample::Colour: 256 is not an enumerator" ) );
   EXPECT_THAT( [] { Vek::enumNumber( Sample::colourInfo, ~U64{ 0 } ); },
                ThrowsMessage< RangeException >(
                   "Sample::Colour: 18446744073709551615 is not an enumerator" ) );
}

TEST( Enum, NameWithoutEnumeratorIsRejected ) {
   for ( const std::string_view name : { "", "Red", "re", "redd", " red", "0" } ) {
      EXPECT_THAT( [&] { Vek::enumInstance< Colour >( name ); },
                   ThrowsMessage< RangeException >(
                      Vek::concat( "Sample::Colour: '", name, "' is not an enumerator" ) ) );
   }
}

TEST( Enum, TextIsTheNameOrTheNumberWithoutOne ) {
   EXPECT_EQ( stringValue( Colour::red ), "red" );
   EXPECT_EQ( stringValue( Sparse::high ), "high" );
   EXPECT_EQ( stringValue( static_cast< Colour >( 3 ) ), "3" );
   EXPECT_EQ( stringValue( static_cast< Colour >( 255 ) ), "255" );
   EXPECT_EQ( stringValue( static_cast< Sparse >( 0 ) ), "0" );
   EXPECT_EQ( Vek::enumText( Sample::colourInfo, 1 ), "green" );
   EXPECT_EQ( Vek::enumText( Sample::colourInfo, 65 ), "65" );
}

TEST( Enum, StreamWritesTheText ) {
   std::ostringstream out;
   out << Colour::green << ' ' << Sparse::low << ' ' << static_cast< Sparse >( 9 );
   EXPECT_EQ( out.str(), "green low 9" );
}

TEST( Enum, EveryEnumeratorIsReadBackFromItsText ) {
   for ( const auto& row : Sample::colourRows ) {
      const auto value = Vek::enumInstance< Colour >( row.number );
      EXPECT_EQ( Vek::enumInstance< Colour >( stringValue( value ) ), value );
   }
}

TEST( Enum, NameIsTakenFromARangeOfCharacters ) {
   Vek::CharRange range( "blue;green" );
   Colour colour{};
   sequenceToValue( range, &colour );
   EXPECT_EQ( colour, Colour::blue );
   EXPECT_EQ( range.rest(), ";green" );
   EXPECT_TRUE( range.take( ';' ) );
   sequenceToValue( range, &colour );
   EXPECT_EQ( colour, Colour::green );
   EXPECT_TRUE( range.empty() );
}

TEST( Enum, UnknownNameInARangeIsRejectedAndStoresNothing ) {
   Vek::CharRange range( "bluegreen;" );
   Colour colour = Colour::green;
   EXPECT_THAT(
      [&] { sequenceToValue( range, &colour ); },
      ThrowsMessage< RangeException >( "Sample::Colour: 'bluegreen' is not an enumerator" ) );
   EXPECT_EQ( colour, Colour::green );
   Vek::CharRange empty( "" );
   EXPECT_THROW( sequenceToValue( empty, &colour ), RangeException );
}

} // namespace
