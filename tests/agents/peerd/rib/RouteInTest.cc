#include "agents/peerd/rib/RouteIn.h"

#include "tests/agents/peerd/rib/Announcement.h"
#include "tests/agents/peerd/rib/FiledRules.h"

#include <gmock/gmock.h>

namespace Peerd {
namespace {

using namespace TestSupport;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

Zorv::IpGenAddr address( const char* text ) { return *Zorv::IpGenAddr::fromText( text ); }

// Rules for 192.0.2.0/24 and 192.0.3.0/24, and their keys.
const std::string two = "0118C00002";
const std::string three = "0118C00003";
const std::string twoKey = "0;ipv4;192.0.2.0/24;*;";
const std::string threeKey = "0;ipv4;192.0.3.0/24;*;";

constexpr U32 localAs = 64512;
constexpr PeerId a = 1, b = 2, inner = 3, inner2 = 4;

// A speaker of AS 64512 with the external peers `a` and `b`, whose rules are all accepted, and the
// internal ones `inner` and `inner2`.
class RouteInTest : public testing::Test {
public:
   RouteInTest() : in_( filed_ ) {
      peer( a, externalPeer( 64501, "10.0.0.1" ), 0x0A000001 );
      peer( b, externalPeer( 64502, "10.0.0.2" ), 0x0A000002 );
      peer( inner, internalPeer( "10.0.0.3" ), 0x0A000003 );
      peer( inner2, internalPeer( "10.0.0.4" ), 0x0A000004 );
   }

   static PeerImport externalPeer( U32 as, const char* itsAddress ) {
      PeerImport import = internalPeer( itsAddress );
      import.peerAs = as;
      import.checksOriginator = false;
      import.policy = ImportPolicy{ {}, true };
      return import;
   }
   static PeerImport internalPeer( const char* itsAddress ) {
      PeerImport import;
      import.address = address( itsAddress );
      import.localAs = import.peerAs = localAs;
      import.routerId = 0x0A0000FE;
      import.clusterId = 0x0A0000FF;
      return import;
   }

   void peer( PeerId id, const PeerImport& import, U32 identifier ) {
      in_.peerIs( id, import );
      in_.established( id, identifier, Bgp::flowFamilies );
   }

   RouteIn::Taken tell( PeerId from, const Announcement& told ) {
      return in_.update( from, *AnnouncedUpdate( told ) );
   }
   void announce( PeerId from, const std::string& rule, const std::string& extended = drop ) {
      tell( from, { .rules = { rule }, .path = pathOf( from ), .extended = extended } );
   }
   void withdraw( PeerId from, const std::string& rule ) {
      tell( from, { .rules = {}, .withdrawn = { rule } } );
   }
   static std::vector< U32 > pathOf( PeerId peer ) {
      return peer >= inner ? std::vector< U32 >() : std::vector< U32 >{ 64500 + peer };
   }

   void workAll() {
      while ( in_.work( 2 ) ) {
      }
   }

   using Listed = std::vector< std::pair< std::string, std::string > >;
   Listed refused( PeerId peer, U32 limit = 100 ) const {
      Listed listed;
      in_.forEachRefused( peer, limit, [&]( const UnfiledRoute& route ) {
         listed.emplace_back( hexOf( route.octets ), route.reason );
      } );
      return listed;
   }
   Listed hidden( PeerId peer ) const {
      Listed listed;
      in_.forEachHidden( peer, 100, [&]( const UnfiledRoute& route ) {
         listed.emplace_back( hexOf( route.octets ), route.reason );
      } );
      return listed;
   }
   std::string reason( PeerId peer ) const {
      const Listed listed = refused( peer );
      return listed.size() == 1 ? listed[0].second : Vek::concat( listed.size(), " refused" );
   }
   std::string counts( PeerId peer ) const {
      const RouteCounts is = in_.counts( peer );
      return Vek::concat( is.received, ": ", is.filed, " filed, ", is.hidden, " hidden, ",
                          is.refused, " refused, ", is.stale, " stale" );
   }

   FiledRules filed_;
   RouteIn in_;
};

TEST_F( RouteInTest, RuleIsFiledChangedAndWithdrawn ) {
   announce( a, two );
   EXPECT_EQ( filed_.log(), "( +" + twoKey + " drop of 1 )" );
   EXPECT_EQ( counts( a ), "1: 1 filed, 0 hidden, 0 refused, 0 stale" );
   announce( a, two );
   EXPECT_EQ( filed_.log(), "" ) << "nothing changed";
   announce( a, two, rate1000 );
   EXPECT_EQ( filed_.log(), "( +" + twoKey + " rate 1000 of 1 )" );
   EXPECT_EQ( in_.filed(), 1U );
   withdraw( a, two );
   EXPECT_EQ( filed_.log(), "( -" + twoKey + " )" );
   withdraw( a, two );
   EXPECT_EQ( filed_.log(), "" );
   EXPECT_EQ( in_.filed(), 0U );
}

TEST_F( RouteInTest, UpdateIsOneTransactionAndWithdrawsFirst ) {
   announce( a, two );
   filed_.log();
   tell( a, { .rules = { three }, .withdrawn = { two }, .path = { 64501 }, .extended = drop } );
   EXPECT_EQ( filed_.log(), "( -" + twoKey + " +" + threeKey + " drop of 1 )" );
   tell( a, { .rules = { three }, .withdrawn = { three }, .path = { 64501 }, .extended = drop } );
   EXPECT_EQ( filed_.log(), "" ) << "it goes and comes";
}

TEST_F( RouteInTest, LengthFieldDoesNotCount ) {
   announce( a, two );
   const std::vector< U8 > octets = bytesOf( "F005" + two );
   Bgp::Update update;
   update.unreach = { Bgp::ipv4Flow, octets };
   in_.update( a, update );
   EXPECT_THAT( filed_.rules(), IsEmpty() );
}

TEST_F( RouteInTest, LongNlriAreTakenApart ) {
   std::string rule = "0118C0000204";
   for ( int i = 0; i < 99; ++i ) {
      rule += "110050";
   }
   announce( a, rule + "910051" );
   announce( a, two );
   EXPECT_EQ( in_.filed(), 2U );
   withdraw( a, rule + "910051" );
   EXPECT_THAT( filed_.rules(), ElementsAre( Pair( twoKey, "drop of 1" ) ) );
}

TEST_F( RouteInTest, CommunitiesMoveTheKeyInOneTransaction ) {
   announce( a, two, drop + interfaceSet( 7 ) );
   EXPECT_EQ( filed_.log(), "( +0;ipv4;IFSET:=7;192.0.2.0/24;*; drop of 1 )" );
   announce( a, two, drop + interfaceSet( 9 ) + interfaceSet( 8 ) );
   EXPECT_EQ( filed_.log(), "( -0;ipv4;IFSET:=7;192.0.2.0/24;*; "
                            "+0;ipv4;IFSET:=8,9;192.0.2.0/24;*; drop of 1 )" );
   withdraw( a, two );
   EXPECT_EQ( filed_.log(), "( -0;ipv4;IFSET:=8,9;192.0.2.0/24;*; )" );
}

TEST_F( RouteInTest, BestPathOfSeveralPeersIsFiledAndTheOthersTakeOver ) {
   announce( b, two, rate1000 );
   announce( a, two, rate2000 );
   EXPECT_THAT( filed_.rules(), ElementsAre( Pair( twoKey, "rate 2000 of 1" ) ) );
   EXPECT_THAT( hidden( b ), ElementsAre( Pair( two, "the path of 10.0.0.1 is better" ) ) );
   EXPECT_EQ( counts( b ), "1: 0 filed, 1 hidden, 0 refused, 0 stale" );
   EXPECT_EQ( counts( a ), "1: 1 filed, 0 hidden, 0 refused, 0 stale" );
   withdraw( a, two );
   EXPECT_THAT( filed_.rules(), ElementsAre( Pair( twoKey, "rate 1000 of 2" ) ) );
   EXPECT_EQ( counts( b ), "1: 1 filed, 0 hidden, 0 refused, 0 stale" );
}

TEST_F( RouteInTest, OfNlriWithOneKeyTheBestIsFiled ) {
   const std::string padded = "0119C0000200"; // 192.0.2.0/25
   const std::string other = "0119C000027F";  // the same, with bits that are ignored
   const std::string key = "0;ipv4;192.0.2.0/25;*;";
   announce( a, other, rate1000 );
   announce( a, padded, rate2000 );
   EXPECT_THAT( filed_.rules(), ElementsAre( Pair( key, "rate 2000 of 1" ) ) )
      << "of one peer and path, the lowest octets";
   EXPECT_THAT( hidden( a ),
                ElementsAre( Pair( other, "another NLRI of 10.0.0.1 has the same key" ) ) );
   tell( inner, { .rules = { other }, .localPref = 200, .extended = drop } );
   EXPECT_THAT( filed_.rules(), ElementsAre( Pair( key, "drop of 3" ) ) );
   EXPECT_THAT( hidden( a ), UnorderedElementsAre(
                                Pair( other, "the path of 10.0.0.3 is better" ),
                                Pair( padded, "another NLRI of 10.0.0.3 has the same key" ) ) );
   withdraw( inner, other );
   withdraw( a, padded );
   EXPECT_THAT( filed_.rules(), ElementsAre( Pair( key, "rate 1000 of 1" ) ) );
}

TEST_F( RouteInTest, KeyMovesFromOneNlriToAnotherWithoutAGap ) {
   announce( a, "0119C0000200", rate1000 );
   filed_.log();
   tell( a, { .rules = { "0119C000027F" },
              .withdrawn = { "0119C0000200" },
              .path = { 64501 },
              .extended = rate1000 } );
   EXPECT_EQ( filed_.log(), "( +0;ipv4;192.0.2.0/25;*; rate 1000 of 1 )" );
}

TEST_F( RouteInTest, ManyNlriOfOneKeyAreBounded ) {
   // The padding of a prefix of 1 bit and of one of 9 bits: 2^14 ways to write one rule.
   for ( unsigned i = 0; i < 1100; ++i ) {
      const U8 octets[] = { 1, 1,  static_cast< U8 >( i & 0x7F ),     2,
                            9, 10, static_cast< U8 >( i >> 7 & 0x7F ) };
      announce( a, hexOf( octets ) );
   }
   EXPECT_EQ( in_.filed(), 1U );
   EXPECT_EQ( counts( a ), "1100: 1 filed, 1099 hidden, 0 refused, 0 stale" );
   EXPECT_EQ( hidden( a ).front().second, "another NLRI of 10.0.0.1 has the same key" );
   U32 tooMany = 0;
   in_.forEachHidden( a, 2000, [&]( const UnfiledRoute& route ) {
      tooMany += route.reason == "too many NLRI have the same key";
   } );
   EXPECT_EQ( tooMany, 1100U - 1024U );
}

TEST_F( RouteInTest, PathsThatCameBackAreNotUsed ) {
   tell( a, { .rules = { two }, .path = { 64501, 64512, 64503 }, .extended = drop } );
   EXPECT_EQ( reason( a ), "the AS path has our own AS, 64512" );
   tell( inner, { .rules = { two }, .originatorId = 0x0A0000FE, .extended = drop } );
   EXPECT_EQ( reason( inner ), "ORIGINATOR_ID is our own identifier" );
   tell( inner, { .rules = { two }, .clusters = { 5, 0x0A0000FF }, .extended = drop } );
   EXPECT_EQ( reason( inner ), "CLUSTER_LIST has our own cluster" );
   EXPECT_THAT( filed_.rules(), IsEmpty() );
   tell( inner, { .rules = { two }, .originatorId = 7, .clusters = { 5 }, .extended = drop } );
   EXPECT_THAT( filed_.rules(), ElementsAre( Pair( twoKey, "drop of 3" ) ) );
}

TEST_F( RouteInTest, MalformedNlriIsListedAndTheOthersAreTaken ) {
   tell( a, { .rules = { "0128C00002", three }, .path = { 64501 }, .extended = drop } );
   EXPECT_THAT( filed_.rules(), ElementsAre( Pair( threeKey, "drop of 1" ) ) );
   ASSERT_EQ( refused( a ).size(), 1U );
   EXPECT_EQ( refused( a )[0].first, "0128C00002" );
   EXPECT_THAT( refused( a )[0].second, testing::HasSubstr( "40" ) );
   withdraw( a, "0128C00002" );
   EXPECT_THAT( refused( a ), IsEmpty() );
}

TEST_F( RouteInTest, FaultyAttributesWithdrawAndAreListed ) {
   announce( a, two );
   const Bgp::AttributeFault fault{ Bgp::AttributeFaultCode::missing, 2 };
   tell( a, { .rules = { two }, .fault = fault } );
   EXPECT_THAT( filed_.rules(), IsEmpty() );
   EXPECT_EQ( reason( a ), fault.message() );
   announce( a, two );
   EXPECT_THAT( filed_.rules(), ElementsAre( Pair( twoKey, "drop of 1" ) ) );
   EXPECT_THAT( refused( a ), IsEmpty() );
}

TEST_F( RouteInTest, CommunitiesWithoutMeaningWithdrawAndAreListed ) {
   announce( a, two );
   announce( a, two, "800600007FC00000" );
   EXPECT_THAT( filed_.rules(), IsEmpty() );
   EXPECT_EQ( reason( a ), "the extended community at octet 0: its rate is not finite" );
}

TEST_F( RouteInTest, OlderRedirectTakesTheNextHop ) {
   const std::string redirect = "0800000000000000";
   tell( a, { .rules = { two }, .path = { 64501 }, .extended = redirect } );
   EXPECT_THAT( reason( a ), testing::HasSubstr( "next hop" ) );
   tell( a, { .rules = { two }, .path = { 64501 }, .extended = redirect, .nextHop = "0A010203" } );
   EXPECT_THAT( filed_.rules(), ElementsAre( Pair( twoKey, "to 10.1.2.3 of 1" ) ) );
   tell( a, { .rules = { two },
              .path = { 64501 },
              .extended = redirect,
              .nextHop = "20010DB8000000000000000000000001" } );
   EXPECT_THAT( filed_.rules(), ElementsAre( Pair( twoKey, "to 2001:db8::1 of 1" ) ) );
}

TEST_F( RouteInTest, VpnRulesGoToTheVrfsThatImportThem ) {
   const Wire::RouteTarget target{ Wire::RouteTarget::Kind::as2, { 0xFC, 0, 0, 0, 0, 1 } };
   const std::string rule = "0000FC0000000064" + two;
   const Announcement told{ .family = Bgp::ipv4VpnFlow,
                            .rules = { rule },
                            .path = { 64501 },
                            .extended = drop + routeTarget( 1 ) };
   tell( a, told );
   EXPECT_EQ( reason( a ), "no VRF imports any of the route targets" );
   in_.vrfTableIs( { { { 5, {}, { target }, {} }, { 7, {}, { target }, {} } } } );
   EXPECT_THAT( filed_.rules(), ElementsAre( Pair( "5;ipv4;192.0.2.0/24;*;", "drop of 1" ),
                                             Pair( "7;ipv4;192.0.2.0/24;*;", "drop of 1" ) ) );
   EXPECT_EQ( counts( a ), "1: 1 filed, 0 hidden, 0 refused, 0 stale" );
   in_.vrfTableIs( { { { 7, {}, { target }, {} } } } );
   EXPECT_THAT( filed_.rules(), ElementsAre( Pair( "7;ipv4;192.0.2.0/24;*;", "drop of 1" ) ) );

   // The next hops of a VPN have a distinguisher in front.
   Announcement redirected = told;
   redirected.extended = "0800000000000000" + routeTarget( 1 );
   redirected.nextHop = "00000000000000000A010203";
   tell( a, redirected );
   EXPECT_THAT( filed_.rules(),
                ElementsAre( Pair( "7;ipv4;192.0.2.0/24;*;", "to 10.1.2.3 of 1" ) ) );
   redirected.nextHop = "000000000000000020010DB8000000000000000000000001";
   tell( a, redirected );
   EXPECT_THAT( filed_.rules(),
                ElementsAre( Pair( "7;ipv4;192.0.2.0/24;*;", "to 2001:db8::1 of 1" ) ) );
   tell( a, told );

   // Another distinguisher is another NLRI, of the same key.
   Announcement other = told;
   other.rules = { "0000FC0000000065" + two };
   tell( a, other );
   EXPECT_THAT( hidden( a ), ElementsAre( Pair( other.rules[0],
                                                "another NLRI of 10.0.0.1 has the same key" ) ) );
   in_.vrfTableIs( {} );
   EXPECT_THAT( filed_.rules(), IsEmpty() );
   EXPECT_EQ( counts( a ), "2: 0 filed, 0 hidden, 2 refused, 0 stale" );
}

TEST_F( RouteInTest, FamiliesAreApart ) {
   announce( a, "0310" ); // no IPv4 rule, and none of IPv6: cut off
   tell( a, { .family = Bgp::ipv6Flow, .rules = { "03810603" }, .path = { 64501 } } );
   EXPECT_EQ( refused( a ).size(), 2U );
   announce( a, "038106" );
   tell( a, { .family = Bgp::ipv6Flow, .rules = { "038106" }, .path = { 64501 } } );
   EXPECT_THAT( filed_.rules(),
                UnorderedElementsAre( Pair( "0;ipv4;*;*;IP:=0L6;", "drop of 1" ),
                                      Pair( "0;ipv6;*;*;IP:=0L6;", "permit of 1" ) ) );
   withdraw( a, "038106" );
   EXPECT_THAT( filed_.rules(), ElementsAre( Pair( "0;ipv6;*;*;IP:=0L6;", "permit of 1" ) ) );
}

TEST_F( RouteInTest, LostSessionWithdrawsInPortions ) {
   announce( a, two );
   announce( a, three );
   announce( a, "038106" );
   announce( b, two, rate1000 );
   in_.down( a, {} );
   EXPECT_EQ( in_.filed(), 3U );
   EXPECT_TRUE( in_.work( 2 ) );
   EXPECT_EQ( in_.filed(), 2U ) << "one of b takes over";
   EXPECT_FALSE( in_.work( 2 ) );
   EXPECT_THAT( filed_.rules(), ElementsAre( Pair( twoKey, "rate 1000 of 2" ) ) );
   EXPECT_EQ( counts( a ), "0: 0 filed, 0 hidden, 0 refused, 0 stale" );
}

TEST_F( RouteInTest, RulesThatAreToldAgainBeforeTheyGoStay ) {
   announce( a, two );
   announce( a, three );
   in_.down( a, {} );
   filed_.log();
   announce( a, three );
   EXPECT_EQ( filed_.log(), "" );
   workAll();
   EXPECT_EQ( filed_.log(), "( -" + twoKey + " )" );
   EXPECT_EQ( counts( a ), "1: 1 filed, 0 hidden, 0 refused, 0 stale" );
}

TEST_F( RouteInTest, StaleRulesStayUntilEndOfRib ) {
   announce( a, two );
   announce( a, three );
   tell( a, { .family = Bgp::ipv6Flow, .rules = { "038106" }, .path = { 64501 } } );
   in_.down( a, std::span( &Bgp::ipv4Flow, 1 ) );
   workAll();
   EXPECT_EQ( counts( a ), "2: 2 filed, 0 hidden, 0 refused, 2 stale" ) << "IPv6 was not kept";
   in_.established( a, 0x0A000001, std::span( &Bgp::ipv4Flow, 1 ) );
   announce( a, three );
   EXPECT_EQ( counts( a ), "2: 2 filed, 0 hidden, 0 refused, 1 stale" );
   workAll();
   EXPECT_EQ( in_.filed(), 2U );
   in_.endOfRib( a, Bgp::ipv4Flow );
   workAll();
   EXPECT_THAT( filed_.rules(), ElementsAre( Pair( threeKey, "drop of 1" ) ) );
   EXPECT_EQ( counts( a ), "1: 1 filed, 0 hidden, 0 refused, 0 stale" );
}

TEST_F( RouteInTest, StaleRulesGoWithTheirTime ) {
   announce( a, two );
   in_.down( a, Bgp::flowFamilies );
   workAll();
   EXPECT_EQ( in_.filed(), 1U );
   in_.sweepStale( a );
   workAll();
   EXPECT_EQ( in_.filed(), 0U );
}

TEST_F( RouteInTest, StaleRulesGoWithoutTheForwardingBit ) {
   announce( a, two );
   in_.down( a, Bgp::flowFamilies );
   in_.established( a, 0x0A000001, {} );
   announce( a, three );
   workAll();
   EXPECT_THAT( filed_.rules(), ElementsAre( Pair( threeKey, "drop of 1" ) ) );
}

TEST_F( RouteInTest, StaleRulesGoWhenTheSessionIsLostAgain ) {
   announce( a, two );
   in_.down( a, Bgp::flowFamilies );
   in_.established( a, 0x0A000001, Bgp::flowFamilies );
   announce( a, three );
   in_.down( a, Bgp::flowFamilies );
   workAll();
   EXPECT_THAT( filed_.rules(), ElementsAre( Pair( threeKey, "drop of 1" ) ) );
   EXPECT_EQ( counts( a ), "1: 1 filed, 0 hidden, 0 refused, 1 stale" );
}

TEST_F( RouteInTest, RefreshWithdrawsWhatIsNotToldAgain ) {
   announce( a, two );
   announce( a, three );
   in_.refreshEnds( a, Bgp::ipv4Flow );
   workAll();
   EXPECT_EQ( in_.filed(), 2U ) << "an end without a begin";
   in_.refreshBegins( a, Bgp::ipv4Flow );
   announce( a, three );
   EXPECT_EQ( counts( a ), "2: 2 filed, 0 hidden, 0 refused, 1 stale" );
   in_.endOfRib( a, Bgp::ipv4Flow );
   workAll();
   EXPECT_EQ( in_.filed(), 2U ) << "nothing was lost";
   in_.refreshEnds( a, Bgp::ipv4Flow );
   workAll();
   EXPECT_THAT( filed_.rules(), ElementsAre( Pair( threeKey, "drop of 1" ) ) );
}

TEST_F( RouteInTest, SessionThatIsLostInARefreshKeepsAllRules ) {
   announce( a, two );
   announce( a, three );
   in_.refreshBegins( a, Bgp::ipv4Flow );
   announce( a, three );
   in_.down( a, Bgp::flowFamilies );
   workAll();
   EXPECT_EQ( counts( a ), "2: 2 filed, 0 hidden, 0 refused, 2 stale" );
}

TEST_F( RouteInTest, PeerThatGoesTakesItsRulesAlong ) {
   announce( a, two );
   announce( b, two, rate1000 );
   in_.peerDel( a );
   EXPECT_DEATH( in_.counts( a ), "assertion \"isKnown\" failed" );
   workAll();
   EXPECT_THAT( filed_.rules(), ElementsAre( Pair( twoKey, "rate 1000 of 2" ) ) );
   peer( a, externalPeer( 64501, "10.0.0.1" ), 0x0A000001 );
   EXPECT_EQ( counts( a ), "0: 0 filed, 0 hidden, 0 refused, 0 stale" );
}

TEST_F( RouteInTest, PeerThatComesBackBeforeItsRulesAreGone ) {
   announce( a, two );
   announce( a, three );
   in_.peerDel( a );
   peer( a, externalPeer( 64501, "10.0.0.1" ), 0x0A000001 );
   announce( a, three );
   workAll();
   EXPECT_THAT( filed_.rules(), ElementsAre( Pair( threeKey, "drop of 1" ) ) );
}

TEST_F( RouteInTest, OtherAsNumbersWithdrawAll ) {
   announce( a, two );
   in_.peerIs( a, externalPeer( 64503, "10.0.0.1" ) );
   workAll();
   EXPECT_EQ( in_.filed(), 0U );
}

TEST_F( RouteInTest, UnfiledVersionTellsOfEachChange ) {
   U64 seen = in_.unfiledVersion( a );
   const auto changed = [&] { return std::exchange( seen, in_.unfiledVersion( a ) ) != seen; };
   announce( a, two );
   EXPECT_FALSE( changed() );
   tell( inner, { .rules = { two }, .localPref = 200, .extended = drop } );
   EXPECT_TRUE( changed() ) << "hidden";
   withdraw( inner, two );
   EXPECT_TRUE( changed() ) << "filed again";
   announce( a, two, "00" );
   EXPECT_TRUE( changed() ) << "refused";
   announce( a, two, "800600007FC00000" );
   EXPECT_TRUE( changed() ) << "refused for another reason";
   withdraw( a, two );
   EXPECT_TRUE( changed() ) << "gone";
}

TEST_F( RouteInTest, ListsAreAsLongAsIsAskedFor ) {
   tell( a, { .rules = { two, three }, .path = { 1 }, .extended = drop } );
   EXPECT_EQ( refused( a, 0 ).size(), 0U );
   EXPECT_EQ( refused( a, 1 ).size(), 1U );
   EXPECT_EQ( refused( a, 3 ).size(), 2U );
}

} // namespace
} // namespace Peerd
