#include "forms/dialects/ExaBgp.h"

#include "tests/forms/dialects/OneDialect.h"

namespace Forms {
namespace {

using Zorv::AddressFamily;

const TestSupport::OneDialect& exaBgp() {
   static const TestSupport::OneDialect dialect( "exabgp" );
   return dialect;
}

/// What is read of a rule with these components beside a destination.
std::string match( const std::string& components ) {
   return exaBgp().read( "route { match { destination 10.0.0.0/8; " + components +
                         " } then { accept; } }" );
}
/// What is read of a rule with these actions.
std::string action( const std::string& actions ) {
   return exaBgp().read( "route { match { destination 10.0.0.0/8; } then { " + actions + " } }" );
}

TEST( ExaBgpReader, ReadsEachComponent ) {
   EXPECT_EQ(
      exaBgp().read( "announce flow route { rd 65000:1; match { destination 10.1.0.0/16; "
                     "source 192.0.2.0/24; protocol [ tcp udp ]; port 1; destination-port "
                     "[ =80 >8080&<8088 ]; source-port 3; icmp-type echo-request; icmp-code "
                     "=0; tcp-flags [ syn =syn+ack !fin&!=urg ]; packet-length >=64&<=1500; "
                     "dscp 46; fragment [ is-fragment ]; } then { rate-limit 9600; } }" ),
      "ipv4 65000:1 10.1.0.0/16;192.0.2.0/24;IP:=6|=17;P:=1;DP:=80|>8080&<8088;SP:=3;IT:=8;"
      "IC:=0;TCP:2|=18|!1&!=32;LEN:>=64&<=1500;DSCP:=46;FRAG:2; -> at most 9600 bytes/s" );
   EXPECT_EQ( exaBgp().read( "route { match { source 2001:db8::/32/0; next-header tcp; "
                             "traffic-class 46; flow-label [ 5 >=1048575 ]; } then { accept; } }" ),
              "ipv6 *;2001:db8::/32;IP:=6;DSCP:=46;FL:=5|>=1048575; -> permit" );
}

TEST( ExaBgpReader, TakesTheFormsOfConfigurationAndApi ) {
   const auto* const rule = "ipv4 10.0.0.0/8;*;IP:=6; -> drop";
   for ( const char* const text : {
            "flow route { match { destination 10.0.0.0/8; protocol tcp; } then { discard; } }",
            "route name-1 { match { destination 10.0.0.0/8; protocol tcp; } then { discard; } }",
            "announce flow route{match{destination 10.0.0.0/8;protocol tcp;}then{discard;}}",
            "route {\n then { discard; }\n # a comment {\n match { protocol tcp;\n destination "
            "10.0.0.0/8; } }",
            "announce flow route destination 10.0.0.0/8 protocol [ =tcp ] discard",
            "  route destination 10.0.0.0/8 discard protocol =tcp ;\n",
            "announce { ipv4 { flow destination 10.0.0.0/8 protocol =tcp discard; } }",
         } ) {
      EXPECT_EQ( exaBgp().read( text ), rule ) << text;
   }
   EXPECT_EQ( exaBgp().read( "announce { ipv6 { flow next-header =tcp discard; } }" ),
              "ipv6 *;*;IP:=6; -> drop" );
   // Nothing else tells the family: ExaBGP sends it as a rule of IPv4.
   EXPECT_EQ( exaBgp().read( "route { match { next-header tcp; } }" ),
              "ipv4 *;*;IP:=6; -> permit" );
}

TEST( ExaBgpReader, TakesOperatorsNamesAndLists ) {
   const std::string front = "ipv4 10.0.0.0/8;*;";
   EXPECT_EQ( match( "port [ 1 =2 !=3 <4 <=5 >6 >=7 ];" ),
              front + "P:=1|=2|<>3|<4|<=5|>6|>=7; -> permit" );
   EXPECT_EQ( match( "port [=80 >90&<100];" ), front + "P:=80|>90&<100; -> permit" );
   EXPECT_EQ( match( "port 0x50&!=HTTPS;" ), front + "P:=80&<>443; -> permit" );
   EXPECT_EQ( match( "port [ true80 false&true ];" ), front + "P:<>=80|0&<>=0; -> permit" );
   EXPECT_EQ( match( "port 80; port [ 90 91 ];" ), front + "P:=80|=90|=91; -> permit" );
   EXPECT_EQ( match( "protocol !=TCP; icmp-type echo_reply; icmp-code host-unreachable;" ),
              front + "IP:<>6;IT:=0;IC:=1; -> permit" );
   EXPECT_EQ( match( "tcp-flags [ 0x20+0x8+1 urgent ns !ECE+cwr ];" ),
              front + "TCP:41|32|256|!192; -> permit" );
   EXPECT_EQ( match( "fragment [ not-a-fragment !is_fragment =first-fragment+last-fragment ];" ),
              front + "FRAG:0|!2|=12; -> permit" );
   EXPECT_EQ( match( "fragment dont-fragment; traffic-class 200;" ),
              front + "DSCP:=200;FRAG:1; -> permit" );
   // Host bits are cut.
   EXPECT_EQ( match( "source 10.1.2.3/16;" ), "ipv4 10.0.0.0/8;10.1.0.0/16; -> permit" );
   EXPECT_EQ( match( "source-ipv4 10.1.0.0/16;" ), "ipv4 10.0.0.0/8;10.1.0.0/16; -> permit" );
}

TEST( ExaBgpReader, ReadsEachAction ) {
   const std::string front = "ipv4 10.0.0.0/8;*; -> ";
   EXPECT_EQ( action( "accept;" ), front + "permit" );
   EXPECT_EQ( action( "" ), front + "permit" );
   EXPECT_EQ( action( "discard;" ), front + "drop" );
   EXPECT_EQ( action( "rate-limit 0;" ), front + "drop" );
   EXPECT_EQ( action( "rate-limit 1000000000000;" ), front + "at most 999999995904 bytes/s" );
   EXPECT_EQ( action( "mark 63;" ), front + "mark 63" );
   EXPECT_EQ( action( "action sample;" ), front + "sample" );
   EXPECT_EQ( action( "action terminal;" ), front + "continue" );
   EXPECT_EQ( action( "action sample-terminal;" ), front + "sample, continue" );
   EXPECT_EQ( action( "action terminal-sample;" ), front + "sample, continue" );
   EXPECT_EQ( action( "redirect 65500:12345;" ), front + "to VRF 1" );
   EXPECT_EQ( action( "redirect 70000:7;" ), front + "to VRF 7" );
   EXPECT_EQ( action( "redirect 192.0.2.1;" ), front + "to 192.0.2.1" );
   EXPECT_EQ( action( "copy 192.0.2.1;" ), front + "copy to 192.0.2.1" );
   EXPECT_EQ( action( "copy 2001:db8::1;" ), front + "copy to 2001:db8::1" );
   EXPECT_EQ( action( "redirect-to-nexthop-ietf 192.0.2.1;" ), front + "to 192.0.2.1" );
   EXPECT_EQ( action( "redirect-to-nexthop-ietf 2001:db8::1;" ), front + "to 2001:db8::1" );
   EXPECT_EQ( action( "extended-community [ 0x010c0c0002010001 redirect:65500:12345 ];" ),
              front + "to VRF 1, 1:43: several-redirects" );
   EXPECT_EQ( action( "extended-community 0x800c0000461e0000;" ),
              front + "at most 10112 packets/s" );
   EXPECT_EQ( action( "extended-community [ target:1:2 origin:3:4 5:6 target:70000L:8 ];" ),
              front + "permit, 4 kept" );
   EXPECT_EQ( action( "community [ 65000:1 no-export ]; mark 5; large-community 1:2:3;" ),
              front + "mark 5, 1:50: community is passed over: it is not part of the action" );
   EXPECT_EQ( exaBgp().read( "route { next-hop 192.0.2.9; match { destination 10.0.0.0/8; } then { "
                             "redirect-to-nexthop; } }" ),
              front + "to 192.0.2.9" );
   EXPECT_EQ(
      exaBgp().read( "route { match { destination 10.0.0.0/8; } scope { interface-set [ "
                     "transitive:input:65000:5 non-transitive:input-output:65000:3 ]; } }" ),
      "ipv4 10.0.0.0/8;*; if 3 if 5 -> permit, 1:1: output-ignored" );
}

TEST( ExaBgpReader, SaysWhatIsWrongAndWhere ) {
   struct {
      const char* text;
      const char* fault;
   } const rows[] = {
      { "", "1:1: expected 'route', found the end" },
      { "withdraw flow route { }", "1:1: a withdrawal is not a rule" },
      { "flow { route {} }", "1:6: expected 'route', found '{'" },
      { "route {", "1:8: expected 'rd', 'next-hop', 'match', 'scope' or 'then', found the end" },
      { "route { }", "1:1: the key has no component" },
      { "route { match { port [ ]; } }", "1:24: expected a number or a name, found ']'" },
      { "route { match {\n  port =80 =90; } }", "2:12: expected ';', found '='" },
      { "route { match {\n  port =80,=90; } }", "2:11: expected ';', found ','" },
      { "route { match { port =80&; } }", "1:26: expected a number or a name, found ';'" },
      { "route { match { port [ =80& 3 ]; } }", "1:28: expected a number or a name, found ' '" },
      { "route { match { port =; } }", "1:23: expected a number or a name, found ';'" },
      { "route { match { port ==80; } }", "1:23: expected a number or a name, found '='" },
      { "route { match { port !80; } }", "1:22: expected a number or a name, found '!'" },
      { "route { match { port [ 80;90 ]; } }", "1:26: expected a blank or ']', found ';'" },
      { "route { match { port 80+1; } }", "1:22: expected a number or a name, found '80'" },
      { "route { match { port 80abc; } }", "1:22: expected a number or a name, found '80abc'" },
      { "route { match { port 65536; } }", "1:22: the number is above 65535" },
      { "route { match { port nobody; } }", "1:22: expected a number or a name, found 'nobody'" },
      { "route { match { dscp 64; } }", "1:22: the number is above 63" },
      { "route { match { dscp ef; } }", "1:22: expected a number, found 'ef'" },
      { "route { match { tcp-flags syn+syn; } }", "1:31: the flag occurs twice" },
      { "route { match { tcp-flags syn+; } }", "1:31: expected a number or a name, found ';'" },
      { "route { match { tcp-flags =; } }", "1:28: expected a number or a name, found ';'" },
      { "route { match { tcp-flags 65536; } }", "1:27: the number is above 65535" },
      { "route { match { tcp-flags 1x; } }", "1:27: expected a number or a name, found '1x'" },
      { "route { match { flow-label 5; } }", "1:28: there are no flow labels in IPv4" },
      { "route { match { ports 5; } }", "1:17: expected a component, found 'ports'" },
      { "route { match { source 10.0.0.0; } }", "1:24: expected a prefix, found '10'" },
      { "route { match { source 10.0.0.0/33; } }", "1:24: expected a prefix, found '10'" },
      { "route { match { source 10.0.0.0/8/0; } }", "1:24: expected a prefix, found '10'" },
      { "route { match { source 10.0.0.0/8x; } }", "1:24: expected a prefix, found '10'" },
      { "route { match { source 2001:db8::/32/16; } }",
        "1:38: a rule key holds no offset of a prefix but 0" },
      { "route { match { source 2001:db8::/32/; } }", "1:24: expected a prefix, found '2001'" },
      { "route { match { source 10.0.0.0/8; destination 2001:db8::/32; } }",
        "1:36: the prefix is not of ipv4" },
      { "route { match { source 10.0.0.0/8; source 10.0.0.0/8; } }",
        "1:36: the component occurs twice" },
      { "route { match { destination 10.0.0.0/8 } then { discard } }",
        "1:40: expected ';', found '}'" },
      { "route { rd 65536:70000; }", "1:12: expected a route distinguisher, found '65536'" },
      { "route { rd x; }", "1:12: expected a route distinguisher, found 'x'" },
      { "route { next-hop self; }", "1:18: expected an address, found 'self'" },
      { "route { then { drop; } }", "1:16: expected an action, found 'drop'" },
      { "route { then { rate-limit -5; } }", "1:27: expected a number, found '-5'" },
      { "route { then { rate-limit 1.5; } }", "1:28: expected ';', found '.'" },
      { "route { then { rate-limit 1000000000001; } }", "1:27: the number is above 1000000000000" },
      { "route { then { mark 64; } }", "1:21: the number is above 63" },
      { "route { then { action none; } }",
        "1:23: expected 'sample', 'terminal' or 'sample-terminal', found 'none'" },
      { "route { then { redirect 192.0.2.1:5; } }",
        "1:25: ExaBGP takes no address in a route target" },
      { "route { then { redirect 65536:65536; } }", "1:31: the number is above 65535" },
      { "route { then { redirect 1:4294967296; } }", "1:27: the number is above 4294967295" },
      { "route { then { extended-community 0x0102; } }",
        "1:35: expected 16 hexadecimal digits after '0x', found '0x0102'" },
      { "route { then { extended-community 0x010203040506070g; } }",
        "1:35: expected 16 hexadecimal digits after '0x', found '0x010203040506070g'" },
      { "route { then { extended-community l2info:1:2:3:4; } }",
        "1:35: expected an extended community: '0x' and digits, 'target:', 'origin:' or "
        "'redirect:', found 'l2info'" },
      { "route { then { community [ ; } }", "1:28: expected a community, found ';'" },
      { "route { scope { interface-set 5; } }",
        "1:31: expected 'transitive:' or 'non-transitive:', found '5'" },
      { "route { scope { interface-set transitive:in:1:2; } }",
        "1:42: expected 'input:', 'output:' or 'input-output:', found 'in'" },
      { "route { scope { interface-set transitive:input:65000:16384; } }",
        "1:54: the number is above 16383" },
      { "route { match { port 80; } scope { interface-set transitive:output:65000:5; } }",
        "1:1: the extended community at octet 0: its interface set is not for input" },
      { "route { match { port 80; } then { redirect 9:9; } }",
        "1:28: the extended community at octet 0: no VRF imports the route target that it "
        "redirects to" },
      { "route { match { port 80; } then { redirect-to-nexthop; } }",
        "1:28: the extended community at octet 0: it redirects to the next hop, and there is "
        "none" },
      { "route { match { port 80; } } more", "1:30: expected the end of the rule, found 'more'" },
      { "route port 80 drop", "1:15: expected a component or an action, found 'drop'" },
      { "announce { l2vpn { flow", "1:12: expected 'ipv4' or 'ipv6', found 'l2vpn'" },
      { "announce { ipv4 { flow-vpn", "1:19: expected 'flow', found 'flow-vpn'" },
      { "announce { ipv4 { flow port 80 accept; }", "1:41: expected '}', found the end" },
      { "announce { ipv6 { flow destination 10.0.0.0/8 accept; } }",
        "1:24: the prefix is not of ipv6" },
   };
   for ( const auto& row : rows ) {
      EXPECT_EQ( exaBgp().read( row.text ), row.fault ) << row.text;
   }
}

TEST( ExaBgpWriter, WritesEachComponent ) {
   EXPECT_EQ(
      exaBgp().write( "10.1.0.0/16;192.0.2.0/24;IP:=6|=17;P:<>1;DP:>=80&<=90;SP:<3|>4;"
                      "IT:=8;IC:=0;TCP:2|=18|!1&!=32;LEN:=64;DSCP:=46;FRAG:2|=12;" ),
      "announce flow route { match { destination 10.1.0.0/16; source 192.0.2.0/24; "
      "protocol [ =6 =17 ]; port !=1; destination-port [ >=80&<=90 ]; source-port [ <3 >4 "
      "]; icmp-type =8; icmp-code =0; tcp-flags [ syn =syn+ack !fin&!=urg ]; "
      "packet-length =64; dscp =46; fragment [ is-fragment =first-fragment+last-fragment ]; "
      "} then { accept; } }" );
   EXPECT_EQ( exaBgp().write( "2001:db8::/32;*;IP:=6;DSCP:=46;FL:=70000;", AddressFamily::ipv6 ),
              "announce flow route { match { destination 2001:db8::/32/0; next-header =6; "
              "traffic-class =46; flow-label =70000; } then { accept; } }" );
   EXPECT_EQ( exaBgp().write( "*;*;IP:=6;", AddressFamily::ipv6 ),
              "announce { ipv6 { flow next-header =6 accept; } }" );
   EXPECT_EQ( exaBgp().write( "*;*;P:0|<>=5;TCP:0|=4095;DSCP:=64;FRAG:=0;" ),
              "announce flow route { match { port [ false0 true5 ]; tcp-flags [ 0 =4095 ]; "
              "traffic-class =64; fragment =0; } then { accept; } }" );
}

TEST( ExaBgpWriter, WritesEachAction ) {
   const auto then = []( std::string_view json ) {
      const std::string text = exaBgp().writeAction( json );
      const std::string front = "announce flow route { match { destination 10.0.0.0/8; } then { ";
      return text.starts_with( front ) ? text.substr( front.size() ) : text;
   };
   EXPECT_EQ( then( R"({"drop":true})" ), "discard; } }" );
   EXPECT_EQ( then( R"({"rateLimit":{"bytes":9600}})" ), "rate-limit 9600; } }" );
   EXPECT_EQ( then( R"({"rateLimit":{"bytes":9600.5}})" ),
              "extended-community 0x8006fde846160200; } }" );
   EXPECT_EQ( then( R"({"rateLimit":{"bytes":1e13}})" ),
              "extended-community 0x8006fde8551184e7; } }" );
   EXPECT_EQ( then( R"({"rateLimit":{"packets":1}})" ),
              "extended-community 0x800cfde83f800000; } }" );
   EXPECT_EQ( then( R"({"markDscp":46,"sample":true,"continue":true})" ),
              "action sample-terminal; mark 46; } }" );
   EXPECT_EQ( then( R"({"continue":true})" ), "action terminal; } }" );
   EXPECT_EQ( then( R"({"redirect":{"vrf":1}})" ), "redirect 65500:12345; } }" );
   EXPECT_EQ( then( R"({"redirect":{"vrf":7}})" ), "redirect 70000:7; } }" );
   EXPECT_EQ( then( R"({"redirect":{"vrf":5}})" ), "extended-community 0x8108ffffffff00ff; } }" );
   EXPECT_EQ( then( R"({"redirect":{"addr":"192.0.2.1"}})" ),
              "redirect-to-nexthop-ietf 192.0.2.1; } }" );
   EXPECT_EQ( then( R"({"redirect":{"addr":"192.0.2.1","copy":true}})" ),
              "extended-community 0x010cc00002010001; } }" );
   EXPECT_EQ( then( R"({"redirect":{"addr":"2001:db8::1"}})" ),
              "redirect-to-nexthop-ietf 2001:db8::1; } }" );
   EXPECT_EQ( then( R"({"redirect":{"srTePolicy":{"color":5,"endpoint":"192.0.2.1"}}})" ),
              "redirect-to-nexthop-ietf 192.0.2.1; extended-community 0x030b000000000005; } }" );
   EXPECT_EQ( exaBgp().writeAction( R"({"redirect":{"addr":"2001:db8::1","copy":true}})",
                                    "2001:db8::/32;*;", AddressFamily::ipv6 ),
              "announce flow route { match { destination 2001:db8::/32/0; } then { copy "
              "2001:db8::1; } }" );
}

TEST( ExaBgpWriter, WritesDistinguisherAndInterfaceSets ) {
   Rule rule = TestSupport::OneDialect::rule( "10.0.0.0/8;*;" );
   rule.rd = Zorv::RouteDistinguisher::fromText( "192.0.2.1:5" );
   rule.key.interfaceSetPush( 5 );
   rule.key.interfaceSetPush( 16383 );
   EXPECT_EQ( exaBgp().write( rule ),
              "announce flow route { rd 192.0.2.1:5; match { destination 10.0.0.0/8; } scope { "
              "interface-set [ transitive:input:65000:5 transitive:input:65000:16383 ]; } then { "
              "accept; } }" );
   rule.kept.push_back( { 0, 2, 0xFD, 0xE8, 0, 0, 0, 1 } );
   rule.rd = Zorv::RouteDistinguisher::fromText( "70000:5" );
   rule.key.interfaceSetPopAll();
   EXPECT_EQ( exaBgp().write( rule ),
              "announce flow route { rd 70000:5; match { destination 10.0.0.0/8; } then { "
              "extended-community 0x0002fde800000001; } }" );
}

TEST( ExaBgpWriter, RefusesWhatExaBgpCannotSay ) {
   Rule rule = TestSupport::OneDialect::rule( "10.0.0.0/8;*;" );
   rule.rd = Zorv::RouteDistinguisher::fromText( "5L:5" );
   EXPECT_EQ( exaBgp().write( rule ),
              "refused: ExaBGP has no text for the route distinguisher 5L:5" );
   rule.rd = Zorv::RouteDistinguisher( 3ULL << 48 );
   EXPECT_EQ( exaBgp().write( rule ),
              "refused: ExaBGP has no text for the route distinguisher 0x0003000000000000" );
   rule.rd.reset();
   rule.kept.push_back( { 0x42, 8, 0, 0, 0, 0, 0, 0 } );
   EXPECT_EQ( exaBgp().write( rule ),
              "refused: ExaBGP fails to print an extended community of the type 16904" );
   rule.kept.clear();
   rule.keptIpv6.push_back( {} );
   EXPECT_EQ( exaBgp().write( rule ), "refused: ExaBGP has no text for IPv6-address-specific "
                                      "extended communities" );
   EXPECT_EQ( exaBgp().writeAction( R"({"redirect":{"addr":"2001:db8::1","copy":true}})" ),
              "refused: ExaBGP has a copy to an IPv6 address in IPv6 rules without a distinguisher "
              "alone" );
   Rule pathless = TestSupport::OneDialect::rule( "*;*;IP:=6;", AddressFamily::ipv6 );
   pathless.rd = Zorv::RouteDistinguisher( 1 );
   EXPECT_EQ( exaBgp().write( pathless ),
              "refused: ExaBGP has no IPv6 rule with a distinguisher and without a prefix" );
   // A value that it does not take is left out where it changes nothing.
   EXPECT_EQ( exaBgp().write( "*;*;IP:=300|=6;" ),
              "announce flow route { match { protocol =6; } then { accept; } }" );
   EXPECT_EQ( exaBgp().write( "*;*;IT:<>300;" ),
              "announce flow route { match { icmp-type >=0; } then { accept; } }" );
   EXPECT_EQ( exaBgp().write( "*;*;IT:=300;" ),
              "refused: ExaBGP takes no value above 255 in 'icmp-type'" );
   EXPECT_EQ( exaBgp().write( "*;*;" ), "refused: the key has no component" );
   Rule longest = TestSupport::OneDialect::rule( "10.0.0.0/24;*;" );
   for ( U32 i = 0; i < 1363; ++i ) {
      longest.key.setOpVal( i, Flowspec::destPort, i + 1 == 1363 ? 0x91 : 0x11, 1000 + i * 2 );
   }
   EXPECT_EQ( exaBgp().write( longest ), "refused: ExaBGP takes no rule of more than 4094 octets" );
   longest.key.destPrefixIs( *Zorv::IpGenPrefix::fromText( "10.0.0.0/16" ) );
   EXPECT_THAT( exaBgp().write( longest ), testing::StartsWith( "announce flow route { match" ) );
}

TEST( ExaBgpReader, TakesAlsoWhatIsRarelyWritten ) {
   EXPECT_EQ(
      exaBgp().read( "route { route-distinguisher 65000:1; match { destination 10.0.0.0/8; } "
                     "then { discard; } }" ),
      "ipv4 65000:1 10.0.0.0/8;*; -> drop" );
   EXPECT_EQ( exaBgp().read( "route destination 10.0.0.0/8 interface-set transitive:input:65000:5 "
                             "discard" ),
              "ipv4 10.0.0.0/8;*; if 5 -> drop" );
   EXPECT_EQ( exaBgp().read( "route destination 10.0.0.0/8 nonsense" ),
              "1:30: expected a component or an action, found 'nonsense'" );
   EXPECT_EQ( exaBgp().read( "route { match { destination 10.0.0.0/8; } scope { nonsense; } }" ),
              "1:51: expected 'interface-set', found 'nonsense'" );
   EXPECT_EQ( exaBgp().read( "route { next-hop 192.0.2.9; match { destination 10.0.0.0/8; } then { "
                             "extended-community redirect-to-nexthop; } }" ),
              "ipv4 10.0.0.0/8;*; -> to 192.0.2.9" );
   EXPECT_EQ( action( "extended-community 0x800c0000461e000g;" ),
              "1:69: expected 16 hexadecimal digits after '0x', found '0x800c0000461e000g'" );
   EXPECT_EQ( action( "extended-community nonsense;" ),
              "1:69: expected an extended community: '0x' and digits, 'target:', 'origin:' or "
              "'redirect:', found 'nonsense'" );
   EXPECT_EQ( match( "port 80x;" ), "1:46: expected a number or a name, found '80x'" );
   EXPECT_EQ( match( "tcp-flags 1+;" ), "1:53: expected a number or a name, found ';'" );
}

TEST( ExaBgpWriter, WritesOctetsWhereExaBgpHasNoWords ) {
   Rule rule = TestSupport::OneDialect::rule( "10.0.0.0/8;*;" );
   const auto kept = [&]( Wire::ExtendedCommunity community ) {
      rule.kept = { community };
      return exaBgp().write( rule );
   };
   const auto octets = []( const std::string& digits ) {
      return "announce flow route { match { destination 10.0.0.0/8; } then { extended-community "
             "0x" +
             digits + "; } }";
   };
   EXPECT_EQ( kept( { 0x80, 7, 0, 1, 0, 0, 0, 1 } ), octets( "8007000100000001" ) );
   EXPECT_EQ( kept( { 0x80, 7, 0, 0, 0, 0, 0, 0 } ), octets( "8007000000000000" ) );
   EXPECT_EQ( kept( { 0x80, 7, 0, 0, 0, 0, 0, 4 } ), octets( "8007000000000004" ) );
   EXPECT_EQ( kept( { 0x82, 8, 0, 0, 0, 5, 0, 1 } ),
              "refused: ExaBGP fails to print an extended community of the type 33288" );
   EXPECT_EQ( kept( { 0x80, 6, 0, 0, 0x7F, 0x80, 0, 0 } ),
              "refused: ExaBGP fails to print an extended community of the type 32774" );
}

} // namespace
} // namespace Forms
