#include "wire/ActionEncoder.h"

#include "tests/support/Hex.h"
#include "tests/support/RandomAction.h"
#include "wire/ActionDecoder.h"

#include <limits>

#include <gmock/gmock.h>

namespace Wire {
namespace {

using namespace Flowspec;
using TestSupport::hexOf;

RouteTargetTable makeTable() {
   RouteTargetTable table;
   RouteTarget target{ RouteTarget::Kind::as2, { 0xFD, 0xE8, 0, 0, 0, 0x64 } };
   table.add( target, 5 );
   target.value[5] = 0x65;
   table.add( target, 5 ); // not the first of this VRF
   table.add( { RouteTarget::Kind::ipv4, { 192, 0, 2, 1, 0, 0x64 } }, 7 );
   table.add( { RouteTarget::Kind::as4, { 0, 1, 0x11, 0x70, 0, 0x64 } }, 8 );
   target = { RouteTarget::Kind::ipv6, { 0x20, 0x01, 0x0D, 0xB8 } };
   target.value[17] = 0x64;
   table.add( target, 9 );
   return table;
}

const RouteTargetTable& table() {
   static const RouteTargetTable theTable = makeTable();
   return theTable;
}

/// The communities, those of IPv6 after a "/", or why there are none.
std::string encoded( const RuleAction& action, std::vector< U16 > interfaceSets = {},
                     U32 localAs = 65000 ) {
   EncodedAction communities;
   if ( const auto refusal =
           encodeAction( action, interfaceSets, localAs, table(), communities ) ) {
      EXPECT_TRUE( communities.extended.empty() && communities.ipv6.empty() );
      EXPECT_NE( message( *refusal ), "" );
      return std::string( name( *refusal ) );
   }
   std::string text;
   for ( const ExtendedCommunity& community : communities.extended ) {
      text += ( text.empty() ? "" : " " ) + hexOf( community );
   }
   for ( const Ipv6Community& community : communities.ipv6 ) {
      text += '/' + hexOf( community );
   }
   return text;
}

RuleAction redirectTo( TrafficRedirectType type, U32 vrf, std::string_view address, U32 color,
                       bool copy ) {
   RuleAction action;
   action.fields.trafficRedirectIs( true );
   const auto addr = Zorv::IpGenAddr::fromText( address ).value_or( Zorv::IpGenAddr() );
   action.redirect.typeIs( type );
   action.redirect.copyIs( copy );
   switch ( type ) {
   case TrafficRedirectType::vrf:
      action.redirect.vrfIdIs( vrf );
      break;
   case TrafficRedirectType::addr:
      action.redirect.addrIs( addr );
      break;
   case TrafficRedirectType::srTePolicy:
      action.redirect.srTePolicyKeyIs( { color, addr } );
   }
   return action;
}

TEST( ActionEncoder, WritesEachKind ) {
   RuleAction action;
   EXPECT_EQ( encoded( action ), "" );
   action.fields.trafficPermitIs( true );
   EXPECT_EQ( encoded( action ), "" );
   action = {};
   action.fields.trafficDropIs( true );
   EXPECT_EQ( encoded( action ), "8006FDE800000000" );
   EXPECT_EQ( encoded( action, {}, 70000 ), "8006000000000000" );
   action = {};
   action.fields.trafficRateIs( true );
   action.rateLimit = 1250000;
   action.fields.trafficMarkingIs( true );
   action.markDscp = Zorv::IpTos( 46 );
   action.fields.trafficActionIs( true );
   action.trafficAction.sampleAndLogIs( true );
   EXPECT_EQ( encoded( action ), "8006FDE849989680 8007000000000002 800900000000002E" );
   action = {};
   action.fields.trafficRatePktIs( true );
   action.rateLimit = 1000;
   action.fields.trafficActionIs( true );
   action.trafficAction.continueMatchIs( true );
   EXPECT_EQ( encoded( action ), "800CFDE8447A0000 8007000000000001" );
   EXPECT_EQ( encoded( RuleAction(), { 3, 16383 } ), "07020000FDE84003 07020000FDE87FFF" );
}

TEST( ActionEncoder, WritesRedirects ) {
   using enum TrafficRedirectType;
   EXPECT_EQ( encoded( redirectTo( vrf, 5, "", 0, false ) ), "8008FDE800000064" );
   EXPECT_EQ( encoded( redirectTo( vrf, 7, "", 0, false ) ), "8108C00002010064" );
   EXPECT_EQ( encoded( redirectTo( vrf, 8, "", 0, false ) ), "8208000111700064" );
   EXPECT_EQ( encoded( redirectTo( vrf, 9, "", 0, false ) ),
              "/000D20010DB80000000000000000000000000064" );
   EXPECT_EQ( encoded( redirectTo( addr, 0, "192.0.2.1", 0, false ) ), "010CC00002010000" );
   EXPECT_EQ( encoded( redirectTo( addr, 0, "192.0.2.1", 0, true ) ), "010CC00002010001" );
   EXPECT_EQ( encoded( redirectTo( addr, 0, "2001:db8::1", 0, true ) ),
              "/000C20010DB80000000000000000000000010001" );
   EXPECT_EQ( encoded( redirectTo( srTePolicy, 0, "192.0.2.1", 100, false ) ),
              "010CC00002010000 030B000000000064" );
   EXPECT_EQ( encoded( redirectTo( srTePolicy, 0, "2001:db8::1", 100, true ) ),
              "030B000000000064/000C20010DB80000000000000000000000010001" );
}

TEST( ActionEncoder, RefusesWhatNoCommunitySays ) {
   using enum TrafficRedirectType;
   EXPECT_EQ( encoded( redirectTo( vrf, 6, "", 0, false ) ), "unknown-vrf" );
   EXPECT_EQ( encoded( redirectTo( vrf, 5, "", 0, true ) ), "invalid-action" );
   EXPECT_EQ( encoded( redirectTo( addr, 0, "", 0, false ) ), "no-address" );
   EXPECT_EQ( encoded( redirectTo( srTePolicy, 0, "192.0.2.1", 0, false ) ), "no-color" );
   EXPECT_EQ( encoded( redirectTo( srTePolicy, 0, "", 100, false ) ), "no-color" );
   EXPECT_EQ( encoded( redirectTo( TrafficRedirectType{ 9 }, 0, "", 0, false ) ),
              "invalid-action" );
   EXPECT_EQ( encoded( RuleAction(), { 3, 16384 } ), "bad-interface-set" );
   RuleAction action;
   action.fields.invalidIs( true );
   EXPECT_EQ( encoded( action ), "invalid-action" );
   action = {};
   action.fields.trafficRateIs( true );
   for ( const float rate : { -1.0F, std::numeric_limits< float >::infinity(),
                              std::numeric_limits< float >::quiet_NaN() } ) {
      action.rateLimit = rate;
      EXPECT_EQ( encoded( action ), "bad-rate" );
   }
   action.rateLimit = 1;
   action.fields.trafficRatePktIs( true );
   EXPECT_EQ( encoded( action ), "invalid-action" );
   for ( const auto contradict :
         { &ActionFieldSet::trafficRateIs, &ActionFieldSet::trafficRatePktIs,
           &ActionFieldSet::trafficMarkingIs, &ActionFieldSet::trafficRedirectIs } ) {
      action = {};
      action.fields.trafficDropIs( true );
      ( action.fields.*contradict )( true );
      EXPECT_EQ( encoded( action ), "invalid-action" );
   }
   action = {};
   action.fields.trafficMarkingIs( true );
   action.markDscp = Zorv::IpTos( 64 );
   EXPECT_EQ( encoded( action ), "bad-dscp" );
}

template < typename Community >
std::vector< U8 > joined( const std::vector< Community >& communities ) {
   std::vector< U8 > octets;
   for ( const Community& community : communities ) {
      octets.insert( octets.end(), community.begin(), community.end() );
   }
   return octets;
}

TEST( ActionEncoder, ActionsComeBack ) {
   TestSupport::KeyGenerator random( 82 );
   static constexpr U32 vrfs[] = { 5, 7, 8, 9 };
   unsigned written = 0;
   for ( unsigned round = 0; round < 20'000; ++round ) {
      RuleAction action = TestSupport::randomAction( random );
      if ( action.redirect.type() == TrafficRedirectType::vrf && action.fields.trafficRedirect() ) {
         action.redirect.vrfIdIs( random.oneOf( vrfs ) );
         action.redirect.copyIs( false );
      }
      if ( action.rateLimit == 0 &&
           action.fields.trafficRate() != action.fields.trafficRatePkt() ) {
         continue; // comes back as a drop
      }
      std::vector< U16 > interfaceSets;
      for ( U64 count = random.below( 4 ); count > 0; --count ) {
         interfaceSets.push_back(
            static_cast< U16 >( interfaceSets.size() * 100 + random.below( 100 ) ) );
      }
      EncodedAction communities;
      ASSERT_FALSE( encodeAction( action, interfaceSets, 65000, table(), communities ) );
      const auto extended = joined( communities.extended );
      const auto ipv6 = joined( communities.ipv6 );
      Communities received;
      if ( !extended.empty() ) {
         received.extended = extended;
      }
      if ( !ipv6.empty() ) {
         received.ipv6 = ipv6;
      }
      DecodedAction decoded;
      const auto rejection = decodeAction( received, { 65000, {}, table() }, decoded );
      ASSERT_FALSE( rejection ) << rejection->message();
      ASSERT_EQ( decoded.action, action );
      ASSERT_EQ( decoded.interfaceSets, interfaceSets );
      ASSERT_TRUE( decoded.remarks.empty() && decoded.kept.empty() && decoded.keptIpv6.empty() );
      ++written;
   }
   EXPECT_GT( written, 15'000U );
}

TEST( ActionEncoder, AnActionThatSaysNothingHasNoCommunity ) {
   RuleAction action;
   action.fields.trafficActionIs( true );
   EXPECT_EQ( encoded( action ), "" );
}

TEST( ActionEncoder, WhatCannotBeEncodedIsToldBeforeInterfaceSets ) {
   const RuleAction unknown = redirectTo( TrafficRedirectType::vrf, 4711, "", 0, false );
   const std::string refusal = encoded( unknown );
   EXPECT_NE( refusal, "" );
   EXPECT_EQ( encoded( unknown, { 3, 17 } ), refusal );
}

} // namespace
} // namespace Wire
