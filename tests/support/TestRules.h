#pragma once

#include "Flowspec/config/MatchSetBuilder.h"
#include "Flowspec/key/FlowspecKeyReader.h"
#include "dataplane/Profile.h"

#include <gtest/gtest.h>

namespace TestSupport {

/// A key by its command-line form; of IPv6 when that begins with a prefix such as "2001:db8::/32".
inline Flowspec::FlowspecKey ruleKey( std::string_view text, U32 vrf = 0,
                                      std::initializer_list< U16 > sets = {} ) {
   Flowspec::FlowspecKey key;
   key.vrfIdIs( vrf );
   const bool v6 = text.substr( 0, text.find( '/' ) ).ends_with( "::" );
   key.addressFamilyIs( v6 ? Zorv::AddressFamily::ipv6 : Zorv::AddressFamily::ipv4 );
   EXPECT_FALSE( Flowspec::readStrCli( text, false, key ) ) << text;
   for ( const U16 set : sets ) {
      key.interfaceSetPush( set );
   }
   return key;
}

/// Gives a rule its match set and the flags of its actions.
inline void fill( Flowspec::RuleConfig& rule, std::string_view actions = "" ) {
   std::vector< Flowspec::MatchComponent > components;
   EXPECT_FALSE( Flowspec::matchSetFromKey( rule.ruleKey(), components ) );
   Flowspec::matchSetReplace( rule, components );
   Flowspec::ActionFieldSet flags;
   flags.stringValueIs( actions );
   rule.actionFieldSetIs( flags );
}

inline Vek::Ptr< Flowspec::RuleConfig > makeRule( const Flowspec::FlowspecKey& key,
                                                  std::string_view actions = "" ) {
   auto rule = Flowspec::ruleConfigFactory( key );
   fill( *rule, actions );
   return rule;
}

/// Hardware that can do all but redirect to addresses, for IPv4; for IPv6 it matches on
/// destinations and drops. Interfaces 1 and 2 are in VRF 0, 3 in VRF 1; VRF 1 is "red".
inline Dataplane::Profile testProfile( U64 capacity = 100, U32 interfaceSets = 4 ) {
   return Dataplane::Profile::read( Vek::concat(
      R"({"capacity":)", capacity, R"(,"interfaceSets":)", interfaceSets,
      R"(,"ipv4":{"qualifiers":["destPrefix","srcPrefix","ipProto","port","destPort","srcPort",)"
      R"("icmpType","icmpCode","tcpFlags","packetLength","fragment"],)"
      R"("actions":["trafficPermit","trafficDrop","trafficRate","trafficMarking",)"
      R"("trafficAction","redirectVrf"]},)"
      R"("ipv6":{"qualifiers":["destPrefix"],"actions":["trafficDrop"]},)"
      R"("interfaces":[{"intf":1,"vrf":0},{"intf":2,"vrf":0},{"intf":3,"vrf":1}],)"
      R"("vrfs":{"default":0,"red":1}})" ) );
}

} // namespace TestSupport
