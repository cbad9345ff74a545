#pragma once

#include "Vek/text/String.h"

namespace Forms {

/// The longest file that `readTextFile` reads.
inline constexpr std::size_t maxTextFile = std::size_t{ 16 } * 1024 * 1024;

/// All of a file. `std::runtime_error`, "cannot read FILE: REASON", when it cannot be read to its
/// end, is longer than `maxTextFile` or not a regular file: a pipe or a device may have no end.
Vek::String readTextFile( const Vek::String& file );

} // namespace Forms
