#pragma once

#include "match/RuleMatch.h"
#include "tools/flowspecctl/ConfiguredRules.h"

namespace Tools {

/// A rule that was tried on a packet.
struct TriedRule {
   const ConfiguredRule* rule;
   Flowspec::MatchCompType failed; ///< the first component that does not match; `invalid` for none
};

/// What becomes of a packet.
struct Trace {
   /// The rules that were tried, in order: up to the one that wins. Those before it that match have
   /// the packet go on.
   std::vector< TriedRule > tried{};
   const ConfiguredRule* winner = nullptr; ///< the last that matched; null when none did
   U64 elsewhere = 0; ///< rules before the winner that are bound to other interfaces
};

/// Tries rules on packets as a router does, and remembers what happened.
class RuleTrace {
public:
   /// `rules` are in the order in which they are tried. Those of `vrf` are, and of these the ones
   /// that are bound to no interface set or to one of `interfaceSets`.
   RuleTrace( std::vector< ConfiguredRule > rules, Vrf::VrfIdMap::VrfId vrf,
              const std::vector< U16 >& interfaceSets );

   /// Refers to rules of this object.
   Trace trace( const Match::Packet& packet ) const;

private:
   struct Rule {
      ConfiguredRule configured;
      Match::RuleMatch match;
      bool isHere; ///< the packet's interface has it
   };

   std::vector< Rule > rules_;
};

} // namespace Tools
