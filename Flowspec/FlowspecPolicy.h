#pragma once

/// The module `FlowspecPolicy`: policy configurations of the flow-specification kind.

#include "Flowspec/policy/FlowspecPolicyConfig.h"
