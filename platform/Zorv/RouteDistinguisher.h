#pragma once

#include "Vek/codec/LogReader.h"
#include "Vek/codec/LogWriter.h"
#include "Vek/text/Text.h"

#include <compare>
#include <iosfwd>
#include <optional>

namespace Zorv {

/// A route distinguisher (RFC 4364 section 4.2): 8 bytes, a 2-byte type and a 6-byte value.
/// A plain value, ordered as the 64-bit number of its network-order bytes.
///
/// Text forms, by type:
/// | type | text                             | example         |
/// |------|----------------------------------|-----------------|
/// | 0    | 16-bit AS number ":" 32-bit      | `65000:100`     |
/// | 1    | IPv4 address ":" 16-bit          | `192.0.2.1:100` |
/// | 2    | 32-bit AS number ":" 16-bit      | `70000:100`     |
/// | 2    | the same with "L", below 65536   | `100L:1`        |
/// | other| "0x" and 16 hexadecimal digits   | `0x00030000000000ff` |
class OSK_EXPORT RouteDistinguisher {
public:
   static constexpr std::string_view typeName = "Zorv::RouteDistinguisher";

   /// The zero distinguisher, text "0:0". Readers that return a distinguisher use it for failure.
   constexpr RouteDistinguisher() = default;

   /// The distinguisher whose network-order bytes are those of `value`.
   constexpr explicit RouteDistinguisher( U64 value ) : value_( value ) {}

   /// The distinguisher that all of `text` spells in one of the forms above; nothing otherwise.
   static std::optional< RouteDistinguisher > fromText( std::string_view text );

   /// Reads `text` as `fromText` does; `RangeException` with `badTextMessage( text )` when it is
   /// no distinguisher, and then this one is unchanged.
   void stringValueIs( std::string_view text );

   /// The message about a text that is no distinguisher:
   /// "Zorv::RouteDistinguisher: '<text>' is not a route distinguisher".
   static Vek::String badTextMessage( std::string_view text );

   constexpr U64 value() const { return value_; }
   constexpr U16 type() const { return static_cast< U16 >( value_ >> 48 ); }

   /// The text in the form of the table above.
   Vek::String stringValue() const;

   /// True unless all bytes are 0.
   constexpr explicit operator bool() const { return value_ != 0; }

   constexpr auto operator<=>( const RouteDistinguisher& ) const = default;

private:
   U64 value_ = 0;
};

OSK_EXPORT Vek::TextWriter& operator<<( Vek::TextWriter& out, const RouteDistinguisher& rd );
OSK_EXPORT std::ostream& operator<<( std::ostream& out, const RouteDistinguisher& rd );

// In the attribute log: its 8 bytes.
constexpr std::size_t logSize( const RouteDistinguisher& ) { return 8; }
inline void logWrite( Vek::LogWriter& out, const RouteDistinguisher& rd ) { out.u64( rd.value() ); }
inline void logRead( Vek::LogReader& in, RouteDistinguisher& rd ) {
   rd = RouteDistinguisher( in.u64() );
}

} // namespace Zorv
