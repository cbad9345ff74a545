#include "QosLib/ColoredCounters.h"

#include "tests/support/ExpectFailure.h"

#include <array>
#include <bit>
#include <iomanip>
#include <set>
#include <sstream>

namespace {

using QosLib::ColorCounters;
using QosLib::ColoredCounters;

constexpr std::size_t words = 11;

/// The counters whose numbers, in their order, are those of `values`.
ColoredCounters countersOf( const std::array< U64, words >& values ) {
   ColoredCounters counters;
   counters.packetHitsIs( values[0] );
   counters.byteHitsIs( values[1] );
   counters.greenIs( { values[2], values[3], values[4] } );
   counters.yellowIs( { values[5], values[6], values[7] } );
   counters.redIs( { values[8], values[9], values[10] } );
   return counters;
}

TEST( ColoredCounters, DefaultIsAllZero ) {
   constexpr ColoredCounters zero;
   static_assert( zero.packetHits() == 0 && zero.byteHits() == 0 );
   static_assert( zero.green() == ColorCounters() && zero.yellow() == ColorCounters() &&
                  zero.red() == ColorCounters() );
   EXPECT_EQ( ( std::bit_cast< std::array< U64, words > >( zero ) ),
              ( std::array< U64, words >{} ) );
   EXPECT_EQ( zero.stringValue(), "<packetHits=0,byteHits=0,green=0/0/0,yellow=0/0/0,red=0/0/0>" );
}

TEST( ColoredCounters, GettersGiveWhatTheSettersTook ) {
   const auto counters = countersOf( { 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11 } );
   EXPECT_EQ( counters.packetHits(), 1U );
   EXPECT_EQ( counters.byteHits(), 2U );
   EXPECT_EQ( counters.green(), ( ColorCounters{ 3, 4, 5 } ) );
   EXPECT_EQ( counters.yellow(), ( ColorCounters{ 6, 7, 8 } ) );
   EXPECT_EQ( counters.red(), ( ColorCounters{ 9, 10, 11 } ) );
   EXPECT_EQ( counters.stringValue(),
              "<packetHits=1,byteHits=2,green=3/4/5,yellow=6/7/8,red=9/10/11>" );
}

TEST( ColoredCounters, MemoryHoldsTheNumbersInTheirOrder ) {
   const std::array< U64, words > values{ 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, ~U64{ 0 } };
   EXPECT_EQ( ( std::bit_cast< std::array< U64, words > >( countersOf( values ) ) ), values );
}

TEST( ColoredCounters, EveryNumberCountsInComparisonAndHash ) {
   const ColoredCounters zero;
   std::set< U32 > hashes{ zero.hash() };
   for ( std::size_t i = 0; i < words; ++i ) {
      std::array< U64, words > values{};
      values[i] = 1;
      const auto counters = countersOf( values );
      EXPECT_NE( counters, zero );
      EXPECT_LT( zero, counters );
      EXPECT_EQ( counters, countersOf( values ) );
      EXPECT_EQ( counters.hash(), countersOf( values ).hash() );
      EXPECT_TRUE( hashes.insert( counters.hash() ).second ) << i;
      if ( i > 0 ) {
         // An earlier number decides whatever the later ones are.
         std::array< U64, words > earlier{};
         earlier[i - 1] = 1;
         EXPECT_LT( counters, countersOf( earlier ) );
      }
   }
}

TEST( ColoredCounters, StreamAndWriterGiveTheText ) {
   const auto counters = countersOf( { 10, ~U64{ 0 }, 0, 0, 0, 0, 0, 0, 0, 0, 16 } );
   const std::string text =
      "<packetHits=10,byteHits=18446744073709551615,green=0/0/0,yellow=0/0/0,red=0/0/16>";
   std::ostringstream out;
   out << std::hex << std::setw( 100 ) << counters;
   EXPECT_EQ( out.str(), text );
   EXPECT_EQ( Vek::concat( counters ), text );
}

TEST( ColoredCounters, TextIsReadBack ) {
   for ( const auto& written :
         { ColoredCounters(), countersOf( { 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11 } ),
           countersOf( { ~U64{ 0 }, 0, ~U64{ 0 }, 0, 0, 0, 0, 0, 0, 0, ~U64{ 0 } } ) } ) {
      auto read = countersOf( { 9, 9 } );
      read.stringValueIs( written.stringValue() );
      EXPECT_EQ( read, written );
   }
}

TEST( ColoredCounters, WhatIsNoTextChangesNothing ) {
   const std::string text = countersOf( { 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11 } ).stringValue();
   std::vector< std::string > refused{ "", ">", text + ">", text + " ", " " + text };
   for ( std::size_t length = 0; length < text.size(); ++length ) {
      refused.push_back( text.substr( 0, length ) );
   }
   for ( std::size_t at = 0; at < text.size(); ++at ) {
      for ( const char c : { ';', '-', 'x' } ) {
         refused.push_back( text );
         refused.back()[at] = c;
      }
   }
   refused.push_back(
      "<packetHits=18446744073709551616,byteHits=0,green=0/0/0,yellow=0/0/0,red=0/0/0>" );
   refused.push_back( "<packetHits=01,byteHits=0,green=0/0/0,yellow=0/0/0,red=0/0/0>" );
   ColoredCounters counters = countersOf( { 5, 6, 7 } );
   for ( const std::string& bad : refused ) {
      EXPECT_THAT(
         [&] { counters.stringValueIs( bad ); },
         TestSupport::raisesRange( "QosLib::ColoredCounters: '" + bad + "' is not counters" ) );
      EXPECT_EQ( counters, countersOf( { 5, 6, 7 } ) ) << bad;
   }
}

} // namespace
