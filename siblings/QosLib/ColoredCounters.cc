#include "QosLib/ColoredCounters.h"

#include "Osk/HashMix.h"
#include "Vek/text/Exceptions.h"

#include <array>
#include <bit>
#include <limits>

namespace QosLib {

namespace {

void mixColor( Osk::HashMix& mix, const ColorCounters& color ) {
   mix.mix( color.packets, color.bytes );
   mix.mix( color.drops );
}

// What comes before each number in the text.
constexpr std::string_view labels[] = {
   "<packetHits=", ",byteHits=", ",green=", "/", "/", ",yellow=", "/", "/", ",red=", "/", "/" };
using Numbers = std::array< U64, std::size( labels ) >;

} // namespace

U32 ColoredCounters::hash() const {
   Osk::HashMix mix;
   mix.mix( packetHits_, byteHits_ );
   mixColor( mix, green_ );
   mixColor( mix, yellow_ );
   mixColor( mix, red_ );
   return mix.value();
}

Vek::String ColoredCounters::stringValue() const { return Vek::concat( *this ); }

void ColoredCounters::stringValueIs( std::string_view text ) {
   const auto refuse = [text] {
      Vek::throwRange( Vek::concat( typeName, ": '", text, "' is not counters" ) );
   };
   Numbers numbers{};
   Vek::CharRange range( text );
   for ( std::size_t i = 0; i < numbers.size(); ++i ) {
      if ( !range.rest().starts_with( labels[i] ) ) {
         refuse();
      }
      range.take( labels[i].size() );
      const auto number = Vek::decimal( range.takeName(), std::numeric_limits< U64 >::max() );
      if ( !number ) {
         refuse();
      }
      numbers[i] = *number;
   }
   if ( range.rest() != ">" ) {
      refuse();
   }
   *this = std::bit_cast< ColoredCounters >( numbers );
}

Vek::TextWriter& operator<<( Vek::TextWriter& out, const ColoredCounters& counters ) {
   const auto numbers = std::bit_cast< Numbers >( counters );
   for ( std::size_t i = 0; i < numbers.size(); ++i ) {
      out << labels[i] << numbers[i];
   }
   return out << '>';
}

std::ostream& operator<<( std::ostream& out, const ColoredCounters& counters ) {
   return Vek::writeText( out, counters.stringValue() );
}

void logWrite( Vek::LogWriter& out, const ColoredCounters& counters ) {
   Osk::swap64< std::tuple_size_v< Numbers > >( out.take( sizeof counters ), &counters );
}

void logRead( Vek::LogReader& in, ColoredCounters& counters ) {
   Osk::swap64< std::tuple_size_v< Numbers > >( &counters, in.take( sizeof counters ) );
}

} // namespace QosLib
