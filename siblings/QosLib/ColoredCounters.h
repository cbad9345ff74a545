#pragma once

#include "Vek/codec/LogReader.h"
#include "Vek/codec/LogWriter.h"
#include "Vek/text/Text.h"

#include <compare>
#include <iosfwd>
#include <type_traits>

namespace QosLib {

/// The traffic that a three-color meter gave one color (RFC 2697, RFC 2698).
struct ColorCounters {
   U64 packets = 0;
   U64 bytes = 0;
   U64 drops = 0; ///< dropped packets

   constexpr auto operator<=>( const ColorCounters& ) const = default;
};

/// The traffic counters of one hardware entry: all hits, and the shares of the meter's colors. A
/// plain value of 11 64-bit numbers in the order of the getters; all zero at first. Nothing relates
/// the hits to the colors: an entry without a meter counts hits only.
class OSK_EXPORT ColoredCounters {
public:
   static constexpr std::string_view typeName = "QosLib::ColoredCounters";

   constexpr U64 packetHits() const { return packetHits_; }
   constexpr void packetHitsIs( U64 packets ) { packetHits_ = packets; }

   constexpr U64 byteHits() const { return byteHits_; }
   constexpr void byteHitsIs( U64 bytes ) { byteHits_ = bytes; }

   constexpr const ColorCounters& green() const { return green_; }
   constexpr void greenIs( const ColorCounters& counters ) { green_ = counters; }

   constexpr const ColorCounters& yellow() const { return yellow_; }
   constexpr void yellowIs( const ColorCounters& counters ) { yellow_ = counters; }

   constexpr const ColorCounters& red() const { return red_; }
   constexpr void redIs( const ColorCounters& counters ) { red_ = counters; }

   /// A hash of all counters that is the same in all processes of one build.
   U32 hash() const;

   /// "<packetHits=3,byteHits=192,green=2/128/0,yellow=0/0/0,red=1/64/1>": packets, bytes and drops
   /// of each color.
   Vek::String stringValue() const;
   /// Reads what `stringValue` writes; `RangeException` "QosLib::ColoredCounters: '<text>' is not
   /// counters" for anything else, and then these are unchanged.
   void stringValueIs( std::string_view text );

   constexpr auto operator<=>( const ColoredCounters& ) const = default;

private:
   U64 packetHits_ = 0;
   U64 byteHits_ = 0;
   ColorCounters green_;
   ColorCounters yellow_;
   ColorCounters red_;
};

static_assert( sizeof( ColoredCounters ) == 88 &&
               std::has_unique_object_representations_v< ColoredCounters > );

OSK_EXPORT Vek::TextWriter& operator<<( Vek::TextWriter& out, const ColoredCounters& counters );
OSK_EXPORT std::ostream& operator<<( std::ostream& out, const ColoredCounters& counters );

// In the attribute log: the 11 numbers.
constexpr std::size_t logSize( const ColoredCounters& ) { return sizeof( ColoredCounters ); }
OSK_EXPORT void logWrite( Vek::LogWriter& out, const ColoredCounters& counters );
OSK_EXPORT void logRead( Vek::LogReader& in, ColoredCounters& counters );

} // namespace QosLib
