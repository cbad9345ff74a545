#pragma once

#include "tools/flowspecctl/system/SystemOptions.h"
#include "tools/lib/Output.h"

namespace Flowspec::Tools {

/// The interfaces on which rules are, or should be, applied: a line for each address family, and
/// one for each interface set in use. `std::runtime_error` here and below when the state cannot be
/// had.
void showInterfaces( const ShowOptions& options, Output& output );

/// What the platform cannot do, by address family.
void showUnsupported( const ShowOptions& options, Output& output );

} // namespace Flowspec::Tools
