#pragma once

#include "agents/bgp/message/Family.h"
#include "agents/peerd/rib/RuleSink.h"

#include <chrono>
#include <map>
#include <span>
#include <vector>

namespace Peerd {

/// Tells when a speaker that was started again knows all that its peers have to tell: until then
/// rules of its former life are left in force. Each peer that is expected has to send End-of-RIB
/// for each family of its session, or the time for it passes.
class FirstSync {
public:
   using Time = std::chrono::steady_clock::time_point;

   FirstSync( std::span< const PeerId > peers, Time deadline );

   /// The peer's session is up, with these families; it may be up again. One that is not expected
   /// does not matter, here and below.
   void established( PeerId peer, std::span< const Bgp::Family > families );
   void endOfRib( PeerId peer, Bgp::Family family );
   /// The session is over: the peer has to tell all again.
   void down( PeerId peer );
   /// The peer is no longer configured.
   void forget( PeerId peer );

   /// Once true it stays so.
   bool isOver( Time now );

private:
   struct Awaited {
      bool isUp = false;
      std::vector< Bgp::Family > families; ///< that have not ended yet
   };

   std::map< PeerId, Awaited > awaited_;
   const Time deadline_;
   bool over_ = false;
};

} // namespace Peerd
