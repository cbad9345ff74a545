#pragma once

#include "match/RuleMatch.h"

#include <functional>
#include <memory>

namespace Match {

/// One rule of a `Matcher`.
struct Candidate {
   const Flowspec::FlowspecKey* key; ///< not null; not kept
   U64 priority;                     ///< the lowest wins; of equal ones the lowest id
   /// What the matcher answers with; no two rules have the same. The matcher's memory grows with
   /// the highest one that was ever in it.
   U32 id;
};

/// A set of rules that tells which of them wins a packet, without trying them all, and that
/// changes by one rule at a time.
///
/// `match` may be called from several threads at once while nobody changes the set; it allocates
/// nothing.
///
/// Each rule is filed in a hash table under that one of its components which it shares with the
/// fewest others: a prefix, or a numeric component as the few blocks of numbers that cover it, as a
/// prefix covers addresses. A packet is tried on the rules filed under what it has itself. Rules
/// that share a block become a table of their own when they are more than a few, filed by the rest
/// of their components. So the time for a packet grows with the number of different lengths of
/// prefixes and sizes of blocks, and with the number of rules that have nothing of the kind, such
/// as TCP flags alone. When many rules match one packet, they are tried from the best on.
///
/// A rule has at most 64 places in all tables.
class OSK_EXPORT Matcher {
public:
   /// Answers whether the rule with an id may win: one bound to interface sets, for instance.
   using Accepts = std::function< bool( U32 id ) >;

   Matcher();
   explicit Matcher( std::span< const Candidate > rules );
   Matcher( Matcher&& other ) noexcept;
   Matcher& operator=( Matcher&& other ) noexcept;
   ~Matcher();

   /// Adds a rule, or replaces the one with its id. A key that is not a rule (`RuleMatch::valid`)
   /// matches nothing.
   void insert( const Candidate& rule );
   /// Removes the rule with an id, if there is one.
   void erase( U32 id );

   /// The id of the first rule by priority that matches; nothing when none does.
   std::optional< U32 > match( const Packet& packet ) const;

   /// The id of the first rule by priority that matches and that `accepts` accepts. It is asked
   /// about rules that match only, but in any order and not always about all of them: its answer
   /// must depend on the id alone.
   std::optional< U32 > match( const Packet& packet, const Accepts& accepts ) const;

private:
   class Filing;
   std::unique_ptr< Filing > filing_;
};

} // namespace Match
