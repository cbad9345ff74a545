#include "Flowspec/vocab/TraceHandle.h"

namespace Flowspec {

constinit Vek::TraceHandle traceHandle( OSK_MODULE );

} // namespace Flowspec
