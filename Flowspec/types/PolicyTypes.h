#pragma once

#include "Vek/types/TypeInfo.h"

namespace Flowspec {

// The descriptions of the policy module's types.
extern const Vek::TypeInfo policyConfigInfo;
extern const Vek::TypeInfo policyActionContainerInfo;
extern const Vek::TypeInfo redirectVrfRtActionInfo;

} // namespace Flowspec
