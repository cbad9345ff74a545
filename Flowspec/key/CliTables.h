#pragma once

#include "Flowspec/vocab/Labels.h"
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

/// The heads of all types. Each has a place of its own, which its first two characters tell.
struct ComponentHeads {
   ComponentHead heads[32];

   static constexpr U64 place( U64 characters ) {
      return ( ( characters >> 56 ) * 4 + ( characters >> 48 ) ) % 32;
   }

   constexpr ComponentHeads() {
      for ( U8 type = static_cast< U8 >( ipProto ); type < numComponentTypes; ++type ) {
         ComponentHead head{ 0, 0, static_cast< MatchCompType >( type ), 0 };
         const auto append = [&]( char c ) {
            const int shift = 56 - 8 * head.length++;
            head.characters |= static_cast< U64 >( c ) << shift;
            head.mask |= U64{ 0xFF } << shift;
         };
         for ( const char c : labels[type].brief ) {
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
               numComponentTypes - static_cast< int >( ipProto ) );

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
