#pragma once

#include "Vek/collections/HashMap.h"
#include "Vek/entity/Entity.h"

namespace Peers {

/// What operators ask of a BGP speaker: a root entity, created by its name,
/// `flowspec/peer-requests` in a system. The tool writes it, the speaker reads it; it is not there
/// until somebody asks.
///
/// A request is the time at which it was made, in seconds since the Unix epoch, under the name of a
/// peer. The speaker carries a request out when it is later than the time of the last one that it
/// carried out, and says so by setting that in `Peer`: `refreshInTime` or `refreshOutTime`. So a
/// request is carried out once, and a speaker that was away takes up the ones made meanwhile.
/// Without a session there is nothing to do, as a new one begins with all rules of both sides: such
/// a request counts as carried out. Requests for peers that the speaker does not have are passed
/// over.
class OSK_EXPORT PeerRequests : public Vek::EntityOf< PeerRequests, Vek::NamedEntity > {
public:
   using Times = Vek::HashMap< Vek::String, double >;

   static constexpr std::string_view typeName = "Peers::PeerRequests";
   static constexpr std::size_t rowCount = 2;
   static const Vek::TypeInfo& type();

   PeerRequests( ByCreate by, const Vek::String& name ) : EntityOf( by, name ) {}

   /// When a peer was last to be asked for its rules again (RFC 2918).
   const Times& refreshIn() const { return refreshIn_; }
   /// The time of a peer; 0 when there is none.
   double refreshIn( const Vek::String& peer ) const;
   void refreshInIs( const Vek::String& peer, double time );
   void refreshInDel( const Vek::String& peer );
   /// Removes the member at `at` and returns the place where to go on.
   Times::const_iterator refreshInDel( Times::const_iterator at );
   void refreshInDelAll();

   /// When our rules were last to be announced again to a peer.
   const Times& refreshOut() const { return refreshOut_; }
   /// The time of a peer; 0 when there is none.
   double refreshOut( const Vek::String& peer ) const;
   void refreshOutIs( const Vek::String& peer, double time );
   void refreshOutDel( const Vek::String& peer );
   /// Removes the member at `at` and returns the place where to go on.
   Times::const_iterator refreshOutDel( Times::const_iterator at );
   void refreshOutDelAll();

   struct OSK_HIDDEN Table;

protected:
   ~PeerRequests() override = default;

private:
   Times refreshIn_;
   Times refreshOut_;
};

/// A new root that no directory holds.
OSK_EXPORT Vek::Ptr< PeerRequests > peerRequestsFactory( const Vek::String& name );

} // namespace Peers
