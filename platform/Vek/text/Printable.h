#pragma once

#include "Vek/text/String.h"

namespace Vek {

/// The length to which a name or a line of foreign text is cut in messages.
inline constexpr std::size_t printableSize = 120;
/// The same of a whole reason.
inline constexpr std::size_t printableReasonSize = 600;

/// Foreign text, such as a peer's, as it can stand in an error message or a line of a log: whatever
/// is not a printable ASCII character is written as `\xHH`, and a result that would be longer than
/// `atMost` is cut between two characters and ends with "...". Text that is short and printable
/// stays as it is, so that nothing changes when it is done twice. `atMost` is at least 3; no more
/// of `foreign` is read than fits.
OSK_EXPORT String printable( std::string_view foreign, std::size_t atMost = printableSize );

} // namespace Vek
