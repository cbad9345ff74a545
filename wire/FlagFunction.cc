#include "wire/FlagFunction.h"

#include <algorithm>
#include <functional>
#include <span>

namespace Wire {

namespace {

using Cube = FlagFunction::Cube;
// A truth table of a byte for each combination, so that its halves are those for the highest flag
// clear and set.
using Table = std::vector< U8 >;
using View = std::span< const U8 >;

Table combine( View a, View b, auto operation ) {
   Table result( a.size() );
   std::ranges::transform( a, b, result.begin(), operation );
   return result;
}

U8 butNot( U8 a, U8 b ) { return a & U8( b ^ 1 ); }

// Irredundant conjunctions (Minato and Morreale): appends some that hold wherever `lower` does and
// nowhere that `upper` does not, and returns where they hold. First those that need the highest
// flag, one way or the other, then those for what is left, which do without.
Table cover( View lower, View upper, unsigned flags, Cube within, std::vector< Cube >& cubes ) {
   if ( std::ranges::none_of( lower, std::identity() ) ) {
      return Table( lower.size(), 0 );
   }
   if ( std::ranges::all_of( upper, std::identity() ) ) {
      cubes.push_back( within );
      return Table( lower.size(), 1 );
   }
   const std::size_t half = lower.size() / 2;
   const View lower0 = lower.first( half );
   const View lower1 = lower.last( half );
   const View upper0 = upper.first( half );
   const View upper1 = upper.last( half );
   const U16 highest = static_cast< U16 >( 1U << ( flags - 1 ) );
   const Table covered0 =
      cover( combine( lower0, upper1, butNot ), upper0, flags - 1,
             { within.set, static_cast< U16 >( within.clear | highest ) }, cubes );
   const Table covered1 =
      cover( combine( lower1, upper0, butNot ), upper1, flags - 1,
             { static_cast< U16 >( within.set | highest ), within.clear }, cubes );
   const Table left = combine( combine( lower0, covered0, butNot ),
                               combine( lower1, covered1, butNot ), std::bit_or<>() );
   const Table both =
      cover( left, combine( upper0, upper1, std::bit_and<>() ), flags - 1, within, cubes );
   Table covered = combine( covered0, both, std::bit_or<>() );
   const Table upperHalf = combine( covered1, both, std::bit_or<>() );
   covered.insert( covered.end(), upperHalf.begin(), upperHalf.end() );
   return covered;
}

// The combinations of a table of one word, or of each word of a longer one.
U64 wordMask( unsigned flags ) {
   return flags < 6 ? ( U64{ 1 } << ( 1U << flags ) ) - 1 : ~U64{ 0 };
}

} // namespace

FlagFunction::FlagFunction( unsigned flags, bool all )
   : flags_( flags ),
     words_( flags < 6 ? 1 : std::size_t{ 1 } << ( flags - 6 ), all ? wordMask( flags ) : 0 ) {}

FlagFunction FlagFunction::flag( unsigned flags, unsigned flag ) {
   // The combinations of one word that have each of the lowest six flags set.
   static constexpr U64 lowest[] = { 0xAAAA'AAAA'AAAA'AAAA, 0xCCCC'CCCC'CCCC'CCCC,
                                     0xF0F0'F0F0'F0F0'F0F0, 0xFF00'FF00'FF00'FF00,
                                     0xFFFF'0000'FFFF'0000, 0xFFFF'FFFF'0000'0000 };
   FlagFunction function( flags, false );
   for ( std::size_t i = 0; i < function.words_.size(); ++i ) {
      const U64 higher = i >> ( flag < 6 ? 0 : flag - 6 ) & 1 ? ~U64{ 0 } : 0;
      function.words_[i] = ( flag < 6 ? lowest[flag] : higher ) & wordMask( flags );
   }
   return function;
}

FlagFunction FlagFunction::any( unsigned flags, U32 mask ) {
   FlagFunction function( flags, false );
   for ( unsigned i = 0; i < flags; ++i ) {
      if ( mask >> i & 1 ) {
         function |= flag( flags, i );
      }
   }
   return function;
}

FlagFunction FlagFunction::all( unsigned flags, U32 mask ) {
   FlagFunction function( flags, mask >> flags == 0 );
   for ( unsigned i = 0; i < flags; ++i ) {
      if ( mask >> i & 1 ) {
         function &= flag( flags, i );
      }
   }
   return function;
}

FlagFunction& FlagFunction::operator&=( const FlagFunction& other ) {
   std::ranges::transform( words_, other.words_, words_.begin(), std::bit_and<>() );
   return *this;
}

FlagFunction& FlagFunction::operator|=( const FlagFunction& other ) {
   std::ranges::transform( words_, other.words_, words_.begin(), std::bit_or<>() );
   return *this;
}

FlagFunction FlagFunction::operator~() const {
   FlagFunction function = *this;
   for ( U64& word : function.words_ ) {
      word = ~word & wordMask( flags_ );
   }
   return function;
}

std::vector< Cube > FlagFunction::cubes() const {
   Table table( std::size_t{ 1 } << flags_ );
   for ( U32 combination = 0; combination < table.size(); ++combination ) {
      table[combination] = admits( combination );
   }
   std::vector< Cube > cubes;
   cover( table, table, flags_, {}, cubes );
   return cubes;
}

} // namespace Wire
