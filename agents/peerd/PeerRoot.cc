#include "agents/peerd/PeerRoot.h"

#include "agents/bgp/message/Header.h"
#include "agents/bgp/message/Open.h"
#include "forms/NlriText.h"

#include <algorithm>
#include <iterator>

namespace Peerd {

namespace {

using Peers::RouteKey;

// Seconds since the Unix epoch.
double epoch() {
   const auto since = std::chrono::system_clock::now().time_since_epoch();
   return std::chrono::duration< double >( since ).count();
}
double epochOf( PeerRoot::Time time ) {
   return epoch() -
          std::chrono::duration< double >( Agents::EventLoop::Clock::now() - time ).count();
}

Zorv::IpGenAddr identifierText( U32 identifier ) {
   return identifier == 0 ? Zorv::IpGenAddr() : Zorv::IpGenAddr::ipv4( identifier );
}

Peers::MessageCounts countsOf( const Bgp::MessageCounts& counts ) {
   return { counts.opens, counts.updates, counts.notifications, counts.keepalives,
            counts.routeRefreshes };
}

Peers::Capabilities capabilitiesOf( const Bgp::Agreed* agreed ) {
   return agreed ? Peers::Capabilities(
                      agreed->fourOctetAs, agreed->routeRefresh, agreed->enhancedRefresh,
                      agreed->gracefulRestart.has_value(), agreed->gracefulNotifications,
                      agreed->maxSend > Bgp::maxMessage || agreed->maxReceive > Bgp::maxMessage )
                 : Peers::Capabilities();
}

RouteKey keyOf( const UnfiledRoute& route ) {
   Vek::String digits;
   Forms::appendHex( digits, route.octets );
   return { *peersFamily( route.family ), std::move( digits ) };
}

// Makes a list of a peer hold `routes` and no others.
template < typename List, typename Is, typename Del >
void unfiledIs( const List& list, const std::map< RouteKey, Vek::String >& routes, Is is,
                Del del ) {
   for ( auto at = list.begin(); at != list.end(); ) {
      at = routes.contains( at->first ) ? std::next( at ) : del( at );
   }
   for ( const auto& [key, reason] : routes ) {
      const Vek::Ptr< Peers::UnfiledRule > rule = is( key );
      if ( rule->reason() != reason || rule->time() == 0 ) {
         rule->timeIs( epoch() );
         rule->reasonIs( reason );
      }
   }
}

} // namespace

std::optional< Peers::Family > peersFamily( Bgp::Family family ) {
   const auto at = std::ranges::find( Bgp::flowFamilies, family );
   return at == Bgp::flowFamilies.end()
             ? std::nullopt
             : std::optional( static_cast< Peers::Family >( at - Bgp::flowFamilies.begin() ) );
}

PeerRoot::PeerRoot( Vek::Ptr< Peers::PeerTable > table )
   : table_( std::move( table ) ), isContinued_( table_->startTime() != 0 ) {
   table_->startTimeIs( epoch() );
}

void PeerRoot::speakerIs( U32 localAs, U32 routerId ) {
   table_->localAsIs( localAs );
   table_->routerIdIs( identifierText( routerId ) );
}

PeerId PeerRoot::peerIs( const Vek::String& name ) {
   const Vek::Ptr< Peers::Peer > peer = table_->peerIs( name );
   if ( peer->number() == 0 ) {
      U32 highest = 0;
      for ( const auto& [other, entry] : table_->peer() ) {
         highest = std::max( highest, entry->number() );
      }
      peer->numberIs( highest + 1 );
   }
   const bool isNew = peers_.try_emplace( peer->number(), State{ .peer = peer } ).second;
   if ( isNew ) {
      peer->stateTimeIs( epoch() );
   }
   return peer->number();
}

void PeerRoot::keepPeers( const std::set< Vek::String >& names ) {
   for ( auto at = table_->peer().begin(); at != table_->peer().end(); ) {
      if ( names.contains( at->first ) ) {
         ++at;
      } else {
         peers_.erase( at->second->number() );
         at = table_->peerDel( at );
      }
   }
}

void PeerRoot::endOfRib( PeerId peer, Bgp::Family family ) {
   peers_.at( peer ).ended.insert( family );
}

void PeerRoot::down( PeerId peer ) { peers_.at( peer ).ended.clear(); }

void PeerRoot::write( PeerId id, const Bgp::Session& session, const RouteIn& in,
                      const RouteOut& out, U32 maxRules ) {
   State& state = peers_.at( id );
   Peers::Peer& peer = *state.peer;
   writeSession( state, session );
   writeFamilies( id, state, session.agreed(), out );
   const RouteCounts counts = in.counts( id );
   peer.rulesIs( { counts.received, counts.filed, counts.hidden, counts.refused, counts.stale,
                   out.announced( id ) } );
   peer.maxRulesIs( maxRules );
   if ( const U64 version = in.unfiledVersion( id ); state.unfiledVersion != version ) {
      state.unfiledVersion = version;
      writeUnfiled( id, peer, in );
   }
}

void PeerRoot::writeSession( State& state, const Bgp::Session& session ) {
   Peers::Peer& peer = *state.peer;
   const Bgp::Agreed* const agreed = session.agreed();
   const auto sessionState = static_cast< Peers::SessionState >( session.state() );
   const bool wasUp = peer.state() == Peers::SessionState::established;
   peer.addressIs( session.config().peer.address );
   peer.peerAsIs( session.config().peerAs );
   if ( wasUp != ( agreed != nullptr ) ) {
      peer.stateTimeIs( epochOf( session.since() ) );
   }
   if ( agreed ) {
      peer.routerIdIs( identifierText( agreed->peerIdentifier ) );
   }
   peer.capabilitiesIs( capabilitiesOf( agreed ) );
   peer.holdTimeIs( agreed ? agreed->holdTime : U16{ 0 } );
   peer.restartTimeIs( agreed && agreed->gracefulRestart ? agreed->gracefulRestart->seconds
                                                         : U16{ 0 } );
   peer.stateIs( sessionState );
   peer.flapsIs( session.flaps() );
   if ( peer.lastError() != session.lastError() ) {
      peer.lastErrorTimeIs( epochOf( session.lastErrorTime() ) );
      peer.lastErrorIs( session.lastError() );
   }
   peer.messagesInIs( countsOf( session.received() ) );
   peer.messagesOutIs( countsOf( session.sent() ) );
}

void PeerRoot::writeFamilies( PeerId id, const State& state, const Bgp::Agreed* agreed,
                              const RouteOut& out ) {
   Peers::Peer& peer = *state.peer;
   for ( const Bgp::Family family : Bgp::flowFamilies ) {
      const Peers::Family name = *peersFamily( family );
      if ( !agreed || !agreed->has( family ) ) {
         peer.familyDel( name );
         continue;
      }
      const bool isKept =
         agreed->gracefulRestart && agreed->gracefulRestart->find( family ) != nullptr;
      peer.familyIs(
         { name, isKept, state.ended.contains( family ), out.endOfRibSent( id, family ) } );
   }
}

void PeerRoot::writeUnfiled( PeerId id, Peers::Peer& peer, const RouteIn& in ) {
   std::map< RouteKey, Vek::String > routes;
   const auto take = [&]( const UnfiledRoute& route ) {
      routes.insert_or_assign( keyOf( route ), route.reason );
   };
   in.forEachRefused( id, Peers::Peer::maxUnfiledRules(), take );
   unfiledIs(
      peer.refusedRule(), routes, [&]( const RouteKey& key ) { return peer.refusedRuleIs( key ); },
      [&]( auto at ) { return peer.refusedRuleDel( at ); } );
   routes.clear();
   in.forEachHidden( id, Peers::Peer::maxUnfiledRules(), take );
   unfiledIs(
      peer.hiddenRule(), routes, [&]( const RouteKey& key ) { return peer.hiddenRuleIs( key ); },
      [&]( auto at ) { return peer.hiddenRuleDel( at ); } );
}

} // namespace Peerd
