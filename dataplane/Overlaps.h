#pragma once

#include "Flowspec/config/RuleAction.h"
#include "dataplane/RuleIndex.h"
#include "match/Packet.h"

namespace Dataplane {

/// Whether packets that match a rule with the action go on to the rules after it.
bool continues( const Flowspec::RuleAction& action );

/// Whether each interface whose packets are tried on a rule with the key `inner` has them tried on
/// one with `outer`, too.
bool coversSets( const Flowspec::FlowspecKey& outer, const Flowspec::FlowspecKey& inner );

/// Whether the packets of some interface are tried on rules with either key: one of them is bound
/// to no interface set, or they share one. Interfaces may be in several sets; those of different
/// ones are taken for different ones.
bool sharesSets( const Flowspec::FlowspecKey& a, const Flowspec::FlowspecKey& b );

/// One rule of those that are compared. Both outlive the comparison.
struct ComparedRule {
   const Flowspec::FlowspecKey* key;   ///< not null
   const Flowspec::RuleAction* action; ///< not null
};

/// Another rule that takes packets, and one of these.
struct Overlap {
   std::size_t rule; ///< its position among those that are compared
   Match::Packet packet;
};

/// The rules that take packets from one rule. Those whose packets go on are not among them.
struct Overlaps {
   /// One with the same packets, apart from how it is written.
   std::optional< Overlap > same{};
   /// One that takes all of its packets.
   std::optional< Overlap > wholly{};
   /// One with another action that takes some of them, and has others that the rule does not match:
   /// the order alone decides. An exception, of which the rule matches all packets, is none.
   std::optional< Overlap > contradicts{};
   /// The first that was found to take some of them.
   std::optional< Overlap > partly{};
   /// The rules that may meet it and were not looked at, as there are too many.
   U64 notCompared = 0;
};

/// Tells which rules of a set hide others. Each is compared with those alone that may meet it
/// (`RuleIndex`), and the work for one has limits, so that it grows with the number of rules.
class OverlapFinder {
public:
   /// A rule is compared exactly with no more others, and looked at beside no more.
   static constexpr std::size_t maxCompared = 128;
   static constexpr std::size_t maxLookedAt = 10000;

   /// Rules of any VRFs and families, in any order; of equal keys the first one counts.
   explicit OverlapFinder( std::vector< ComparedRule > rules );

   /// The rules that take packets from the one at a position of those given; none for one that
   /// matches no packet. "The same" is found whatever the number of rules; nothing else is then.
   Overlaps overlapsOf( std::size_t rule ) const;

private:
   static constexpr std::size_t none = ~std::size_t{ 0 };

   // The rules of one VRF and family, by their positions in the order in which they are tried.
   struct Group {
      std::vector< std::size_t > rules;
      RuleIndex index;
   };

   // Where a rule is; of one that matches nothing `group` is `none`.
   struct Place {
      std::size_t group = none;
      RuleIndex::Position at = 0;
      std::size_t same = none; // the first rule before it with the same packets
   };

   void addGroup( std::vector< std::size_t > rules );
   void compare( std::size_t rule, const Group& group, Overlaps& found ) const;

   std::vector< ComparedRule > rules_;
   std::vector< Place > places_;
   std::vector< Group > groups_;
};

} // namespace Dataplane
