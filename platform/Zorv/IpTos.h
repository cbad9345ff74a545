#pragma once

#include "Vek/codec/LogReader.h"
#include "Vek/codec/LogWriter.h"
#include "Vek/text/Exceptions.h"
#include "Vek/text/Text.h"

#include <compare>
#include <iosfwd>
#include <optional>

namespace Zorv {

/// The type-of-service byte of IPv4 or the traffic class of IPv6, or a DSCP in such a byte
/// (RFC 2474). A plain value of one byte, ordered as the number; text the number in decimal.
class IpTos {
public:
   static constexpr std::string_view typeName = "Zorv::IpTos";

   constexpr IpTos() = default;
   constexpr explicit IpTos( U8 value ) : value_( value ) {}

   /// The byte that all of `text` spells, without leading zeros; nothing otherwise.
   static constexpr std::optional< IpTos > fromText( std::string_view text ) {
      const auto number = Vek::decimal( text, 255 );
      return number ? std::optional( IpTos( static_cast< U8 >( *number ) ) ) : std::nullopt;
   }

   /// Reads `text` as `fromText` does; `RangeException` with `badTextMessage( text )` when it is no
   /// such byte, and then this one is unchanged.
   void stringValueIs( std::string_view text ) {
      const auto tos = fromText( text );
      if ( !tos ) {
         Vek::throwRange( badTextMessage( text ) );
      }
      *this = *tos;
   }

   /// The message about a text that is no such byte:
   /// "Zorv::IpTos: '<text>' is not a number from 0 to 255".
   static Vek::String badTextMessage( std::string_view text ) {
      return Vek::concat( "Zorv::IpTos: '", text, "' is not a number from 0 to 255" );
   }

   constexpr U8 value() const { return value_; }
   constexpr U32 hash() const { return value_; }
   Vek::String stringValue() const { return Vek::concat( value_ ); }

   constexpr auto operator<=>( const IpTos& ) const = default;

private:
   U8 value_ = 0;
};

inline Vek::TextWriter& operator<<( Vek::TextWriter& out, const IpTos& tos ) {
   return out << tos.value();
}
inline std::ostream& operator<<( std::ostream& out, const IpTos& tos ) {
   return Vek::writeText( out, tos.stringValue() );
}

// In the attribute log: U8.
constexpr std::size_t logSize( const IpTos& ) { return 1; }
inline void logWrite( Vek::LogWriter& out, const IpTos& tos ) { out.u8( tos.value() ); }
inline void logRead( Vek::LogReader& in, IpTos& tos ) { tos = IpTos( in.u8() ); }

} // namespace Zorv
