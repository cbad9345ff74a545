#pragma once

#include "Vek/codec/LogReader.h"
#include "Vek/codec/LogWriter.h"
#include "Vek/text/Text.h"

#include <compare>
#include <iosfwd>
#include <optional>

namespace Zorv {

/// The number under which the state database knows an interface. A plain value of 8 bytes, ordered
/// by the number; text "intf" and the number in decimal, such as "intf12".
class OSK_EXPORT IntfId {
public:
   static constexpr std::string_view typeName = "Zorv::IntfId";

   /// The interface 0.
   constexpr IntfId() = default;
   constexpr explicit IntfId( U64 value ) : value_( value ) {}

   /// The interface that all of `text` spells, without leading zeros; nothing otherwise.
   static std::optional< IntfId > fromText( std::string_view text );

   /// Reads `text` as `fromText` does; `RangeException` with `badTextMessage( text )` when it is no
   /// interface, and then this one is unchanged.
   void stringValueIs( std::string_view text );

   /// The message about a text that is no interface:
   /// "Zorv::IntfId: '<text>' is not an interface".
   static Vek::String badTextMessage( std::string_view text );

   constexpr U64 value() const { return value_; }

   /// A hash of the number that is the same in all processes of one version.
   U32 hash() const;

   Vek::String stringValue() const;

   constexpr auto operator<=>( const IntfId& ) const = default;

private:
   U64 value_ = 0;
};

OSK_EXPORT Vek::TextWriter& operator<<( Vek::TextWriter& out, const IntfId& intf );
OSK_EXPORT std::ostream& operator<<( std::ostream& out, const IntfId& intf );

// In the attribute log: U64.
constexpr std::size_t logSize( const IntfId& ) { return 8; }
inline void logWrite( Vek::LogWriter& out, const IntfId& intf ) { out.u64( intf.value() ); }
inline void logRead( Vek::LogReader& in, IntfId& intf ) { intf = IntfId( in.u64() ); }

} // namespace Zorv
