#pragma once

#include "tools/flowspecctl/system/SystemOptions.h"
#include "tools/terminal/Table.h"

namespace Tools {

/// What tables of rules begin with: the VRF, the address family and, with what the other columns
/// leave of the line, the rule.
Table ruleTable( std::vector< Table::Column > others );

/// The three cells: the rule in the command-line form with its interface sets in front.
std::vector< Vek::String > ruleCells( const Flowspec::FlowspecKey& key );

/// What objects of rules begin with: `{"key":{...},"cli":"..."`; the key is null when it has no
/// JSON text.
void beginRuleJson( Vek::String& out, const Flowspec::FlowspecKey& key );

/// The code and, where there is one, the reason.
Vek::String statusText( const Flowspec::RuleStatus& status );

/// A point in time as "2026-11-22 01:25:10 UTC"; "never" for 0 seconds since the Unix epoch.
Vek::String timeText( double seconds );

} // namespace Tools
