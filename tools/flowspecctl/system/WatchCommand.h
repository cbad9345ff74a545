#pragma once

#include "tools/lib/Output.h"
#include "tools/lib/StateRoots.h"

#include <vector>

namespace Flowspec::Tools {

/// What `flowspecctl watch` is asked for.
struct WatchOptions {
   Vek::String endpoint = defaultEndpoint; ///< where the state database listens
   bool json = false;                      ///< an object for each change
   bool initial = false;                   ///< begin with what is there
   std::vector< Vek::String > roots{ "flowspec/config", "flowspec/cliconfig", "flowspec/status",
                                     "flowspec/counter" };
};

/// Prints the changes of roots as they happen, a line each, until the process is ended. A root that
/// comes later is printed whole. Connections that are lost are reported, and tried again. Returns,
/// with a message, when the state database cannot be reached at the beginning.
void runWatch( const WatchOptions& options, Output& output );

} // namespace Flowspec::Tools
