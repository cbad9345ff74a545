#pragma once

#include "forms/dialects/Dialect.h"

/// Rules in the project's own JSON, which `configd` reads: an object with the members of a key's
/// JSON text (`forms/KeyJson.h`), of which `vrfId` and `addressFamily` may be null, and, where
/// wanted, `action` (`forms/ActionJson.h`) with `expires` as a further member, `ruleId`, a whole
/// number of 64 bits, and `rd`, a route distinguisher. Without an action a rule permits.
///
/// `expires` is a whole number of seconds from 1 to 4294967295, after which the rule is to be
/// removed, or the text of a point in time (`forms/TimeText.h`).
///
/// Communities that say nothing of the action are left out. What is wrong is told without a column:
/// the reason names the member.
namespace Forms {

void readRuleJson( Cursor& text, const Context& context, Rule& rule,
                   std::vector< Fault >& remarks );
void appendRuleJson( const Rule& rule, const Context& context, Vek::String& out );

} // namespace Forms
