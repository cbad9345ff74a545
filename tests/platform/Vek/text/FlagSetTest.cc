#include "Vek/text/FlagSet.h"

#include "tests/support/ExpectFailure.h"

namespace {

using TestSupport::raisesRange;

class Doors : public Vek::FlagSet< Doors > {
public:
   static constexpr std::string_view typeName = "Sample::Doors";
   static constexpr std::string_view flagNames[] = { "front", "back", "side" };

   using FlagSet::FlagSet;

   bool back() const { return flag( 1 ); }
   void backIs( bool on ) { flagIs( 1, on ); }
};

TEST( FlagSet, HoldsTheBitsOfItsFlags ) {
   EXPECT_EQ( Doors().value(), 0U );
   EXPECT_FALSE( Doors() );
   for ( unsigned value = 0; value < 8; ++value ) {
      Doors doors( value );
      EXPECT_EQ( doors.value(), value );
      EXPECT_EQ( static_cast< bool >( doors ), value != 0 );
      EXPECT_EQ( doors.back(), ( value & 2 ) != 0 );
      doors.backIs( true );
      EXPECT_EQ( doors.value(), value | 2 );
      doors.backIs( false );
      EXPECT_EQ( doors.value(), value & 5 );
   }
   for ( const unsigned value : { 8U, 9U, 256U, 0x80000000U } ) {
      EXPECT_THAT(
         [&] { Doors{ value }; },
         raisesRange( "Sample::Doors: " + std::to_string( value ) + " is not a set of flags" ) );
   }
}

TEST( FlagSet, WideNumbersAreNotCut ) {
   EXPECT_THAT( [] { Doors( 0x1'0000'0005 ); },
                raisesRange( "Sample::Doors: 4294967301 is not a set of flags" ) );
}

TEST( FlagSet, TextNamesFlagsInTheOrderOfBits ) {
   constexpr const char* texts[] = { "",     "front",      "back",      "front|back",
                                     "side", "front|side", "back|side", "front|back|side" };
   for ( unsigned value = 0; value < 8; ++value ) {
      EXPECT_EQ( Doors( value ).stringValue(), texts[value] );
      Doors read( 7 - value );
      read.stringValueIs( texts[value] );
      EXPECT_EQ( read, Doors( value ) );
   }
   Doors read;
   read.stringValueIs( "side|front|side" );
   EXPECT_EQ( read, Doors( 5 ) ) << "any order, also twice";
}

TEST( FlagSet, UnknownNamesChangeNothing ) {
   const auto refused = []( const std::string& text, const std::string& name ) {
      Doors doors( 2 );
      EXPECT_THAT( [&] { doors.stringValueIs( text ); },
                   raisesRange( "Sample::Doors: '" + name + "' is not a flag" ) );
      EXPECT_EQ( doors, Doors( 2 ) );
   };
   refused( "roof", "roof" );
   refused( "front|roof", "roof" );
   refused( "Front", "Front" );
   refused( " front", " front" );
   refused( "front,back", "front,back" );
   refused( "front|", "" );
   refused( "|front", "" );
   refused( "front||back", "" );
   refused( "|", "" );
   refused( "0", "0" );
}

TEST( FlagSet, EqualityOrderAndHashAreThoseOfTheBits ) {
   for ( unsigned a = 0; a < 8; ++a ) {
      for ( unsigned b = 0; b < 8; ++b ) {
         EXPECT_EQ( Doors( a ) == Doors( b ), a == b );
         EXPECT_EQ( Doors( a ) < Doors( b ), a < b );
         EXPECT_EQ( Doors( a ).hash() == Doors( b ).hash(), a == b );
      }
   }
}

} // namespace
