#pragma once

#include "Vek/types/TypeRegistry.h"

namespace PolicyMap {

/// The types of this library, for the registry.
extern constinit Vek::Module module;

} // namespace PolicyMap
