#pragma once

#include "Vek/text/Text.h"

#include <compare>
#include <iosfwd>

namespace Classification {

/// An inclusive interval of the values of a packet's field. A plain value, ordered by its lower,
/// then its upper bound. Filters hold the typed ranges below.
class OSK_EXPORT NumericalRange {
public:
   /// The range of the two bounds; `Vek::RangeException` "Classification::NumericalRange:
   /// <rangeMin>-<rangeMax> is upside down" when it is, and "... <rangeMax> is above 4294967295".
   NumericalRange( U64 rangeMin, U64 rangeMax );

   constexpr U32 rangeMin() const { return rangeMin_; }
   constexpr U32 rangeMax() const { return rangeMax_; }

   /// Whether the range has more than one value.
   constexpr bool hasRange() const { return rangeMin_ != rangeMax_; }

   constexpr bool isEq( const NumericalRange& other ) const { return *this == other; }

   /// "1024-2047", or "80" for a single value.
   Vek::String stringValue() const;

   constexpr auto operator<=>( const NumericalRange& ) const = default;

protected:
   NumericalRange( std::string_view type, U32 max, U64 rangeMin, U64 rangeMax );

private:
   U32 rangeMin_;
   U32 rangeMax_;
};

OSK_EXPORT Vek::TextWriter& operator<<( Vek::TextWriter& out, const NumericalRange& range );
OSK_EXPORT std::ostream& operator<<( std::ostream& out, const NumericalRange& range );

/// What the typed ranges differ in: their name and the largest value of their field.
struct RangeField {
   std::string_view typeName;
   U32 max;
};

/// A range of the values of one field. Ranges of different fields do not compare.
template < const RangeField& field >
class FieldRange : public NumericalRange {
public:
   static constexpr std::string_view typeName = field.typeName;
   static constexpr U32 max() { return field.max; }

   /// The range of one value.
   explicit FieldRange( U64 value ) : FieldRange( value, value ) {}

   /// The range of the two bounds. `Vek::RangeException` when they are upside down, as above but
   /// with the name of this type, or "<typeName>: <rangeMax> is above <max>".
   FieldRange( U64 rangeMin, U64 rangeMax )
      : NumericalRange( field.typeName, field.max, rangeMin, rangeMax ) {}

   constexpr auto operator<=>( const FieldRange& ) const = default;
};

inline constexpr RangeField protocolField{ "Classification::ProtocolRange", 255 };
inline constexpr RangeField portField{ "Classification::PortRange", 65535 };
inline constexpr RangeField icmpTypeField{ "Classification::IcmpTypeRange", 255 };
inline constexpr RangeField icmpCodeField{ "Classification::IcmpCodeRange", 255 };
inline constexpr RangeField packetLengthField{ "Classification::PacketLengthRange", 65535 };
inline constexpr RangeField dscpField{ "Classification::DscpRange", 63 };

using ProtocolRange = FieldRange< protocolField >;         ///< protocol or next-header number
using PortRange = FieldRange< portField >;                 ///< TCP or UDP port
using IcmpTypeRange = FieldRange< icmpTypeField >;         ///< ICMP or ICMPv6 type
using IcmpCodeRange = FieldRange< icmpCodeField >;         ///< ICMP or ICMPv6 code
using PacketLengthRange = FieldRange< packetLengthField >; ///< length of the IP packet in bytes
using DscpRange = FieldRange< dscpField >;                 ///< differentiated-services code point

} // namespace Classification
