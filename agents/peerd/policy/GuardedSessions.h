#pragma once

#include "agents/peerd/policy/GuardRails.h"

namespace Peerd {

/// The sessions whose packets no rule may take. To look for one takes the time of a binary search,
/// however many there are, where the rule has a prefix without their addresses, as most have.
class GuardedSessions {
public:
   GuardedSessions() = default;
   explicit GuardedSessions( std::vector< SessionEnds > sessions );

   /// As they were given.
   const std::vector< SessionEnds >& sessions() const { return sessions_; }
   /// The position of the first one that `coversSession`; nothing when there is none.
   std::optional< U16 > coveredBy( const Flowspec::FlowspecKey& rule ) const;

private:
   /// An end of the session at a position.
   struct End {
      Zorv::IpGenAddr address;
      U16 session;

      auto operator<=>( const End& ) const = default;
   };

   std::vector< SessionEnds > sessions_;
   std::vector< End > ends_; // ascending
};

} // namespace Peerd
