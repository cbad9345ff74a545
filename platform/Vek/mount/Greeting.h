#pragma once

#include "Vek/text/String.h"

#include <optional>

namespace Vek::log {

/// What a client says when it has connected to a state database, a line:
/// `mount/1 read AGENT ROOT`, `mount/1 write AGENT ROOT` or `mount/1 list AGENT`. The answer is a
/// line, too: `ok`, or `refused REASON`, which ends the connection. After `ok` the attribute log
/// begins in the direction that was asked for; or there is a line for each root, of which tabs
/// separate the name, the type, the number of readers, the writing agent and who that is.
///
/// While a writer sends its log, the database sends it lines: `has BYTES` when it has applied so
/// many bytes of the log, counted from its preamble on, and has them on its disk if it keeps the
/// root there; `refused REASON` when it takes no more.
struct OSK_EXPORT Greeting {
   /// No line, its end included, is longer.
   static constexpr std::size_t maxSize = 1024;
   static constexpr std::string_view accepted = "ok";
   static constexpr std::string_view refused = "refused ";
   static constexpr std::string_view has = "has ";

   bool writes = false;
   bool lists = false; ///< and does not write
   String agent;       ///< no blanks
   String root;        ///< none of one that lists

   /// The line, with its end. `RangeException` when a name cannot be in it.
   String text() const;

   /// Reads a line without its end; nothing when it is no greeting.
   static std::optional< Greeting > fromText( std::string_view line );
};

} // namespace Vek::log
