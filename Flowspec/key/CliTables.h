#pragma once

#include "Flowspec/vocab/MatchOpVal.h"

#include <algorithm>

/// What the reader of the command-line form looks up instead of comparing.
namespace Flowspec {

/// What nearly all components of a type begin with: the label and ":".
struct ComponentHead {
   U64 characters = 1; // matches no text
   U64 mask = 0;
   MatchCompType type = invalid;
   U8 length = 0;
};

/// Where a label is among 32 by its first two characters.
constexpr U64 labelPlace( U64 first, U64 second, U64 factor ) {
   return ( first * factor + second ) % 32;
}

/// The least factor with which no two labels have the same place; 0 when there is none.
inline constexpr U64 labelFactor = [] {
   for ( U64 factor = 1; factor < 32; ++factor ) {
      U32 taken = 0;
      bool isGood = true;
      for ( const ComponentType& row : componentTypes ) {
         if ( row.hasTerms() ) {
            const char second = row.label.size() > 1 ? row.label[1] : ':';
            const U32 bit = U32{ 1 } << labelPlace( static_cast< U64 >( row.label[0] ),
                                                    static_cast< U64 >( second ), factor );
            isGood = isGood && !( taken & bit );
            taken |= bit;
         }
      }
      if ( isGood ) {
         return factor;
      }
   }
   return U64{ 0 };
}();

/// The heads of all types. Each has a place of its own, which its first two characters tell.
struct ComponentHeads {
   ComponentHead heads[32];

   static constexpr U64 place( U64 characters ) {
      return labelPlace( characters >> 56, characters >> 48, labelFactor );
   }

   constexpr ComponentHeads() {
      for ( const ComponentType& row : componentTypes ) {
         if ( !row.hasTerms() ) {
            continue;
         }
         ComponentHead head{ 0, 0, row.type, 0 };
         const auto append = [&]( char c ) {
            const int shift = 56 - 8 * head.length++;
            head.characters |= static_cast< U64 >( c ) << shift;
            head.mask |= U64{ 0xFF } << shift;
         };
         for ( const char c : row.label ) {
            append( c );
         }
         append( ':' );
         heads[place( head.characters )] = head;
      }
   }

   const ComponentHead& operator[]( U64 characters ) const { return heads[place( characters )]; }
};
inline constexpr ComponentHeads componentHeads;
static_assert( std::count_if( componentHeads.heads, std::end( componentHeads.heads ),
                              []( const ComponentHead& head ) { return head.type != invalid; } ) ==
               std::ranges::count_if( componentTypes, &ComponentType::hasTerms ) );

/// What each character of a numeric or a bitmask component is: what an operator adds to the
/// operator byte, the first digit of a number, or neither.
struct Operators {
   static constexpr U8 digit = 0xFE;
   static constexpr U8 other = 0xFF;
   U8 bits[256];

   constexpr explicit Operators( bool bitmask ) {
      std::fill_n( bits, 256, other );
      std::fill_n( &bits[static_cast< U8 >( '0' )], 10, digit );
      at( '=' ) = OpBits::eq;
      at( '&' ) = OpBits::andPrevious;
      at( '|' ) = 0;
      if ( bitmask ) {
         at( '!' ) = OpBits::invert;
      } else {
         at( '<' ) = OpBits::lt;
         at( '>' ) = OpBits::gt;
      }
   }

   constexpr U8& at( char c ) { return bits[static_cast< U8 >( c )]; }
   U8 operator[]( char c ) const { return bits[static_cast< U8 >( c )]; }
};
inline constexpr Operators numericOperators( false );
inline constexpr Operators bitmaskOperators( true );

} // namespace Flowspec
