#include "agents/peerd/PeerdConfig.h"

#include "tests/support/Folder.h"
#include "tests/support/Process.h"

#include <gmock/gmock.h>

namespace Peerd {
namespace {

using Forms::ConfigFault;
using testing::ElementsAre;
using testing::IsEmpty;
using TestSupport::contents;
using Zorv::IpGenAddr;
using Zorv::IpGenPrefix;

// A file with one peer and some more members of it, and of the file.
Vek::String withPeer( std::string_view more, std::string_view rest = "" ) {
   return Vek::concat( R"({"localAs":65000,"routerId":"192.0.2.1",)"
                       R"("peers":[{"name":"a","address":"192.0.2.2","as":65001,)"
                       R"("families":["ipv4-flow"])",
                       more, "}]", rest, "}" );
}
Vek::String withTerm( std::string_view term ) {
   return withPeer( Vek::concat( R"(,"import":[)", term, "]" ) );
}
Vek::String withMatch( std::string_view match ) {
   return withTerm( Vek::concat( R"({"accept":true,"match":{)", match, "}}" ) );
}

struct Bad {
   Vek::String json;
   const char* reason;
   bool schemaTakesIt = false;
};

const Bad badConfigs[] = {
   { "[]", "not a JSON object" },
   { R"({"routerId":"192.0.2.1","peers":[]})", "localAs: missing" },
   { R"({"localAs":1,"peers":[]})", "routerId: missing" },
   { R"({"localAs":1,"routerId":"192.0.2.1"})", "peers: missing" },
   { R"({"localAs":0,"routerId":"192.0.2.1","peers":[]})",
     "localAs: not a number from 1 to 4294967294" },
   { R"({"localAs":"1","routerId":"192.0.2.1","peers":[]})",
     "localAs: not a number from 1 to 4294967294" },
   { R"({"localAs":1,"routerId":1,"peers":[]})", "routerId: not a text" },
   { R"({"localAs":1,"routerId":"::1","peers":[]})",
     "routerId: '::1' is not an identifier such as 192.0.2.1" },
   { R"({"localAs":1,"routerId":"0.0.0.0","peers":[]})",
     "routerId: '0.0.0.0' is not an identifier such as 192.0.2.1" },
   { R"({"localAs":1,"routerId":"192.0.2.1","peers":{}})", "peers: not a list" },
   { R"({"localAs":1,"routerId":"192.0.2.1","peers":[],"clusterId":"x"})",
     "clusterId: 'x' is not an identifier such as 192.0.2.1" },
   { R"({"localAs":1,"routerId":"192.0.2.1","peers":[],"port":1})", "port: unknown member" },
   { R"({"localAs":1,"routerId":"192.0.2.1","peers":[3]})", "peers[0]: not an object" },

   { withPeer( "", R"(,"listen":{})" ), "listen: not a list" },
   { withPeer( "", R"(,"listen":["::"])" ), "listen[0]: not an object" },
   { withPeer( "", R"(,"listen":[{"port":179}])" ), "listen[0].address: missing" },
   { withPeer( "", R"(,"listen":[{"address":"here"}])" ),
     "listen[0].address: 'here' is not an address" },
   { withPeer( "", R"(,"listen":[{"address":"::","port":0}])" ),
     "listen[0].port: not a number from 1 to 65535" },
   { withPeer( "", R"(,"listen":[{"address":"::","x":0}])" ), "listen[0].x: unknown member" },

   { withPeer( "", R"(,"vrfs":5)" ), "vrfs: not a list" },
   { withPeer( "", R"(,"vrfs":[{}])" ), "vrfs[0].vrf: missing" },
   { withPeer( "", R"(,"vrfs":[{"vrf":16777215}])" ), "vrfs[0].vrf: 16777215 is not a VRF" },
   { withPeer( "", R"(,"vrfs":[{"vrf":4294967296}])" ),
     "vrfs[0].vrf: not a number from 0 to 4294967295" },
   { withPeer( "", R"(,"vrfs":[{"vrf":1},{"vrf":1}])" ), "vrfs[1].vrf: 1 is listed twice", true },
   { withPeer( "", R"(,"vrfs":[{"vrf":1,"distinguisher":"5"}])" ),
     "vrfs[0].distinguisher: '5' is not a route distinguisher such as 65000:100", true },
   { withPeer( "", R"(,"vrfs":[{"vrf":1,"distinguisher":"0:0"}])" ),
     "vrfs[0].distinguisher: '0:0' is not a route distinguisher such as 65000:100", true },
   { withPeer( "", R"(,"vrfs":[{"vrf":1,"import":["5"]}])" ),
     "vrfs[0].import[0]: '5' is not a route target such as 65000:100", true },
   { withPeer( "", R"(,"vrfs":[{"vrf":1,"export":"65000:1"}])" ), "vrfs[0].export: not a list" },
   { withPeer( "", R"(,"vrfs":[{"vrf":1,"export":[7]}])" ), "vrfs[0].export[0]: not a text" },
   { withPeer( "", R"(,"vrfs":[{"vrf":1,"rd":"1:1"}])" ), "vrfs[0].rd: unknown member" },

   { R"({"localAs":1,"routerId":"192.0.2.1","peers":[{"address":"::1","as":1,"families":["ipv4-flow"]}]})",
     "peers[0].name: missing" },
   { R"({"localAs":1,"routerId":"192.0.2.1","peers":[{"name":"a","as":1,"families":["ipv4-flow"]}]})",
     "peers[0].address: missing" },
   { R"({"localAs":1,"routerId":"192.0.2.1","peers":[{"name":"a","address":"::1","families":["ipv4-flow"]}]})",
     "peers[0].as: missing" },
   { R"({"localAs":1,"routerId":"192.0.2.1","peers":[{"name":"a","address":"::1","as":1}]})",
     "peers[0].families: missing" },
   { R"({"localAs":1,"routerId":"192.0.2.1","peers":[{"name":"","address":"::1","as":1,"families":["ipv4-flow"]}]})",
     "peers[0].name: '' is not a name: 1 to 64 letters, digits, '-', '_', '.' and ':'" },
   { R"({"localAs":1,"routerId":"192.0.2.1","peers":[{"name":"a b","address":"::1","as":1,"families":["ipv4-flow"]}]})",
     "peers[0].name: 'a b' is not a name: 1 to 64 letters, digits, '-', '_', '.' and ':'" },
   { R"({"localAs":1,"routerId":"192.0.2.1","peers":[{"name":"a","address":"::g","as":1,"families":["ipv4-flow"]}]})",
     "peers[0].address: '::g' is not an address" },
   { R"({"localAs":1,"routerId":"192.0.2.1","peers":[{"name":"a","address":"::1","as":4294967295,"families":["ipv4-flow"]}]})",
     "peers[0].as: not a number from 1 to 4294967294" },
   { R"({"localAs":1,"routerId":"192.0.2.1","peers":[{"name":"a","address":"::1","as":1,"families":[]}]})",
     "peers[0].families: at least one family is wanted" },
   { R"({"localAs":1,"routerId":"192.0.2.1","peers":[{"name":"a","address":"::1","as":1,"families":"ipv4-flow"}]})",
     "peers[0].families: not a list" },
   { R"({"localAs":1,"routerId":"192.0.2.1","peers":[{"name":"a","address":"::1","as":1,"families":["ipv4-unicast"]}]})",
     "peers[0].families[0]: 'ipv4-unicast' is not a family: ipv4-flow, ipv6-flow, ipv4-vpn-flow or "
     "ipv6-vpn-flow" },
   { R"({"localAs":1,"routerId":"192.0.2.1","peers":[{"name":"a","address":"::1","as":1,"families":["ipv6-flow","ipv6-flow"]}]})",
     "peers[0].families[1]: 'ipv6-flow' is listed twice" },
   { R"({"localAs":1,"routerId":"192.0.2.1","peers":[{"name":"a","address":"::1","as":1,"families":["ipv6-flow"]},)"
     R"({"name":"a","address":"::2","as":1,"families":["ipv6-flow"]}]})",
     "peers[1].name: another peer is 'a' too", true },
   { R"({"localAs":1,"routerId":"192.0.2.1","peers":[{"name":"a","address":"::1","as":1,"families":["ipv6-flow"]},)"
     R"({"name":"b","address":"::1","as":1,"families":["ipv6-flow"]}]})",
     "peers[1].address: peer 'a' has it too", true },
   { withPeer( R"(,"port":65536)" ), "peers[0].port: not a number from 1 to 65535" },
   { withPeer( R"(,"passive":1)" ), "peers[0].passive: neither true nor false" },
   { withPeer( R"(,"localAddress":"::1")" ),
     "peers[0].localAddress: not of the family of the peer's address", true },
   { withPeer( R"(,"localAddress":"me")" ), "peers[0].localAddress: 'me' is not an address" },
   { withPeer( R"(,"holdTime":2)" ), "peers[0].holdTime: neither 0 nor at least 3" },
   { withPeer( R"(,"holdTime":65536)" ), "peers[0].holdTime: not a number from 0 to 65535" },
   { withPeer( R"(,"connectRetryTime":0)" ),
     "peers[0].connectRetryTime: not a number from 1 to 65535" },
   { withPeer( R"(,"idleHoldTime":-1)" ), "peers[0].idleHoldTime: not a number from 0 to 65535" },
   { withPeer( R"(,"password":"")" ), "peers[0].password: not a password of 1 to 80 octets" },
   { withPeer( Vek::concat( R"(,"password":")", Vek::String( 81, 'x' ), "\"" ) ),
     "peers[0].password: not a password of 1 to 80 octets" },
   { withPeer( R"(,"passwordFile":"nowhere")" ),
     "peers[0].passwordFile: cannot read /nowhere/nowhere: No such file or directory", true },
   { withPeer( R"(,"password":"a","passwordFile":"/dev/null")" ),
     "peers[0].passwordFile: cannot read /dev/null: not a regular file" },
   { withPeer( R"(,"hops":0)" ), "peers[0].hops: not a number from 1 to 255" },
   { withPeer( R"(,"ttlSecurity":255)" ), "peers[0].ttlSecurity: neither true nor false" },
   { withPeer( R"(,"gracefulRestart":{})" ), "peers[0].gracefulRestart: neither true nor false" },
   { withPeer( R"(,"restartTime":4096)" ), "peers[0].restartTime: not a number from 0 to 4095" },
   { withPeer( R"(,"extendedMessages":null)" ),
     "peers[0].extendedMessages: neither true nor false" },
   { withPeer( R"(,"prefixes":["10.0.0.1"])" ),
     "peers[0].prefixes[0]: '10.0.0.1' is not a prefix such as 192.0.2.0/24" },
   { withPeer( R"(,"prefixes":["10.0.0.0/33"])" ),
     "peers[0].prefixes[0]: '10.0.0.0/33' is not a prefix such as 192.0.2.0/24", true },
   { withPeer( R"(,"checkOriginator":"no")" ), "peers[0].checkOriginator: neither true nor false" },
   { withPeer( R"(,"checkFirstAs":0)" ), "peers[0].checkFirstAs: neither true nor false" },
   { withPeer( R"(,"guards":[])" ), "peers[0].guards: not an object" },
   { withPeer( R"(,"guards":{"everything":0})" ),
     "peers[0].guards.everything: neither true nor false" },
   { withPeer( R"(,"guards":{"sessions":0})" ),
     "peers[0].guards.sessions: neither true nor false" },
   { withPeer( R"(,"guards":{"destinations":0})" ),
     "peers[0].guards.destinations: neither true nor false" },
   { withPeer( R"(,"guards":{"maxRules":0})" ),
     "peers[0].guards.maxRules: not a number from 1 to 10000000" },
   { withPeer( R"(,"guards":{"atMaxRules":"stop"})" ),
     "peers[0].guards.atMaxRules: 'stop' is neither refuse nor cease" },
   { withPeer( R"(,"guards":{"all":true})" ), "peers[0].guards.all: unknown member" },
   { withPeer( R"(,"localPref":1)" ), "peers[0].localPref: nothing is announced without 'export'",
     true },
   { withPeer( R"(,"med":1)" ), "peers[0].med: nothing is announced without 'export'", true },
   { withPeer( R"(,"export":[],"localPref":-1)" ),
     "peers[0].localPref: not a number from 0 to 4294967295" },
   { withPeer( R"(,"export":[],"med":"1")" ), "peers[0].med: not a number from 0 to 4294967295" },
   { withPeer( R"(,"export":{})" ), "peers[0].export: not a list" },
   { withPeer( R"(,"export":[{}])" ), "peers[0].export[0].announce: missing" },
   { withPeer( R"(,"export":[{"announce":1}])" ),
     "peers[0].export[0].announce: neither true nor false" },
   { withPeer( R"(,"export":[{"announce":true,"match":{"family":"ip"}}])" ),
     "peers[0].export[0].match.family: 'ip' is neither ipv4 nor ipv6" },
   { withPeer( R"(,"export":[{"announce":true,"accept":true}])" ),
     "peers[0].export[0].accept: unknown member" },
   { withPeer( R"(,"speed":1)" ), "peers[0].speed: unknown member" },

   { withPeer( R"(,"import":{})" ), "peers[0].import: not a list" },
   { withTerm( "5" ), "peers[0].import[0]: not an object" },
   { withTerm( "{}" ), "peers[0].import[0]: exactly one of 'accept' and 'refuse' is wanted" },
   { withTerm( R"({"accept":true,"refuse":true})" ),
     "peers[0].import[0]: exactly one of 'accept' and 'refuse' is wanted" },
   { withTerm( R"({"accept":false})" ),
     "peers[0].import[0].accept: a term that does not accept has 'refuse'" },
   { withTerm( R"({"refuse":false})" ),
     "peers[0].import[0].refuse: a term that does not refuse has 'accept'" },
   { withTerm( R"({"refuse":7})" ), "peers[0].import[0].refuse: not a text" },
   { withTerm( R"({"accept":"all"})" ), "peers[0].import[0].accept: not an object" },
   { withTerm( R"({"accept":{"vrf":16777215}})" ),
     "peers[0].import[0].accept.vrf: 16777215 is not a VRF" },
   { withTerm( R"({"accept":{"vrfByRouteTarget":1}})" ),
     "peers[0].import[0].accept.vrfByRouteTarget: neither true nor false" },
   { withTerm( R"({"accept":{"vrf":1,"vrfByRouteTarget":true}})" ),
     "peers[0].import[0].accept: 'vrf' and 'vrfByRouteTarget' exclude each other" },
   { withTerm( R"({"accept":{"interfaceSets":[16384]}})" ),
     "peers[0].import[0].accept.interfaceSets[0]: not a number from 0 to 16383" },
   { withTerm( R"({"accept":{"action":{"drop":true,"markDscp":1}}})" ),
     "peers[0].import[0].accept.action: 'action.markDscp' contradicts 'action.drop'", true },
   { withTerm( R"({"accept":{"drop":true}})" ), "peers[0].import[0].accept.drop: unknown member" },
   { withMatch( R"("destinations":["x"])" ),
     "peers[0].import[0].match.destinations[0]: 'x' is not a prefix such as 192.0.2.0/24" },
   { withMatch( R"("minDestinationLength":129)" ),
     "peers[0].import[0].match.minDestinationLength: not a number from 0 to 128" },
   { withMatch( R"("sources":5)" ), "peers[0].import[0].match.sources: not a list" },
   { withMatch( R"("minSourceLength":"a")" ),
     "peers[0].import[0].match.minSourceLength: not a number from 0 to 128" },
   { withMatch( R"("family":"none")" ),
     "peers[0].import[0].match.family: 'none' is neither ipv4 nor ipv6" },
   { withMatch( R"("with":["invalid"])" ),
     "peers[0].import[0].match.with[0]: 'invalid' is not a component type" },
   { withMatch( R"("without":["ports"])" ),
     "peers[0].import[0].match.without[0]: 'ports' is not a component type" },
   { withMatch( R"("actions":["invalid"])" ),
     "peers[0].import[0].match.actions[0]: 'invalid' is not an action" },
   { withMatch( R"("actions":["drop"])" ),
     "peers[0].import[0].match.actions[0]: 'drop' is not an action" },
   { withMatch( R"("port":1)" ), "peers[0].import[0].match.port: unknown member" },
};

std::vector< ConfigFault > faultsOf( std::string_view json ) {
   PeerdConfig config;
   return readPeerdConfig( json, "/nowhere", config );
}

PeerdConfig read( std::string_view json, const Vek::String& folder = "/nowhere" ) {
   PeerdConfig config;
   for ( const ConfigFault& fault : readPeerdConfig( json, folder, config ) ) {
      ADD_FAILURE() << fault.reason;
   }
   return config;
}

TEST( PeerdConfig, AFaultNamesTheMemberAndWhatIsWrong ) {
   for ( const Bad& bad : badConfigs ) {
      EXPECT_THAT( faultsOf( bad.json ), ElementsAre( ConfigFault{ 1, bad.reason } ) ) << bad.json;
   }
}

TEST( PeerdConfig, AllFaultsAreToldInTheOrderOfTheirLines ) {
   EXPECT_THAT(
      faultsOf( R"({
  "peers": [
    { "name": "a", "address": "192.0.2.2",
      "as": 0,
      "families": [ "ipv4-flow",
                    "ipv5-flow" ] },
    { "name": "a" }
  ],
  "routerId": 7,
  "what\u001b": 1
})" ),
      ElementsAre(
         ConfigFault{ 1, "localAs: missing" },
         ConfigFault{ 4, "peers[0].as: not a number from 1 to 4294967294" },
         ConfigFault{ 6, "peers[0].families[1]: 'ipv5-flow' is not a family: "
                         "ipv4-flow, ipv6-flow, ipv4-vpn-flow or ipv6-vpn-flow" },
         ConfigFault{ 7, "peers[1].address: missing" }, ConfigFault{ 7, "peers[1].as: missing" },
         ConfigFault{ 7, "peers[1].families: missing" }, ConfigFault{ 9, "routerId: not a text" },
         ConfigFault{ 10, "what\\x1b: unknown member" } ) );
}

TEST( PeerdConfig, WhatIsNotJsonIsToldByItsLine ) {
   EXPECT_THAT( faultsOf( "{\n\"localAs\":1,\n\"localAs\":2}" ),
                ElementsAre( ConfigFault{ 3, "member 'localAs' is there twice" } ) );
   EXPECT_THAT( faultsOf( "{\n" ), testing::SizeIs( 1 ) );
}

TEST( PeerdConfig, DefaultsAreThoseOfSessionsAndGuards ) {
   const PeerdConfig config = read( withPeer( "" ) );
   ASSERT_EQ( config.peers.size(), 1U );
   EXPECT_THAT( config.listen, IsEmpty() );
   EXPECT_THAT( config.vrfs.vrfs, IsEmpty() );
   const PeerConfig& peer = config.peers[0];
   Bgp::SessionConfig session;
   session.name = "a";
   session.peer.address = IpGenAddr::ipv4( 0xC000'0202 );
   session.localAs = 65000;
   session.peerAs = 65001;
   session.routerId = 0xC000'0201;
   session.families = { Bgp::ipv4Flow };
   EXPECT_EQ( peer.session, session );
   EXPECT_EQ( Bgp::fault( peer.session ), "" );
   PeerImport import;
   import.address = session.peer.address;
   import.localAs = 65000;
   import.peerAs = 65001;
   import.routerId = import.clusterId = 0xC000'0201;
   EXPECT_EQ( peer.import, import );
   EXPECT_EQ( peer.exported, std::nullopt );
}

TEST( PeerdConfig, EachMemberOfASessionIsRead ) {
   const TestSupport::Folder folder;
   folder.file( "secret", "key\nand a remark\n" );
   const PeerdConfig config = read(
      withPeer(
         R"(,"port":1179,"passive":true,"localAddress":"192.0.2.1","holdTime":9,)"
         R"("connectRetryTime":5,"idleHoldTime":6,"passwordFile":"secret","hops":2,)"
         R"("ttlSecurity":true,"gracefulRestart":false,"restartTime":7,"extendedMessages":false)",
         R"(,"listen":[{"address":"127.0.0.1","port":1790},{"address":"::"}])" ),
      folder.path() );
   EXPECT_THAT( config.listen,
                ElementsAre( Bgp::SocketAddress{ IpGenAddr::ipv4( 0x7F00'0001 ), 1790 },
                             Bgp::SocketAddress{ *IpGenAddr::fromText( "::" ), 179 } ) );
   ASSERT_EQ( config.peers.size(), 1U );
   const Bgp::SessionConfig& session = config.peers[0].session;
   EXPECT_EQ( session.peer.port, 1179 );
   EXPECT_TRUE( session.passive );
   EXPECT_EQ( session.localAddress, IpGenAddr::ipv4( 0xC000'0201 ) );
   EXPECT_EQ( session.holdTime, 9 );
   EXPECT_EQ( session.connectRetryTime, 5 );
   EXPECT_EQ( session.idleHoldTime, 6 );
   EXPECT_EQ( session.password, "key" );
   EXPECT_EQ( session.hops, 2 );
   EXPECT_TRUE( session.ttlSecurity );
   EXPECT_FALSE( session.gracefulRestart );
   EXPECT_EQ( session.restartTime, 7 );
   EXPECT_FALSE( session.extendedMessages );
}

TEST( PeerdConfig, APeerHasOnePassword ) {
   const TestSupport::Folder folder;
   folder.file( "secret", "key" );
   folder.file( "empty", "\nkey" );
   PeerdConfig config;
   const auto faults = [&]( std::string_view members ) {
      return readPeerdConfig( withPeer( members ), folder.path(), config );
   };
   EXPECT_THAT(
      faults( R"(,"password":"a","passwordFile":"secret")" ),
      ElementsAre( ConfigFault{ 1, "peers[0].passwordFile: there is a password already" } ) );
   EXPECT_THAT(
      faults( R"(,"passwordFile":"empty")" ),
      ElementsAre( ConfigFault{ 1, "peers[0].passwordFile: not a password of 1 to 80 octets" } ) );
}

TEST( PeerdConfig, ANameHasLettersDigitsAndSomeSigns ) {
   const auto with = []( std::string_view name ) {
      return Vek::concat( R"({"localAs":1,"routerId":"192.0.2.1","peers":[{"name":")", name,
                          R"(","address":"::1","as":1,"families":["ipv4-flow"]}]})" );
   };
   const Vek::String longest = "AZaz09-_.:" + Vek::String( 54, 'x' );
   EXPECT_EQ( read( with( longest ) ).peers.at( 0 ).session.name, longest );
   for ( const std::string_view bad : { "@", "[", "`", "{", "/", ";", "\xc3\xa4" } ) {
      EXPECT_THAT( faultsOf( with( bad ) ), testing::SizeIs( 1 ) ) << bad;
   }
   EXPECT_THAT( faultsOf( with( longest + "x" ) ), testing::SizeIs( 1 ) );
}

TEST( PeerdConfig, APolicyHasAtMostSoManyTerms ) {
   Vek::String terms = R"({"accept":true})";
   for ( int i = 1; i < 65534; ++i ) {
      terms += R"(,{"accept":true})";
   }
   EXPECT_EQ( read( withTerm( terms ) ).peers.at( 0 ).import.policy->terms.size(), 65534U );
   EXPECT_THAT( faultsOf( withTerm( terms + R"(,{"accept":true},{"accept":true})" ) ),
                ElementsAre( ConfigFault{ 1, "peers[0].import: more than 65534 terms" } ) );
}

TEST( PeerdConfig, PoliciesGuardsAndVrfsAreRead ) {
   const PeerdConfig config = read( withPeer(
      R"(,"prefixes":["10.0.0.0/8"],"checkOriginator":false,"checkFirstAs":false,)"
      R"("guards":{"everything":false,"sessions":false,"destinations":false,"maxRules":5,)"
      R"("atMaxRules":"cease"},)"
      R"("import":[{"match":{"destinations":["10.1.0.0/16"],"minDestinationLength":24,)"
      R"("sources":["::/0"],"minSourceLength":9,"family":"ipv4","with":["destPort","ipProto"],)"
      R"("without":["fragment"],"actions":["trafficDrop"]},)"
      R"("accept":{"vrf":5,"interfaceSets":[9,3,9],"action":{"drop":true}}},)"
      R"({"accept":{"vrfByRouteTarget":true}},{"refuse":"no"},{"refuse":true},{"accept":true}],)"
      R"("export":[{"announce":false},{"match":{"family":"ipv6"},"announce":true}],)"
      R"("localPref":7,"med":8)",
      R"(,"clusterId":"1.2.3.4","vrfs":[{"vrf":5,"distinguisher":"65000:5","import":["65000:5"],)"
      R"("export":["65000:6","192.0.2.1:7"]}])" ) );
   ASSERT_EQ( config.peers.size(), 1U );
   const PeerImport& import = config.peers[0].import;
   EXPECT_THAT( import.prefixes, ElementsAre( *IpGenPrefix::fromText( "10.0.0.0/8" ) ) );
   EXPECT_EQ( import.clusterId, 0x0102'0304U );
   EXPECT_FALSE( import.checksOriginator );
   EXPECT_FALSE( import.checksFirstAs );
   EXPECT_EQ( import.guards, ( GuardRails{ .everything = false,
                                           .sessions = false,
                                           .destinations = false,
                                           .maxRules = 5,
                                           .ceases = true } ) );
   ASSERT_TRUE( import.policy );
   EXPECT_FALSE( import.policy->acceptsOthers );
   ImportTerm first;
   first.condition.destinations = { *IpGenPrefix::fromText( "10.1.0.0/16" ) };
   first.condition.minDestinationLength = 24;
   first.condition.sources = { *IpGenPrefix::fromText( "::/0" ) };
   first.condition.minSourceLength = 9;
   first.condition.family = Zorv::AddressFamily::ipv4;
   first.condition.with = 1U << 3 | 1U << 5;
   first.condition.without = 1U << 12;
   first.condition.actions.trafficDropIs( true );
   first.vrf = 5;
   first.interfaceSets = { 3, 9 };
   first.action.emplace().fields.trafficDropIs( true );
   ImportTerm byTarget;
   byTarget.vrfByRouteTarget = true;
   ImportTerm refusal;
   refusal.accepts = false;
   ImportTerm reasoned = refusal;
   reasoned.reason = "no";
   EXPECT_THAT( import.policy->terms,
                ElementsAre( first, byTarget, reasoned, refusal, ImportTerm() ) );

   ASSERT_TRUE( config.peers[0].exported );
   const ExportPolicy& exported = *config.peers[0].exported;
   ASSERT_EQ( exported.terms.size(), 2U );
   EXPECT_FALSE( exported.terms[0].announces );
   EXPECT_EQ( exported.terms[0].condition, RuleCondition() );
   EXPECT_TRUE( exported.terms[1].announces );
   EXPECT_EQ( exported.terms[1].condition.family, Zorv::AddressFamily::ipv6 );
   EXPECT_FALSE( exported.announcesOthers );
   EXPECT_EQ( exported.localPref, 7U );
   EXPECT_EQ( exported.med, 8U );

   ASSERT_EQ( config.vrfs.vrfs.size(), 1U );
   const VrfEntry& vrf = config.vrfs.vrfs[0];
   EXPECT_EQ( vrf.vrf, 5U );
   EXPECT_EQ( vrf.distinguisher.stringValue(), "65000:5" );
   EXPECT_EQ( vrf.importTargets.size(), 1U );
   EXPECT_EQ( vrf.exportTargets.size(), 2U );
}

TEST( PeerdConfig, OfAnEmptyPolicyNothingIsAcceptedOrAnnounced ) {
   const PeerdConfig config = read( withPeer( R"(,"import":[],"export":[])" ) );
   EXPECT_EQ( config.peers[0].import.policy, ImportPolicy() );
   EXPECT_EQ( config.peers[0].exported, ExportPolicy() );
}

TEST( PeerdConfig, TheSchemaTakesWhatTheReaderTakes ) {
   Vek::String good = contents( "examples/peerd.json" );
   EXPECT_EQ( read( good, "examples" ).peers.size(), 3U );
   std::erase( good, '\n' );
   good += '\n' + withPeer( R"(,"import":[],"export":[],"med":0)" ) + '\n';
   Vek::String refused;
   for ( const Bad& bad : badConfigs ) {
      ( bad.schemaTakesIt ? good : refused ) += Vek::concat( bad.json, '\n' );
   }
   const TestSupport::Folder folder;
   TestSupport::Process check( { "python3", "tests/agents/programd/schema.py",
                                 "docs/peerd.schema.json", folder.file( "good", good ),
                                 folder.file( "bad", refused ) },
                               folder.path() + "/errors" );
   EXPECT_EQ( check.wait(), 0 );
   EXPECT_EQ( check.errors(), "" );
}

} // namespace
} // namespace Peerd
