// What a user of the installed types of peers writes: makes a table by the name of its type, and
// prints what changes in a peer.
#include "Vek/entity/Directory.h"
#include "peers/PeerTable.h"
#include "peers/RuleOrigin.h"

#include <iostream>

class Printer : public Vek::Observer {
public:
   void onChange( const Vek::Change& change ) override {
      const auto& peer = static_cast< const Peers::Peer& >( change.entity );
      std::cout << peer.name() << ": " << change.field.name << ' ' << peer.state() << '\n';
   }
};

int main() {
   Vek::Directory directory;
   const auto root = directory.create( "Peers::PeerTable", "flowspec/peers" );
   const auto peer = static_cast< Peers::PeerTable& >( *root ).peerIs( "transit" );
   Printer printer;
   const auto observation = peer->observe( printer );
   peer->stateIs( Peers::SessionState::established );
   std::cout << Peers::peerNumberOf( Peers::ruleIdOf( 7, 1 ) ) << '\n';
}
