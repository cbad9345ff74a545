#pragma once

#include "tools/flowspecctl/system/SystemOptions.h"

namespace Tools {

/// Asks for counters, and waits until the root of counters, which `roots` reads, has them; returns
/// it. The configuration, in which the request is written, must be there: it is not created.
/// `std::runtime_error` when it is not, and when nobody answers for ten seconds.
Vek::Ptr< Flowspec::Counter > refreshCounters( const SystemOptions& system, StateRoots& roots );

} // namespace Tools
