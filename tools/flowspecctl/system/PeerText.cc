#include "tools/flowspecctl/system/PeerText.h"

#include "Vek/text/Text.h"
#include "forms/NlriText.h"
#include "forms/Printable.h"
#include "tools/flowspecctl/system/RootList.h"
#include "tools/flowspecctl/system/RuleText.h"
#include "wire/NlriDecoder.h"

#include <algorithm>

namespace Tools {

using namespace Peers;
using Forms::printable;
using Json = nlohmann::ordered_json;

namespace {

// Whether the octets of a rule are one; they come without the length field.
bool decode( const RouteKey& route, Wire::Nlri& nlri ) {
   std::vector< U8 > value;
   if ( Forms::readHex( route.nlri(), value ) || value.size() > Wire::maxNlriLength ) {
      return false;
   }
   const auto number = static_cast< U8 >( route.family() );
   const auto format = Wire::NlriFormat::of( static_cast< U16 >( 1 + number % 2 ),
                                             static_cast< U8 >( 133 + number / 2 ) );
   std::vector< U8 > octets;
   if ( value.size() >= 240 ) {
      octets.push_back( static_cast< U8 >( 0xF0 | value.size() >> 8 ) );
   }
   octets.push_back( static_cast< U8 >( value.size() ) );
   octets.insert( octets.end(), value.begin(), value.end() );
   return format && !Wire::decodeNlri( octets, *format, nlri );
}

Json messagesJson( const MessageCounts& counts ) {
   return { { "opens", counts.opens },
            { "updates", counts.updates },
            { "notifications", counts.notifications },
            { "keepalives", counts.keepalives },
            { "refreshes", counts.refreshes } };
}

Json rulesJson( const RuleCounts& counts ) {
   return { { "received", counts.received }, { "filed", counts.filed },
            { "hidden", counts.hidden },     { "refused", counts.refused },
            { "stale", counts.stale },       { "announced", counts.announced } };
}

Json familiesJson( const Peer& peer ) {
   Json families = Json::array();
   for ( const auto* const member : peer.family().sorted() ) {
      const FamilyState& state = member->second;
      families.push_back( { { "family", stringValue( state.family ) },
                            { "kept", state.isKept },
                            { "endOfRibReceived", state.endOfRibReceived },
                            { "endOfRibSent", state.endOfRibSent } } );
   }
   return families;
}

static_assert( Vek::listsRows< Peer, 23 > );
static_assert( Vek::listsRows< Capabilities, 6 > );
static_assert( Vek::listsRows< FamilyState, 4 > );
static_assert( Vek::listsRows< MessageCounts, 5 > );
static_assert( Vek::listsRows< RuleCounts, 6 > );
static_assert( Vek::listsRows< UnfiledRule, 3 > );

} // namespace

Speaker readSpeaker( const SystemOptions& system, StateRoots& roots ) {
   Speaker speaker{ roots.get< PeerTable >( system.peers ) };
   const auto all = listRoots( Vek::log::Endpoint( system.endpoint ) );
   const auto root = std::ranges::find( all, system.peers, &RootInfo::name );
   speaker.isRunning = root != all.end() && root->agent != "-";
   return speaker;
}

Vek::String speakerText( const Speaker& speaker ) {
   return Vek::concat( "AS ", speaker.table->localAs(), ", router id ", speaker.table->routerId(),
                       speaker.isRunning
                          ? ": runs since " + timeText( speaker.table->startTime() )
                          : Vek::String( ": does not run now; this is what it reported last" ) );
}

Vek::Ptr< Peer > peerNamed( const PeerTable& table, const Vek::String& name ) {
   if ( auto peer = table.peer( name ) ) {
      return peer;
   }
   Vek::String names;
   for ( const auto* const member : table.peer().sorted() ) {
      names += ( names.empty() ? "; there are " : ", " ) + printable( member->first );
   }
   throw std::runtime_error( Vek::concat( "there is no peer '", printable( name ), '\'', names ) );
}

std::vector< Vek::String > namesOf( const Capabilities& capabilities ) {
   std::vector< Vek::String > names;
   for ( const Vek::Field& row : Capabilities::typeInfo().rows ) {
      if ( *static_cast< const bool* >( row.stored( &capabilities ) ) ) {
         names.emplace_back( row.name );
      }
   }
   return names;
}

Json peerJson( const Speaker& speaker, const Peer& peer ) {
   return { { "peer", printable( peer.name() ) },
            { "running", speaker.isRunning },
            { "number", peer.number() },
            { "address", Vek::valueText( peer.address() ) },
            { "as", peer.peerAs() },
            { "routerId", Vek::valueText( peer.routerId() ) },
            { "state", stringValue( peer.state() ) },
            { "since", peer.stateTime() },
            { "flaps", peer.flaps() },
            { "lastError", printable( peer.lastError() ) },
            { "lastErrorTime", peer.lastErrorTime() },
            { "capabilities", namesOf( peer.capabilities() ) },
            { "holdTime", peer.holdTime() },
            { "restartTime", peer.restartTime() },
            { "families", familiesJson( peer ) },
            { "messagesIn", messagesJson( peer.messagesIn() ) },
            { "messagesOut", messagesJson( peer.messagesOut() ) },
            { "rules", rulesJson( peer.rules() ) },
            { "maxRules", peer.maxRules() },
            { "refreshInTime", peer.refreshInTime() },
            { "refreshOutTime", peer.refreshOutTime() } };
}

RouteText routeText( const RouteKey& route ) {
   const bool isIpv6 = route.family() == Family::ipv6 || route.family() == Family::vpnIpv6;
   RouteText text{ isIpv6 ? Zorv::AddressFamily::ipv6 : Zorv::AddressFamily::ipv4, {}, false };
   Wire::Nlri nlri;
   if ( !decode( route, nlri ) ) {
      text.rule = "0x" + printable( route.nlri() );
      return text;
   }
   const bool isVpn = route.family() == Family::vpnIpv4 || route.family() == Family::vpnIpv6;
   text.rule = isVpn ? nlri.key.toStrepCliWithRd( nlri.rd, false ) : nlri.key.toStrepCli( false );
   text.isRule = true;
   return text;
}

Json unfiledJson( const UnfiledRule& rule ) {
   const RouteText text = routeText( rule.route() );
   return { { "family", stringValue( rule.route().family() ) },
            { "nlri", printable( rule.route().nlri() ) },
            { "cli", text.isRule ? Json( text.rule ) : Json() },
            { "reason", printable( rule.reason() ) },
            { "time", rule.time() } };
}

U64 unlisted( U64 count, const Peer::UnfiledRules& list ) {
   return count > list.size() ? count - list.size() : 0;
}

} // namespace Tools
