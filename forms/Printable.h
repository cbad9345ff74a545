#pragma once

#include "Vek/text/String.h"

#include <string_view>

namespace Forms {

/// Appends `text` as it may be on a terminal and in a JSON string of ASCII: control characters
/// and bytes above 126 as `\xNN`.
void appendPrintable( Vek::String& out, std::string_view text );

/// What is shown of a text; of one that is longer than 1,000 bytes the middle is left out.
Vek::String shortened( std::string_view text );

/// Both, for a message.
Vek::String printable( std::string_view text );

} // namespace Forms
