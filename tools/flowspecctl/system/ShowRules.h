#pragma once

#include "tools/flowspecctl/system/SystemOptions.h"
#include "tools/lib/Output.h"

namespace Flowspec::Tools {

// Each of these prints a table or, with `json`, an object on each line, ascending by VRF and rule
// key. `std::runtime_error` when the state cannot be had.

/// The configured rules with their actions, and those that no packet can match.
void showRules( const ShowOptions& options, Output& output );
/// What became of the rules that were to be programmed.
void showStatus( const ShowOptions& options, Output& output );
/// What the rules had counted when counters were last read; with an interval, they are read now and
/// once more, and the rates between are shown.
void showCounters( const ShowOptions& options, Output& output );

/// All that is known of the rules with the key, in all forms of the key. A key in a form without
/// VRF, family and interface sets stands for the rules of any that the filter admits. False, with
/// a message, when the key cannot be read or there is no such rule.
bool showRule( const ShowOptions& options, Output& output );

} // namespace Flowspec::Tools
