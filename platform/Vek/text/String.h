#pragma once

#include "Osk/Types.h"

#include <iosfwd>
#include <string>
#include <string_view>

namespace Vek {

/// The runtime's string: owned bytes, any content, no encoding implied.
using String = std::string;

/// Writes the bytes of a text, whatever width and fill the stream has.
OSK_EXPORT std::ostream& writeText( std::ostream& out, std::string_view text );

} // namespace Vek
