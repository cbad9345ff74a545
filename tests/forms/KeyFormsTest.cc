#include "forms/KeyForms.h"

#include "tests/support/AllocationCounter.h"

#include <gtest/gtest.h>

namespace {

using namespace Flowspec;
using namespace Forms;

Rule exampleRule() {
   Rule rule;
   rule.key.vrfIdIs( 5 );
   rule.key.addressFamilyIs( Zorv::AddressFamily::ipv4 );
   rule.key.destPrefixIs( *Zorv::IpGenPrefix::fromText( "10.1.0.0/16" ) );
   rule.key.interfaceSetPush( 3 );
   rule.key.interfaceSetPush( 17 );
   rule.key.setOpVal( 0, ipProto, 0x81, 6 );
   rule.key.setOpVal( 1, destPort, 0x01, 80 );
   rule.key.setOpVal( 2, destPort, 0x91, 443 );
   rule.rd = Zorv::RouteDistinguisher::fromText( "65000:1" );
   return rule;
}

Vek::String text( Form form, const Rule& rule ) {
   EXPECT_EQ( unwritable( form, rule ), std::nullopt );
   Vek::String out = "before ";
   appendRule( form, rule, out );
   EXPECT_TRUE( out.starts_with( "before " ) );
   return out.substr( 7 );
}

Rule ruleOf( std::initializer_list< U32 > words ) {
   Rule rule;
   U32 index = 0;
   for ( const U32 word : words ) {
      rule.key.matchOpValIs( index++, MatchOpVal( word ) );
   }
   return rule;
}

TEST( KeyForms, EachFormHasItsNameAndNumber ) {
   std::vector< std::string_view > names;
   for ( const FormInfo& form : forms() ) {
      EXPECT_EQ( &info( form.form ), &form );
      EXPECT_EQ( formOf( form.name ), form.form );
      names.push_back( form.name );
   }
   EXPECT_EQ( names, ( std::vector< std::string_view >{
                        "cli", "cli-len", "rd", "rd-len", "value", "diag", "json", "detail",
                        "rd-detail", "words", "nlri", "nlri-vpn", "bird", "exabgp", "exabgp-json",
                        "gobgp", "gobgp-json" } ) );
   EXPECT_EQ( formOf( "" ), std::nullopt );
   EXPECT_EQ( formOf( "CLI" ), std::nullopt );
   EXPECT_EQ( formOf( "cli " ), std::nullopt );
}

TEST( KeyForms, Texts ) {
   const Rule rule = exampleRule();
   EXPECT_EQ( text( Form::cli, rule ), "10.1.0.0/16;*;IP:=6;DP:=80|=443;" );
   EXPECT_EQ( text( Form::cliLen, rule ), "10.1.0.0/16;*;IP:=0L6;DP:=0L80|=1L443;" );
   EXPECT_EQ( text( Form::rd, rule ), "RD:65000:1;10.1.0.0/16;*;IP:=6;DP:=80|=443;" );
   EXPECT_EQ( text( Form::rdLen, rule ), "RD:65000:1;10.1.0.0/16;*;IP:=0L6;DP:=0L80|=1L443;" );
   EXPECT_EQ( text( Form::value, rule ),
              "5;ipv4;IFSET:=3,17;10.1.0.0/16;*;IP:=0L6;DP:=0L80|=1L443;" );
   EXPECT_EQ( text( Form::diag, rule ),
              "5;ipv4;IFSET:=3,17;10.1.0.0/16;;58785798;83951696;93389243;" );
   EXPECT_EQ(
      text( Form::json, rule ),
      R"({"vrfId":5,"addressFamily":"ipv4","destPrefix":"10.1.0.0/16","srcPrefix":null,)"
      R"("interfaceSet":[3,17],"terms":[{"type":"ipProto","op":129,"value":6},)"
      R"({"type":"destPort","op":1,"value":80},{"type":"destPort","op":145,"value":443}]})" );
   EXPECT_EQ( text( Form::detail, rule ),
              "Destination Prefix: 10.1.0.0/16;Source Prefix: *;IP Protocol: =6;"
              "Destination Port: =80 | =443;" );
   EXPECT_EQ( text( Form::rdDetail, rule ),
              "Route Distinguisher: 65000:1;Destination Prefix: 10.1.0.0/16;Source Prefix: *;"
              "IP Protocol: =6;Destination Port: =80 | =443;" );
   EXPECT_EQ( text( Form::words, rule ), "0x03810006 0x05010050 0x059101bb" );
   EXPECT_EQ( text( Form::words, Rule() ), "-" );
   EXPECT_EQ( text( Form::nlri, rule ), "0d01100a01038106050150"
                                        "9101bb" );
   EXPECT_EQ( text( Form::nlriVpn, rule ), "150000fde800000001"
                                           "01100a01038106050150"
                                           "9101bb" );
   EXPECT_EQ( text( Form::bird, rule ), "flow4 { dst 10.1.0.0/16; proto 6; dport 80,443; }" );
   for ( const FormInfo& form : forms() ) {
      if ( form.isDialect ) {
         EXPECT_EQ( dialect( form.form ).name, form.name );
      }
   }
}

TEST( KeyForms, WhatIsWrittenIsReadBackAsFarAsItsFormHoldsIt ) {
   const Rule rule = exampleRule();
   for ( const FormInfo& form : forms() ) {
      Rule read;
      const bool isNlri = form.form == Form::nlri || form.form == Form::nlriVpn;
      if ( isNlri ) {
         read.key.addressFamilyIs( rule.key.addressFamily() );
      }
      const Reason reason = readRule( form.form, text( form.form, rule ), read );
      if ( !form.readable ) {
         EXPECT_EQ( reason, "this form is only written" );
         continue;
      }
      EXPECT_EQ( reason, std::nullopt ) << form.name;
      Rule expected = rule;
      if ( !form.hasRd ) {
         expected.rd.reset();
      }
      if ( !form.hasInstance ) {
         expected.key.vrfIdIs( Vrf::VrfIdMap::invalid() );
         if ( !isNlri && !form.isDialect ) {
            expected.key.addressFamilyIs( Zorv::AddressFamily::none );
         }
         expected.key.interfaceSetPopAll();
      }
      EXPECT_TRUE( read == expected ) << form.name;
   }
}

TEST( KeyForms, ReasonsAreTheReadersOwn ) {
   Rule rule;
   EXPECT_EQ( readRule( Form::cli, "*;*;IP:=0L6;", rule ), "Unexpected character L" );
   EXPECT_EQ( readRule( Form::cliLen, "*;*;IP:=6;", rule ),
              "Unexpected format for value length IP:=6" );
   EXPECT_EQ( readRule( Form::rd, "*;*;", rule ), "Did not find route distinguisher anchor *;*;" );
   EXPECT_EQ( readRule( Form::rdLen, "RD:1;*;*;", rule ),
              "Could not parse route distinguisher 1 : Zorv::RouteDistinguisher: '1' is not a "
              "route distinguisher" );
   EXPECT_EQ( readRule( Form::value, "1;ipx;*;*;", rule ), "Invalid address family ipx" );
   EXPECT_EQ( readRule( Form::diag, ";;;;x;", rule ), "Could not parse word x" );
   EXPECT_EQ( readRule( Form::json, "[]", rule ), "not a JSON object" );
   clear( rule.key );
   EXPECT_EQ( readRule( Form::nlri, "03038106", rule ),
              "an NLRI does not tell its address family: it must be given" );
   rule.key.addressFamilyIs( Zorv::AddressFamily::ipv4 );
   rule.key.addressFamilyIs( Zorv::AddressFamily::ipv6 );
   EXPECT_EQ( readRule( Form::nlri, "03038106", rule ), std::nullopt );
   EXPECT_EQ( rule.key.toStrepCli( false ), "*;*;IP:=6;" );
   EXPECT_EQ( readRule( Form::nlri, "0303810", rule ),
              "expected two hexadecimal digits at character 8" );
   EXPECT_EQ( readRule( Form::nlri, "03038106 03038111", rule ), "the NLRI ends at offset 4 of 8" );
   clear( rule.key );
   rule.key.addressFamilyIs( Zorv::AddressFamily::ipv4 );
   EXPECT_EQ( readRule( Form::nlri, "00", rule ), "empty at offset 1: the rule has no component" );
   clear( rule.key );
   EXPECT_EQ( unwritable( Form::nlri, rule ), "the key is neither of IPv4 nor of IPv6" );
}

TEST( KeyForms, FormsThatWalkTheTermsRefuseWhatCannotBeWalked ) {
   const struct {
      Rule rule;
      const char* reason;
   } bad[] = {
      { ruleOf( { 0x0E810006 } ), "the term at index 0 cannot be printed: its component type is "
                                  "not known" },
      { ruleOf( { 0x03010006, 0x03B10006 } ),
        "the term at index 1 cannot be printed: its value has 8 bytes" },
      { ruleOf( { 0x03010006, 0x0DA10006 } ),
        "the term at index 1 cannot be printed: the second half of its value is missing" },
   };
   for ( const auto& row : bad ) {
      for ( const Form form : { Form::cli, Form::cliLen, Form::value, Form::detail } ) {
         EXPECT_EQ( unwritable( form, row.rule ), row.reason );
      }
      for ( const Form form : { Form::diag, Form::json, Form::words } ) {
         EXPECT_EQ( unwritable( form, row.rule ), std::nullopt );
      }
   }
   EXPECT_EQ( text( Form::words, bad[1].rule ), "0x03010006 0x03b10006" );
}

TEST( KeyForms, AKeyThatUsesTheLastIndexHasFewForms ) {
   Rule rule;
   for ( U32 index = 0; index < 2048; ++index ) {
      rule.key.matchOpValIs( index, MatchOpVal( 0x03010006 ) );
   }
   EXPECT_EQ( unwritable( Form::diag, rule ), "a key of 2048 words has no diagnostic form" );
   EXPECT_EQ( unwritable( Form::cli, rule ),
              "the term at index 2047 cannot be printed: it ends above index 2047" );
   EXPECT_EQ( text( Form::words, rule ).size(), 2048U * 11 - 1 );
   Rule again;
   EXPECT_EQ( readRule( Form::json, text( Form::json, rule ), again ), std::nullopt );
   EXPECT_TRUE( again == rule );
}

TEST( KeyForms, FormsWithADistinguisherNeedOne ) {
   Rule rule = exampleRule();
   rule.rd.reset();
   for ( const FormInfo& form : forms() ) {
      EXPECT_EQ( unwritable( form.form, rule ),
                 form.hasRd ? Reason( "the rule has no route distinguisher" ) : std::nullopt )
         << form.name;
   }
}

TEST( KeyForms, OfARuleOfAnotherProgramTheKeyIsTaken ) {
   Rule rule;
   rule.key.vrfIdIs( 9 );
   const std::string_view text = "flow4 { dport 80; } {\n"
                                 "bgp_ext_community.add((generic, 0x80080001, 1)); }";
   EXPECT_EQ( readRuleAt( Form::bird, text, rule ), std::nullopt );
   EXPECT_EQ( rule.key.stringValue(), "9;ipv4;*;*;DP:=0L80;" );
   EXPECT_EQ( rule.action, RuleAction() );
   EXPECT_EQ( readRuleAt( Form::bird, "flow4 { dport 80;\n x }", rule ),
              ( Forms::Fault{ 2, 2, "expected a component, found 'x'" } ) );
   EXPECT_EQ( readRule( Form::bird, "flow4", rule ), "expected '{', found the end" );
   EXPECT_EQ( readRuleAt( Form::cli, "*;*;IP:=x", rule ),
              ( Forms::Fault{ 1, 9, "Unexpected character x" } ) );
}

TEST( KeyForms, ClearGivesADefaultKey ) {
   Rule rule = exampleRule();
   clear( rule.key );
   EXPECT_EQ( rule.key, FlowspecKey() );
}

// What a stream of rules costs: nothing, once the buffers have their size.
TEST( KeyForms, ReadingAndWritingTakeNoMemory ) {
   constexpr std::string_view input = "10.1.0.0/16;*;IP:=0L6;DP:=0L80|=1L443|=1L8080;FRAG:0L1;";
   Rule rule;
   Vek::String out;
   out.reserve( 1000 );
   const TestSupport::AllocationCounter allocations;
   for ( const Form form : { Form::cli, Form::cliLen, Form::value, Form::diag, Form::words } ) {
      clear( rule.key );
      ASSERT_FALSE( readRule( Form::cliLen, input, rule ) );
      ASSERT_FALSE( unwritable( form, rule ) );
      appendRule( form, rule, out );
   }
   EXPECT_EQ( allocations.count(), 0U );
}

} // namespace
