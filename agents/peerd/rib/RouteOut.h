#pragma once

#include "agents/bgp/message/Open.h"
#include "agents/peerd/policy/ExportPolicy.h"
#include "agents/peerd/policy/VrfTable.h"
#include "agents/peerd/rib/RuleSink.h"

#include <functional>
#include <memory>

namespace Peerd {

/// What is announced to peers of rules that somebody configured: pending changes of each peer,
/// written as messages while its session can send.
///
/// Rules whose keys differ in what no NLRI holds are one NLRI: the VRF, when it has no
/// distinguisher, and interface sets. Those of them that ask for the same action as the first one,
/// by the order of the keys, are announced with the interface sets of all of them, or for all
/// interfaces when one is; the others are not announced. Rules of a VRF with a distinguisher are
/// announced in the VPN family, with the VRF's export targets.
///
/// A rule that changes several times before it is written is written once. Nothing here blocks or
/// knows the time. The memory of a peer is bounded by the number of rules.
class RouteOut {
public:
   RouteOut();
   ~RouteOut();
   RouteOut( const RouteOut& ) = delete;
   RouteOut& operator=( const RouteOut& ) = delete;

   /// There is a rule of `key` with this action, new or changed.
   void put( const Flowspec::FlowspecKey& key, const Flowspec::RuleAction& action );
   void del( const Flowspec::FlowspecKey& key );
   void vrfTableIs( const VrfTable& table );

   /// How a peer is configured: without a policy nothing is announced to it (RFC 8212).
   void peerIs( PeerId peer, const std::optional< ExportPolicy >& policy );
   void peerDel( PeerId peer );

   /// The session is up: all rules are announced, then End-of-RIB of each family that was agreed.
   void established( PeerId peer, const Bgp::Agreed& agreed );
   void down( PeerId peer );
   /// The peer asked for all of a family again (RFC 2918); begin and end are told where that was
   /// agreed (RFC 7313).
   void refresh( PeerId peer, Bgp::Family family );

   /// Whether there is something to write for the peer.
   bool isPending( PeerId peer ) const;
   /// Appends whole messages to `out`, of about `limit` rules at the most.
   void write( PeerId peer, std::vector< U8 >& out, U32 limit = 1000 );

   /// How many rules are announced to the peer as far as they are written.
   U32 announced( PeerId peer ) const;
   bool endOfRibSent( PeerId peer, Bgp::Family family ) const;

   /// Calls with rules that are announced to no peer although they exist, at most `limit`, and why:
   /// no NLRI or community can say what they ask for, or they are one NLRI with another rule that
   /// asks for another action.
   using Take = std::function< void( const Flowspec::FlowspecKey&, const Vek::String& reason ) >;
   void forEachRefused( U32 limit, const Take& take ) const;
   U32 refused() const;
   /// The same of rules that no message to the peer has room for.
   void forEachTooLong( PeerId peer, U32 limit, const Take& take ) const;

private:
   class State;
   std::unique_ptr< State > state_;
};

} // namespace Peerd
