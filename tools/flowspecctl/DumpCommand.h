#pragma once

#include "tools/lib/Output.h"
#include "tools/lib/StateRoots.h"

#include <vector>

namespace Flowspec::Tools {

/// What `flowspecctl dump` is asked for.
struct DumpOptions {
   Vek::String endpoint = defaultEndpoint; ///< where the state database listens
   bool json = false;                      ///< an object for each root
   std::vector< Vek::String > roots;
};

/// Prints the state of roots that a state database holds, in the order of their names. What cannot
/// be had is reported, without an answer for ten seconds, too. True when all of it was printed.
/// `RangeException` when a root cannot be asked for by its name.
bool runDump( const DumpOptions& options, Output& output );

} // namespace Flowspec::Tools
