#pragma once

#include "peers/Peer.h"

namespace Peers {

/// What a BGP speaker reports: a root entity, created by its name, `flowspec/peers` in a system.
class OSK_EXPORT PeerTable : public Vek::EntityOf< PeerTable, Vek::NamedEntity > {
public:
   using Peers = Vek::HashMap< Vek::String, Vek::Ptr< Peer > >;

   static constexpr std::string_view typeName = "Peers::PeerTable";
   static constexpr std::size_t rowCount = 4;
   static const Vek::TypeInfo& type();

   PeerTable( ByCreate by, const Vek::String& name ) : EntityOf( by, name ) {}

   /// The peers that are configured, by their names.
   const Peers& peer() const { return peer_; }
   /// The peer with a name, or null.
   Vek::Ptr< Peer > peer( const Vek::String& name ) const;
   /// The peer with a name; created, idle, when there is none.
   Vek::Ptr< Peer > peerIs( const Vek::String& name );
   void peerDel( const Vek::String& name );
   /// Removes the member at `at` and returns the place where to go on.
   Peers::const_iterator peerDel( Peers::const_iterator at );
   void peerDelAll();

   /// The speaker's own AS number and router id.
   U32 localAs() const { return localAs_; }
   void localAsIs( U32 localAs );
   const Zorv::IpGenAddr& routerId() const { return routerId_; }
   void routerIdIs( const Zorv::IpGenAddr& routerId );

   /// Since when the speaker runs. Seconds since the Unix epoch.
   double startTime() const { return startTime_; }
   void startTimeIs( double startTime );

   struct OSK_HIDDEN Table;

protected:
   ~PeerTable() override = default;

private:
   Peers peer_;
   U32 localAs_ = 0;
   Zorv::IpGenAddr routerId_;
   double startTime_ = 0;
};

/// A new root that no directory holds.
OSK_EXPORT Vek::Ptr< PeerTable > peerTableFactory( const Vek::String& name );

} // namespace Peers
