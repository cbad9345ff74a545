#pragma once

#include "Zorv/IpGenAddr.h"

namespace Zorv {

/// An IPv4 or IPv6 prefix, or the empty one, which stands for any address and has the text "".
/// A plain value of 18 bytes, ordered by family, address bytes, then length. Host bits are 0.
class OSK_EXPORT IpGenPrefix {
public:
   static constexpr std::string_view typeName = "Zorv::IpGenPrefix";

   /// The empty prefix.
   constexpr IpGenPrefix() = default;

   /// The first `length` bits of `address`; `RangeException` when the length is beyond the
   /// family's (32 or 128) or the address is empty.
   IpGenPrefix( const IpGenAddr& address, U64 length );

   /// The prefix of a family known at run time with the first `length` bits of the 16 bytes at
   /// `bytes`, at most the family's.
   static IpGenPrefix ofFamily( AddressFamily family, const U8* bytes, unsigned length ) {
      IpGenPrefix prefix;
      prefix.address_ = IpGenAddr::ofFamily( family, bytes, length );
      prefix.length_ = static_cast< U8 >( length );
      return prefix;
   }

   /// The prefix that all of `text` spells: an address, "/", and a decimal length without leading
   /// zeros, at most 32 or 128. Host bits are cleared. Nothing for anything else, "" included.
   static std::optional< IpGenPrefix > fromText( std::string_view text );

   /// The prefix that stands in `text` at `at`, which is moved after it; nothing when there is
   /// none.
   static std::optional< IpGenPrefix > takeFrom( std::string_view text, std::size_t& at );

   /// Reads `text` as `fromText` does; `RangeException` with `badTextMessage( text )` when it is
   /// no prefix, and then this prefix is unchanged.
   void stringValueIs( std::string_view text );

   /// The message about a text that is no prefix:
   /// "Zorv::IpGenPrefix: '<text>' is not a prefix".
   static Vek::String badTextMessage( std::string_view text );

   constexpr const IpGenAddr& address() const { return address_; }
   constexpr AddressFamily family() const { return address_.family(); }
   constexpr U8 length() const { return length_; }
   constexpr bool empty() const { return address_.empty(); }

   /// The address's text, "/" and the length; "" for the empty prefix.
   Vek::String stringValue() const;

   bool operator==( const IpGenPrefix& other ) const {
      return std::memcmp( this, &other, sizeof *this ) == 0;
   }
   std::strong_ordering operator<=>( const IpGenPrefix& other ) const {
      return std::memcmp( this, &other, sizeof *this ) <=> 0;
   }

private:
   IpGenAddr address_;
   U8 length_ = 0;
};

static_assert( sizeof( IpGenPrefix ) == 18 &&
               std::has_unique_object_representations_v< IpGenPrefix > );

OSK_EXPORT Vek::TextWriter& operator<<( Vek::TextWriter& out, const IpGenPrefix& prefix );
OSK_EXPORT std::ostream& operator<<( std::ostream& out, const IpGenPrefix& prefix );

// In the attribute log: the address and the length as U32; host bits are cleared by the reader.
constexpr std::size_t logSize( const IpGenPrefix& ) { return 24; }
inline void logWrite( Vek::LogWriter& out, const IpGenPrefix& prefix ) {
   logWrite( out, prefix.address() );
   out.u32( prefix.length() );
}
[[noreturn]] OSK_EXPORT void logFailLength( const Vek::LogReader& in, U32 length );
inline void logRead( Vek::LogReader& in, IpGenPrefix& prefix ) {
   const AddressFamily family = logReadFamily( in );
   const U8* const bytes = in.take( 16 );
   const U32 length = in.u32();
   // The empty address has the length 0, which makes the empty prefix.
   if ( length > IpGenAddr::bits( family ) ) [[unlikely]] {
      logFailLength( in, length );
   }
   prefix = IpGenPrefix::ofFamily( family, bytes, length );
}

} // namespace Zorv
