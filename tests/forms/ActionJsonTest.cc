#include "forms/ActionJson.h"

#include "Flowspec/vocab/FlowspecUtil.h"
#include "tests/support/RandomAction.h"

#include <limits>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace Forms {

using namespace Flowspec;

namespace {

RuleAction read( const char* text ) {
   RuleAction action;
   EXPECT_EQ( readAction( nlohmann::json::parse( text ), action ), std::nullopt ) << text;
   return action;
}

TEST( ActionJson, WhatAsksForNothingPermits ) {
   EXPECT_EQ( read( "{}" ), RuleAction() );
   EXPECT_EQ( read( R"({"drop":false,"sample":false,"continue":false})" ), RuleAction() );
   EXPECT_FALSE( read( "{}" ).fields );
   EXPECT_EQ( actionJson( RuleAction() ).dump(), "{}" );
}

// A redirect of a type that a later version has.
TEST( ActionJson, ATypeOfRedirectWithoutANameIsANumber ) {
   RuleAction action;
   action.fields.trafficRedirectIs( true );
   action.redirect.typeIs( static_cast< TrafficRedirectType >( 3 ) );
   EXPECT_EQ( actionText( action ), "to target of type 3" );
   EXPECT_EQ( actionJson( action ).dump(), R"({"redirect":{}})" );
}

TEST( ActionJson, EachMember ) {
   const struct {
      const char* text;
      const char* fields;
   } rows[] = {
      { R"({"drop":true})", "trafficDrop" },
      { R"({"rateLimit":{"bytes":1250000}})", "trafficRate" },
      { R"({"rateLimit":{"packets":100}})", "trafficRatePkt" },
      { R"({"markDscp":"af21"})", "trafficMarking" },
      { R"({"markDscp":63})", "trafficMarking" },
      { R"({"redirect":{"vrf":7}})", "trafficRedirect" },
      { R"({"redirect":{"copy":true,"vrf":7}})", "trafficRedirect" },
      { R"({"redirect":{"addr":"192.0.2.9"}})", "trafficRedirect" },
      { R"({"redirect":{"srTePolicy":{"color":100,"endpoint":"2001:db8::1"}}})",
        "trafficRedirect" },
      { R"({"sample":true})", "trafficAction" },
      { R"({"continue":true})", "trafficAction" },
      { R"({"drop":true,"sample":true})", "trafficDrop|trafficAction" },
      { R"({"markDscp":"ef","rateLimit":{"bytes":0.5},"redirect":{"vrf":0},"sample":true})",
        "trafficRate|trafficAction|trafficRedirect|trafficMarking" },
   };
   for ( const auto& row : rows ) {
      const RuleAction action = read( row.text );
      EXPECT_EQ( action.fields.stringValue(), row.fields ) << row.text;
      EXPECT_EQ( actionJson( action ).dump(), row.text );
   }
}

TEST( ActionJson, ValuesArriveInTheirAttributes ) {
   EXPECT_EQ( read( R"({"rateLimit":{"bytes":1250000}})" ).rateLimit, 1250000.0F );
   EXPECT_EQ( read( R"({"rateLimit":{"packets":0}})" ).rateLimit, 0.0F );
   EXPECT_EQ( read( R"({"rateLimit":{"packets":1e3}})" ).rateLimit, 1000.0F );
   EXPECT_EQ( read( R"({"rateLimit":{"bytes":3.4028234663852886e38}})" ).rateLimit,
              std::numeric_limits< float >::max() );
   EXPECT_EQ( read( R"({"sample":true,"continue":true})" ).trafficAction.stringValue(),
              "sampleAndLog|continueMatch" );
   for ( const DscpName& name : FlowspecUtil::dscpNames() ) {
      const nlohmann::json json{ { "markDscp", name.name } };
      EXPECT_EQ( read( json.dump().c_str() ).markDscp.value(), name.value );
   }

   const TrafficRedirect vrf = read( R"({"redirect":{"vrf":7,"copy":true}})" ).redirect;
   EXPECT_EQ( vrf, TrafficRedirect( 7, TrafficRedirectType::vrf, {}, {}, true ) );
   const TrafficRedirect addr =
      read( R"({"redirect":{"addr":"192.0.2.9","copy":false}})" ).redirect;
   EXPECT_EQ( addr, TrafficRedirect( Vrf::VrfIdMap::invalid(), TrafficRedirectType::addr,
                                     *Zorv::IpGenAddr::fromText( "192.0.2.9" ), {}, false ) );
   const TrafficRedirect policy =
      read( R"({"redirect":{"srTePolicy":{"color":4294967295,"endpoint":"::"}}})" ).redirect;
   EXPECT_EQ( policy,
              TrafficRedirect( Vrf::VrfIdMap::invalid(), TrafficRedirectType::srTePolicy, {},
                               { 4294967295, *Zorv::IpGenAddr::fromText( "::" ) }, false ) );
}

TEST( ActionJson, IsToldInWords ) {
   const struct {
      const char* text;
      const char* words;
   } rows[] = {
      { "{}", "permit" },
      { R"({"drop":true,"sample":true})", "drop, sample" },
      { R"({"rateLimit":{"bytes":1250000},"markDscp":"af21"})",
        "at most 1250000 bytes/s, mark af21" },
      { R"({"rateLimit":{"bytes":9223372036854775808}})", "at most 9223372036854775808 bytes/s" },
      { R"({"rateLimit":{"bytes":18446744073709551616}})",
        "at most 1.8446744073709552e+19 bytes/s" },
      { R"({"rateLimit":{"packets":0.5},"continue":true})", "at most 0.5 packets/s, continue" },
      { R"({"redirect":{"copy":true,"vrf":7}})", "copy to VRF 7" },
      { R"({"redirect":{"addr":"192.0.2.9"}})", "to 192.0.2.9" },
      { R"({"redirect":{"srTePolicy":{"color":100,"endpoint":"2001:db8::1"}}})",
        "to policy 100 2001:db8::1" },
      { R"({"markDscp":63})", "mark 63" },
   };
   for ( const auto& row : rows ) {
      EXPECT_EQ( actionText( read( row.text ) ), row.words );
   }
   RuleAction action;
   action.fields.invalidIs( true );
   EXPECT_EQ( actionText( action ), "invalid" );
   // What another writer may have set.
   action.fields.trafficRateIs( true );
   action.rateLimit = -1;
   EXPECT_EQ( actionText( action ), "invalid, at most -1.0 bytes/s" );
}

TEST( ActionJson, WhatIsWrongIsNamed ) {
   const struct {
      const char* text;
      const char* reason;
   } rows[] = {
      { "null", "'action' is not an object" },
      { "[]", "'action' is not an object" },
      { R"({"deny":true})", "unknown member 'action.deny'" },
      { R"({"drop":1})", "'action.drop' is neither true nor false" },
      { R"({"sample":null})", "'action.sample' is neither true nor false" },
      { R"({"continue":"yes"})", "'action.continue' is neither true nor false" },
      { R"({"rateLimit":100})", "'action.rateLimit' is not an object" },
      { R"({"rateLimit":{}})",
        "exactly one of 'action.rateLimit.bytes' and 'action.rateLimit.packets' is wanted" },
      { R"({"rateLimit":{"bytes":1,"packets":1}})",
        "exactly one of 'action.rateLimit.bytes' and 'action.rateLimit.packets' is wanted" },
      { R"({"rateLimit":{"bits":1}})", "unknown member 'action.rateLimit.bits'" },
      { R"({"rateLimit":{"bytes":-1}})",
        "'action.rateLimit.bytes' is not a number from 0 to 3.4e38" },
      { R"({"rateLimit":{"packets":3.5e38}})",
        "'action.rateLimit.packets' is not a number from 0 to 3.4e38" },
      { R"({"rateLimit":{"packets":"1"}})",
        "'action.rateLimit.packets' is not a number from 0 to 3.4e38" },
      { R"({"markDscp":64})", "'action.markDscp' is not a whole number from 0 to 63" },
      { R"({"markDscp":-1})", "'action.markDscp' is not a whole number from 0 to 63" },
      { R"({"markDscp":null})", "'action.markDscp' is not a whole number from 0 to 63" },
      { R"({"markDscp":"AF21"})", "'action.markDscp': 'AF21' is not the name of a DSCP" },
      { R"({"redirect":7})", "'action.redirect' is not an object" },
      { R"({"redirect":{"copy":true}})",
        "exactly one of 'action.redirect.vrf', 'action.redirect.addr' and "
        "'action.redirect.srTePolicy' is wanted" },
      { R"({"redirect":{"vrf":7,"addr":"192.0.2.9"}})",
        "exactly one of 'action.redirect.vrf', 'action.redirect.addr' and "
        "'action.redirect.srTePolicy' is wanted" },
      { R"({"redirect":{"port":7}})", "unknown member 'action.redirect.port'" },
      { R"({"redirect":{"vrf":"red"}})",
        "'action.redirect.vrf' is not a whole number from 0 to 4294967295" },
      { R"({"redirect":{"vrf":16777215}})",
        "'action.redirect.vrf' is 16777215, which is not a VRF" },
      { R"({"redirect":{"vrf":7,"copy":1}})", "'action.redirect.copy' is neither true nor false" },
      { R"({"redirect":{"addr":9}})", "'action.redirect.addr' is not a string" },
      { R"({"redirect":{"addr":"192.0.2.0/24"}})",
        "'action.redirect.addr': '192.0.2.0/24' is not an address" },
      { R"({"redirect":{"srTePolicy":"100,::"}})",
        "'action.redirect.srTePolicy' is not an object" },
      { R"({"redirect":{"srTePolicy":{"color":1}}})",
        "member 'action.redirect.srTePolicy.endpoint' is missing" },
      { R"({"redirect":{"srTePolicy":{"endpoint":"::"}}})",
        "member 'action.redirect.srTePolicy.color' is missing" },
      { R"({"redirect":{"srTePolicy":{"color":0,"endpoint":"::"}}})",
        "'action.redirect.srTePolicy.color' is 0, which is not a color" },
      { R"({"redirect":{"srTePolicy":{"color":1,"endpoint":""}}})",
        "'action.redirect.srTePolicy.endpoint': '' is not an address" },
      { R"({"redirect":{"srTePolicy":{"color":1,"endpoint":"::","name":""}}})",
        "unknown member 'action.redirect.srTePolicy.name'" },
      { R"({"drop":true,"redirect":{"vrf":7}})", "'action.redirect' contradicts 'action.drop'" },
      { R"({"drop":true,"rateLimit":{"bytes":0}})",
        "'action.rateLimit' contradicts 'action.drop'" },
      { R"({"drop":true,"markDscp":1})", "'action.markDscp' contradicts 'action.drop'" },
   };
   for ( const auto& row : rows ) {
      const RuleAction before = read( R"({"markDscp":1})" );
      RuleAction action = before;
      EXPECT_EQ( readAction( nlohmann::json::parse( row.text ), action ), row.reason ) << row.text;
      EXPECT_EQ( action, before ) << row.text;
   }
}

TEST( ActionJson, WhatIsWrittenReadsBack ) {
   TestSupport::KeyGenerator random( 8955 );
   for ( int round = 0; round < 20000; ++round ) {
      const RuleAction action = TestSupport::randomAction( random );
      const Vek::String text = actionJson( action ).dump();
      ASSERT_EQ( read( text.c_str() ), action ) << text;
   }
}

} // namespace
} // namespace Forms
