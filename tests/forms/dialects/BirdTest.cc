#include "forms/dialects/Bird.h"

#include "Flowspec/key/FlowspecKeyReader.h"
#include "tests/forms/dialects/RuleData.h"
#include "tests/support/Hex.h"

#include <gmock/gmock.h>

namespace Forms {
namespace {

using namespace Flowspec;
using testing::ElementsAre;
using testing::IsEmpty;
using TestSupport::hexOf;
using TestSupport::ruleContext;
using Zorv::AddressFamily;

const Dialect& bird() { return *dialectOf( "bird" ); }

/// The key in the command-line form; what was wrong with the text instead.
std::string key( std::string_view text ) {
   Rule rule;
   std::vector< Fault > remarks;
   if ( const auto fault = readRule( bird(), text, ruleContext(), rule, remarks ) ) {
      return Vek::concat( fault->line, ':', fault->column, ": ", fault->reason );
   }
   EXPECT_THAT( remarks, IsEmpty() );
   return Vek::concat( stringValue( rule.key.addressFamily() ), ' ', rule.key.toStrepCli( false ) );
}

Rule ruleOf( AddressFamily family, std::string_view cli ) {
   Rule rule;
   rule.key.addressFamilyIs( family );
   EXPECT_FALSE( readStrCli( cli, false, rule.key ) ) << cli;
   return rule;
}

std::string written( const Rule& rule ) {
   Vek::String text;
   const auto reason = writeRule( bird(), rule, ruleContext(), text );
   return reason ? "refused: " + *reason : text;
}

struct OneTerm {
   MatchCompType type;
   U8 test;
   U32 value;
};
/// A rule of components of one term.
Rule rule( AddressFamily family, const std::vector< OneTerm >& terms ) {
   Rule made;
   made.key.addressFamilyIs( family );
   for ( const OneTerm& term : terms ) {
      made.key.setOpVal( made.key.matchOpVals(), term.type,
                         static_cast< U8 >( OpBits::endOfList | 0x10 | term.test ), term.value );
   }
   return made;
}

std::string written( std::string_view cli, AddressFamily family = AddressFamily::ipv4 ) {
   return written( ruleOf( family, cli ) );
}

TEST( BirdReader, ReadsEachComponent ) {
   EXPECT_EQ( key( "flow4 { dst 10.1.0.0/16; src 192.0.2.0/24; proto 6,17; port 1; dport 2; "
                   "sport 3; icmp type 8; icmp code 0; tcp flags 0x2/0x2; length 64..1500; "
                   "dscp 46; fragment is_fragment; }" ),
              "ipv4 10.1.0.0/16;192.0.2.0/24;IP:=6|=17;P:=1;DP:=2;SP:=3;IT:=8;IC:=0;TCP:=2;"
              "LEN:>=64&<=1500;DSCP:=46;FRAG:=2;" );
   EXPECT_EQ( key( "flow6 { dst 2001:db8::/32; next header 6; label 65535; }" ),
              "ipv6 2001:db8::/32;*;IP:=6;FL:=65535;" );
}

TEST( BirdReader, TakesWhatSurroundsARuleInAConfiguration ) {
   const auto* const rule = "ipv4 10.0.0.0/8;*;";
   EXPECT_EQ( key( "flow4 {dst 10.0.0.0/8;}" ), rule );
   EXPECT_EQ( key( "  route flow4 { dst 10.0.0.0/8; };\n" ), rule );
   EXPECT_EQ( key( "route flow4{dst 10.0.0.0/8;}{} ;" ), rule );
   EXPECT_EQ( key( "# one\nflow4 { # two }\n dst /* three; */ 10.0.0.0/8\n; /* four */ } # five" ),
              rule );
   EXPECT_EQ( key( "flow6 { proto 6; }" ), "ipv6 *;*;IP:=6;" );
   EXPECT_EQ( key( "flow4 { next header 6; }" ), "ipv4 *;*;IP:=6;" );
   EXPECT_EQ( key( "flow4 { sport 1; dport 2; }" ), "ipv4 *;*;DP:=2;SP:=1;" );
   EXPECT_EQ( key( "flow6 { dst ::/0; src 2001:db8::/32 offset 0; }" ),
              "ipv6 ::/0;2001:db8::/32;" );
}

TEST( BirdReader, ReadsNumbers ) {
   EXPECT_EQ( key( "flow4 { port = 1 || != 2 || < 3 || <= 4 || > 5 || >= 6; }" ),
              "ipv4 *;*;P:=1|<>2|<3|<=4|>5|>=6;" );
   EXPECT_EQ( key( "flow4 { port 1,2,3..5; }" ), "ipv4 *;*;P:=1|=2|>=3&<=5;" );
   EXPECT_EQ( key( "flow4 { port > 8080&&<8088 && !=8085||0x50; }" ),
              "ipv4 *;*;P:>8080&<8088&<>8085|=80;" );
   // As it is printed, though BIRD does not read it.
   EXPECT_EQ( key( "flow4 { port <= 5,8 && 9; }" ), "ipv4 *;*;P:<=5|=8&=9;" );
}

TEST( BirdReader, ReadsFlags ) {
   EXPECT_EQ( key( "flow4 { tcp flags !0x0/0x3 || 0x3/0x3 || 0x0/0x3 || !0x3/0x3; }" ),
              "ipv4 *;*;TCP:3|=3|!3|!=3;" );
   EXPECT_EQ( key( "flow4 { tcp flags 0x3/0xf || 0x1/0x1,0/0x2; }" ),
              "ipv4 *;*;TCP:=3&!12|=1&!2;" );
   EXPECT_EQ( key( "flow4 { fragment !is_fragment && !first_fragment || last_fragment; }" ),
              "ipv4 *;*;FRAG:!2&!4|=8;" );
   EXPECT_EQ( key( "flow4 { fragment dont_fragment, is_fragment; }" ), "ipv4 *;*;FRAG:=1&=2;" );
   // As it is printed, though BIRD does not read it.
   EXPECT_EQ( key( "flow4 { fragment !!is_fragment || 0x6/0x6 || !0x0/0x6; }" ),
              "ipv4 *;*;FRAG:=2|=6|6;" );
}

TEST( BirdReader, SaysWhereATextIsWrong ) {
   EXPECT_EQ( key( "" ), "1:1: expected 'flow4' or 'flow6', found the end" );
   EXPECT_EQ( key( "flow5 { }" ), "1:1: expected 'flow4' or 'flow6', found 'flow5'" );
   EXPECT_EQ( key( "flow4 dst" ), "1:7: expected '{', found 'dst'" );
   EXPECT_EQ( key( "flow4 { }" ), "1:1: the key has no component" );
   EXPECT_EQ( key( "flow4 { dst 10.0.0.0/8; src 10.0.0.0/33; }" ),
              "1:29: expected a prefix, found '10'" );
   EXPECT_EQ( key( "flow4 { dst 10.5.0.1/16; }" ),
              "1:13: the prefix has bits after its length: expected 10.5.0.0/16" );
   EXPECT_EQ( key( "flow4 { dst 2001:db8::/32; }" ), "1:13: the prefix is not of ipv4" );
   EXPECT_EQ( key( "flow6 { dst ::1:0:0/96 offset 64; }" ),
              "1:24: a rule key holds no offset of a prefix but 0" );
   EXPECT_EQ( key( "flow4 { dst 10.0.0.0/8 }" ), "1:24: expected ';', found '}'" );
   EXPECT_EQ( key( "flow4 { dst 10.0.0.0/8;\n   ports 5; }" ),
              "2:4: expected a component, found 'ports'" );
   EXPECT_EQ( key( "flow4 { icmp 5; }" ), "1:9: expected a component, found 'icmp'" );
   EXPECT_EQ( key( "flow4 { port 5; port 6; }" ), "1:17: the component occurs twice" );
   EXPECT_EQ( key( "flow4 { label 5; }" ), "1:9: there are no flow labels in IPv4" );
   EXPECT_EQ( key( "flow4 { port; }" ), "1:13: expected a number, found ';'" );
   EXPECT_EQ( key( "flow4 { port > http; }" ), "1:16: expected a number, found 'http'" );
   EXPECT_EQ( key( "flow4 { port 65536; }" ), "1:14: the number is above 65535" );
   EXPECT_EQ( key( "flow4 { port 1..99999999999999999999; }" ), "1:17: the number is above 65535" );
   EXPECT_EQ( key( "flow4 { proto 256; }" ), "1:15: the number is above 255" );
   EXPECT_EQ( key( "flow4 { dscp 64; }" ), "1:14: the number is above 63" );
   EXPECT_EQ( key( "flow6 { label 1048576; }" ), "1:15: the number is above 1048575" );
   EXPECT_EQ( key( "flow4 { port true 0; }" ),
              "1:14: BIRD's 'true' is what RFC 8955 calls false: write '>= 0' or '< 0'" );
   EXPECT_EQ( key( "flow4 { tcp flags 0x1000/0x1000; }" ), "1:19: the number is above 4095" );
   EXPECT_EQ( key( "flow4 { tcp flags 0x1; }" ), "1:22: expected '/', found ';'" );
   EXPECT_EQ( key( "flow4 { tcp flags 0/0; }" ), "1:21: BIRD leaves out a test of no flag" );
   EXPECT_EQ( key( "flow4 { tcp flags 4/3; }" ),
              "1:19: the value has flags that its mask does not have" );
   EXPECT_EQ( key( "flow4 { tcp flags !1/3; }" ),
              "1:20: after '!' the value must be 0 or the mask" );
   EXPECT_EQ( key( "flow4 { fragment some; }" ), "1:18: expected a fragment flag, found 'some'" );
   EXPECT_EQ( key( "flow4 { port 1; ...}" ), "1:17: BIRD cut the text when it printed it" );
   EXPECT_EQ( key( "flow4 { fragment first_fra ...}" ),
              "1:28: BIRD cut the text when it printed it" );
   EXPECT_EQ( key( "flow4 { port 1; " ), "1:17: expected a component, found the end" );
   EXPECT_EQ( key( "flow4 { /* port 1; }" ), "1:9: the comment has no end" );
   EXPECT_EQ( key( "flow4 { port 1; } {" ),
              "1:20: expected 'bgp_ext_community.add(', found the end" );
   EXPECT_EQ( key( "flow4 { port 1; } flow4 { port 2; }" ),
              "1:19: expected the end of the rule, found 'flow4'" );
   const Vek::String longWord( 100, 'x' );
   EXPECT_EQ( key( longWord ),
              "1:1: expected 'flow4' or 'flow6', found '" + longWord.substr( 0, 40 ) + '\'' );
}

TEST( BirdReader, TakesTheLongestRuleAndNoLongerOne ) {
   // 2046 terms of one octet and a prefix of length 0: 4095 octets.
   Vek::String text = "flow4 { dst 0.0.0.0/0; port 0";
   for ( int i = 1; i < 2046; ++i ) {
      text += ",1";
   }
   EXPECT_THAT( key( text + "; }" ), testing::StartsWith( "ipv4 0.0.0.0/0;*;P:=0|=1|=1" ) );
   EXPECT_EQ( key( text + ",1; }" ), "1:1: the rule takes more than 4095 octets" );
   EXPECT_EQ( key( text + ",1,1; }" ), "1:4123: the rule has more than 2047 words" );
}

/// What an extended community of a block is, as its octets; what was wrong instead. The types here
/// are of no effect, so that they are kept.
std::string community( std::string_view text ) {
   Rule rule;
   std::vector< Fault > remarks;
   const Vek::String whole =
      Vek::concat( "flow4 { port 1; } { bgp_ext_community.add(", text, "); }" );
   if ( const auto fault = readRule( bird(), whole, ruleContext(), rule, remarks ) ) {
      return Vek::concat( fault->line, ':', fault->column, ": ", fault->reason );
   }
   EXPECT_EQ( rule.kept.size(), 1U );
   return hexOf( rule.kept.at( 0 ) );
}

TEST( BirdReader, ReadsCommunities ) {
   EXPECT_EQ( community( "(generic, 0x43060001, 4294967295)" ), "43060001FFFFFFFF" );
   EXPECT_EQ( community( "( generic , 1124466689 , 0 )" ), "4306000100000000" );
   EXPECT_EQ( community( "(rt, 65535, 4294967295)" ), "0002FFFFFFFFFFFF" );
   EXPECT_EQ( community( "(rt, 70000, 5)" ), "0202000111700005" );
   EXPECT_EQ( community( "(rt, 10.0.0.1, 5)" ), "01020A0000010005" );
   EXPECT_EQ( community( "(ro, 65000, 100)" ), "0003FDE800000064" );
   EXPECT_EQ( community( "(ro, 10.0.0.1, 5)" ), "01030A0000010005" );
   EXPECT_EQ( community( "(unknown 0x80, 5, 6)" ), "0080000500000006" );
   EXPECT_EQ( community( "(unknown 0x4310, 5, 65536)" ), "4310000500010000" );
   EXPECT_EQ( community( "(unknown 0x4210, 5, 6)" ), "4210000000050006" );
   EXPECT_EQ( community( "(unknown 0x4110, 10.0.0.1, 6)" ), "41100A0000010006" );
}

TEST( BirdReader, SaysWhereACommunityIsWrong ) {
   EXPECT_EQ( community( "65000" ), "1:43: expected '(', found '65000'" );
   EXPECT_EQ( community( "(lb, 1, 2)" ),
              "1:44: expected 'generic', 'rt', 'ro' or 'unknown', found 'lb'" );
   EXPECT_EQ( community( "(generic, 0x100000000, 0)" ), "1:53: the number is above 4294967295" );
   EXPECT_EQ( community( "(rt, 70000, 65536)" ), "1:55: the number is above 65535" );
   EXPECT_EQ( community( "(rt, 10.0.0, 1)" ),
              "1:48: expected an AS number or an IPv4 address, found '10'" );
   EXPECT_EQ( community( "(rt, x, 1)" ),
              "1:48: expected an AS number or an IPv4 address, found 'x'" );
   EXPECT_EQ( community( "(unknown 0x4310, 70000, 1)" ),
              "1:60: the type has two octets for what is not a number up to 65535" );
   EXPECT_EQ( community( "(rt, 1, 2" ), "1:53: expected ')', found ';'" );
}

TEST( BirdReader, MakesAnActionOfCommunities ) {
   Rule rule;
   std::vector< Fault > remarks;
   const std::string_view text = "flow4 { port 1; } {\n"
                                 "  bgp_ext_community.add((generic, 0x80060000, 0x44800000));\n"
                                 "  bgp_ext_community.add((unknown 0x8008, 666, 666));\n"
                                 "  bgp_ext_community.add((generic, 0x07020000, 0xfde84011));\n"
                                 "  bgp_community.add((65000,1));\n"
                                 "  bgp_med = 5;\n"
                                 "}";
   ASSERT_EQ( readRule( bird(), text, ruleContext(), rule, remarks ), std::nullopt );
   EXPECT_TRUE( rule.action.fields.trafficRate() );
   EXPECT_EQ( rule.action.rateLimit, 1024 );
   EXPECT_EQ( rule.action.redirect.vrfId(), 2U );
   EXPECT_THAT( rule.key.interfaceSet(), ElementsAre( 17 ) );
   EXPECT_THAT(
      remarks,
      ElementsAre( Fault{ 5, 3, "bgp_community is passed over: it is not part of the action" } ) );
}

TEST( BirdReader, ReadsWhatIsPrintedOfARoute ) {
   Rule rule;
   std::vector< Fault > remarks;
   const std::string_view text =
      "flow4 { dst 10.0.0.0/8; proto 6; }  [s4 02:51:11.185] * (200) [AS65001i]\n"
      "\tType: static univ\n"
      "\tBGP.med: 5\n"
      "\tBGP.ext_community: (generic, 0x80060000, 0x44800000) (rt, 65000, 7) (ro, 65000, 7)\n"
      "\tBGP.community: (1,2)";
   ASSERT_EQ( readRule( bird(), text, ruleContext(), rule, remarks ), std::nullopt );
   EXPECT_THAT( remarks, IsEmpty() );
   EXPECT_EQ( rule.key.toStrepCli( false ), "10.0.0.0/8;*;IP:=6;" );
   EXPECT_EQ( rule.action.rateLimit, 1024 );
   ASSERT_EQ( rule.kept.size(), 2U );
   EXPECT_EQ( hexOf( rule.kept[1] ), "0003FDE800000007" );
   // Without communities a rule has no action.
   EXPECT_EQ( key( "flow4 { dst 10.0.0.0/8; } [s4] * (200)\n\tType: static univ\n" ),
              "ipv4 10.0.0.0/8;*;" );
}

TEST( BirdReader, RefusesAPrintedRouteThatDoesNotTellItsAction ) {
   const auto bad = []( std::string_view rest ) {
      return key( Vek::concat( "flow4 { port 1; } ", rest ) );
   };
   EXPECT_EQ( bad( "[s4 02:51:11.185] * (200)\n" ),
              "1:19: the route has no attributes here: print it with 'show route all'" );
   EXPECT_EQ( bad( "[s4] * (200)\n\tType: univ\n   [s5] (100)\n\tType: univ" ),
              "3:4: another route of the rule: print them with 'show route primary all'" );
   EXPECT_EQ( bad( "[s4] * (200)\n\tBGP.ext_community: (rt, 1, 2) ...\n" ),
              "2:32: expected an attribute, found '.'" );
   EXPECT_EQ( bad( "[s4] * (200)\n\tBGP.ext_community: (lb, 1, 2)\n" ),
              "2:22: expected 'generic', 'rt', 'ro' or 'unknown', found 'lb'" );
}

/// What is wrong with the block after a match.
std::string badBlock( std::string_view block ) {
   return key( Vek::concat( "flow4 { port 1; }\n", block ) );
}

TEST( BirdReader, RefusesABlockThatItDoesNotUnderstand ) {
   EXPECT_EQ( badBlock( "{ reject; }" ), "2:3: expected 'bgp_ext_community.add(', found 'reject'" );
   EXPECT_EQ( badBlock( "{ if true then bgp_med = 5; }" ),
              "2:3: expected 'bgp_ext_community.add(', found 'if'" );
   EXPECT_EQ( badBlock( "{ bgp_ext_community = 5; }" ), "2:21: expected '.', found '='" );
   EXPECT_EQ( badBlock( "{ bgp_ext_community.delete((rt, 1, 2)); }" ),
              "2:21: expected 'add', found 'delete'" );
   EXPECT_EQ( badBlock( "{ bgp_med = 5 }" ), "2:15: expected ';', found '}'" );
   EXPECT_EQ( badBlock( "{ bgp_ext_community.add((generic, 0x80060000, 0x7f800000)); }" ),
              "2:1: the extended community at octet 0: its rate is not finite" );
   EXPECT_EQ( badBlock( "{ bgp_ext_community.add((generic, 0x80080001, 1)); }" ),
              "2:1: the extended community at octet 0: no VRF imports the route target that it "
              "redirects to" );
}

TEST( BirdWriter, WritesWhatBirdPrints ) {
   EXPECT_EQ( written( "10.1.0.0/16;192.0.2.0/24;IP:=6|=17;P:=1;DP:=2;SP:=3;IT:=8;IC:=0;TCP:=2;"
                       "LEN:>=64&<=1500;DSCP:=46;FRAG:=2;" ),
              "flow4 { dst 10.1.0.0/16; src 192.0.2.0/24; proto 6,17; port 1; dport 2; sport 3; "
              "icmp type 8; icmp code 0; tcp flags 0x2/0x2; length 64..1500; dscp 46; "
              "fragment is_fragment; }" );
   EXPECT_EQ( written( "2001:db8::/32;*;IP:=6;FL:=65535;", AddressFamily::ipv6 ),
              "flow6 { dst 2001:db8::/32; next header 6; label 65535; }" );
   EXPECT_EQ(
      written( "*;*;P:=1|>8080&<8088&<>8085|=80|=81|>=1&<=2|=4&=5|=6|<>2|<3|<=4|>5|>=6;" ),
      "flow4 { port 1 || > 8080 && < 8088 && != 8085 || 80,81,1..2,4 && = 5 || 6 || != 2 || "
      "< 3 || <= 4 || > 5 || >= 6; }" );
   EXPECT_EQ( written( "*;*;TCP:3|=3|!3|!=3;" ),
              "flow4 { tcp flags !0x0/0x3 || 0x3/0x3 || 0x0/0x3 || !0x3/0x3; }" );
   EXPECT_EQ( written( "*;*;FRAG:!2&!4|=8;" ),
              "flow4 { fragment !is_fragment && !first_fragment || last_fragment; }" );
}

TEST( BirdWriter, WritesTheActionAsCommunities ) {
   Rule rule = ruleOf( AddressFamily::ipv4, "10.0.0.0/8;*;" );
   rule.action.fields.trafficDropIs( true );
   rule.action.trafficAction.sampleAndLogIs( true );
   rule.action.fields.trafficActionIs( true );
   rule.kept = { { 0x00, 0x02, 0xFD, 0xE8, 0, 0, 0, 1 } };
   EXPECT_EQ( written( rule ), "flow4 { dst 10.0.0.0/8; } { "
                               "bgp_ext_community.add((generic, 0x8006fde8, 0x0)); "
                               "bgp_ext_community.add((generic, 0x80070000, 0x2)); "
                               "bgp_ext_community.add((generic, 0x2fde8, 0x1)); }" );
}

TEST( BirdWriter, WritesTheCanonicalFormWhereBirdHasNoWords ) {
   // What is true of each number, or of none.
   EXPECT_EQ( written( rule( AddressFamily::ipv4, { { destPort, 0x07, 5 } } ) ),
              "flow4 { dport >= 0; }" );
   EXPECT_EQ( written( rule( AddressFamily::ipv4, { { destPort, 0x00, 5 } } ) ),
              "flow4 { dport < 0; }" );
   // Values that no packet has.
   EXPECT_EQ( written( "*;*;IP:=6|=300;DP:>=80&<=70000;" ), "flow4 { proto 6; dport >= 80; }" );
   EXPECT_EQ( written( "*;*;DSCP:>=60&<=190;" ), "flow4 { dscp 60..62; }" );
   // Flags that are ignored, and a test of none.
   EXPECT_EQ( written( "*;*;TCP:=2|=4098;" ), "flow4 { tcp flags !0x0/0x2; }" );
   EXPECT_EQ( written( "*;*;FRAG:=18;" ), "flow4 { fragment is_fragment; }" );
   EXPECT_EQ( written( "*;*;TCP:=0;" ), "flow4 { tcp flags 0x1/0x1 || 0x0/0x1; }" );
   EXPECT_EQ( written( "*;*;DP:=5;FRAG:=1;", AddressFamily::ipv6 ),
              "flow6 { dport 5; fragment is_fragment || !is_fragment; }" );
   EXPECT_EQ( written( "*;*;TCP:0;" ), "flow4 { tcp flags 0x1/0x1 && 0x0/0x1; }" );
   EXPECT_EQ( written( "*;*;FRAG:!=0;" ), "flow4 { fragment is_fragment && !is_fragment; }" );
   // Some of several fragment flags, alone and in a conjunction.
   EXPECT_EQ( written( "*;*;FRAG:6;" ), "flow4 { fragment is_fragment || first_fragment; }" );
   EXPECT_EQ( written( "*;*;FRAG:!=6|=8;" ),
              "flow4 { fragment !is_fragment || !first_fragment || last_fragment; }" );
   EXPECT_EQ( written( "*;*;FRAG:=6&!9;" ),
              "flow4 { fragment is_fragment && first_fragment && !dont_fragment && "
              "!last_fragment; }" );
   EXPECT_EQ(
      written( "*;*;FRAG:6&!8;" ),
      "flow4 { fragment first_fragment && !last_fragment || is_fragment && !last_fragment; }" );
}

TEST( BirdWriter, SaysWhatBirdCannotExpress ) {
   EXPECT_EQ( written( "*;*;FL:=65536;", AddressFamily::ipv6 ),
              "refused: BIRD takes no value above 65535 in its component 'label'" );
   EXPECT_EQ( written( "*;*;IP:=300;" ),
              "refused: BIRD takes no value above 255 in its component 'proto'" );
   EXPECT_EQ(
      written( "*;*;TCP:=4096;" ),
      "refused: BIRD has no words for a test of the flags 4096 in its component 'tcp flags'" );
   EXPECT_EQ( written( Rule() ), "refused: the key is neither of IPv4 nor of IPv6" );
   EXPECT_EQ( written( rule( AddressFamily::ipv4, {} ) ), "refused: the key has no component" );
   EXPECT_EQ( written( rule( AddressFamily::ipv4, { { flowLabel, 1, 5 } } ) ),
              "refused: the word at index 0: IPv4 has no flow label" );
   Rule vpn = ruleOf( AddressFamily::ipv4, "10.0.0.0/8;*;" );
   vpn.rd = Zorv::RouteDistinguisher( 1 );
   EXPECT_EQ( written( vpn ), "refused: BIRD has no route distinguisher in flow specifications" );
   Rule redirect = ruleOf( AddressFamily::ipv4, "10.0.0.0/8;*;" );
   redirect.action.fields.trafficRedirectIs( true );
   redirect.action.redirect.typeIs( TrafficRedirectType::addr );
   redirect.action.redirect.addrIs( *Zorv::IpGenAddr::fromText( "2001:db8::1" ) );
   EXPECT_EQ( written( redirect ),
              "refused: BIRD has no IPv6-address-specific extended communities" );
   redirect.action.redirect.typeIs( TrafficRedirectType::vrf );
   redirect.action.redirect.vrfIdIs( 99 );
   EXPECT_EQ( written( redirect ), "refused: the VRF of the redirect has no route target" );
}

} // namespace
} // namespace Forms
