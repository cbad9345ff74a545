#include "agents/peerd/Speaker.h"

#include "agents/bgp/message/RouteRefresh.h"
#include "agents/bgp/message/Update.h"

namespace Peerd {

using Agents::EventLoop;
using Bgp::Session;

void Speaker::established( Session& session, const Bgp::Agreed& agreed ) {
   const PeerId id = idOf( session );
   Peer& peer = peers_.at( id );
   peer.wantsRefresh = false;
   if ( const Zorv::IpGenAddr local = session.localEnd().address; peer.localAddress != local ) {
      peer.localAddress = local;
      guardSessions();
   }
   std::vector< Bgp::Family > kept;
   if ( agreed.gracefulRestart ) {
      for ( const Bgp::GracefulFamily& family : agreed.gracefulRestart->families ) {
         if ( family.forwarding ) {
            kept.push_back( family.family );
         }
      }
   }
   in_.established( id, agreed.peerIdentifier, kept );
   // It has as much time again to tell all that it has.
   if ( peer.staleUntil != Time::max() ) {
      peer.staleUntil =
         EventLoop::Clock::now() + std::chrono::seconds( peer.config.session.restartTime );
   }
   if ( firstSync_ ) {
      firstSync_->established( id, agreed.families );
   }
   if ( announcesFrom_ == Time::min() ) {
      out_.established( id, agreed );
   }
   hasWork_ = true;
}

void Speaker::update( Session& session, const Bgp::Update& update ) {
   const PeerId id = idOf( session );
   const RouteIn::Taken taken = in_.update( id, update );
   hasWork_ = true;
   if ( !taken.nearMaximum && !taken.cease ) {
      return;
   }
   const U32 most = peers_.at( id ).config.import.guards.maxRules;
   if ( taken.cease ) {
      session.end( { Bgp::ErrorCode::cease, Bgp::Cease::maximumPrefixes, {} },
                   Vek::concat( "more than ", most, " rules" ) );
   } else {
      daemon_.logPeer( Vek::concat( "peer ", session.config().name, ": ", in_.counts( id ).received,
                                    " rules of at most ", most ) );
   }
}

void Speaker::endOfRib( Session& session, Bgp::Family family ) {
   const PeerId id = idOf( session );
   in_.endOfRib( id, family );
   peerRoot_.endOfRib( id, family );
   if ( firstSync_ ) {
      firstSync_->endOfRib( id, family );
   }
   hasWork_ = true;
}

void Speaker::routeRefresh( Session& session, Bgp::Family family, U8 subtype ) {
   const PeerId id = idOf( session );
   if ( subtype == Bgp::RouteRefresh::request ) {
      out_.refresh( id, family );
   } else if ( subtype == Bgp::RouteRefresh::begin ) {
      in_.refreshBegins( id, family );
   } else {
      in_.refreshEnds( id, family );
   }
   hasWork_ = true;
}

// Rules of the peers of a speaker that was stopped stay in force: it may be back at once.
void Speaker::down( Session& session, const Bgp::Down& down ) {
   if ( farewellDue_ != Time::max() ) {
      return;
   }
   const PeerId id = idOf( session );
   const std::vector< Bgp::Family > stale =
      down.keepsStale ? down.staleFamilies : std::vector< Bgp::Family >();
   in_.down( id, stale );
   out_.down( id );
   peerRoot_.down( id );
   if ( firstSync_ ) {
      firstSync_->down( id );
   }
   peers_.at( id ).staleUntil =
      stale.empty() ? Time::max() : EventLoop::Clock::now() + down.restartTime;
   hasWork_ = true;
}

void Speaker::writable( Session& ) { hasWork_ = true; }

void Speaker::changed( Session& ) { statusDue_ = {}; }

} // namespace Peerd
