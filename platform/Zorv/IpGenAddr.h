#pragma once

#include "Zorv/AddressFamily.h"

#include <array>
#include <compare>
#include <cstring>
#include <iosfwd>

namespace Zorv {

/// An IPv4 or IPv6 address, or no address at all: the empty one, of family `none` and text "".
/// A plain value of 17 bytes, ordered by family, then by its bytes.
class OSK_EXPORT IpGenAddr {
public:
   static constexpr std::string_view typeName = "Zorv::IpGenAddr";

   using Bytes = std::array< U8, 16 >; ///< network order; IPv4 uses the first four, the rest is 0

   /// The empty address.
   constexpr IpGenAddr() = default;

   /// The IPv4 address with the given host-order integer.
   static IpGenAddr ipv4( U32 address );

   /// The IPv6 address with the given bytes.
   static constexpr IpGenAddr ipv6( const Bytes& bytes ) {
      return IpGenAddr( AddressFamily::ipv6, bytes );
   }

   /// The address that all of `text` spells: dotted IPv4 (four decimal numbers without leading
   /// zeros) or IPv6 (RFC 4291 section 2.2, in all its forms). Nothing for anything else.
   static std::optional< IpGenAddr > fromText( std::string_view text );

   /// Reads `text` as `fromText` does, and "" as the empty address; `RangeException`
   /// "Zorv::IpGenAddr: '<text>' is not an address" otherwise, and then this one is unchanged.
   void stringValueIs( std::string_view text );

   constexpr AddressFamily family() const { return family_; }
   constexpr const Bytes& bytes() const { return bytes_; }
   constexpr bool empty() const { return family_ == AddressFamily::none; }

   /// The host-order integer of an IPv4 address.
   U32 ipv4Value() const;

   /// The address with all bits behind the first `length` cleared.
   IpGenAddr masked( unsigned length ) const;

   /// A hash of the bytes that is the same in all processes of one build.
   U32 hash() const;

   /// Dotted IPv4, IPv6 by RFC 5952 (lower case, longest run of zero groups as "::", IPv4-mapped
   /// addresses dotted), or "".
   Vek::String stringValue() const;

   bool operator==( const IpGenAddr& other ) const {
      return std::memcmp( this, &other, sizeof *this ) == 0;
   }
   std::strong_ordering operator<=>( const IpGenAddr& other ) const {
      return std::memcmp( this, &other, sizeof *this ) <=> 0;
   }

private:
   constexpr IpGenAddr( AddressFamily family, const Bytes& bytes )
      : family_( family ), bytes_( bytes ) {}

   AddressFamily family_ = AddressFamily::none;
   Bytes bytes_{};
};

// Comparison is by memory: the declared order of the members is the order of the type.
static_assert( sizeof( IpGenAddr ) == 17 && std::has_unique_object_representations_v< IpGenAddr > );

OSK_EXPORT Vek::TextWriter& operator<<( Vek::TextWriter& out, const IpGenAddr& address );
OSK_EXPORT std::ostream& operator<<( std::ostream& out, const IpGenAddr& address );

} // namespace Zorv
