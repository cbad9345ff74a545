#pragma once

#include "tools/lib/Output.h"

namespace Flowspec::Tools {

/// Writes the type registry, as Markdown or as one JSON object: the modules, their types, and the
/// attributes of each with field ids, kinds and types. One type alone when `typeName` is not empty;
/// false, after a message, when no module has it.
bool runTypes( const Vek::String& typeName, bool json, Output& output );

} // namespace Flowspec::Tools
