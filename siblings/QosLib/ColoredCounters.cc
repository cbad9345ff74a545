#include "QosLib/ColoredCounters.h"

#include "Osk/HashMix.h"

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
   return Vek::writeText( out, counters.stringValue() );
}

} // namespace QosLib
