#include "QosLib/ColoredCounters.h"

#include "Osk/HashMix.h"

#include <array>
#include <bit>

namespace QosLib {

namespace {

void mixColor( Osk::HashMix& mix, const ColorCounters& color ) {
   mix.mix( color.packets, color.bytes );
   mix.mix( color.drops );
}

void writeColor( Vek::TextWriter& out, std::string_view label, const ColorCounters& color ) {
   out << label << color.packets << '/' << color.bytes << '/' << color.drops;
}

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

Vek::TextWriter& operator<<( Vek::TextWriter& out, const ColoredCounters& counters ) {
   out << "<packetHits=" << counters.packetHits() << ";byteHits=" << counters.byteHits();
   writeColor( out, ";green=", counters.green() );
   writeColor( out, ";yellow=", counters.yellow() );
   writeColor( out, ";red=", counters.red() );
   return out << '>';
}

std::ostream& operator<<( std::ostream& out, const ColoredCounters& counters ) {
   const Vek::String text = counters.stringValue();
   return out.write( text.data(), static_cast< std::streamsize >( text.size() ) );
}

namespace {

constexpr std::size_t counts = sizeof( ColoredCounters ) / sizeof( U64 );
using Numbers = std::array< U64, counts >;

} // namespace

void logWrite( Vek::LogWriter& out, const ColoredCounters& counters ) {
   for ( const U64 number : std::bit_cast< Numbers >( counters ) ) {
      out.u64( number );
   }
}

void logRead( Vek::LogReader& in, ColoredCounters& counters ) {
   const U8* from = in.take( sizeof counters );
   Numbers numbers;
   for ( U64& number : numbers ) {
      number = Osk::loadBig64( from );
      from += sizeof number;
   }
   counters = std::bit_cast< ColoredCounters >( numbers );
}

} // namespace QosLib
