#pragma once

#include "agents/programd/Backend.h"

namespace Agents {

/// What one rule takes of hardware with a profile, whatever room there is.
struct RuleDemand {
   /// `programmed` or `programmedWithFailures` when the rule can be programmed if there is room,
   /// else why it cannot be: `unsupportedTcamProfile`, `unsupportedMatch` or `unsupportedAction`,
   /// the first of these that holds. A rule without actions can be: it counts.
   ProgrammingResult result;
   U64 entries = 1; ///< see `entriesOf`
   Flowspec::RuleAction asked;
   Actions actions; ///< those of them that can be done; none for a rule that cannot be programmed

   bool operator==( const RuleDemand& ) const = default;
};

RuleDemand demandOf( const Flowspec::RuleConfig& rule, const Profile& profile );

/// How many TCAM entries a rule takes: the product over the components of its match set of what
/// each takes, at least 1; 2^64 - 1 when it is larger. A range takes one for each of the prefixes
/// that make it up, a bit mask one, or one for each of the bits of which any may match.
U64 entriesOf( const Flowspec::RuleConfig& rule );

/// The number of prefixes of numbers that together are `first` to `last`.
U32 prefixCount( U32 first, U32 last );

} // namespace Agents
