#pragma once

#include "Vek/entity/Entity.h"

namespace Tools {

/// Appends the state of a root entity: a line with its type and its name, and its dump after it;
/// with `json` an object with members `root`, `type` and `state` on one line.
void appendState( Vek::String& out, Vek::NamedEntity& root, bool json );

} // namespace Tools
