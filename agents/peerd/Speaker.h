#pragma once

#include "agents/bgp/session/SessionSet.h"
#include "agents/daemon/Daemon.h"
#include "agents/peerd/ExportRoot.h"
#include "agents/peerd/PeerRoot.h"
#include "agents/peerd/PeerdConfig.h"
#include "agents/peerd/RuleRoot.h"
#include "agents/peerd/rib/FirstSync.h"
#include "peers/PeerRequests.h"

namespace Peerd {

/// The BGP speaker: what sessions bring goes through `RouteIn` into the root of rules, what the
/// exported root holds goes through `RouteOut` to sessions, and the state of peers into theirs.
///
/// Long work, such as the withdrawal of all that a peer had announced, is done a part in each turn
/// of the event loop, so that no session waits for another's.
class Speaker final : public Bgp::SessionHandler, private Agents::EventLoop::Handler {
public:
   using Time = Agents::EventLoop::Clock::time_point;

   /// How many rules are withdrawn, and announced to each peer, in one turn of the loop.
   static constexpr U32 perTurn = 500;
   /// How often counts are written into the root of peers.
   static constexpr std::chrono::seconds statusInterval{ 1 };
   /// How long peers are told nothing while there are no rules to announce: whoever writes them may
   /// have been started together with this, and peers that hear of the end of all rules drop those
   /// that they kept.
   static constexpr std::chrono::seconds exportPatience{ 5 };

   /// What it writes, taken over from its former run.
   struct Roots {
      Vek::Ptr< Flowspec::Config > rules;
      Vek::Ptr< Peers::PeerTable > peers;
   };

   Speaker( Agents::Daemon& daemon, const Roots& roots, PeerdConfig config );
   Speaker( const Speaker& ) = delete;
   Speaker& operator=( const Speaker& ) = delete;
   ~Speaker();

   /// Is configured so from now on; sessions whose part is the same go on undisturbed.
   void configIs( PeerdConfig config );

   /// What is announced; `exportedChanged` is to be called after changes. Until the first one, or
   /// for `exportPatience`, peers are told nothing.
   RouteOut& exported() { return out_; }
   void exportedChanged();

   /// Carries out what operators ask for and was not carried out yet.
   void requests( const Peers::PeerRequests& requests );

   /// Ends all sessions, and then the event loop. The rules of peers stay filed.
   void stop();

   // What sessions bring.
   void established( Bgp::Session& session, const Bgp::Agreed& agreed ) override;
   void update( Bgp::Session& session, const Bgp::Update& update ) override;
   void endOfRib( Bgp::Session& session, Bgp::Family family ) override;
   void routeRefresh( Bgp::Session& session, Bgp::Family family, U8 subtype ) override;
   void down( Bgp::Session& session, const Bgp::Down& down ) override;
   void writable( Bgp::Session& session ) override;
   void changed( Bgp::Session& session ) override;

private:
   /// A configured peer.
   struct Peer {
      PeerConfig config;
      Zorv::IpGenAddr localAddress; ///< of its last session; empty before the first one
      Time staleUntil = Time::max();
      bool wantsRefresh = false; ///< is to be asked for all of its rules again
   };

   int fd() const override { return -1; }
   Time due() const override;
   void ready() override;

   void applyPeers();
   void guardSessions();
   void beginToAnnounce();
   void announceAgain( PeerId id );
   void askAgain( Bgp::Session& session, Peer& peer );
   bool announce();
   bool withdraw();
   void writeStatus();

   PeerId idOf( const Bgp::Session& session ) const { return ids_.at( session.config().name ); }

   Agents::Daemon& daemon_;
   PeerdConfig config_;
   PeerRoot peerRoot_;
   RuleRoot ruleRoot_;
   RouteIn in_;
   RouteOut out_;
   std::map< Vek::String, PeerId > ids_; ///< of the peers that are configured, by their names
   std::map< PeerId, Peer > peers_;
   std::optional< FirstSync > firstSync_; ///< until all is in force as peers have it now
   Time firstSyncUntil_;
   Time announcesFrom_; ///< whatever was read by then; `Time::min()` once it does
   bool hasWork_ = true;
   Time farewellDue_ = Time::max(); ///< when it is looked whether the last words have gone
   Time statusDue_{};
   std::vector< U8 > messages_; ///< of the session in work
   Bgp::SessionSet sessions_;
};

} // namespace Peerd
