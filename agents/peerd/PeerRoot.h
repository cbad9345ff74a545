#pragma once

#include "agents/bgp/session/Session.h"
#include "agents/peerd/rib/RouteIn.h"
#include "agents/peerd/rib/RouteOut.h"
#include "peers/PeerTable.h"

#include <map>
#include <set>

namespace Peerd {

/// Writes what becomes of peers into the root for it.
class PeerRoot {
public:
   using Time = Bgp::Session::Time;

   /// `table` may hold the peers of a former run: those that are configured again keep their
   /// numbers, so that rules that are filed keep theirs.
   explicit PeerRoot( Vek::Ptr< Peers::PeerTable > table );

   /// Whether a former run has left something.
   bool isContinued() const { return isContinued_; }

   void speakerIs( U32 localAs, U32 routerId );
   /// The number of a peer, which is there from now on.
   PeerId peerIs( const Vek::String& name );
   /// Peers of other names than these go.
   void keepPeers( const std::set< Vek::String >& names );
   /// The requests of operators that were carried out are told here.
   Peers::Peer& peer( PeerId id ) { return *peers_.at( id ).peer; }

   /// The peer has told all of a family.
   void endOfRib( PeerId id, Bgp::Family family );
   /// A session of the peer is over.
   void down( PeerId id );

   /// Writes what differs of a peer from what its session, its rules and ours say.
   void write( PeerId id, const Bgp::Session& session, const RouteIn& in, const RouteOut& out,
               U32 maxRules );

private:
   struct State {
      Vek::Ptr< Peers::Peer > peer;
      U64 unfiledVersion = ~U64{ 0 };  // none that was written
      std::set< Bgp::Family > ended{}; // all of these was received
   };

   static void writeSession( State& state, const Bgp::Session& session );
   static void writeFamilies( PeerId id, const State& state, const Bgp::Agreed* agreed,
                              const RouteOut& out );
   static void writeUnfiled( PeerId id, Peers::Peer& peer, const RouteIn& in );

   const Vek::Ptr< Peers::PeerTable > table_;
   const bool isContinued_;
   std::map< PeerId, State > peers_;
};

/// The family as the state of peers has it; nothing when it is not one of flow specifications.
std::optional< Peers::Family > peersFamily( Bgp::Family family );

} // namespace Peerd
