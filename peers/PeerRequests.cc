#include "peers/PeerRequests.h"

#include "Vek/entity/EntityInfo.h"

namespace Peers {

struct PeerRequests::Table {
   using T = PeerRequests;
   static constexpr Vek::Rows rows{
      Vek::coll< &T::refreshIn_, &T::refreshInIs, Vek::byKey( &T::refreshInDel ) >( 258,
                                                                                    "refreshIn" ),
      Vek::coll< &T::refreshOut_, &T::refreshOutIs, Vek::byKey( &T::refreshOutDel ) >(
         259, "refreshOut" ),
   };
   static constexpr Vek::TypeInfo info =
      Vek::entityInfo< T, rows, Vek::String >( Vek::TypeKind::root );
};

const Vek::TypeInfo& PeerRequests::type() { return Table::info; }

double PeerRequests::refreshIn( const Vek::String& peer ) const {
   return memberAt( refreshIn_, peer );
}

void PeerRequests::refreshInIs( const Vek::String& peer, double time ) {
   memberIs< Table, &PeerRequests::refreshIn_ >( peer, time );
}

void PeerRequests::refreshInDel( const Vek::String& peer ) {
   memberDel< Table, &PeerRequests::refreshIn_ >( peer );
}

PeerRequests::Times::const_iterator PeerRequests::refreshInDel( Times::const_iterator at ) {
   return memberDelAt< Table, &PeerRequests::refreshIn_ >( at );
}

void PeerRequests::refreshInDelAll() { memberDelAll< Table, &PeerRequests::refreshIn_ >(); }

double PeerRequests::refreshOut( const Vek::String& peer ) const {
   return memberAt( refreshOut_, peer );
}

void PeerRequests::refreshOutIs( const Vek::String& peer, double time ) {
   memberIs< Table, &PeerRequests::refreshOut_ >( peer, time );
}

void PeerRequests::refreshOutDel( const Vek::String& peer ) {
   memberDel< Table, &PeerRequests::refreshOut_ >( peer );
}

PeerRequests::Times::const_iterator PeerRequests::refreshOutDel( Times::const_iterator at ) {
   return memberDelAt< Table, &PeerRequests::refreshOut_ >( at );
}

void PeerRequests::refreshOutDelAll() { memberDelAll< Table, &PeerRequests::refreshOut_ >(); }

Vek::Ptr< PeerRequests > peerRequestsFactory( const Vek::String& name ) {
   return Vek::create< PeerRequests >( name );
}

} // namespace Peers
