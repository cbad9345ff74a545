#pragma once

#include "Vek/text/Text.h"

#include <optional>

namespace Zorv {

/// The family of an address. The runtime carries any other 8-bit number as well.
enum class AddressFamily : U8 { none = 0, ipv4 = 1, ipv6 = 2 };

constexpr std::string_view typeNameOf( AddressFamily ) { return "Zorv::AddressFamily"; }

/// Writes "none", "ipv4", "ipv6", or "af" and the number of any other family.
OSK_EXPORT Vek::TextWriter& operator<<( Vek::TextWriter& out, AddressFamily family );

/// The text that the writer gives, as a string.
OSK_EXPORT Vek::String stringValue( AddressFamily family );

/// The family that all of `text` names in the writer's form; nothing when it names none.
OSK_EXPORT std::optional< AddressFamily > addressFamily( std::string_view text );

/// Takes a family in the writer's form; `Vek::RangeException` when there is none.
OSK_EXPORT void sequenceToValue( Vek::CharRange& range, AddressFamily* family );

} // namespace Zorv
