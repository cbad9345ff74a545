#include "forms/FieldBounds.h"

#include <bit>

namespace Forms {

using namespace Flowspec;

namespace {

// Nothing when no bits are too many.
Reason tooManyBits( U32 bits, std::string_view type, std::string_view what ) {
   if ( bits == 0 ) {
      return std::nullopt;
   }
   Vek::String text;
   Vek::TextWriter( text ).operator<<( "bits 0x" ).hex( bits ) << " of " << type << ' ' << what;
   return text;
}

Reason beyondField( const MatchOpValResult& term, Zorv::AddressFamily family ) {
   const U32 value = term.val32();
   const ComponentType& row = componentType( term.matchType() );
   if ( row.kind == ComponentKind::bitmask ) {
      return tooManyBits( value & ~row.field( family ).bits, row.name,
                          row.ignoresOtherBits ? "do not count" : "are clear in every packet" );
   }
   const U32 max = row.maximum();
   if ( value <= max ) {
      return std::nullopt;
   }
   return row.ignoresOtherBits
             ? Vek::concat( "value ", value, " of ", row.name, " has more than ",
                            std::bit_width( max ), " bits: it counts as ", value & max )
             : Vek::concat( "value ", value, " of ", row.name, " is above ", max,
                            ", the highest that a packet has" );
}

} // namespace

Reason beyondField( const FlowspecKey& key ) {
   for ( MatchOpValResult term = key.getOptVal( 0 ); !term.isEnd();
         term = key.getOptVal( term.nextIndex() ) ) {
      if ( Reason reason = beyondField( term, key.addressFamily() ) ) {
         return reason;
      }
   }
   return std::nullopt;
}

} // namespace Forms
