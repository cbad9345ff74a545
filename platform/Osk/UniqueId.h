#pragma once

#include "Osk/Types.h"

#include <compare>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

namespace Osk {

/// An identifier that is drawn once and then only copied: of an action, of the version of a rule's
/// programming. A plain value of 8 bytes, ordered by its number, which means nothing.
///
/// A process draws consecutive numbers that begin with a random upper half, so identifiers drawn by
/// different processes differ but for a chance of about one in 2^31 for each pair of them.
class OSK_EXPORT UniqueId {
public:
   static constexpr std::string_view typeName = "Osk::UniqueId";

   /// Draws an identifier that this process has not drawn before; never 0. Any thread may draw; a
   /// forked child draws from a random upper half of its own.
   UniqueId();

   /// The identifier with the given number, such as a received one; 0 is the uninitialised one.
   constexpr explicit UniqueId( U64 value ) : value_( value ) {}

   /// The identifier that all of `text` spells: 16 hexadecimal digits of either case.
   static std::optional< UniqueId > fromText( std::string_view text );

   constexpr U64 value() const { return value_; }

   constexpr bool isEq( const UniqueId& other ) const { return value_ == other.value_; }

   /// True unless the identifier is the uninitialised one.
   constexpr explicit operator bool() const { return value_ != 0; }

   /// A hash of the number that is the same in all processes of one version.
   U32 hash() const;

   /// 16 lower-case hexadecimal digits.
   std::string stringValue() const;

   constexpr auto operator<=>( const UniqueId& ) const = default;

private:
   U64 value_;
};

OSK_EXPORT std::ostream& operator<<( std::ostream& out, const UniqueId& id );

} // namespace Osk
