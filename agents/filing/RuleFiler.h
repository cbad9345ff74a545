#pragma once

#include "Flowspec/config/Config.h"
#include "Flowspec/config/RuleAction.h"

#include <vector>

namespace Agents {

/// Files single rules in a `Config`: each is in the VRF of its key, one that packets can match
/// among the rules with a sanitised match set, the others among the infeasible ones with the
/// component at fault: one that matches nothing, or what `sanitizeMatchSet` returns.
///
/// Only differences are published: a rule that is there as it should be costs its observers
/// nothing, and one whose action changes is told by the attributes that change. A new rule gets
/// each of its components once and its actions last, values before `actionFieldSet`, so that
/// nobody is told of a rule that matches too much and drops.
class RuleFiler {
public:
   explicit RuleFiler( Vek::Ptr< Flowspec::Config > config ) : config_( std::move( config ) ) {}

   enum class Outcome : U8 {
      feasible,
      infeasible,
      refused, ///< the key cannot be taken apart
   };

   /// What became of a rule.
   struct Filed {
      Outcome outcome;
      bool added = false;   ///< it was not there as the outcome says
      U32 removed = 0;      ///< rules of the key that were there otherwise
      Vek::String reason{}; ///< of a refusal
   };

   /// Files a rule; one of the same key is made equal to it. A rule that is refused stands nowhere.
   Filed file( const Flowspec::FlowspecKey& key, const Flowspec::RuleAction& action, U64 ruleId );

   /// Removes the rule of `key`, feasible or not, and returns how many there were. The VRF stays,
   /// even when it is empty.
   U32 remove( const Flowspec::FlowspecKey& key );

   /// Drops a VRF that has no rules of either kind.
   void dropEmptyVrf( Vrf::VrfIdMap::VrfId vrfId );

private:
   Flowspec::MatchCompType sanitize( Zorv::AddressFamily family );
   Filed fileFeasible( const Flowspec::FlowspecKey& key, const Flowspec::RuleAction& action,
                       U64 ruleId );
   Filed fileInfeasible( const Flowspec::FlowspecKey& key, Flowspec::MatchCompType component,
                         U64 ruleId );

   const Vek::Ptr< Flowspec::Config > config_;
   std::vector< Flowspec::MatchComponent > components_; // of the rule in work
};

} // namespace Agents
