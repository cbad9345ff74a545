#pragma once

#include "Flowspec/config/RuleConfig.h"
#include "Flowspec/vocab/HwRuleProgrammingStatus.h"
#include "dataplane/Profile.h"

namespace Dataplane {

/// What became of a rule.
struct ProgrammingResult {
   Flowspec::HwRuleProgrammingStatus code = Flowspec::unprocessed;
   Vek::String reason; ///< in words for people; "" for a rule that is wholly in force

   bool isProgrammed() const {
      return code == Flowspec::programmed || code == Flowspec::programmedWithFailures;
   }

   bool operator==( const ProgrammingResult& ) const = default;
};

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
/// The entries of one component.
U64 entriesOf( const Flowspec::MatchComponent& component );

/// The number of prefixes of numbers that together are `first` to `last`.
U32 prefixCount( U32 first, U32 last );

} // namespace Dataplane
