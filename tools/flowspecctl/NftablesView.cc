#include "tools/flowspecctl/NftablesView.h"

#include "dataplane/nftables/Ruleset.h"

#include <algorithm>

namespace Tools {

using namespace Flowspec;
using namespace Dataplane;

void addBackend( CLI::App& command, bool& nftables ) {
   command
      .add_option_function< Vek::String >(
         "--backend", [&nftables]( const Vek::String& ) { nftables = true; },
         "Tell what this back end makes of rules: nftables, as a kernel does that can do all of it "
         "or what --profile recorded" )
      ->check( CLI::IsMember( { "nftables" } ) )
      ->type_name( "NAME" );
}

const Profile& nftablesProfile() {
   static const Profile profile = Profile::read( R"({
      "capacity": 1000000, "interfaceSets": 65535, "interfaces": [], "vrfs": {},
      "ipv4": { "qualifiers": [ "destPrefix", "srcPrefix", "ipProto", "port", "destPort", "srcPort",
                                "icmpType", "icmpCode", "tcpFlags", "packetLength", "dscp",
                                "fragment" ],
                "actions": [ "trafficPermit", "trafficDrop", "trafficRate", "trafficRatePkt",
                             "trafficMarking", "trafficAction", "redirectVrf", "redirectAddr" ] },
      "ipv6": { "qualifiers": [ "destPrefix", "srcPrefix", "ipProto", "port", "destPort", "srcPort",
                                "icmpType", "icmpCode", "tcpFlags", "packetLength", "dscp",
                                "fragment", "flowLabel" ],
                "actions": [ "trafficPermit", "trafficDrop", "trafficRate", "trafficRatePkt",
                             "trafficMarking", "trafficAction", "redirectVrf", "redirectAddr" ] } })" );
   return profile;
}

ProgrammingResult nftablesResult( const RuleDemand& demand, Zorv::AddressFamily family ) {
   const Vek::String reason = Nftables::whyNot( demand.asked, demand.actions, family );
   return reason.empty() ? demand.result : ProgrammingResult{ unsupportedAction, reason };
}

Vek::String nftablesTests( const FlowspecKey& key, MatchCompType type ) {
   if ( type == destPrefix ) {
      return "looked up in a map";
   }
   FlowspecKey component;
   component.addressFamilyIs( key.addressFamily() );
   if ( type == srcPrefix ) {
      component.srcPrefixIs( key.srcPrefix() );
   }
   for ( const auto& [index, word] : key.matchOpVal() ) {
      if ( word.matchType() == type ) {
         component.matchOpValIs( component.matchOpVals(), word );
      }
   }
   Vek::String text;
   for ( const Nftables::Line& line : Nftables::matchLines( Wire::CanonicalRule( component ) ) ) {
      text += text.empty() ? "" : " or ";
      text += line.empty() ? "always" : Nftables::text( line, key.addressFamily() );
   }
   return text.empty() ? "never" : text;
}

Vek::String nftablesTable( const FlowspecKey& key, const RuleDemand& demand ) {
   const Vek::String name = "rule";
   const Wire::CanonicalRule canonical( key );
   const auto target = Nftables::targetOf( demand.asked, demand.actions, key.addressFamily() );
   const U32 mark = target ? Nftables::markOf( *target ) : 0;
   Nftables::Rule rule{ key,
                        canonical.destPrefix(),
                        {},
                        name,
                        Nftables::matchLines( canonical ),
                        Nftables::actionLines( demand.asked, demand.actions, name, mark ) };
   rule.interfaceSets.assign( key.interfaceSet().begin(), key.interfaceSet().end() );
   std::ranges::sort( rule.interfaceSets );
   const Nftables::InterfaceUses interfaces{ { "eth0", { key.vrfId(), rule.interfaceSets } } };
   return Nftables::text( Nftables::rulesetOf(
      key.addressFamily(), { std::make_shared< const Nftables::Rule >( std::move( rule ) ) },
      interfaces ) );
}

} // namespace Tools
