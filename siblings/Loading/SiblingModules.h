#pragma once

#include "Vek/types/TypeRegistry.h"

#include <span>

/// The modules of the sibling libraries that are built into this one, in the order in which they
/// are to be loaded: `Vrf`, `QosLib`, `SrTePolicy`, `L3`, `Classification`, `PolicyMap`.
std::span< Vek::Module* const > siblingModules();
