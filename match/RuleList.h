#pragma once

#include "match/RuleMatch.h"

namespace Match {

/// The rules of a `Matcher` by their ids, with what is looked at before a rule: its priority, and
/// the bounds that tell most packets from it, in half a line of the cache.
class RuleList {
public:
   /// One packet to be tried on many rules.
   class Probe {
   public:
      explicit Probe( const Packet& packet );

   private:
      friend class RuleList;
      U32 destination_; // the first 32 bits
      U16 numbers_[4];  // 0 for what the packet does not have
   };

   /// A valid rule, whose id is not in the list.
   void insert( U32 id, RuleMatch rule, U64 priority );
   void erase( U32 id ) { rules_[id].reset(); }

   bool contains( U32 id ) const { return id < rules_.size() && rules_[id]; }
   const RuleMatch& operator[]( U32 id ) const { return *rules_[id]; }

   bool precedes( U32 a, U32 b ) const {
      const U64 first = outlines_[a].priority;
      const U64 second = outlines_[b].priority;
      return first < second || ( first == second && a < b );
   }

   /// Whether the rule may match: most that do not are told so by this.
   bool mayMatch( U32 id, const Probe& probe ) const { return outlines_[id].mayMatch( probe ); }

private:
   struct alignas( 32 ) Outline {
      U64 priority = 0;
      U32 destination = 0;
      U32 mask = 0;
      U16 first[4] = {};
      U16 last[4] = { 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF };

      bool mayMatch( const Probe& probe ) const;
   };

   std::vector< std::optional< RuleMatch > > rules_;
   std::vector< Outline > outlines_;
};

inline bool RuleList::Outline::mayMatch( const Probe& probe ) const {
   for ( unsigned i = 0; i < std::size( first ); ++i ) {
      if ( probe.numbers_[i] < first[i] || probe.numbers_[i] > last[i] ) {
         return false;
      }
   }
   return ( ( destination ^ probe.destination_ ) & mask ) == 0;
}

} // namespace Match
