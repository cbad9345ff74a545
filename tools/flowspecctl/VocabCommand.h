#pragma once

#include "tools/lib/Output.h"

namespace Flowspec::Tools {

/// Writes the component types and the DSCP names, as tables or as one JSON object.
void runVocab( bool json, Output& output );

} // namespace Flowspec::Tools
