#pragma once

/// The module `FlowspecDalb`: rule keys and their vocabulary, rule and interface configuration.

#include "Flowspec/config/CliConfig.h"
#include "Flowspec/config/Config.h"
#include "Flowspec/config/MatchSetBuilder.h"
#include "Flowspec/key/FlowspecKeyReader.h"
#include "Flowspec/vocab/FlowspecUtil.h"
#include "Flowspec/vocab/TraceHandle.h"
