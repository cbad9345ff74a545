#pragma once

#include "Vek/types/TypeRegistry.h"

namespace Vek {

/// The types of the runtime itself, for the registry: `Osk::UniqueId`, `Osk::DumpContext`, the
/// string and the plain ones.
extern OSK_EXPORT Module runtimeModule;

} // namespace Vek
