#pragma once

#include "agents/peerd/policy/RuleCondition.h"

#include <optional>

namespace Peerd {

/// Whether the rules that a condition holds for are announced. A plain value.
struct ExportTerm {
   RuleCondition condition{};
   bool announces = true;

   bool operator==( const ExportTerm& ) const = default;
};

/// Which rules are announced to a peer, and with which attributes: the first term whose condition
/// holds decides. A plain value.
struct ExportPolicy {
   std::vector< ExportTerm > terms{};
   bool announcesOthers = false; ///< rules that no term is about
   U32 localPref = 100;          ///< LOCAL_PREF, to internal peers alone
   std::optional< U32 > med{};   ///< MULTI_EXIT_DISC

   bool announces( const Flowspec::FlowspecKey& key, const Flowspec::RuleAction& action ) const;

   bool operator==( const ExportPolicy& ) const = default;
};

} // namespace Peerd
