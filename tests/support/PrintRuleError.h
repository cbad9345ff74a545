#pragma once

#include "forms/RuleFile.h"

#include <ostream>

namespace Forms {

/// How a failed test shows an error.
inline void PrintTo( const RuleError& error, std::ostream* out ) {
   *out << error.file << ':' << error.line << ": " << error.reason;
}

} // namespace Forms
