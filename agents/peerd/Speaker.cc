#include "agents/peerd/Speaker.h"

#include "agents/bgp/message/RouteRefresh.h"

#include <algorithm>
#include <random>

namespace Peerd {

namespace {

using Agents::EventLoop;
using Bgp::Session;

// How often it is looked whether farewells have gone.
constexpr std::chrono::milliseconds farewellInterval( 10 );

U64 randomSeed() {
   std::random_device device;
   return U64{ device() } << 32 | device();
}

} // namespace

Speaker::Speaker( Agents::Daemon& daemon, const Roots& roots, PeerdConfig config )
   : daemon_( daemon ), config_( std::move( config ) ), peerRoot_( roots.peers ),
     ruleRoot_( roots.rules ), in_( ruleRoot_ ),
     announcesFrom_( EventLoop::Clock::now() + exportPatience ),
     sessions_( daemon.loop(), *this,
                { .log = [this]( std::string_view text ) { daemon_.logPeer( text ); },
                  .restarted = peerRoot_.isContinued(),
                  .seed = randomSeed() } ) {
   daemon_.loop().add( *this );
   applyPeers();
   auto longest = std::chrono::seconds( 0 );
   std::vector< PeerId > ids;
   for ( const auto& [id, peer] : peers_ ) {
      ids.push_back( id );
      longest = std::max( longest, std::chrono::seconds( peer.config.session.restartTime ) );
   }
   firstSyncUntil_ = EventLoop::Clock::now() + longest;
   firstSync_.emplace( ids, firstSyncUntil_ );
}

Speaker::~Speaker() { daemon_.loop().remove( *this ); }

void Speaker::configIs( PeerdConfig config ) {
   config_ = std::move( config );
   applyPeers();
}

// Those that come are known before their sessions, those that go for as long as theirs.
void Speaker::applyPeers() {
   peerRoot_.speakerIs( config_.localAs, config_.routerId );
   in_.vrfTableIs( config_.vrfs );
   out_.vrfTableIs( config_.vrfs );
   std::set< Vek::String > names;
   std::vector< Bgp::SessionConfig > sessions;
   for ( const PeerConfig& config : config_.peers ) {
      const Vek::String& name = config.session.name;
      const PeerId id = peerRoot_.peerIs( name );
      ids_[name] = id;
      const auto [at, isNew] = peers_.try_emplace( id );
      Peer& peer = at->second;
      // What there was no room for is not in the tables to be judged again.
      peer.wantsRefresh |=
         !isNew && peer.config.import != config.import && in_.counts( id ).beyondMax > 0;
      peer.config = config;
      in_.peerIs( id, config.import );
      out_.peerIs( id, config.exported );
      names.insert( name );
      sessions.push_back( config.session );
   }
   for ( const Vek::String& reason : sessions_.listen( config_.listen ) ) {
      daemon_.log( reason );
   }
   sessions_.apply( sessions );
   for ( auto at = ids_.begin(); at != ids_.end(); ) {
      if ( names.contains( at->first ) ) {
         ++at;
         continue;
      }
      in_.peerDel( at->second );
      out_.peerDel( at->second );
      if ( firstSync_ ) {
         firstSync_->forget( at->second );
      }
      peers_.erase( at->second );
      at = ids_.erase( at );
   }
   peerRoot_.keepPeers( names );
   guardSessions();
   hasWork_ = true;
   statusDue_ = {};
}

// No rule may take the packets of a session.
void Speaker::guardSessions() {
   std::vector< SessionEnds > ends;
   for ( const auto& [id, peer] : peers_ ) {
      const Bgp::SessionConfig& session = peer.config.session;
      ends.push_back(
         { .local = session.localAddress.empty() ? peer.localAddress : session.localAddress,
           .peer = session.peer.address,
           .localPort = config_.listen.empty() ? U16{ 179 } : config_.listen[0].port,
           .peerPort = session.peer.port } );
   }
   in_.sessionsIs( ends );
}

void Speaker::exportedChanged() {
   beginToAnnounce();
   hasWork_ = true;
}

void Speaker::beginToAnnounce() {
   if ( std::exchange( announcesFrom_, Time::min() ) == Time::min() ) {
      return;
   }
   for ( Session* const session : sessions_.sessions() ) {
      if ( const Bgp::Agreed* const agreed = session->agreed() ) {
         out_.established( idOf( *session ), *agreed );
      }
   }
   hasWork_ = true;
}

void Speaker::requests( const Peers::PeerRequests& requests ) {
   for ( const auto& [id, peer] : peers_ ) {
      Peers::Peer& state = peerRoot_.peer( id );
      if ( const double time = requests.refreshIn( state.name() ); time > state.refreshInTime() ) {
         peers_.at( id ).wantsRefresh = true;
         state.refreshInTimeIs( time );
      }
      if ( const double time = requests.refreshOut( state.name() );
           time > state.refreshOutTime() ) {
         announceAgain( id );
         state.refreshOutTimeIs( time );
      }
   }
   hasWork_ = true;
}

void Speaker::announceAgain( PeerId id ) {
   const Session* const session = sessions_.find( peers_.at( id ).config.session.name );
   if ( const Bgp::Agreed* const agreed = session ? session->agreed() : nullptr ) {
      for ( const Bgp::Family family : agreed->families ) {
         out_.refresh( id, family );
      }
   }
}

void Speaker::stop() {
   farewellDue_ = {};
   sessions_.stop( "peerd was stopped" );
}

Speaker::Time Speaker::due() const {
   if ( hasWork_ ) {
      return {};
   }
   Time first = std::min( statusDue_, farewellDue_ );
   if ( firstSync_ ) {
      first = std::min( first, firstSyncUntil_ );
   }
   if ( announcesFrom_ != Time::min() ) {
      first = std::min( first, announcesFrom_ );
   }
   for ( const auto& [id, peer] : peers_ ) {
      first = std::min( first, peer.staleUntil );
   }
   return first;
}

void Speaker::ready() {
   const Time now = EventLoop::Clock::now();
   if ( farewellDue_ <= now ) {
      if ( sessions_.stopped() ) {
         daemon_.loop().stop();
         return;
      }
      farewellDue_ = now + farewellInterval;
   }
   for ( auto& [id, peer] : peers_ ) {
      if ( peer.staleUntil <= now ) {
         peer.staleUntil = Time::max();
         in_.sweepStale( id );
      }
   }
   if ( firstSync_ && firstSync_->isOver( now ) ) {
      firstSync_.reset();
      ruleRoot_.dropOthers(
         [this]( const Flowspec::FlowspecKey& key ) { return in_.isFiled( key ); } );
   }
   if ( announcesFrom_ <= now ) {
      beginToAnnounce();
   }
   const bool isWithdrawing = withdraw();
   hasWork_ = announce() || isWithdrawing;
   if ( statusDue_ <= now ) {
      writeStatus();
      statusDue_ = now + statusInterval;
   }
}

// Whether there is more to withdraw.
bool Speaker::withdraw() {
   const bool isMore = in_.work( perTurn );
   return ruleRoot_.work( perTurn ) || isMore;
}

// Whether there is more to announce to a peer that can take it.
bool Speaker::announce() {
   bool isMore = false;
   for ( Session* const session : sessions_.sessions() ) {
      const PeerId id = idOf( *session );
      if ( !session->canSend() ) {
         continue;
      }
      askAgain( *session, peers_.at( id ) );
      if ( out_.isPending( id ) && session->canSend() ) {
         messages_.clear();
         out_.write( id, messages_, perTurn );
         session->send( messages_ );
         isMore |= session->canSend() && out_.isPending( id );
      }
   }
   return isMore;
}

void Speaker::askAgain( Session& session, Peer& peer ) {
   const Bgp::Agreed* const agreed = session.agreed();
   if ( !std::exchange( peer.wantsRefresh, false ) || !agreed->routeRefresh ) {
      return;
   }
   messages_.clear();
   for ( const Bgp::Family family : agreed->families ) {
      Bgp::writeRouteRefresh( { .family = family }, messages_ );
   }
   session.send( messages_ );
}

void Speaker::writeStatus() {
   for ( const Session* const session : sessions_.sessions() ) {
      const PeerId id = idOf( *session );
      peerRoot_.write( id, *session, in_, out_, peers_.at( id ).config.import.guards.maxRules );
   }
}

} // namespace Peerd
