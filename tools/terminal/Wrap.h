#pragma once

#include "Vek/text/String.h"

#include <string_view>

namespace Tools {

/// A help text with its lines broken at blanks where they are longer than `width`. What follows the
/// first column of a line, after two blanks or more, goes on below itself; a line without columns
/// goes on below its own beginning. Words that are longer than the room stay whole.
Vek::String wrapped( std::string_view text, std::size_t width );

} // namespace Tools
