#pragma once

#include "Flowspec/config/Config.h"
#include "forms/RuleFile.h"

#include <span>

namespace Agents {

/// What became of the rules of all files.
struct Filed {
   U64 feasible = 0;   ///< rules that are in the configuration now
   U64 infeasible = 0; ///< infeasible ones that are there now
   U64 added = 0;      ///< of both, those that were not there before
   U64 removed = 0;    ///< those that were there; all of a VRF when it goes
   /// The rules that stand nowhere: those whose key cannot be taken apart, and those whose key a
   /// rule before them has. By files, then by lines; the files' own errors are not among them.
   std::vector< Forms::RuleError > errors{};
   /// What to tell of rules that are filed but ask for values that no packet has
   /// (`Forms::beyondField`), in the same order.
   std::vector< Forms::RuleError > warnings{};
};

/// Files rules as configuration: makes the VRFs of a `Config` hold what files ask for. It owns
/// `Config::vrfRuleConfig`; the other attributes are left alone. What is gone goes before anything
/// comes, and rules are filed as `Agents::RuleFiler` does.
class Filing {
public:
   explicit Filing( Vek::Ptr< Flowspec::Config > config ) : config_( std::move( config ) ) {}

   /// Makes the configuration hold the rules of `files` and no others. Of rules with equal keys the
   /// first one counts. A VRF without rules of either kind is dropped. Within a VRF rules go and
   /// come in the order of `FlowspecKeyOrder`.
   Filed apply( std::span< const Forms::RuleFile > files );

private:
   Vek::Ptr< Flowspec::Config > config_;
};

} // namespace Agents
