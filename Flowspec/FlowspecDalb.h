#pragma once

/// The module `FlowspecDalb`: rule keys and their vocabulary, rule and interface
/// configuration, programming status and counters.

#include "Flowspec/config/CliConfig.h"
#include "Flowspec/config/Config.h"
#include "Flowspec/config/MatchSetBuilder.h"
#include "Flowspec/key/FlowspecKeyReader.h"
#include "Flowspec/status/Counter.h"
#include "Flowspec/status/Status.h"
#include "Flowspec/vocab/FlowspecUtil.h"
#include "Flowspec/vocab/TraceHandle.h"
