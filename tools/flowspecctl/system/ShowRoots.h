#pragma once

#include "tools/flowspecctl/system/SystemOptions.h"
#include "tools/lib/Output.h"

namespace Flowspec::Tools {

/// The roots of the state database: their types, how many read them, and who writes them.
/// `std::runtime_error` when the database does not tell.
void showRoots( const ShowOptions& options, Output& output );

} // namespace Flowspec::Tools
