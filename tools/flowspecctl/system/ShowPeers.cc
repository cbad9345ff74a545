#include "Vek/text/Text.h"
#include "forms/Printable.h"
#include "tools/flowspecctl/system/PeerText.h"
#include "tools/flowspecctl/system/RuleText.h"
#include "tools/terminal/Lines.h"
#include "tools/terminal/Terminal.h"

namespace Tools {

using namespace Peers;
using Forms::printable;
using Json = nlohmann::ordered_json;

namespace {

struct PeerOptions {
   SystemOptions system;
   bool json = false;
   Vek::String name;
};

/// The root of peers while a command looks at it.
struct PeerRoots {
   explicit PeerRoots( const SystemOptions& system )
      : roots{ Vek::log::Endpoint( system.endpoint ) } {
      roots.read( system.peers );
      roots.settle();
      speaker = readSpeaker( system, roots );
   }

   StateRoots roots;
   Speaker speaker;
};

Vek::String joined( const std::vector< Vek::String >& words ) {
   Vek::String text;
   for ( const Vek::String& word : words ) {
      text += ( text.empty() ? "" : ", " ) + word;
   }
   return text;
}

void showPeers( const PeerOptions& options, Output& output ) {
   const PeerRoots peers( options.system );
   const auto all = peers.speaker.table->peer().sorted();
   Vek::String& out = output.text();
   if ( options.json ) {
      for ( const auto* const member : all ) {
         out += peerJson( peers.speaker, *member->second ).dump() + '\n';
      }
      return output.flush();
   }
   out += speakerText( peers.speaker ) + "\n\n";
   const Table table( lineWidth(), { { "peer", 10 },
                                     { "address", 0 },
                                     { "AS", 10, true },
                                     { "state", 11 },
                                     { "received", 8, true },
                                     { "filed", 7, true },
                                     { "hidden", 7, true },
                                     { "refused", 7, true },
                                     { "announced", 9, true } } );
   table.appendHeading( out );
   for ( const auto* const member : all ) {
      const Peer& peer = *member->second;
      const RuleCounts& rules = peer.rules();
      table.appendRow( out, { { printable( peer.name() ), Vek::valueText( peer.address() ),
                                Vek::concat( peer.peerAs() ), stringValue( peer.state() ),
                                Vek::concat( rules.received ), Vek::concat( rules.filed ),
                                Vek::concat( rules.hidden ), Vek::concat( rules.refused ),
                                Vek::concat( rules.announced ) } } );
   }
   output.flush();
}

Vek::String stateText( const Peer& peer ) {
   const bool established = peer.state() == SessionState::established;
   const std::string_view since = established ? " since " : ", not established since ";
   return stringValue( peer.state() ) +
          ( peer.stateTime() > 0 ? Vek::concat( since, timeText( peer.stateTime() ) ) : "" );
}

// "1 open", "2 opens".
Vek::String count( U64 number, std::string_view what, std::string_view ending = "s" ) {
   return Vek::concat( number, ' ', what, number == 1 ? std::string_view() : ending );
}

Vek::String messagesText( const MessageCounts& counts ) {
   return joined( { count( counts.opens, "open" ), count( counts.updates, "update" ),
                    count( counts.notifications, "notification" ),
                    count( counts.keepalives, "keepalive" ),
                    count( counts.refreshes, "route refresh", "es" ) } );
}

Vek::String familyText( const FamilyState& state ) {
   std::vector< Vek::String > parts{ stringValue( state.family ) };
   parts.emplace_back( state.endOfRibReceived ? "all received at first" : "not all received yet" );
   parts.emplace_back( state.endOfRibSent ? "all announced" : "not all announced yet" );
   if ( state.isKept ) {
      parts.emplace_back( "kept while the peer restarts" );
   }
   return joined( parts );
}

Vek::String rulesText( const Peer& peer ) {
   const RuleCounts& rules = peer.rules();
   Vek::String text = Vek::concat( rules.received, " received: ", rules.filed, " filed, ",
                                   rules.hidden, " hidden, ", rules.refused, " refused" );
   if ( rules.stale > 0 ) {
      text += Vek::concat( "; ", rules.stale, " stale" );
   }
   if ( peer.maxRules() > 0 ) {
      text += Vek::concat( "; at most ", peer.maxRules() );
   }
   return text;
}

void appendUnfiled( Vek::String& out, std::string_view heading, U64 number,
                    const Peer::UnfiledRules& list ) {
   if ( list.empty() ) {
      return;
   }
   out += '\n';
   const Table table( lineWidth(), { { "family", 6 }, { heading, 0 }, { "why", 48 } } );
   table.appendHeading( out );
   for ( const auto* const member : list.sorted() ) {
      const RouteText text = routeText( member->first );
      table.appendRow( out, { { stringValue( text.family ), text.rule,
                                printable( member->second->reason() ) } } );
   }
   if ( const U64 more = unlisted( number, list ) ) {
      out += Vek::concat( "and ", more, " more\n" );
   }
}

void appendPeer( Vek::String& out, const Peer& peer ) {
   Lines lines( out );
   lines.add( "peer", printable( peer.name() ) );
   lines.add( "address", Vek::valueText( peer.address() ) );
   lines.add( "AS", Vek::concat( peer.peerAs() ) );
   if ( peer.routerId() != Zorv::IpGenAddr() ) {
      lines.add( "router id", Vek::valueText( peer.routerId() ) );
   }
   lines.add( "state", stateText( peer ) );
   lines.add( "flaps", Vek::concat( peer.flaps() ) );
   if ( !peer.lastError().empty() ) {
      lines.add( "last error", Vek::concat( timeText( peer.lastErrorTime() ), ": ",
                                            std::string_view( printable( peer.lastError() ) ) ) );
   }
   if ( peer.holdTime() > 0 ) {
      lines.add( "hold time", Vek::concat( peer.holdTime(), " seconds" ) );
   }
   if ( const auto names = namesOf( peer.capabilities() ); !names.empty() ) {
      lines.add( "agreed", joined( names ) );
   }
   if ( peer.restartTime() > 0 ) {
      lines.add( "restart time", Vek::concat( peer.restartTime(), " seconds" ) );
   }
   std::string_view label = "families";
   for ( const auto* const member : peer.family().sorted() ) {
      lines.add( std::exchange( label, "" ), familyText( member->second ) );
   }
   lines.add( "messages in", messagesText( peer.messagesIn() ) );
   lines.add( "messages out", messagesText( peer.messagesOut() ) );
   lines.add( "rules", rulesText( peer ) );
   lines.add( "announced", Vek::concat( peer.rules().announced, " of ours" ) );
   appendUnfiled( out, "refused rule", peer.rules().refused, peer.refusedRule() );
   appendUnfiled( out, "hidden rule", peer.rules().hidden, peer.hiddenRule() );
}

Json unfiledJson( const Peer::UnfiledRules& list ) {
   Json rules = Json::array();
   for ( const auto* const member : list.sorted() ) {
      rules.push_back( Tools::unfiledJson( *member->second ) );
   }
   return rules;
}

void showPeer( const PeerOptions& options, Output& output ) {
   const PeerRoots peers( options.system );
   const auto peer = peerNamed( *peers.speaker.table, options.name );
   if ( options.json ) {
      Json json = peerJson( peers.speaker, *peer );
      json["refused"] = unfiledJson( peer->refusedRule() );
      json["hidden"] = unfiledJson( peer->hiddenRule() );
      output.text() += json.dump() + '\n';
   } else {
      Lines( output.text() ).add( "speaker", speakerText( peers.speaker ) );
      appendPeer( output.text(), *peer );
   }
   output.flush();
}

} // namespace

Run addShowPeers( CLI::App& command ) {
   const auto options = std::make_shared< PeerOptions >();
   addSystem( command, options->system, { peersRoot } );
   command.add_flag( "--json", options->json, "Write an object on each line" );
   return [options]( Output& output ) {
      showPeers( *options, output );
      return true;
   };
}

Run addShowPeer( CLI::App& command ) {
   const auto options = std::make_shared< PeerOptions >();
   addSystem( command, options->system, { peersRoot } );
   command.add_flag( "--json", options->json, "Write an object" );
   command.add_option( "NAME", options->name, "The peer's name" )->required()->type_name( "" );
   return [options]( Output& output ) {
      showPeer( *options, output );
      return true;
   };
}

} // namespace Tools
