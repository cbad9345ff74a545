#include "Vek/text/Text.h"
#include "forms/Printable.h"
#include "peers/PeerRequests.h"
#include "tools/flowspecctl/system/PeerText.h"
#include "tools/flowspecctl/system/RootWriter.h"
#include "tools/flowspecctl/system/RuleText.h"

#include <algorithm>
#include <iterator>

namespace Tools {

using namespace Peers;
using Forms::printable;

namespace {

struct RefreshOptions {
   SystemOptions system;
   Vek::String name;
   Vek::String direction = "in";

   bool isIn() const { return direction == "in"; }
};

// Why a peer cannot be asked; empty when it can.
Vek::String hindrance( const Speaker& speaker, const Peer& peer, bool isIn ) {
   if ( !speaker.isRunning ) {
      return "no BGP speaker runs";
   }
   if ( peer.state() != SessionState::established ) {
      return "there is no session; a new one begins with all rules";
   }
   if ( isIn && !peer.capabilities().routeRefresh ) {
      return "the peer did not agree to be asked for its rules again";
   }
   return {};
}

// Later than all requests for the peer so far, as the root may be gone and come again.
double timeOf( const PeerRequests& requests, const Peer& peer, bool isIn ) {
   const Vek::String& name = peer.name();
   return requestTime( isIn ? std::max( requests.refreshIn( name ), peer.refreshInTime() )
                            : std::max( requests.refreshOut( name ), peer.refreshOutTime() ) );
}

// Requests for peers that are no longer configured do not add up.
void dropStale( PeerRequests& requests, const PeerTable& table ) {
   for ( auto at = requests.refreshIn().begin(); at != requests.refreshIn().end(); ) {
      at = table.peer( at->first ) ? std::next( at ) : requests.refreshInDel( at );
   }
   for ( auto at = requests.refreshOut().begin(); at != requests.refreshOut().end(); ) {
      at = table.peer( at->first ) ? std::next( at ) : requests.refreshOutDel( at );
   }
}

void refreshPeer( const RefreshOptions& options, Output& output ) {
   const SystemOptions& system = options.system;
   StateRoots roots{ Vek::log::Endpoint( system.endpoint ) };
   roots.read( system.peers );
   roots.settle();
   const Speaker speaker = readSpeaker( system, roots );
   const auto peer = peerNamed( *speaker.table, options.name );
   const bool isIn = options.isIn();
   if ( const Vek::String reason = hindrance( speaker, *peer, isIn ); !reason.empty() ) {
      throw std::runtime_error( printable( options.name ) + ": " + reason );
   }
   const Deadline deadline;
   double time = 0;
   RootWriter( system.endpoint, system.peerRequests, PeerRequests::type(), deadline )
      .write( true, [&]( Vek::NamedEntity& root ) {
         auto& requests = static_cast< PeerRequests& >( root );
         dropStale( requests, *speaker.table );
         time = timeOf( requests, *peer, isIn );
         isIn ? requests.refreshInIs( options.name, time )
              : requests.refreshOutIs( options.name, time );
      } );
   const auto answered = [&] {
      return ( isIn ? peer->refreshInTime() : peer->refreshOutTime() ) >= time;
   };
   if ( !roots.until( answered, deadline.left() ) ) {
      throw std::runtime_error( printable( options.name ) +
                                ": the BGP speaker did not answer within 10 seconds" );
   }
   output.text() += printable( options.name ) +
                    ( isIn ? " was asked for its rules again\n" : " is told our rules again\n" );
   output.flush();
}

} // namespace

Run addRefreshPeer( CLI::App& command ) {
   const auto options = std::make_shared< RefreshOptions >();
   addSystem( command, options->system, { peersRoot, peerRequestsRoot } );
   command.add_option( "NAME", options->name, "The peer's name" )->required()->type_name( "" );
   command
      .add_option( "DIRECTION", options->direction,
                   "in: ask the peer for its rules; out: tell it ours" )
      ->type_name( "" )
      ->check( CLI::IsMember( { "in", "out" } ) )
      ->capture_default_str();
   const CLI::App* const parent = command.get_parent();
   return [options, parent]( Output& output ) {
      for ( const CLI::Option* const option : parent->get_options() ) {
         if ( option->count() > 0 ) {
            throw CLI::ValidationError( option->get_name(), "stands after 'refresh peer'" );
         }
      }
      refreshPeer( *options, output );
      return true;
   };
}

} // namespace Tools
