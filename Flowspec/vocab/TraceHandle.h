#pragma once

#include "Vek/text/Trace.h"

namespace Flowspec {

/// The library's trace switch; its records name the file `FlowspecDalb`. Level 2 carries texts
/// that could not be parsed and an invalid component type, level 8 carries progress.
extern OSK_EXPORT Vek::TraceHandle traceHandle;

} // namespace Flowspec
