#pragma once

#include "agents/configd/RuleFile.h"

#include <ostream>

namespace Agents {

/// How a failed test shows an error.
inline void PrintTo( const RuleError& error, std::ostream* out ) {
   *out << error.file << ':' << error.line << ": " << error.reason;
}

} // namespace Agents
