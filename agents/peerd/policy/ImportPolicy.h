#pragma once

#include "Vek/text/String.h"
#include "agents/peerd/policy/RuleCondition.h"

#include <optional>

namespace Peerd {

/// What becomes of the rules that a condition holds for. A plain value.
struct ImportTerm {
   RuleCondition condition{};
   bool accepts = true;
   Vek::String reason{}; ///< of a refusal, in the operator's words; may be empty

   // What is done with rules that are accepted.

   /// The VRF that the rule is filed in. Without it, the VRFs that import one of its route targets
   /// in a VPN family, else the default VRF, 0.
   std::optional< Vrf::VrfIdMap::VrfId > vrf{};
   /// The rule of a family without distinguishers is filed in the VRFs that import its route
   /// targets too; one that has none of them is refused.
   bool vrfByRouteTarget = false;
   /// The interface sets of the rule's key, ascending and each once, instead of those of its
   /// communities; none is for all interfaces.
   std::optional< std::vector< U16 > > interfaceSets{};
   std::optional< Flowspec::RuleAction > action{}; ///< instead of that of its communities

   bool operator==( const ImportTerm& ) const = default;
};

/// Which rules of a peer are filed: the first term whose condition holds decides. A plain value.
struct ImportPolicy {
   std::vector< ImportTerm > terms; ///< at most 65534
   bool acceptsOthers = false;      ///< rules that no term is about

   /// The position of the term that decides; nothing when none does.
   std::optional< U16 > match( const Flowspec::FlowspecKey& key,
                               const Flowspec::RuleAction& action ) const;

   bool operator==( const ImportPolicy& ) const = default;
};

} // namespace Peerd
