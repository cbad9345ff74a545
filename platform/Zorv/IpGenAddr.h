#pragma once

#include "Osk/Endian.h"
#include "Vek/codec/LogReader.h"
#include "Vek/codec/LogWriter.h"
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
   static IpGenAddr ipv4( U32 address ) {
      Bytes bytes{};
      Osk::storeBig32( bytes.data(), address );
      return IpGenAddr( AddressFamily::ipv4, bytes );
   }

   /// The IPv6 address with the given bytes.
   static constexpr IpGenAddr ipv6( const Bytes& bytes ) {
      return IpGenAddr( AddressFamily::ipv6, bytes );
   }

   /// The address that all of `text` spells: dotted IPv4 (four decimal numbers without leading
   /// zeros) or IPv6 (RFC 4291 section 2.2, in all its forms). Nothing for anything else.
   static std::optional< IpGenAddr > fromText( std::string_view text );

   /// The address of a family known at run time with the first `length` bits of the 16 bytes at
   /// `bytes`, at most `bits( family )`; the rest is 0.
   static IpGenAddr ofFamily( AddressFamily family, const U8* bytes, unsigned length ) {
      IpGenAddr address;
      address.family_ = family;
      std::memcpy( address.bytes_.data(), bytes, address.bytes_.size() );
      return address.masked( length );
   }

   /// How many bits an address of a family has: 32, 128, or 0.
   static constexpr unsigned bits( AddressFamily family ) {
      return family == AddressFamily::ipv4 ? 32 : family == AddressFamily::ipv6 ? 128 : 0;
   }

   /// The host-order integer of the dotted IPv4 address that stands in `text` at `at`, which is
   /// moved after it. Nothing when there is none.
   static std::optional< U32 > takeDotted( std::string_view text, std::size_t& at );

   /// Reads `text` as `fromText` does, and "" as the empty address; `RangeException`
   /// "Zorv::IpGenAddr: '<text>' is not an address" otherwise, and then this one is unchanged.
   void stringValueIs( std::string_view text );

   constexpr AddressFamily family() const { return family_; }
   constexpr const Bytes& bytes() const { return bytes_; }
   constexpr bool empty() const { return family_ == AddressFamily::none; }

   /// The host-order integer of an IPv4 address.
   U32 ipv4Value() const { return Osk::loadBig32( bytes_.data() ); }

   /// The address with all bits after the first `length`, at most 128, cleared.
   IpGenAddr masked( unsigned length ) const {
      IpGenAddr result = *this;
      U8* const bytes = result.bytes_.data();
      Osk::storeBig64( bytes, Osk::loadBig64( bytes ) & leadingOnes( length ) );
      Osk::storeBig64( bytes + 8,
                       Osk::loadBig64( bytes + 8 ) & leadingOnes( length < 64 ? 0 : length - 64 ) );
      return result;
   }

   /// A hash of the bytes that is the same in all processes of one version.
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

   static constexpr U64 leadingOnes( unsigned length ) {
      return length >= 64 ? ~U64{ 0 } : ~( ~U64{ 0 } >> length );
   }

   AddressFamily family_ = AddressFamily::none;
   Bytes bytes_{};
};

// Comparison is by memory: the declared order of the members is the order of the type.
static_assert( sizeof( IpGenAddr ) == 17 && std::has_unique_object_representations_v< IpGenAddr > );

OSK_EXPORT Vek::TextWriter& operator<<( Vek::TextWriter& out, const IpGenAddr& address );
OSK_EXPORT std::ostream& operator<<( std::ostream& out, const IpGenAddr& address );

// In the attribute log: the family as U32 and 16 bytes.
constexpr std::size_t logSize( const IpGenAddr& ) { return 20; }
inline void logWrite( Vek::LogWriter& out, const IpGenAddr& address ) {
   out.u32( static_cast< U8 >( address.family() ) );
   out.bytes( address.bytes().data(), address.bytes().size() );
}
[[noreturn]] OSK_EXPORT void logFailFamily( const Vek::LogReader& in, U32 family );
inline AddressFamily logReadFamily( Vek::LogReader& in ) {
   const U32 family = in.u32();
   if ( family > static_cast< U32 >( AddressFamily::ipv6 ) ) [[unlikely]] {
      logFailFamily( in, family );
   }
   return static_cast< AddressFamily >( family );
}
inline void logRead( Vek::LogReader& in, IpGenAddr& address ) {
   const AddressFamily family = logReadFamily( in );
   address = IpGenAddr::ofFamily( family, in.take( 16 ), IpGenAddr::bits( family ) );
}

} // namespace Zorv
