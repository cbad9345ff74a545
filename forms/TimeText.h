#pragma once

#include "Vek/text/String.h"

#include <chrono>
#include <optional>
#include <string_view>

namespace Forms {

/// The point in time that all of `text` spells, as RFC 3339 has it: "2026-11-22T23:05:00Z", or with
/// an offset, "2026-11-23T00:05:00+01:00". A fraction of a second is passed over, and a leap second
/// is the second after it. In UTC it is in the years 0 to 9999. Nothing for any other text.
std::optional< std::chrono::sys_seconds > timeFromText( std::string_view text );

/// The same text for a time from the year 0 to 9999, in UTC.
Vek::String textOfTime( std::chrono::sys_seconds time );

} // namespace Forms
