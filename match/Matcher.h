#pragma once

#include "match/RuleMatch.h"

#include <functional>

namespace Match {

/// One rule of a `Matcher`.
struct Candidate {
   const Flowspec::FlowspecKey* key; ///< not null; read by the constructor only
   U64 priority;                     ///< the lowest wins; of equal ones the rule that stands first
   U32 id;                           ///< what the matcher answers with; anything
};

/// A set of rules that tells which of them wins a packet, without trying them all. To change the
/// set, make another. `match` may be called from several threads at once.
///
/// Each rule is filed under that one of its attributes which it shares with the fewest others: its
/// destination prefix, its source prefix, or the numbers of a component that only lists numbers. A
/// packet is tried on the rules filed under what it has itself. So the time for a packet grows with
/// the number of different prefix lengths, and with the number of rules that have nothing of the
/// kind, such as ranges of ports alone; the memory grows with the number of rules.
class OSK_EXPORT Matcher {
public:
   /// Answers whether the rule with an id may win: one bound to interface sets, for instance.
   using Accepts = std::function< bool( U32 id ) >;

   explicit Matcher( std::span< const Candidate > rules );

   /// The id of the first rule by priority that matches; nothing when none does.
   std::optional< U32 > match( const Packet& packet ) const;

   /// The id of the first rule by priority that matches and that `accepts` accepts. It is asked
   /// about rules that match only, but in any order and not always about all of them: its answer
   /// must depend on the id alone.
   std::optional< U32 > match( const Packet& packet, const Accepts& accepts ) const;

private:
   // A rule's place in the order of priority.
   using Position = U32;

   // The positions of rules under one hash, ascending, from `begin` up to `end`; none for an unused
   // slot.
   struct Slot {
      U32 hash = 0;
      U32 begin = 0;
      U32 end = 0;
   };

   // By what the rules of one family are filed.
   struct Filing {
      std::vector< U8 > destLengths;
      std::vector< U8 > srcLengths;
      std::vector< Flowspec::MatchCompType > types;
   };

   void file( const std::vector< std::vector< U32 > >& hashes );
   const Filing& filing( Zorv::AddressFamily family ) const {
      return filings_[family == Zorv::AddressFamily::ipv6];
   }
   std::size_t filterWord( U32 hash ) const { return ( hash >> 6 ) & ( filter_.size() - 1 ); }
   std::span< const Position > find( U32 hash ) const;
   template < typename MayWin >
   std::optional< U32 > best( const Packet& packet, MayWin mayWin ) const;

   std::vector< RuleMatch > rules_;
   std::vector< U32 > ids_;
   Filing filings_[2];
   std::vector< Slot > slots_; // a power of two, probed one after the other
   std::vector< Position > positions_;
   std::vector< U64 > filter_; // a bit for each hash, small enough to stay in the first cache
};

} // namespace Match
