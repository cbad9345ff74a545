#pragma once

#include "dataplane/nftables/Ruleset.h"

namespace Dataplane::Nftables {

/// Lines of which there is one.
Lines oneLine( Line line );

/// What a rule is in the chain of its destination, and the chains of its own, by their names.
struct RuleChains {
   Lines lines;
   std::map< Vek::String, Chain > own;
};

RuleChains ruleChains( const Rule& rule );

} // namespace Dataplane::Nftables
