#include "peers/PeerTable.h"

#include "Vek/entity/EntityInfo.h"

namespace Peers {

struct PeerTable::Table {
   using T = PeerTable;
   static constexpr Vek::Rows rows{
      Vek::children< &T::peer_, &T::peerIs, Vek::byKey( &T::peerDel ) >( 258, "peer" ),
      Vek::attr< &T::localAs_, &T::localAsIs >( 259, "localAs" ),
      Vek::attr< &T::routerId_, &T::routerIdIs >( 260, "routerId" ),
      Vek::attr< &T::startTime_, &T::startTimeIs >( 261, "startTime" ),
   };
   static constexpr Vek::TypeInfo info =
      Vek::entityInfo< T, rows, Vek::String >( Vek::TypeKind::root );
};

const Vek::TypeInfo& PeerTable::type() { return Table::info; }

Vek::Ptr< Peer > PeerTable::peer( const Vek::String& name ) const { return childAt( peer_, name ); }

Vek::Ptr< Peer > PeerTable::peerIs( const Vek::String& name ) {
   return childIs< Table, &PeerTable::peer_ >( name, peerFactory );
}

void PeerTable::peerDel( const Vek::String& name ) { childDel< Table, &PeerTable::peer_ >( name ); }

PeerTable::Peers::const_iterator PeerTable::peerDel( Peers::const_iterator at ) {
   return childDelAt< Table, &PeerTable::peer_ >( at );
}

void PeerTable::peerDelAll() { childDelAll< Table, &PeerTable::peer_ >(); }

void PeerTable::localAsIs( U32 localAs ) { put< Table, &PeerTable::localAs_ >( localAs ); }

void PeerTable::routerIdIs( const Zorv::IpGenAddr& routerId ) {
   put< Table, &PeerTable::routerId_ >( routerId );
}

void PeerTable::startTimeIs( double startTime ) {
   put< Table, &PeerTable::startTime_ >( startTime );
}

Vek::Ptr< PeerTable > peerTableFactory( const Vek::String& name ) {
   return Vek::create< PeerTable >( name );
}

} // namespace Peers
