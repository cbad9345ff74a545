#include "forms/dialects/GoBgp.h"

#include "tests/forms/dialects/OneDialect.h"

namespace Forms {
namespace {

using Zorv::AddressFamily;

const TestSupport::OneDialect& goBgp() {
   static const TestSupport::OneDialect dialect( "gobgp" );
   return dialect;
}

/// What is read of a rule with these components beside a destination.
std::string match( const std::string& components ) {
   return goBgp().read( "match destination 10.0.0.0/8 " + components + " then accept" );
}
/// What is read of a rule with these actions.
std::string action( const std::string& actions ) {
   return goBgp().read( "match destination 10.0.0.0/8 then " + actions );
}

TEST( GoBgpReader, ReadsEachComponent ) {
   EXPECT_EQ( goBgp().read( "gobgp global rib -a ipv4-flowspec add match destination 10.1.0.0/16 "
                            "source 192.0.2.0/24 protocol tcp '==udp' port 1 destination-port "
                            "'==80 >8080&<8088' source-port 3 icmp-type 8 icmp-code 0 tcp-flags S "
                            "'=SA' '!F&!=U' packet-length '>=64&<=1500' dscp 46 fragment "
                            "is-fragment then rate-limit 9600" ),
              "ipv4 10.1.0.0/16;192.0.2.0/24;IP:=6|=17;P:=1;DP:=80|>8080&<8088;SP:=3;IT:=8;IC:=0;"
              "TCP:2|=18|!1&!=32;LEN:>=64&<=1500;DSCP:=46;FRAG:2; -> at most 9600 bytes/s" );
   EXPECT_EQ(
      goBgp().read( "-a ipv6-flowspec match source 2001:db8::/32 label '==5 >=1048575' then "
                    "accept" ),
      "ipv6 *;2001:db8::/32;FL:=5|>=1048575; -> permit" );
}

TEST( GoBgpReader, TakesTheOrdersOfACommand ) {
   const auto* const rule = "ipv4 65000:1 10.0.0.0/8;*;IP:=6; -> drop";
   for ( const char* const text : {
            "gobgp global rib add -a ipv4-l3vpn-flowspec rd 65000:1 match destination 10.0.0.0/8 "
            "protocol 6 then discard",
            "global rib add rd 65000:1 then discard match protocol 6 destination 10.0.0.0/8",
            "rd 65000:1 match destination '10.0.0.0/8' protocol \"==6\" then discard -a "
            "ipv4-l3vpn-flowspec",
            "rd 65000:1\nmatch destination 10.0.0.0/8\n  protocol 6\nthen discard\n",
         } ) {
      EXPECT_EQ( goBgp().read( text ), rule ) << text;
   }
   EXPECT_EQ( goBgp().read( "match protocol 6 then accept", AddressFamily::ipv6 ),
              "ipv6 *;*;IP:=6; -> permit" );
   EXPECT_EQ( goBgp().read( "match protocol 6", AddressFamily::ipv4 ),
              "ipv4 *;*;IP:=6; -> permit" );
   EXPECT_EQ( goBgp().read( "rd 1.4464:5 match source 2001:db8::1" ),
              "ipv6 70000:5 *;2001:db8::1/128; -> permit" );
   EXPECT_EQ( goBgp().read( "rd 192.0.2.1:5 match source 10.2.3.4/8" ),
              "ipv4 192.0.2.1:5 *;10.0.0.0/8; -> permit" );
   EXPECT_EQ( goBgp().read( "match source 2001:db8::/32/0 port 5" ),
              "ipv6 *;2001:db8::/32;P:=5; -> permit" );
   EXPECT_EQ( goBgp().read( "match source 2001:db8::/32 0 port 5" ),
              "ipv6 *;2001:db8::/32;P:=5; -> permit" );
}

TEST( GoBgpReader, TakesOperatorsNamesAndLists ) {
   const std::string front = "ipv4 10.0.0.0/8;*;";
   EXPECT_EQ( match( "port 1 '=2' '==3' '!=4' '!5' '=!6' '<7' '<=8' '>9' '>=10'" ),
              front + "P:=1|=2|=3|<>4|<>5|<>6|<7|<=8|>9|>=10; -> permit" );
   EXPECT_EQ( match( "port '&==80' '& < 90' 443,8080" ),
              front + "P:=80&<90|=443|=8080; -> permit" );
   // The octets that GoBGP sends for these words mean the opposite.
   EXPECT_EQ( match( "port '==80' true" ), front + "P:=80|0; -> permit" );
   EXPECT_EQ( match( "port false" ), front + "P:<>=0; -> permit" );
   EXPECT_EQ( match( "protocol unknown igp '!=ospf&!=ipip' 143" ),
              front + "IP:=0|=9|<>89&<>94|=143; -> permit" );
   EXPECT_EQ( match( "tcp-flags FSRPAUEC '=!SS&!A' '==U'" ),
              front + "TCP:255|!=2&!16|=32; -> permit" );
   EXPECT_EQ( match( "fragment '=is-fragment+last-fragment' '!=not-a-fragment' +dont-fragment "
                     "'!first-fragment'" ),
              front + "FRAG:=10|!=0|1|!4; -> permit" );
}

TEST( GoBgpReader, ReadsEachAction ) {
   const std::string front = "ipv4 10.0.0.0/8;*; -> ";
   EXPECT_EQ( action( "accept" ), front + "permit" );
   EXPECT_EQ( action( "discard" ), front + "drop" );
   EXPECT_EQ( action( "discard as 65000 mark 5" ), front + "drop, 1:30: drop-overrides" );
   EXPECT_EQ( action( "rate-limit 0" ), front + "drop" );
   EXPECT_EQ( action( "rate-limit 9600.5 as 65000" ), front + "at most 9600.5 bytes/s" );
   EXPECT_EQ( action( "mark 63 action sample" ), front + "mark 63, sample" );
   EXPECT_EQ( action( "action terminal" ), front + "continue" );
   EXPECT_EQ( action( "action terminal-sample" ), front + "sample, continue" );
   EXPECT_EQ( action( "action sample-terminal" ), front + "sample, continue" );
   EXPECT_EQ( action( "redirect 65500:12345" ), front + "to VRF 1" );
   EXPECT_EQ( action( "redirect 255.255.255.255:255" ), front + "to VRF 5" );
   EXPECT_EQ( action( "redirect fd00:1::1:0" ), front + "to VRF 6" );
   EXPECT_EQ( action( "redirect 1.4464:7" ), front + "to VRF 7" );
   EXPECT_EQ( action( "redirect-to-ip 192.0.2.1 color 5" ), front + "to policy 5 192.0.2.1" );
   EXPECT_EQ( action( "redirect-to-ip 2001:db8::1 copy" ), front + "copy to 2001:db8::1" );
   EXPECT_EQ( action( "rt 65000:1 1.0:2 192.0.2.1:3 discard rt 2001:db8::1:4" ),
              front + "drop, 4 kept" );
   EXPECT_EQ( action( "community 1:2 discard med 5" ),
              front + "drop, 1:35: community is passed over: it is not part of the action" );
}

TEST( GoBgpReader, SaysWhatIsWrongAndWhere ) {
   struct {
      const char* text;
      const char* fault;
   } const rows[] = {
      { "", "1:1: nothing tells the family: expected '-a ipv4-flowspec' or another" },
      { "match port 5", "1:1: nothing tells the family: expected '-a ipv4-flowspec' or another" },
      { "gobgp global rib del match", "1:18: expected 'match', found 'del'" },
      { "-a ipv4-unicast", "1:4: expected a family of flow specifications, such as "
                           "'ipv4-flowspec', found 'ipv4-unicast'" },
      { "-a ipv4-flowspec match then accept", "1:1: the key has no component" },
      { "-a ipv4-flowspec rd 1:1 match port 5", "1:4: the family has no 'rd'" },
      { "-a ipv4-l3vpn-flowspec match port 5", "1:4: the family wants 'rd'" },
      { "rd 65536:5 match", "1:4: expected a route distinguisher, such as '65000:1' or '1.0:1', "
                            "found '65536'" },
      { "rd 5", "1:4: expected a route distinguisher, such as '65000:1' or '1.0:1', found '5'" },
      { "-a ipv6-flowspec match destination 10.0.0.0/8", "1:24: the prefix is not of ipv6" },
      { "match destination 10.0.0.0/8 source 2001:db8::/32", "1:30: the prefix is not of ipv4" },
      { "match destination 10.0.0.0/33", "1:19: expected a prefix, found '10'" },
      { "match destination 10.0.0.0/8 5", "1:30: expected a component or 'then', found '5'" },
      { "match destination 2001:db8::/32/16",
        "1:33: a rule key holds no offset of a prefix but 0" },
      { "match destination 2001:db8::/32 16",
        "1:33: a rule key holds no offset of a prefix but 0" },
      { "match destination", "1:18: expected a prefix, found the end" },
      { "match port 5 port 6", "1:14: the component occurs twice: GoBGP drops the first" },
      { "match source 10.0.0.0/8 label 5", "1:31: there are no flow labels in IPv4" },
      { "match port '&'", "1:15: expected a number, found the end" },
      { "match port '80&' then", "1:18: expected a number, found 'then'" },
      { "match port '<>80'", "1:14: expected a number, found '>'" },
      { "match port 80abc", "1:12: expected a number, found '80abc'" },
      { "match port http", "1:12: expected a number, found 'http'" },
      { "match port 65536", "1:12: the number is above 65535" },
      { "match port true 5", "1:17: nothing can follow 'true' or 'false' in a component" },
      { "match port '==5&true'", "1:17: expected a number, found 'true'" },
      { "match port '==true'", "1:15: expected a number, found 'true'" },
      { "match protocol TCP", "1:16: expected a protocol's number or name, found 'TCP'" },
      { "match protocol icmp6", "1:16: expected a protocol's number or name, found 'icmp6'" },
      { "match protocol 256", "1:16: the number is above 255" },
      { "match dscp 64", "1:12: the number is above 63" },
      { "match tcp-flags X", "1:17: expected TCP flags out of 'FSRPAUEC', found 'X'" },
      { "match tcp-flags S+A", "1:18: expected TCP flags out of 'FSRPAUEC', found '+'" },
      { "match tcp-flags '='", "1:20: expected TCP flags out of 'FSRPAUEC', found the end" },
      { "match fragment is-fragment+foo", "1:28: expected a fragment flag, found 'foo'" },
      { "match fragment 2", "1:16: expected a fragment flag, found '2'" },
      { "match port 5 then drop", "1:19: expected an action, found 'drop'" },
      { "match port 5 then rate-limit 1e9", "1:31: expected an action, found 'e9'" },
      { "match port 5 then rate-limit -5", "1:30: expected a rate, found '-5'" },
      { "match port 5 then rate-limit 1.2.3", "1:30: expected a rate, found '1'" },
      { "match port 5 then discard as 65536", "1:30: the number is above 65535" },
      { "match port 5 then mark 64", "1:24: the number is above 63" },
      { "match port 5 then action foo",
        "1:26: expected 'sample', 'terminal' or 'sample-terminal', found 'foo'" },
      { "match port 5 then redirect 65536:5",
        "1:28: expected a route target, such as '65000:1' or '1.0:1' for the AS number 65536, "
        "found '65536'" },
      { "match port 5 then redirect 1.2.3.4:65536",
        "1:28: expected a route target, such as '65000:1' or '1.0:1' for the AS number 65536, "
        "found '1'" },
      { "match port 5 then redirect-to-ip 5", "1:34: expected an address, found '5'" },
      { "match port 5 then community", "1:28: expected a value, found the end" },
      { "match source 10.0.0.0/8 then redirect 9:9",
        "1:25: the extended community at octet 0: no VRF imports the route target that it "
        "redirects to" },
   };
   for ( const auto& row : rows ) {
      EXPECT_EQ( goBgp().read( row.text ), row.fault ) << row.text;
   }
}

TEST( GoBgpWriter, WritesEachComponent ) {
   EXPECT_EQ( goBgp().write( "10.1.0.0/16;192.0.2.0/24;IP:=6|=17;P:<>1;DP:>=80&<=90;SP:<3|>4;"
                             "IT:=8;IC:=0;TCP:2|=18|!1&!=32;LEN:=64;DSCP:=46;FRAG:2|=12|!0;" ),
              "gobgp global rib -a ipv4-flowspec add match destination 10.1.0.0/16 source "
              "192.0.2.0/24 protocol '==6 ==17' port '!=1' destination-port '>=80&<=90' "
              "source-port '<3 >4' icmp-type '==8' icmp-code '==0' tcp-flags 'S =SA !F&!=U' "
              "packet-length '==64' dscp '==46' fragment 'is-fragment "
              "=first-fragment+last-fragment !not-a-fragment' then accept" );
   EXPECT_EQ( goBgp().write( "2001:db8::/32;*;IP:=6;FL:=70000;", AddressFamily::ipv6 ),
              "gobgp global rib -a ipv6-flowspec add match destination 2001:db8::/32 protocol "
              "'==6' label '==70000' then accept" );
   EXPECT_EQ( goBgp().write( "*;*;P:=5|0;DP:<>=7;" ),
              "gobgp global rib -a ipv4-flowspec add match port '==5 true' destination-port "
              "'false' then accept" );
   // The test that is never true changes nothing.
   EXPECT_EQ( goBgp().write( "*;*;P:0|=5;" ),
              "gobgp global rib -a ipv4-flowspec add match port '==5' then accept" );
}

TEST( GoBgpWriter, WritesEachAction ) {
   const auto then = []( std::string_view json ) {
      const std::string text = goBgp().writeAction( json );
      const std::string front =
         "gobgp global rib -a ipv4-flowspec add match destination 10.0.0.0/8 then ";
      return text.starts_with( front ) ? text.substr( front.size() ) : text;
   };
   EXPECT_EQ( then( R"({"drop":true})" ), "discard as 65000" );
   EXPECT_EQ( then( R"({"rateLimit":{"bytes":9600.5}})" ), "rate-limit 9600.5 as 65000" );
   EXPECT_EQ( then( R"({"rateLimit":{"bytes":1e13}})" ), "rate-limit 9999999827968 as 65000" );
   EXPECT_EQ( then( R"({"markDscp":46,"sample":true,"continue":true})" ),
              "action sample-terminal mark 46" );
   EXPECT_EQ( then( R"({"redirect":{"vrf":1}})" ), "redirect 65500:12345" );
   EXPECT_EQ( then( R"({"redirect":{"vrf":5}})" ), "redirect 255.255.255.255:255" );
   EXPECT_EQ( then( R"({"redirect":{"vrf":7}})" ), "redirect 1.4464:7" );
   EXPECT_EQ( then( R"({"redirect":{"vrf":6}})" ),
              "refused: GoBGP has no text for IPv6-address-specific extended communities" );
   EXPECT_EQ( then( R"({"rateLimit":{"packets":1}})" ),
              "refused: GoBGP has no text for an extended community of the type 0x800c" );
   EXPECT_EQ( then( R"({"redirect":{"addr":"192.0.2.1"}})" ),
              "refused: GoBGP has no text for an extended community of the type 0x10c" );
}

TEST( GoBgpWriter, WritesDistinguisherAndRouteTargets ) {
   Rule rule = TestSupport::OneDialect::rule( "10.0.0.0/8;*;" );
   rule.kept = { { 0, 2, 0xFD, 0xE8, 0, 0, 0, 1 },
                 { 1, 2, 192, 0, 2, 1, 0, 2 },
                 { 2, 2, 0, 1, 0, 0, 0, 3 },
                 { 3, 0x0B, 0, 0, 0, 0, 0, 5 } };
   const auto of = [&]( const char* rd ) {
      rule.rd = Zorv::RouteDistinguisher::fromText( rd );
      return goBgp().write( rule );
   };
   const std::string end = " match destination 10.0.0.0/8 then rt 65000:1 rt 192.0.2.1:2 rt 1.0:3 "
                           "color 5";
   const std::string front = "gobgp global rib -a ipv4-l3vpn-flowspec add rd ";
   EXPECT_EQ( of( "65000:1" ), front + "65000:1" + end );
   EXPECT_EQ( of( "192.0.2.1:1" ), front + "192.0.2.1:1" + end );
   EXPECT_EQ( of( "5L:1" ), front + "0.5:1" + end );
   EXPECT_EQ( of( "70000:1" ), front + "1.4464:1" + end );
   EXPECT_EQ( of( "0x0003000000000000" ),
              "refused: GoBGP has no text for the route distinguisher 0x0003000000000000" );
}

TEST( GoBgpWriter, RefusesWhatGoBgpCannotSay ) {
   EXPECT_EQ( goBgp().write( "::ffff:10.0.0.0/104;*;", AddressFamily::ipv6 ),
              "refused: GoBGP takes no IPv6 prefix of an IPv4 address: ::ffff:10.0.0.0/104" );
   EXPECT_EQ( goBgp().write( "*;*;TCP:256;" ),
              "refused: GoBGP takes no value above 255 in 'tcp-flags'" );
   EXPECT_EQ( goBgp().write( "*;*;TCP:=0;" ), "refused: GoBGP has no text for no TCP flag" );
   // It admits nothing, which has no canonical form.
   EXPECT_EQ( goBgp().write( "*;*;P:0;DP:=5&0|=6;" ),
              "refused: GoBGP takes 'true' and 'false' at the end of a component alone, joined by "
              "OR" );
   EXPECT_EQ( goBgp().write( "*;*;" ), "refused: the key has no component" );
   Rule rule = TestSupport::OneDialect::rule( "10.0.0.0/8;*;" );
   const auto withPorts = [&]( U32 count ) {
      rule.key.matchOpValDelAll();
      for ( U32 i = 0; i < count; ++i ) {
         rule.key.setOpVal( i, Flowspec::destPort, i + 1 == count ? 0x91 : 0x11, 1000 + i * 2 );
      }
      return goBgp().write( rule );
   };
   EXPECT_THAT( withPorts( 78 ), testing::StartsWith( "gobgp global rib -a ipv4-flowspec add" ) );
   EXPECT_EQ( withPorts( 79 ),
              "refused: GoBGP sends a wrong length for rules of more than 239 octets" );
}

TEST( GoBgpWriter, RefusesCommunitiesThatAreNotWhatTheirWordsSay ) {
   Rule rule = TestSupport::OneDialect::rule( "10.0.0.0/8;*;" );
   const auto kept = [&]( Wire::ExtendedCommunity community ) {
      rule.kept = { community };
      return goBgp().write( rule );
   };
   EXPECT_EQ( kept( { 0x80, 7, 0, 1, 0, 0, 0, 1 } ),
              "refused: GoBGP has no text for an extended community of the type 0x8007" );
   EXPECT_EQ( kept( { 0x80, 7, 0, 0, 0, 0, 0, 0 } ),
              "refused: GoBGP has no text for an extended community of the type 0x8007" );
   EXPECT_EQ( kept( { 0x80, 7, 0, 0, 0, 0, 0, 4 } ),
              "refused: GoBGP has no text for an extended community of the type 0x8007" );
   EXPECT_EQ( kept( { 3, 0x0B, 0, 1, 0, 0, 0, 5 } ),
              "refused: GoBGP has no text for an extended community of the type 0x30b" );
   rule.kept.clear();
   rule.key.addressFamilyIs( AddressFamily::none );
   EXPECT_EQ( goBgp().write( rule ), "refused: the key is neither of IPv4 nor of IPv6" );
}

TEST( GoBgpReader, EndsAComponentWhereTheNextSectionBegins ) {
   const std::string front = "gobgp global rib add -a ipv4-flowspec ";
   EXPECT_EQ( goBgp().read( front + "match port =80 then discard" ), "ipv4 *;*;P:=80; -> drop" );
   EXPECT_EQ( goBgp().read( front + "then discard match port =80" ), "ipv4 *;*;P:=80; -> drop" );
   EXPECT_EQ( goBgp().read( "gobgp global rib add match port =80 -a ipv4-flowspec" ),
              "ipv4 *;*;P:=80; -> permit" );
   EXPECT_EQ( goBgp().read( "gobgp global rib add -a ipv4-l3vpn-flowspec match port =80 rd 65000:1 "
                            "then discard" ),
              "ipv4 65000:1 *;*;P:=80; -> drop" );
   EXPECT_EQ( goBgp().read( front + "match destination 10.0.0.0/8/0 then discard" ),
              "1:57: expected a prefix, found '10'" );
}

} // namespace
} // namespace Forms
