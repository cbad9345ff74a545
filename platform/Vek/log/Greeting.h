#pragma once

#include "Vek/String.h"

#include <optional>

namespace Vek::log {

/// What a client says when it has connected to a state database, a line:
/// `mount/1 read AGENT ROOT` or `mount/1 write AGENT ROOT`. The answer is a line, too: `ok`, behind
/// which the attribute log begins in the direction that was asked for, or `refused REASON`.
struct OSK_EXPORT Greeting {
   /// No line, its end included, is longer.
   static constexpr std::size_t maxSize = 1024;
   static constexpr std::string_view accepted = "ok";
   static constexpr std::string_view refused = "refused ";

   bool writes = false;
   String agent; ///< no blanks
   String root;

   /// The line, with its end. `RangeException` when a name cannot stand in it.
   String text() const;

   /// Reads a line without its end; nothing when it is no greeting.
   static std::optional< Greeting > fromText( std::string_view line );
};

} // namespace Vek::log
