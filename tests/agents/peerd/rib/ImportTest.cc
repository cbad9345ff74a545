#include "agents/peerd/rib/RouteIn.h"

#include "tests/agents/peerd/rib/Announcement.h"
#include "tests/agents/peerd/rib/FiledRules.h"

#include <gmock/gmock.h>

// Which rules of a peer are filed, and how: validation, policy, guard rails.

namespace Peerd {
namespace {

using namespace TestSupport;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

const std::string two = "0118C00002";
const std::string three = "0118C00003";
const std::string twoKey = "0;ipv4;192.0.2.0/24;*;";

constexpr PeerId peer = 1;

class ImportTest : public testing::Test {
public:
   ImportTest() : in_( filed_ ) {
      import_.address = *Zorv::IpGenAddr::fromText( "10.0.0.1" );
      import_.localAs = 64512;
      import_.peerAs = 64501;
      import_.routerId = 7;
      import_.prefixes = { *Zorv::IpGenPrefix::fromText( "192.0.2.0/23" ) };
      import_.policy = ImportPolicy{ {}, true };
   }

   // What becomes of a rule: "KEY ACTION" for each key, or why it is refused.
   std::string become( const std::string& rule, const std::string& extended = drop,
                       const std::vector< U32 >& path = { 64501 },
                       Bgp::Family family = Bgp::ipv4Flow ) {
      in_.peerIs( peer, import_ );
      in_.established( peer, 9, Bgp::flowFamilies );
      in_.update(
         peer, *AnnouncedUpdate(
                  { .family = family, .rules = { rule }, .path = path, .extended = extended } ) );
      const std::string became = state();
      in_.update( peer, *AnnouncedUpdate( { .family = family, .withdrawn = { rule } } ) );
      EXPECT_THAT( filed_.rules(), IsEmpty() );
      return became;
   }

   std::string state() {
      std::string text;
      for ( const auto& [key, action] : filed_.rules() ) {
         text +=
            ( text.empty() ? "" : ", " ) + key + ' ' + action.substr( 0, action.find( " of" ) );
      }
      in_.forEachRefused( peer, 10, [&]( const UnfiledRoute& route ) { text += route.reason; } );
      return text;
   }

   ImportTerm& term( RuleCondition condition = {} ) {
      import_.policy->acceptsOthers = false;
      import_.policy->terms.push_back( { std::move( condition ) } );
      return import_.policy->terms.back();
   }

   FiledRules filed_;
   RouteIn in_;
   PeerImport import_;
};

const std::string filedTwo = twoKey + " drop";

TEST_F( ImportTest, ExternalPeerNeedsAPolicy ) {
   EXPECT_EQ( become( two ), filedTwo );
   import_.policy.reset();
   EXPECT_EQ( become( two ), "an external peer without an import policy" );
   import_.peerAs = import_.localAs;
   EXPECT_EQ( become( two ), filedTwo ) << "an internal one does not";
}

TEST_F( ImportTest, PathBeginsWithThePeersAs ) {
   EXPECT_EQ( become( two, drop, { 64501, 64502 } ), filedTwo );
   EXPECT_EQ( become( two, drop, { 64502, 64501 } ),
              "the AS path \"64502 64501\" does not begin with the peer's AS, 64501" );
   EXPECT_EQ( become( two, drop, {} ),
              "the AS path \"\" does not begin with the peer's AS, 64501" );
   import_.checksFirstAs = false;
   EXPECT_EQ( become( two, drop, { 64502, 64501 } ), filedTwo ) << "of a route server";
}

TEST_F( ImportTest, DestinationOfAnExternalPeerIsItsOwn ) {
   EXPECT_EQ( become( three ), "0;ipv4;192.0.3.0/24;*; drop" );
   EXPECT_EQ( become( "0118C00004" ),
              "the destination 192.0.4.0/24 is outside the peer's prefixes" );
   EXPECT_EQ( become( "0116C000" + std::string( "00" ) ),
              "the destination 192.0.0.0/22 is outside the peer's prefixes" );
   EXPECT_EQ( become( "038106" ), "no destination, so none of the peer's prefixes" );
   import_.prefixes.clear();
   EXPECT_EQ( become( two ), "the destination 192.0.2.0/24 is outside the peer's prefixes" );
   import_.checksOriginator = false;
   EXPECT_EQ( become( two ), filedTwo );
   EXPECT_EQ( become( "038106" ), "0;ipv4;*;*;IP:=0L6; drop" );
}

TEST_F( ImportTest, InternalPeerIsTrusted ) {
   import_.peerAs = import_.localAs;
   import_.prefixes.clear();
   EXPECT_EQ( become( two, drop, {} ), filedTwo ) << "an empty path is one from inside";
   EXPECT_EQ( become( two, drop, { 64502 } ), filedTwo );
}

TEST_F( ImportTest, GuardOfDestinationsHoldsForAllPeers ) {
   import_.peerAs = import_.localAs;
   EXPECT_EQ( become( "0118C00004", drop, {} ),
              "the destination 192.0.4.0/24 is outside the peer's prefixes" );
   EXPECT_EQ( become( "038106", drop, {} ), "no destination, so none of the peer's prefixes" );
   import_.guards.destinations = false;
   EXPECT_EQ( become( "0118C00004", drop, {} ), "0;ipv4;192.0.4.0/24;*; drop" );
}

TEST_F( ImportTest, GuardOfEverything ) {
   import_.checksOriginator = false;
   import_.prefixes.clear();
   EXPECT_EQ( become( "0100" ), "matches each packet" );
   EXPECT_EQ( become( "038300"
                      "00" )
                 .substr( 0, 9 ),
              "component" )
      << "malformed";
   import_.guards.everything = false;
   EXPECT_EQ( become( "0100" ), "0;ipv4;0.0.0.0/0;*; drop" );
}

TEST_F( ImportTest, GuardOfSessions ) {
   in_.sessionsIs( { { *Zorv::IpGenAddr::fromText( "10.0.0.9" ), import_.address },
                     { *Zorv::IpGenAddr::fromText( "192.0.2.1" ),
                       *Zorv::IpGenAddr::fromText( "192.0.2.2" ) } } );
   EXPECT_EQ( become( two ), "matches packets of the session between 192.0.2.1 and 192.0.2.2" );
   EXPECT_EQ( become( two + "038111" ), "0;ipv4;192.0.2.0/24;*;IP:=0L17; drop" );
   import_.guards.sessions = false;
   EXPECT_EQ( become( two ), filedTwo );
}

TEST_F( ImportTest, OtherSessionsJudgeAnew ) {
   in_.peerIs( peer, import_ );
   in_.update( peer,
               *AnnouncedUpdate( { .rules = { two }, .path = { 64501 }, .extended = drop } ) );
   EXPECT_EQ( state(), filedTwo );
   in_.sessionsIs( { { *Zorv::IpGenAddr::fromText( "192.0.2.1" ), import_.address } } );
   EXPECT_EQ( state(), "matches packets of the session between 192.0.2.1 and 10.0.0.1" );
   in_.sessionsIs( {} );
   EXPECT_EQ( state(), filedTwo );
}

TEST_F( ImportTest, TermRefuses ) {
   term( { .minDestinationLength = 25 } );
   term().accepts = false;
   EXPECT_EQ( become( two ), "refused by term 2 of the import policy" );
   import_.policy->terms[1].reason = "too short";
   EXPECT_EQ( become( two ), "refused by term 2 of the import policy: too short" );
   import_.policy->terms.pop_back();
   EXPECT_EQ( become( two ), "no term of the import policy accepts it" );
   EXPECT_EQ( become( "0119C0000200" ), "0;ipv4;192.0.2.0/25;*; drop" );
}

TEST_F( ImportTest, TermReplaces ) {
   ImportTerm& replaced = term();
   replaced.vrf = 5;
   replaced.interfaceSets = { 3, 4 };
   replaced.action = Flowspec::RuleAction();
   EXPECT_EQ( become( two, drop + interfaceSet( 9 ) ), "5;ipv4;IFSET:=3,4;192.0.2.0/24;*; permit" );
   import_.policy->terms[0].interfaceSets->clear();
   EXPECT_EQ( become( two, drop + interfaceSet( 9 ) ), "5;ipv4;192.0.2.0/24;*; permit" );
}

TEST_F( ImportTest, TermSetsVrfByRouteTarget ) {
   const Wire::RouteTarget target{ Wire::RouteTarget::Kind::as2, { 0xFC, 0, 0, 0, 0, 1 } };
   in_.vrfTableIs( { { { 6, {}, { target }, {} } } } );
   EXPECT_EQ( become( two, drop + routeTarget( 1 ) ), filedTwo );
   term().vrfByRouteTarget = true;
   EXPECT_EQ( become( two, drop + routeTarget( 1 ) ), "6;ipv4;192.0.2.0/24;*; drop" );
   EXPECT_EQ( become( two, drop + routeTarget( 2 ) ), "no VRF imports any of the route targets" );
   import_.policy->terms[0].vrf = 8;
   EXPECT_EQ( become( two, drop + routeTarget( 2 ) ), "8;ipv4;192.0.2.0/24;*; drop" );
   EXPECT_EQ( become( "0000FC0000000064" + two, drop, { 64501 }, Bgp::ipv4VpnFlow ),
              "8;ipv4;192.0.2.0/24;*; drop" )
      << "of a VPN family too";
}

TEST_F( ImportTest, RedirectGoesToTheVrfThatImports ) {
   const Wire::RouteTarget target{ Wire::RouteTarget::Kind::as2, { 0xFC, 0, 0, 0, 0, 1 } };
   const std::string redirect = "8008FC0000000001";
   EXPECT_THAT( become( two, redirect ), testing::HasSubstr( "route target" ) );
   in_.vrfTableIs( { { { 6, {}, { target }, {} } } } );
   EXPECT_EQ( become( two, redirect ), twoKey + " to VRF 6" );
}

TEST_F( ImportTest, PolicyThatChangesFilesAnew ) {
   in_.peerIs( peer, import_ );
   in_.update( peer,
               *AnnouncedUpdate( { .rules = { two }, .path = { 64501 }, .extended = drop } ) );
   filed_.log();
   in_.peerIs( peer, import_ );
   EXPECT_EQ( filed_.log(), "" );
   ImportTerm& replaced = term();
   replaced.action = Flowspec::RuleAction();
   in_.peerIs( peer, import_ );
   EXPECT_EQ( filed_.log(), "( +" + twoKey + " permit of 1 )" );
   import_.policy->terms[0].action->fields.trafficDropIs( true );
   in_.peerIs( peer, import_ );
   EXPECT_EQ( filed_.log(), "( +" + twoKey + " drop of 1 )" ) << "by the same term";
   import_.policy->terms[0].vrf = 5;
   in_.peerIs( peer, import_ );
   EXPECT_EQ( filed_.log(), "( -" + twoKey + " +5;ipv4;192.0.2.0/24;*; drop of 1 )" );
   import_.policy->terms[0].accepts = false;
   in_.peerIs( peer, import_ );
   EXPECT_EQ( filed_.log(), "( -5;ipv4;192.0.2.0/24;*; )" );
   EXPECT_EQ( in_.counts( peer ).refused, 1U );
}

class MaximumTest : public ImportTest {
public:
   MaximumTest() {
      import_.checksOriginator = false;
      import_.prefixes.clear();
      import_.guards.maxRules = 10;
      in_.peerIs( peer, import_ );
      in_.established( peer, 9, {} );
   }

   RouteIn::Taken announce( U8 number, const std::string& extended = drop ) {
      const U8 octets[] = { 1, 24, 10, 0, number };
      return in_.update(
         peer, *AnnouncedUpdate(
                  { .rules = { hexOf( octets ) }, .path = { 64501 }, .extended = extended } ) );
   }
   void withdraw( U8 number ) {
      const U8 octets[] = { 1, 24, 10, 0, number };
      in_.update( peer, *AnnouncedUpdate( { .withdrawn = { hexOf( octets ) } } ) );
   }
};

TEST_F( MaximumTest, WarningComesOnceAt80Percent ) {
   for ( U8 i = 0; i < 7; ++i ) {
      EXPECT_FALSE( announce( i ).nearMaximum );
   }
   EXPECT_TRUE( announce( 7 ).nearMaximum );
   EXPECT_FALSE( announce( 8 ).nearMaximum );
   in_.down( peer, Bgp::flowFamilies );
   EXPECT_TRUE( announce( 8 ).nearMaximum ) << "in the next session again";
}

TEST_F( MaximumTest, OneMoreIsRefusedAndListed ) {
   for ( U8 i = 0; i < 12; ++i ) {
      EXPECT_FALSE( announce( i ).cease );
   }
   EXPECT_FALSE( announce( 11 ).cease );
   EXPECT_EQ( in_.filed(), 10U );
   RouteCounts counts = in_.counts( peer );
   EXPECT_EQ( counts.received, 10U );
   EXPECT_EQ( counts.beyondMax, 3U );
   std::vector< std::string > listed;
   in_.forEachRefused( peer, 10, [&]( const UnfiledRoute& route ) {
      listed.push_back( hexOf( route.octets ) + ' ' + route.reason );
   } );
   EXPECT_THAT( listed,
                ElementsAre( "01180A000A more than 10 rules", "01180A000B more than 10 rules" ) )
      << "each once";
   announce( 3, rate1000 );
   EXPECT_EQ( filed_.rules().at( "0;ipv4;10.0.3.0/24;*;" ), "rate 1000 of 1" )
      << "those that are there may change";
   withdraw( 3 );
   withdraw( 10 );
   announce( 11 );
   EXPECT_EQ( in_.filed(), 10U );
   in_.forEachRefused( peer, 10, []( const UnfiledRoute& ) { ADD_FAILURE(); } );
}

TEST_F( MaximumTest, OneMoreEndsTheSession ) {
   import_.guards.ceases = true;
   in_.peerIs( peer, import_ );
   for ( U8 i = 0; i < 10; ++i ) {
      EXPECT_FALSE( announce( i ).cease );
   }
   EXPECT_FALSE( announce( 5 ).cease );
   EXPECT_TRUE( announce( 10 ).cease );
}

TEST_F( MaximumTest, OctetsAreBoundedToo ) {
   std::string unknown;
   for ( int i = 0; i < 600; ++i ) {
      unknown += "4300000000000000";
   }
   announce( 1, unknown );
   EXPECT_EQ( in_.filed(), 1U );
   announce( 2, unknown );
   EXPECT_EQ( in_.filed(), 1U ) << "together more than 512 octets for each of 10 rules";
   EXPECT_EQ( in_.counts( peer ).beyondMax, 1U );
   EXPECT_THAT( state(), testing::HasSubstr( "more octets than 10 rules may have" ) );
   announce( 3 );
   announce( 3, unknown );
   EXPECT_EQ( in_.filed(), 1U ) << "one that grows too much is withdrawn";
}

TEST_F( MaximumTest, RefusedRulesCount ) {
   import_.policy->acceptsOthers = false;
   in_.peerIs( peer, import_ );
   for ( U8 i = 0; i < 12; ++i ) {
      announce( i );
   }
   EXPECT_EQ( in_.counts( peer ).refused, 10U );
   EXPECT_EQ( in_.counts( peer ).beyondMax, 2U );
}

} // namespace
} // namespace Peerd
