#include "tests/forms/dialects/RuleData.h"

#include "tests/wire/NlriData.h"
#include "wire/Canonical.h"

#include <algorithm>
#include <fstream>
#include <set>

#include <nlohmann/json.hpp>

namespace TestSupport {

namespace {

using namespace Flowspec;
using Json = nlohmann::json;
using Wire::RouteTarget;

struct Target {
   const char* text;
   RouteTarget target;
};

// The route targets of the rules. They are VRF 1, 2, ... in this order.
constexpr U8 x = 0xFF;
const Target targets[] = {
   { "65500:12345", { RouteTarget::Kind::as2, { 0xFF, 0xDC, 0, 0, 0x30, 0x39 } } },
   { "666:666", { RouteTarget::Kind::as2, { 2, 0x9A, 0, 0, 2, 0x9A } } },
   { "6:302", { RouteTarget::Kind::as2, { 0, 6, 0, 0, 1, 0x2E } } },
   { "10:200", { RouteTarget::Kind::as2, { 0, 10, 0, 0, 0, 200 } } },
   { "255.255.255.255:255", { RouteTarget::Kind::ipv4, { x, x, x, x, 0, 255 } } },
   { "fd00:1::1:0",
     { RouteTarget::Kind::ipv6, { 0xFD, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1 } } },
   { "70000:7", { RouteTarget::Kind::as4, { 0, 1, 0x11, 0x70, 0, 7 } } },
};

Vrf::VrfIdMap::VrfId vrfOf( const std::string& text ) {
   const auto* const row =
      std::ranges::find( targets, text, []( const Target& target ) { return target.text; } );
   if ( row == std::end( targets ) ) {
      throw std::runtime_error( "no VRF for " + text );
   }
   return static_cast< U32 >( row - targets ) + 1;
}

void redirect( RuleAction& action, const std::string& address, bool copy ) {
   action.fields.trafficRedirectIs( true );
   action.redirect.typeIs( TrafficRedirectType::addr );
   action.redirect.addrIs( *Zorv::IpGenAddr::fromText( address ) );
   action.redirect.copyIs( copy );
}

RuleAction actionOf( const Json& json ) {
   RuleAction action;
   if ( json.contains( "rateBytes" ) ) {
      const float rate = json["rateBytes"];
      action.rateLimit = rate;
      action.fields.trafficDropIs( rate == 0 );
      action.fields.trafficRateIs( rate != 0 );
   }
   if ( json.contains( "redirectRt" ) ) {
      action.fields.trafficRedirectIs( true );
      action.redirect.typeIs( TrafficRedirectType::vrf );
      action.redirect.vrfIdIs( vrfOf( json["redirectRt"] ) );
   }
   for ( const char* const name : { "redirectIp", "redirectIpIetf", "copyIp" } ) {
      if ( json.contains( name ) ) {
         redirect( action, json[name], name == std::string_view( "copyIp" ) );
      }
   }
   if ( json.contains( "trafficAction" ) ) {
      const std::string text = json["trafficAction"];
      action.trafficAction.sampleAndLogIs( text.starts_with( "sample" ) );
      action.trafficAction.continueMatchIs( !text.ends_with( "terminal" ) );
      action.fields.trafficActionIs( static_cast< bool >( action.trafficAction ) );
   }
   return action;
}

std::vector< NamedRule > readRules() {
   std::vector< NamedRule > rules;
   std::ifstream in( "tests/data/rules.jsonl" );
   std::string text;
   for ( const NlriLine& line : ruleLines() ) {
      std::getline( in, text );
      if ( line.hasOffset ) {
         continue;
      }
      NamedRule& named = rules.emplace_back();
      named.id = line.id;
      named.rule.key = line.key;
      if ( line.format.vpn ) {
         named.rule.rd = line.rd;
      }
      named.rule.action = actionOf( Json::parse( text ).at( "action" ) );
   }
   return rules;
}

std::set< U16 > interfaceSetsOf( const Forms::Rule& rule ) {
   return { rule.key.interfaceSet().begin(), rule.key.interfaceSet().end() };
}

} // namespace

const std::vector< NamedRule >& namedRules() {
   static const std::vector< NamedRule > rules = readRules();
   return rules;
}

const Forms::Context& ruleContext() {
   static const Forms::Context context = ruleContext( Zorv::AddressFamily::none );
   return context;
}

Forms::Context ruleContext( Zorv::AddressFamily family ) {
   Forms::Context context{ .family = family, .localAs = 65000, .vrfs = {} };
   for ( const Target& row : targets ) {
      context.vrfs.add( row.target, vrfOf( row.text ) );
   }
   return context;
}

bool sameMeaning( const Forms::Rule& a, const Forms::Rule& b ) {
   return a.key.addressFamily() == b.key.addressFamily() && Wire::equivalent( a.key, b.key ) &&
          interfaceSetsOf( a ) == interfaceSetsOf( b ) && a.rd == b.rd && a.action == b.action &&
          a.kept == b.kept && a.keptIpv6 == b.keptIpv6;
}

} // namespace TestSupport
