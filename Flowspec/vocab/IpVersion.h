#pragma once

#include "Vek/Exceptions.h"
#include "Vek/Text.h"

namespace Flowspec {

/// A set of IP versions in one byte.
class OSK_EXPORT IpVersion {
public:
   static constexpr U8 ipv4Bit = 1;
   static constexpr U8 ipv6Bit = 2;

   /// The empty set.
   constexpr IpVersion() = default;

   /// The set with the bits of `value`, 0 to 3; `Vek::RangeException` above that.
   explicit IpVersion( unsigned value );

   constexpr U8 value() const { return value_; }
   constexpr bool ipv4() const { return value_ & ipv4Bit; }
   constexpr bool ipv6() const { return value_ & ipv6Bit; }
   constexpr void ipv4Is( bool on ) { set( ipv4Bit, on ); }
   constexpr void ipv6Is( bool on ) { set( ipv6Bit, on ); }

   /// True when either flag is set.
   constexpr explicit operator bool() const { return value_ != 0; }

   /// The names of the flags in bit order, joined by "|": "", "ipv4", "ipv6" or "ipv4|ipv6".
   Vek::String stringValue() const;

   constexpr auto operator<=>( const IpVersion& ) const = default;

private:
   constexpr void set( U8 bit, bool on ) {
      value_ = static_cast< U8 >( on ? value_ | bit : value_ & ~bit );
   }

   U8 value_ = 0;
};

} // namespace Flowspec
