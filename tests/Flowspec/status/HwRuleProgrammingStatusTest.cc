#include "Flowspec/vocab/HwRuleProgrammingStatus.h"

#include "tests/support/ExpectFailure.h"

#include <sstream>

namespace Flowspec {
namespace {

using TestSupport::raisesRange;

constexpr std::pair< HwRuleProgrammingStatus, const char* > table[] = {
   { unprocessed, "unprocessed" },
   { programmed, "programmed" },
   { programmedWithFailures, "programmedWithFailures" },
   { unsupportedMatch, "unsupportedMatch" },
   { unsupportedTcamProfile, "unsupportedTcamProfile" },
   { unsupportedAction, "unsupportedAction" },
   { resourceExhausted, "resourceExhausted" },
   { intfSetResourceExhausted, "intfSetResourceExhausted" },
};

static_assert( sizeof( HwRuleProgrammingStatus ) == 1 );

TEST( HwRuleProgrammingStatus, NumbersAndNames ) {
   unsigned number = 0;
   for ( const auto& [status, name] : table ) {
      EXPECT_EQ( static_cast< unsigned >( status ), number );
      EXPECT_EQ( HwRuleProgrammingStatusInstance( number ), status );
      EXPECT_EQ( HwRuleProgrammingStatusInstance( std::string_view( name ) ), status );
      EXPECT_EQ( stringValue( status ), name );
      std::ostringstream out;
      out << status;
      EXPECT_EQ( out.str(), name );
      const Vek::String text = Vek::concat( name, ";rest" );
      Vek::CharRange range( text );
      HwRuleProgrammingStatus read{ 99 };
      sequenceToValue( range, &read );
      EXPECT_EQ( read, status );
      EXPECT_EQ( range.rest(), ";rest" );
      ++number;
   }
   EXPECT_EQ( number, 8U );
}

TEST( HwRuleProgrammingStatus, UnknownNumbersAndNames ) {
   for ( const unsigned number : { 8U, 9U, 255U, 256U, 257U } ) {
      EXPECT_THAT( [&] { HwRuleProgrammingStatusInstance( number ); },
                   raisesRange( "Flowspec::HwRuleProgrammingStatus: " + std::to_string( number ) +
                                " is not an enumerator" ) );
   }
   for ( const std::string name : { "", "Programmed", "programmed ", "1" } ) {
      EXPECT_THAT(
         [&] { HwRuleProgrammingStatusInstance( std::string_view( name ) ); },
         raisesRange( "Flowspec::HwRuleProgrammingStatus: '" + name + "' is not an enumerator" ) );
   }
   EXPECT_EQ( stringValue( HwRuleProgrammingStatus{ 9 } ), "9" );
}

} // namespace
} // namespace Flowspec
