#include "forms/FieldBounds.h"

#include "Flowspec/vocab/NumericalRange.h"

namespace Flowspec::Tools {

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
   const MatchCompType type = term.matchType();
   const U32 value = term.val32();
   if ( type == tcpFlags ) {
      return tooManyBits( value & ~U32{ 0x0FFF }, stringValue( type ),
                          "are clear in every packet" );
   }
   if ( type == fragment ) {
      const U32 bits = family == Zorv::AddressFamily::ipv6 ? 0x0E : 0x0F;
      return tooManyBits( value & ~bits, stringValue( type ), "do not count" );
   }
   const U32 max = NumericalRange::matchCompTypeMax( type );
   if ( value <= max ) {
      return std::nullopt;
   }
   return type == dscp ? Vek::concat( "value ", value,
                                      " of dscp has more than 6 bits: it counts as ", value & max )
                       : Vek::concat( "value ", value, " of ", stringValue( type ), " is above ",
                                      max, ", the highest that a packet has" );
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

} // namespace Flowspec::Tools
