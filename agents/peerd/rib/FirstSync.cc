#include "agents/peerd/rib/FirstSync.h"

namespace Peerd {

FirstSync::FirstSync( std::span< const PeerId > peers, Time deadline ) : deadline_( deadline ) {
   for ( const PeerId peer : peers ) {
      awaited_.try_emplace( peer );
   }
}

void FirstSync::established( PeerId peer, std::span< const Bgp::Family > families ) {
   if ( const auto found = awaited_.find( peer ); found != awaited_.end() ) {
      found->second = { true, { families.begin(), families.end() } };
   }
}

void FirstSync::endOfRib( PeerId peer, Bgp::Family family ) {
   const auto found = awaited_.find( peer );
   if ( found == awaited_.end() || !found->second.isUp ) {
      return;
   }
   std::erase( found->second.families, family );
   if ( found->second.families.empty() ) {
      awaited_.erase( found );
   }
}

void FirstSync::down( PeerId peer ) {
   if ( const auto found = awaited_.find( peer ); found != awaited_.end() ) {
      found->second = {};
   }
}

void FirstSync::forget( PeerId peer ) { awaited_.erase( peer ); }

bool FirstSync::isOver( Time now ) {
   over_ = over_ || awaited_.empty() || now >= deadline_;
   return over_;
}

} // namespace Peerd
