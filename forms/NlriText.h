#pragma once

#include "Vek/text/String.h"

#include <optional>
#include <span>
#include <string_view>
#include <vector>

/// Octets as text: two hexadecimal digits each, in either case, with blanks or colons between
/// octets or nothing.
namespace Forms {

/// Replaces `octets` by those of `text`. The position of the character that is none of such a text,
/// or its size when the last octet has one digit only.
[[nodiscard]] std::optional< std::size_t > readHex( std::string_view text,
                                                    std::vector< U8 >& octets );

/// Appends the octets in lower case with nothing between them.
void appendHex( Vek::String& out, std::span< const U8 > octets );

} // namespace Forms
