#pragma once

#include "Flowspec/vocab/MatchOpVal.h"

#include <array>
#include <cstring>

namespace Flowspec {

/// What comes before the operator of a term.
struct TermHead {
   char text[15] = {};
   U8 length = 0;
};

/// ";DP:" and the like for terms that begin a component, by its type, then "|" and "&".
inline constexpr auto termHeads = [] {
   std::array< TermHead, numComponentTypes + 2 > heads;
   const auto append = []( TermHead& head, std::string_view text ) {
      text.copy( head.text + head.length, text.size() );
      head.length = static_cast< U8 >( head.length + text.size() );
   };
   for ( U8 type = 0; type < numComponentTypes; ++type ) {
      append( heads[type], ";" );
      append( heads[type], componentTypes[type].label );
      append( heads[type], ":" );
   }
   append( heads[numComponentTypes], "|" );
   append( heads[numComponentTypes + 1], "&" );
   return heads;
}();

/// Fails the assertion "compType < numComponentTypes" when the type is above 13.
void requireLabel( MatchCompType compType );

/// What `MatchOpValResult::formatForCli` writes. Inline for the walk of a key, most of whose text
/// these are.
inline void writeTerm( Vek::TextWriter& out, MatchOpValResult term, bool newComponent,
                       bool includeValueLength ) {
   const U8 type = static_cast< U8 >( term.matchType() );
   if ( newComponent && type >= numComponentTypes ) [[unlikely]] {
      requireLabel( term.matchType() );
   }
   const bool bitmask =
      term.matchType() == invalid ? isBitfieldType( invalid ) : isBitmask( term.matchType() );
   char* at = out.room( sizeof( TermHead ) + 16 );
   // Terms are short and vary: each piece is written whatever the term is, and is passed only when
   // it belongs there.
   const TermHead& head = termHeads[newComponent ? type : numComponentTypes + term.andPrevious()];
   std::memcpy( at, head.text, sizeof head.text );
   at += head.length;
   *at = '<';
   at += term.lt() & !bitmask;
   *at = bitmask ? '!' : '>'; // `invert` has the bit of `gt`
   at += term.gt();
   *at = '='; // and `match` that of `eq`
   at += term.eq();
   if ( includeValueLength ) {
      *at++ = static_cast< char >( '0' + term.len() );
      *at++ = 'L';
   }
   out.written( Vek::writeDecimal( at, term.val32() ) );
}

/// What `MatchOpValResult::formatForCliDetail` writes.
void writeTermDetail( Vek::TextWriter& out, MatchOpValResult term, bool newComponent );

} // namespace Flowspec
