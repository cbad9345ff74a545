#pragma once

#include "Flowspec/key/FlowspecKey.h"
#include "peers/PeerTable.h"
#include "tools/flowspecctl/system/SystemOptions.h"

#include <nlohmann/json.hpp>

/// What is known of BGP peers, as text and as JSON.
namespace Tools {

/// What the speaker reported, and whether it still does.
struct Speaker {
   Vek::Ptr< Peers::PeerTable > table;
   bool isRunning = false;
};

/// Reads the root of peers. `std::runtime_error` when nobody ever wrote it.
Speaker readSpeaker( const SystemOptions& system, StateRoots& roots );

/// The speaker in one line, which says so when it does not run.
Vek::String speakerText( const Speaker& speaker );

/// The peer with a name; `std::runtime_error` with the names that there are.
Vek::Ptr< Peers::Peer > peerNamed( const Peers::PeerTable& table, const Vek::String& name );

/// All that is known of a peer but for its unfiled rules.
nlohmann::ordered_json peerJson( const Speaker& speaker, const Peers::Peer& peer );

/// The capabilities that are true, by their names.
std::vector< Vek::String > namesOf( const Peers::Capabilities& capabilities );

/// A rule as BGP identifies it, for people.
struct RouteText {
   Zorv::AddressFamily family;
   /// In the command-line form with its distinguisher; of octets that are no rule these, such as
   /// "0x0130".
   Vek::String rule;
   bool isRule;
};
RouteText routeText( const Peers::RouteKey& route );

/// The members of an unfiled rule: `family`, `nlri` and `cli`, which is null for octets that are no
/// rule, `reason` and `time`.
nlohmann::ordered_json unfiledJson( const Peers::UnfiledRule& rule );

/// How many rules of a list of unfiled ones are not in it; `count` is what the peer counts.
U64 unlisted( U64 count, const Peers::Peer::UnfiledRules& list );

} // namespace Tools
