#pragma once

#include "Vek/types/TypeRegistry.h"

namespace Zorv {

/// The network types, for the registry.
extern OSK_EXPORT Vek::Module zorvModule;

} // namespace Zorv
