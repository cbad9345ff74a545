#include "forms/dialects/MatchParts.h"

#include "wire/NlriEncoder.h"

namespace Forms {

void MatchParts::fill( const Cursor& text, Zorv::AddressFamily family, std::size_t end,
                       Rule& rule ) {
   KeyBuilder key( text, family, rule );
   for ( const PlacedPrefix& prefix : prefixes_ ) {
      key.prefixIs( prefix.at, prefix.type, prefix.prefix );
   }
   std::ranges::stable_sort( terms_, {}, &PlacedTerm::type );
   auto previous = Flowspec::invalid;
   for ( PlacedTerm& placed : terms_ ) {
      if ( placed.type != previous ) {
         key.begin( placed.at, placed.type );
         placed.term.andPrevious = false;
         previous = placed.type;
      }
      key.add( placed.at, placed.term );
   }
   key.finish( end );
}

U32 nlriLength( const Rule& rule ) {
   constexpr U8 longForm = 0xF0;
   const Wire::NlriFormat format{ rule.key.addressFamily(), rule.rd.has_value() };
   std::vector< U8 > octets;
   if ( const auto refusal =
           Wire::encodeNlri( rule.key, format, rule.rd.value_or( Zorv::RouteDistinguisher() ),
                             Wire::ValueLengths::shortest, octets ) ) {
      throw Inexpressible{ refusal->message() };
   }
   return static_cast< U32 >( octets.size() ) - ( octets.front() < longForm ? 1 : 2 );
}

} // namespace Forms
