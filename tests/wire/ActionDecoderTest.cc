#include "wire/ActionDecoder.h"

#include "tests/support/Hex.h"
#include "tests/support/KeyGenerator.h"

#include <algorithm>
#include <cmath>

#include <gmock/gmock.h>

namespace Wire {
namespace {

using namespace Flowspec;
using testing::ElementsAre;
using testing::IsEmpty;
using TestSupport::bytesOf;
using TestSupport::hexOf;

RouteTarget targetOf( RouteTarget::Kind kind, std::string_view hex ) {
   RouteTarget target{ kind, {} };
   std::ranges::copy( bytesOf( hex ), target.value.begin() );
   return target;
}

RouteTargetTable makeTable() {
   RouteTargetTable table;
   table.add( targetOf( RouteTarget::Kind::as2, "FDE8 00000064" ), 5 ); // 65000:100
   table.add( targetOf( RouteTarget::Kind::as2, "FDE8 00000064" ), 3 ); // imported there too
   table.add( targetOf( RouteTarget::Kind::as2, "FDE8 000000C8" ), 6 );
   table.add( targetOf( RouteTarget::Kind::ipv4, "C0000201 0064" ), 7 ); // 192.0.2.1:100
   table.add( targetOf( RouteTarget::Kind::as4, "00011170 0064" ), 8 );  // 70000:100
   table.add( targetOf( RouteTarget::Kind::ipv6, "20010DB8000000000000000000000001 0064" ), 9 );
   return table;
}

const RouteTargetTable& table() {
   static const RouteTargetTable theTable = makeTable();
   return theTable;
}

class ActionDecoder : public testing::Test {
protected:
   /// Decodes communities in hexadecimal; IPv6 ones stand after a "/".
   std::optional< ActionRejection > decode( std::string_view hex,
                                            const Zorv::IpGenAddr& nextHop = {} ) {
      const std::size_t slash = hex.find( '/' );
      const auto extended = bytesOf( hex.substr( 0, slash ) );
      std::vector< U8 > ipv6;
      Communities communities;
      if ( slash != 0 ) {
         communities.extended = extended;
      }
      if ( slash != std::string_view::npos ) {
         ipv6 = bytesOf( hex.substr( slash + 1 ) );
         communities.ipv6 = ipv6;
      }
      return decodeAction( communities, { 65000, nextHop, table() }, decoded_ );
   }

   /// The flags of a decoded action that has no remark.
   std::string fieldsOf( std::string_view hex, const Zorv::IpGenAddr& nextHop = {} ) {
      const auto rejection = decode( hex, nextHop );
      EXPECT_FALSE( rejection ) << rejection->message();
      EXPECT_THAT( remarks(), IsEmpty() );
      return std::string( decoded_.action.fields.stringValue() );
   }

   std::vector< std::string > remarks() const {
      std::vector< std::string > names;
      for ( const ActionRemark remark : decoded_.remarks ) {
         names.emplace_back( name( remark ) );
      }
      return names;
   }

   const TrafficRedirect& redirect() const { return decoded_.action.redirect; }

   DecodedAction decoded_;
};

constexpr std::string_view ipv6Address = "20010DB8000000000000000000000001";

TEST_F( ActionDecoder, Rates ) {
   EXPECT_EQ( fieldsOf( "8006 0000 49989680" ), "trafficRate" );
   EXPECT_EQ( decoded_.action.rateLimit, 1250000.0F );
   EXPECT_EQ( fieldsOf( "800C FDE8 447A0000" ), "trafficRatePkt" );
   EXPECT_EQ( decoded_.action.rateLimit, 1000.0F );
   EXPECT_EQ( fieldsOf( "8006 0000 00000000" ), "trafficDrop" );
   EXPECT_EQ( fieldsOf( "800C 0000 00000000" ), "trafficDrop" );
   EXPECT_EQ( fieldsOf( "8006 0000 80000000" ), "trafficDrop" ); // -0
   EXPECT_EQ( fieldsOf( "8006 0000 00000001" ), "trafficRate" );
   EXPECT_EQ( fieldsOf( "8006 0000 7F7FFFFF" ), "trafficRate" );
   for ( const auto* const negative : { "8006 0000 C47A0000", "8006 0000 FF800000",
                                        "800C 0000 BF800000", "800C 0000 FF800000" } ) {
      ASSERT_FALSE( decode( negative ) );
      EXPECT_EQ( decoded_.action.fields.stringValue(), "trafficDrop" );
      EXPECT_EQ( decoded_.action.rateLimit, 0 );
      EXPECT_THAT( remarks(), ElementsAre( "negative-rate" ) );
   }
}

TEST_F( ActionDecoder, TrafficActions ) {
   EXPECT_EQ( fieldsOf( "8007 000000000002" ), "trafficAction" );
   EXPECT_EQ( decoded_.action.trafficAction.stringValue(), "sampleAndLog" );
   EXPECT_EQ( fieldsOf( "8007 000000000001" ), "trafficAction" );
   EXPECT_EQ( decoded_.action.trafficAction.stringValue(), "continueMatch" );
   EXPECT_EQ( fieldsOf( "8007 0000000000FF" ), "trafficAction" );
   EXPECT_EQ( decoded_.action.trafficAction.stringValue(), "sampleAndLog|continueMatch" );
   EXPECT_EQ( fieldsOf( "8007 FFFFFFFFFFFC" ), "" );
   EXPECT_EQ( decoded_.action, RuleAction() );
}

TEST_F( ActionDecoder, Marking ) {
   EXPECT_EQ( fieldsOf( "8009 00000000002E" ), "trafficMarking" );
   EXPECT_EQ( decoded_.action.markDscp.value(), 46 );
   EXPECT_EQ( fieldsOf( "8009 FFFFFFFFFFC0" ), "trafficMarking" );
   EXPECT_EQ( decoded_.action.markDscp.value(), 0 );
}

TEST_F( ActionDecoder, RedirectsToVrfs ) {
   const std::pair< std::string, U32 > cases[] = {
      { "8008 FDE8 00000064", 5 },
      { "8108 C0000201 0064", 7 },
      { "8208 00011170 0064", 8 },
      { "/000D 20010DB8000000000000000000000001 0064", 9 },
   };
   for ( const auto& [hex, vrf] : cases ) {
      EXPECT_EQ( fieldsOf( hex ), "trafficRedirect" );
      EXPECT_EQ( redirect().type(), TrafficRedirectType::vrf );
      EXPECT_EQ( redirect().vrfId(), vrf ) << hex;
   }
   // The same octets of another kind are another target.
   const auto rejection = decode( "8009 00000000002E 8108 FDE8 00000064" );
   ASSERT_TRUE( rejection );
   EXPECT_EQ( rejection->message(), "the extended community at octet 8: no VRF imports the route "
                                    "target that it redirects to" );
   EXPECT_EQ( decoded_.action.fields.stringValue(), "invalid" );
}

TEST_F( ActionDecoder, RedirectsToAddresses ) {
   EXPECT_EQ( fieldsOf( "010C C0000201 0000" ), "trafficRedirect" );
   EXPECT_EQ( redirect().type(), TrafficRedirectType::addr );
   EXPECT_EQ( redirect().addr().stringValue(), "192.0.2.1" );
   EXPECT_FALSE( redirect().copy() );
   EXPECT_EQ( fieldsOf( "010C C0000201 0001" ), "trafficRedirect" );
   EXPECT_TRUE( redirect().copy() );
   EXPECT_EQ( fieldsOf( "010C C0000201 FFFE" ), "trafficRedirect" );
   EXPECT_FALSE( redirect().copy() );
   EXPECT_EQ( fieldsOf( Vek::concat( "/000C", ipv6Address, "0001" ) ), "trafficRedirect" );
   EXPECT_EQ( redirect().addr().stringValue(), "2001:db8::1" );
   EXPECT_TRUE( redirect().copy() );

   const auto nextHop = *Zorv::IpGenAddr::fromText( "2001:db8::7" );
   EXPECT_EQ( fieldsOf( "0800 000000000001", nextHop ), "trafficRedirect" );
   EXPECT_EQ( redirect().addr(), nextHop );
   EXPECT_TRUE( redirect().copy() );
   EXPECT_EQ( fieldsOf( "0800 FFFFFFFFFFFE", nextHop ), "trafficRedirect" );
   EXPECT_FALSE( redirect().copy() );
}

TEST_F( ActionDecoder, ColorsMakeSrPolicies ) {
   EXPECT_EQ( fieldsOf( "030B 0000 00000064 010C C0000201 0001" ), "trafficRedirect" );
   EXPECT_EQ( redirect().type(), TrafficRedirectType::srTePolicy );
   EXPECT_EQ( redirect().srTePolicyKey().stringValue(), "100,192.0.2.1" );
   EXPECT_TRUE( redirect().copy() );
   EXPECT_TRUE( redirect().addr().empty() );
   EXPECT_THAT( decoded_.kept, IsEmpty() );
   // Without a redirect to an address a color is somebody else's.
   EXPECT_EQ( fieldsOf( "030B 0000 00000064 8008 FDE8 00000064" ), "trafficRedirect" );
   EXPECT_EQ( redirect().type(), TrafficRedirectType::vrf );
   EXPECT_EQ( decoded_.kept.size(), 1U );
   EXPECT_EQ( fieldsOf( "030B 0000 00000064" ), "" );
   EXPECT_EQ( decoded_.kept.size(), 1U );
   // Color 0 is none.
   EXPECT_EQ( fieldsOf( "030B 0000 00000000 010C C0000201 0000" ), "trafficRedirect" );
   EXPECT_EQ( redirect().type(), TrafficRedirectType::addr );
   EXPECT_EQ( decoded_.kept.size(), 1U );
}

TEST_F( ActionDecoder, RouteTargetsImportIntoVrfs ) {
   EXPECT_EQ(
      fieldsOf( "0202 00011170 0064 0002 FDE8 00000064 0102 C0000201 0064 0002 0001 00000001"
                "/0002 20010DB8000000000000000000000001 0064" ),
      "" );
   EXPECT_THAT( decoded_.importVrfs, ElementsAre( 3, 5, 7, 8, 9 ) );
   EXPECT_EQ( decoded_.kept.size(), 4U );
   EXPECT_EQ( decoded_.keptIpv6.size(), 1U );
   EXPECT_EQ( fieldsOf( "0002 FDE8 00000064 0002 FDE8 00000064" ), "" );
   EXPECT_THAT( decoded_.importVrfs, ElementsAre( 3, 5 ) );
}

TEST_F( ActionDecoder, InterfaceSets ) {
   // Groups 17, 3 and 17 again, the last for both directions.
   ASSERT_FALSE( decode( "0702 0000FDE8 4011 4702 0000FDE8 4003 0702 0000FDE8 C011" ) );
   EXPECT_THAT( decoded_.interfaceSets, ElementsAre( 3, 17 ) );
   EXPECT_THAT( remarks(), ElementsAre( "output-ignored" ) );
   EXPECT_EQ( decoded_.action, RuleAction() );
   EXPECT_EQ( fieldsOf( "0702 0000FDE8 7FFF" ), "" );
   EXPECT_THAT( decoded_.interfaceSets, ElementsAre( 16383 ) );
   EXPECT_EQ( fieldsOf( "0702 0000FDE8 4000" ), "" );
   EXPECT_THAT( decoded_.interfaceSets, ElementsAre( 0 ) );
}

TEST_F( ActionDecoder, UnknownTypesAreKeptAndIgnored ) {
   EXPECT_EQ( fieldsOf( "8010 010203040506 C006 000000000000 8006 0000 49989680 0701 0000FDE8 4011"
                        "/0102 20010DB8000000000000000000000001 0064" ),
              "trafficRate" );
   ASSERT_EQ( decoded_.kept.size(), 3U );
   EXPECT_EQ( hexOf( decoded_.kept[0] ), "8010010203040506" );
   EXPECT_EQ( hexOf( decoded_.kept[1] ), "C006000000000000" );
   EXPECT_EQ( hexOf( decoded_.kept[2] ), "07010000FDE84011" );
   ASSERT_EQ( decoded_.keptIpv6.size(), 1U );
   EXPECT_EQ( hexOf( decoded_.keptIpv6[0] ), Vek::concat( "0102", ipv6Address, "0064" ) );
   EXPECT_THAT( decoded_.interfaceSets, IsEmpty() );
   // Nothing at all permits.
   Communities none;
   ASSERT_FALSE( decodeAction( none, { 65000, {}, table() }, decoded_ ) );
   EXPECT_EQ( decoded_.action, RuleAction() );
}

TEST_F( ActionDecoder, WhatCannotBeReadIsRefusedByName ) {
   const std::tuple< std::string, std::string, std::string > cases[] = {
      { "8006 0000 7FC00000", "rate-not-finite",
        "the extended community at octet 0: its rate is not finite" },
      { "8006 0000 FFC00000", "rate-not-finite",
        "the extended community at octet 0: its rate is not finite" },
      { "8009 000000000000 800C 0000 7F800000", "rate-not-finite",
        "the extended community at octet 8: its rate is not finite" },
      { "0800 000000000000", "no-next-hop",
        "the extended community at octet 0: it redirects to the next hop, and there is none" },
      { "8208 00011170 0065", "unknown-route-target",
        "the extended community at octet 0: no VRF imports the route target that it redirects to" },
      { "8009 000000000000/000D 20010DB8000000000000000000000002 0064", "unknown-route-target",
        "the IPv6 extended community at octet 0: no VRF imports the route target that it redirects "
        "to" },
      { "0702 0000FDE9 4011", "interface-set-as",
        "the extended community at octet 0: its interface set is of another AS" },
      { "0702 0000FDE8 4011 4702 0000FDE9 4011", "interface-set-as",
        "the extended community at octet 8: its interface set is of another AS" },
      { "0702 0000FDE8 8011", "interface-set-direction",
        "the extended community at octet 0: its interface set is not for input" },
      { "0702 0000FDE8 0011", "interface-set-direction",
        "the extended community at octet 0: its interface set is not for input" },
      { "8006 0000 499896", "attribute-length",
        "the extended communities do not have 8 octets each" },
      { "8006 0000 49989680 80", "attribute-length",
        "the extended communities do not have 8 octets each" },
      { "", "attribute-length", "the extended communities do not have 8 octets each" },
      { "/0002 20010DB8000000000000000000000001 00", "ipv6-attribute-length",
        "the IPv6 extended communities do not have 20 octets each" },
      { "8006 0000 49989680/", "ipv6-attribute-length",
        "the IPv6 extended communities do not have 20 octets each" },
   };
   for ( const auto& [hex, fault, message] : cases ) {
      SCOPED_TRACE( hex );
      const auto rejection = decode( hex );
      ASSERT_TRUE( rejection );
      EXPECT_EQ( name( rejection->fault ), fault );
      EXPECT_EQ( rejection->message(), message );
      // It permits nothing, and is for no interface and no VRF.
      DecodedAction refused;
      refused.action.fields.invalidIs( true );
      EXPECT_EQ( decoded_.action, refused.action );
      EXPECT_THAT( decoded_.interfaceSets, IsEmpty() );
      EXPECT_THAT( decoded_.importVrfs, IsEmpty() );
      EXPECT_THAT( decoded_.kept, IsEmpty() );
   }
}

TEST_F( ActionDecoder, ContradictionsHaveOneWinnerInEitherOrder ) {
   const auto nextHop = *Zorv::IpGenAddr::fromText( "192.0.2.9" );
   struct Case {
      std::string first;
      std::string second;
      std::string winner;
      std::string remark; // empty when they do not contradict each other
   };
   const std::string bytes = "8006 0000 49989680";
   const std::string fewer = "8006 0000 42C80000";
   const std::string packets = "800C 0000 447A0000";
   const std::string vrf = "8008 FDE8 00000064";
   const std::string otherVrf = "8008 FDE8 000000C8";
   const std::string unknownVrf = "8008 FDE8 00000001";
   const std::string address = "010C C0000201 0000";
   const std::string otherAddress = "010C C0000202 0000";
   const std::string older = "0800 000000000000";
   const Case cases[] = {
      { bytes, fewer, fewer, "several-rates" },
      { bytes, bytes, bytes, "" },
      { bytes, "8006 FDE8 49989680", bytes, "" },
      { bytes, "8006 0000 00000000", "8006 0000 00000000", "several-rates" },
      { bytes, packets, bytes, "bytes-and-packets" },
      { bytes, "800C 0000 00000000", "800C 0000 00000000", "bytes-and-packets" },
      { "8009 00000000002E", "8009 00000000000A", "8009 00000000000A", "several-markings" },
      { "8009 00000000002E", "8009 01000000002E", "8009 00000000002E", "" },
      { "8007 000000000002", "8007 000000000001", "8007 000000000003", "several-traffic-actions" },
      { vrf, otherVrf, vrf, "several-redirects" },
      { vrf, address, vrf, "several-redirects" },
      { vrf, older, vrf, "several-redirects" },
      { vrf, unknownVrf, vrf, "several-redirects" },
      { address, unknownVrf, address, "several-redirects" },
      { address, otherAddress, address, "several-redirects" },
      { address, older, address, "several-redirects" },
      { address, address, address, "" },
      { "8006 0000 00000000", vrf, "8006 0000 00000000", "drop-overrides" },
      { "8006 0000 00000000", unknownVrf, "8006 0000 00000000", "drop-overrides" },
      { "8006 0000 00000000", "8009 00000000002E", "8006 0000 00000000", "drop-overrides" },
      { address + "030B 0000 00000064", "030B 0000 00000065", address + "030B 0000 00000065",
        "several-colors" },
   };
   for ( const Case& each : cases ) {
      SCOPED_TRACE( each.first + " and " + each.second );
      ASSERT_FALSE( decode( each.winner, nextHop ) );
      const RuleAction expected = decoded_.action;
      for ( const std::string& hex : { each.first + each.second, each.second + each.first } ) {
         ASSERT_FALSE( decode( hex, nextHop ) );
         EXPECT_EQ( decoded_.action, expected );
         EXPECT_EQ( remarks(), each.remark.empty() ? std::vector< std::string >()
                                                   : std::vector< std::string >{ each.remark } );
      }
   }
   // An IPv6 address beside one of IPv4: the lowest octets.
   ASSERT_FALSE( decode( Vek::concat( address, "/000C", ipv6Address, "0000" ) ) );
   EXPECT_EQ( redirect().addr().stringValue(), "2001:db8::1" );
   EXPECT_THAT( remarks(), ElementsAre( "several-redirects" ) );
}

TEST_F( ActionDecoder, AnyOctetsAreTakenOrRefused ) {
   TestSupport::KeyGenerator random( 81 );
   static constexpr U16 types[] = { 0x0002, 0x0102, 0x0202, 0x010C, 0x030B, 0x0702,
                                    0x4702, 0x0800, 0x8006, 0x8007, 0x8008, 0x8009,
                                    0x800C, 0x8108, 0x8208, 0x000C, 0x000D, 0x1234 };
   const auto fill = [&]( std::size_t size ) {
      std::vector< U8 > octets;
      for ( U64 count = 1 + random.below( 4 ); count > 0; --count ) {
         const U16 type = random.oneOf( types );
         octets.push_back( static_cast< U8 >( type >> 8 ) );
         octets.push_back( static_cast< U8 >( type ) );
         for ( std::size_t i = 2; i < size; ++i ) {
            static constexpr U8 few[] = { 0, 1, 0x40, 0x64, 0x7F, 0xE8, 0xFD, 0xFF };
            octets.push_back( random.oneOf( few ) );
         }
      }
      octets.resize( octets.size() - ( random.oneIn( 20 ) ? 1 : 0 ) );
      return octets;
   };
   unsigned taken = 0;
   for ( unsigned round = 0; round < 50'000; ++round ) {
      const auto extended = fill( 8 );
      const auto ipv6 = fill( 20 );
      Communities communities{ extended, {} };
      if ( random.oneIn( 4 ) ) {
         communities.ipv6 = ipv6;
      }
      const auto rejection =
         decodeAction( communities, { 65000, Zorv::IpGenAddr::ipv4( 1 ), table() }, decoded_ );
      const RuleAction& action = decoded_.action;
      ASSERT_EQ( action.fields.invalid(), rejection.has_value() );
      ASSERT_TRUE( std::isfinite( action.rateLimit ) && action.rateLimit >= 0 );
      ASSERT_TRUE( !action.fields.trafficDrop() ||
                   !( action.fields.trafficRedirect() || action.fields.trafficMarking() ||
                      action.fields.trafficRate() || action.fields.trafficRatePkt() ) );
      ASSERT_LE( action.markDscp.value(), 63 );
      ASSERT_TRUE( std::ranges::is_sorted( decoded_.interfaceSets ) );
      ASSERT_LE( decoded_.kept.size(), extended.size() / 8 );
      taken += !rejection;
   }
   EXPECT_GT( taken, 5'000U );
}

} // namespace
} // namespace Wire
