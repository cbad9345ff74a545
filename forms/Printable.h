#pragma once

#include "Vek/text/String.h"

#include <string_view>

namespace Forms {

/// Appends `text` as it may be on a terminal and in a JSON string of ASCII: control characters
/// and bytes above 126 as `\xNN`.
void appendPrintable( Vek::String& out, std::string_view text );

/// The same for a message; of a text that is longer than 1,000 bytes the middle is left out.
Vek::String printable( std::string_view text );

} // namespace Forms
