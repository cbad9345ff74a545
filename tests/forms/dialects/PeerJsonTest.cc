#include "tests/forms/dialects/OneDialect.h"

// The JSON of ExaBGP and GoBGP.

namespace Forms {
namespace {

using TestSupport::OneDialect;
using Zorv::AddressFamily;

const OneDialect& exaBgp() {
   static const OneDialect dialect( "exabgp-json" );
   return dialect;
}
const OneDialect& goBgp() {
   static const OneDialect dialect( "gobgp-json" );
   return dialect;
}

/// An ExaBGP message; `attribute` and `announce` are members of the update.
std::string message( const std::string& members ) {
   return R"({"type":"update","neighbor":{"message":{"update":{)" + members + "}}}}";
}
/// What is read of an ExaBGP message with this "string" for IPv4.
std::string ofString( const std::string& words ) {
   return exaBgp().read(
      message( R"("announce":{"ipv4 flow":{"no-nexthop":[{"string":")" + words + R"("}]}})" ) );
}
/// The same with these attributes.
std::string ofAttributes( const std::string& attributes,
                          const std::string& nextHop = "no-nexthop" ) {
   return exaBgp().read( message( R"("attribute":{)" + attributes +
                                  R"(},"announce":{"ipv4 flow":{")" + nextHop +
                                  R"(":[{"string":"flow port =5"}]}})" ) );
}

TEST( ExaBgpJson, ReadsWhatExaBgpPrints ) {
   const std::string front = "ipv4 *;*;";
   EXPECT_EQ( ofString( "flow destination-ipv4 10.0.0.0/8 source-ipv4 9.0.0.0/1" ),
              "ipv4 10.0.0.0/8;0.0.0.0/1; -> permit" );
   EXPECT_EQ( ofString( "flow protocol [ =tcp =unknown protocol type 200 ]" ),
              front + "IP:=6|=200; -> permit" );
   EXPECT_EQ( ofString( "flow port [ true&true5 false ]" ), front + "P:<>=0&<>=5|0; -> permit" );
   EXPECT_EQ( ofString( "flow tcp-flags [ syn =syn+unknown tcp flag type 2050 ]" ),
              front + "TCP:2|=2050; -> permit" );
   EXPECT_EQ( ofString( "flow fragment [ not-a-fragment !is-fragment ]" ),
              front + "FRAG:0|!2; -> permit" );
   EXPECT_EQ( exaBgp().read( message( R"("announce":{"ipv6 flow-vpn":{"no-nexthop":[{"rd":"1:5",)"
                                      R"("string":"flow destination-ipv6 2001:db8::/32/0 )"
                                      R"(next-header =tcp rd 1:5"}]}})" ) ),
              "ipv6 1:5 2001:db8::/32;*;IP:=6; -> permit" );
}

TEST( ExaBgpJson, ReadsAttributes ) {
   const std::string front = "ipv4 *;*;P:=5; -> ";
   EXPECT_EQ( ofAttributes( R"("origin":"igp","extended-community":[{"value":9225060886715039744,)"
                            R"("string":"rate-limit:0"}])" ),
              front + "drop" );
   EXPECT_EQ( ofAttributes( R"("extended-community":[{"value":576460752303423489}])", "192.0.2.1" ),
              front + "copy to 192.0.2.1" );
   EXPECT_EQ(
      ofAttributes( "\"attribute-0x19-0xC0\":\"copy-to-nexthop-ietf 2001:db8::1 (with copy)\"" ),
      front + "copy to 2001:db8::1" );
   EXPECT_EQ( ofAttributes( R"("attribute-0x19-0xC0":"[ 0x220010DB80000000000000000000000010005 )"
                            R"(redirect-to-nexthop-ietf 2001:db8::1 ]")" ),
              front + "to 2001:db8::1, 1 kept" );
   EXPECT_EQ(
      ofAttributes( R"("attribute-0x19-0xC0":"0xD20010DB8000000000000000000000001000F")" ),
      "1:63: the IPv6 extended community at octet 0: no VRF imports the route target that it "
      "redirects to" );
}

TEST( ExaBgpJson, SaysWhatIsWrongAndWhere ) {
   EXPECT_EQ( exaBgp().read( "" ), "1:1: expected a JSON value, found the end" );
   EXPECT_EQ( exaBgp().read( "{}" ), "1:1: 'neighbor' is missing" );
   EXPECT_EQ( exaBgp().read( R"({"neighbor":{"message":{}}})" ), "1:24: 'update' is missing" );
   EXPECT_EQ( exaBgp().read( R"({"neighbor":[]})" ), "1:13: expected an object, found '['" );
   EXPECT_EQ( exaBgp().read( message( "" ) ),
              "1:50: the update announces no rule that ExaBGP could read" );
   EXPECT_EQ( exaBgp().read( message( R"("announce":{"ipv4 unicast":{}})" ) ),
              "1:62: 'ipv4 unicast' is not a family of flow specifications" );
   EXPECT_EQ( exaBgp().read( message( R"("announce":[{}])" ) ),
              "1:62: expected an object, found '['" );
   EXPECT_EQ( exaBgp().read( message( R"("announce":{"ipv4 flow":[[{}]]})" ) ),
              "1:75: expected an object, found '['" );
   EXPECT_EQ( exaBgp().read( message( R"("announce":{})" ) ),
              "1:62: expected one family, found 0" );
   EXPECT_EQ( exaBgp().read( message( R"("announce":{"ipv4 flow":{"no-nexthop":[{},{}]}})" ) ),
              "1:89: expected one rule, found 2" );
   EXPECT_EQ( exaBgp().read( message( R"("announce":{"ipv4 flow":{"x":[{}]}})" ) ),
              "1:75: 'x' is not an address" );
   EXPECT_EQ( exaBgp().read( message( R"("announce":{"ipv4 flow":{"no-nexthop":[{}]}})" ) ),
              "1:90: 'string' is missing" );
   EXPECT_EQ( exaBgp().read( message(
                 R"("announce":{"ipv4 flow-vpn":{"no-nexthop":[{"string":"flow port =5"}]}})" ) ),
              "1:94: 'rd' is missing" );
   EXPECT_EQ( ofString( "port =5" ), "1:101: expected 'flow', found 'port'" );
   EXPECT_EQ( ofString( "flow" ), "1:100: the key has no component" );
   EXPECT_EQ( ofString( "flow ports =5" ), "1:106: expected a component, found 'ports'" );
   EXPECT_EQ( ofString( "flow tcp-flags =" ), "1:117: expected a number or a name, found '\"'" );
   EXPECT_EQ( ofString( "flow tcp-flags  port =5" ),
              "1:117: expected a number or a name, found 'port'" );
   EXPECT_EQ( ofString( "flow port 0980" ),
              "1:111: ExaBGP prints an operator with reserved bits here" );
   EXPECT_EQ( ofString( "flow tcp-flags [ 09fin+cwr 04fin ]" ),
              "1:118: ExaBGP prints an operator with reserved bits here" );
   EXPECT_EQ( ofString( "flow tcp-flags =70000" ),
              "1:116: the value 70000 is too large for its component" );
   EXPECT_EQ( ofString( R"(flow \u0020)" ), "1:100: expected a string without '\\'" );
   EXPECT_EQ( ofString( "flow destination-ipv6 2001:db8::/32/0" ),
              "1:106: the prefix is not of ipv4" );
   EXPECT_EQ( ofAttributes( R"("extended-community":[{"value":-1}])" ),
              "1:95: expected a number from 0 to 18446744073709551615, found '-1'" );
   EXPECT_EQ( ofAttributes( R"("attribute-0x19-0xC0":"x")" ),
              "1:87: expected an IPv6-address-specific extended community, found 'x'" );
   EXPECT_EQ( ofAttributes( R"("attribute-0x19-0xC0":"redirect-to-nexthop-ietf 192.0.2.1")" ),
              "1:112: expected an IPv6 address, found '192'" );
   EXPECT_EQ( ofAttributes( R"("attribute-0x19-0xC0":"0x")" ),
              "1:87: expected 1 to 40 hexadecimal digits after '0x'" );
   EXPECT_EQ( exaBgp().read( R"({"a":1,})" ), "1:8: expected '\"', found '}'" );
   EXPECT_EQ( exaBgp().read( R"({"a" 1})" ), "1:6: expected ':', found '1'" );
   EXPECT_EQ( exaBgp().read( R"({"a)" ), "1:2: the string has no end" );
   EXPECT_EQ( exaBgp().read( "[1 2]" ), "1:4: expected ']', found '2'" );
   EXPECT_EQ( exaBgp().read( "{\n\"neighbor\":nul}" ), "2:12: expected a JSON value, found 'nul'" );
   EXPECT_EQ( exaBgp().read( R"({"neighbor":1,"neighbor":1})" ), "1:1: 'neighbor' occurs twice" );
   EXPECT_EQ( exaBgp().read( std::string( 40, '[' ) ), "1:34: the text nests deeper than 32" );
}

TEST( ExaBgpJson, WritesTheMessageOfAnUpdate ) {
   EXPECT_EQ( exaBgp().writeAction( R"({"rateLimit":{"bytes":9600}})",
                                    "10.0.0.0/8;*;IP:=6|=200;TCP:=18|!1&2;FRAG:!2;" ),
              R"({ "exabgp": "4.0.1", "type": "update", "neighbor": { "message": { "update": { )"
              R"("attribute": { "extended-community": [ { "value": 9225340060765126656, "string": )"
              R"("rate-limit:9600" } ] }, "announce": { "ipv4 flow": { "no-nexthop": [ { )"
              R"("destination-ipv4": [ "10.0.0.0/8" ], "protocol": [ "=tcp", "=unknown protocol )"
              R"(type 200" ], "tcp-flags": [ "=syn", "=ack", "!fin&syn" ], "fragment": [ )"
              R"("not-a-fragment" ], "string": "flow destination-ipv4 10.0.0.0/8 protocol [ =tcp )"
              R"(=unknown protocol type 200 ] tcp-flags [ =syn+ack !fin&syn ] fragment )"
              R"(!is-fragment" } ] } } } } } })" );
   EXPECT_EQ( exaBgp().write( "*;*;TCP:0;" ),
              "refused: ExaBGP's JSON has no word for no TCP flag" );
}

/// A GoBGP path with these components and attributes.
std::string path( const std::string& components, const std::string& attributes ) {
   return R"({"nlri":{"value":[)" + components + R"(]},"attrs":[)" + attributes + "]}";
}
std::string ofComponents( const std::string& components ) {
   return goBgp().read( path( components, R"({"type":14,"afi":1,"safi":133})" ) );
}
/// What is read of a path with these extended communities.
std::string ofCommunities( const std::string& communities, const char* type = "16" ) {
   return goBgp().read( path( R"({"type":4,"value":[{"op":129,"value":5}]})",
                              R"({"type":14,"afi":1,"safi":133},{"type":)" + std::string( type ) +
                                 R"(,"value":[)" + communities + "]}" ) );
}

TEST( GoBgpJson, ReadsWhatGoBgpPrints ) {
   const std::string rule =
      path( R"({"type":1,"value":{"prefix":"10.0.0.0/8"}},)"
            R"({"type":4,"value":[{"op":1,"value":80},{"op":213,"value":443}]})",
            R"({"type":1,"value":2})" );
   const auto* const meaning = "ipv4 10.0.0.0/8;*;P:=80&<=443; -> permit";
   EXPECT_EQ( goBgp().read( rule ), meaning );
   EXPECT_EQ( goBgp().read( "[" + rule + "]" ), meaning );
   EXPECT_EQ( goBgp().read( R"({"[destination: 10.0.0.0/8][port: \u003c]":[)" + rule + "]}" ),
              meaning );
   EXPECT_EQ( goBgp().read( R"({"attrs":[],"nlri":{"rd":{"type":1,"admin":"192.0.2.1",)"
                            R"("assigned":5},"value":[{"type":2,"value":{"prefix":)"
                            R"("2001:db8::/32"},"offset":0}]}})" ),
              "ipv6 192.0.2.1:5 *;2001:db8::/32; -> permit" );
   EXPECT_EQ( ofComponents( R"({"type":9,"value":[{"op":79,"value":514},{"op":198,"value":1}]})" ),
              "ipv4 *;*;TCP:!=514&!1; -> permit" );
   EXPECT_EQ( goBgp().read( path( R"({"type":3,"value":[{"op":129,"value":6}]})", "" ),
                            AddressFamily::ipv6 ),
              "ipv6 *;*;IP:=6; -> permit" );
}

TEST( GoBgpJson, ReadsCommunities ) {
   const std::string front = "ipv4 *;*;P:=5; -> ";
   EXPECT_EQ( ofCommunities( R"({"type":128,"subtype":6,"as":0,"rate":0})" ), front + "drop" );
   EXPECT_EQ( ofCommunities( R"({"type":128,"subtype":6,"as":65000,"rate":-1e2})" ),
              front + "drop, 1:71: negative-rate" );
   EXPECT_EQ( ofCommunities( R"({"type":128,"subtype":7,"terminal":true,"sample":false})" ),
              front + "continue" );
   EXPECT_EQ( ofCommunities( R"({"type":128,"subtype":9,"value":46})" ), front + "mark ef" );
   EXPECT_EQ( ofCommunities( R"({"type":128,"subtype":8,"value":"65500:12345"})" ),
              front + "to VRF 1" );
   EXPECT_EQ( ofCommunities( R"({"type":129,"subtype":8,"value":"255.255.255.255:255"})" ),
              front + "to VRF 5" );
   EXPECT_EQ( ofCommunities( R"({"type":130,"subtype":8,"value":"1.4464:7"})" ),
              front + "to VRF 7" );
   EXPECT_EQ( ofCommunities( R"({"type":128,"subtype":11,"value":"fd00:1::1:0"})", "25" ),
              front + "to VRF 6" );
   EXPECT_EQ( ofCommunities( R"({"type":0,"subtype":12,"value":"2001:db8::1:1"})", "25" ),
              front + "copy to 2001:db8::1" );
   EXPECT_EQ( ofCommunities( R"({"type":3,"subtype":11,"color":100},{"type":1,"subtype":12,)"
                             R"("value":"192.0.2.1:0"})" ),
              front + "to policy 100 192.0.2.1" );
   EXPECT_EQ( ofCommunities( R"({"type":128,"subtype":12,"value":"DAAARh4AAA=="})" ),
              front + "at most 10112 packets/s" );
   EXPECT_EQ( ofCommunities( R"({"type":0,"subtype":2,"value":"65000:100"},{"type":3,"subtype":12,)"
                             R"("tunnel_type":2})" ),
              front + "permit, 1 kept, 1:166: the community is passed over: it is not part of the "
                      "action" );
}

TEST( GoBgpJson, SaysWhatIsWrongAndWhere ) {
   EXPECT_EQ( goBgp().read( R"({"nlri":null,"attrs":[]})" ),
              "1:9: GoBGP could not print the rule" );
   EXPECT_EQ( goBgp().read( R"({"nlri":{},"attrs":null})" ),
              "1:20: GoBGP could not print the attributes" );
   EXPECT_EQ( goBgp().read( R"({"nlri":{}})" ), "1:1: 'attrs' is missing" );
   EXPECT_EQ( goBgp().read( "{}" ), "1:1: expected one rule, found 0" );
   EXPECT_EQ( goBgp().read( R"({"a":[],"b":[]})" ), "1:1: expected one rule, found 2" );
   EXPECT_EQ( goBgp().read( R"({"a":[{},{}]})" ), "1:6: expected one path, found 2" );
   EXPECT_EQ( goBgp().read( path( "", "" ) ), "1:18: nothing tells the family of the rule" );
   EXPECT_EQ( goBgp().read( path( "", R"({"type":14,"afi":1,"safi":1})" ) ),
              "1:31: AFI 1 and SAFI 1 are not a family of rules" );
   EXPECT_EQ( ofComponents( "" ), "1:9: the key has no component" );
   EXPECT_EQ( ofComponents( R"({"type":0,"value":[]})" ), "1:19: there is no component of type 0" );
   EXPECT_EQ( ofComponents( R"({"type":14,"value":[]})" ),
              "1:27: expected a number from 0 to 13, found '14'" );
   EXPECT_EQ( ofComponents( R"({"type":13,"value":[{"op":1,"value":1}]})" ),
              "1:19: there are no flow labels in IPv4" );
   EXPECT_EQ( ofComponents( R"({"type":3,"value":[]})" ), "1:37: the component has no test" );
   EXPECT_EQ( ofComponents( R"({"type":3,"value":[{"op":256,"value":1}]})" ),
              "1:44: expected a number from 0 to 255, found '256'" );
   EXPECT_EQ( ofComponents( R"({"type":3,"value":[{"op":1,"value":4294967296}]})" ),
              "1:38: the value 4294967296 is too large for its component" );
   EXPECT_EQ( ofComponents( R"({"type":3,"value":[{"op":1,"value":1.5}]})" ),
              "1:54: expected a number from 0 to 18446744073709551615, found '1'" );
   EXPECT_EQ( ofComponents( R"({"type":1,"value":{"prefix":"<nil>/128"}})" ),
              "1:47: expected a prefix" );
   EXPECT_EQ( ofComponents( R"({"type":1,"value":{"prefix":"2001:db8::/32"}})" ),
              "1:47: the prefix is not of ipv4" );
   EXPECT_EQ(
      goBgp().read( path( R"({"type":1,"value":{"prefix":"2001:db8::/32"},"offset":16})", "" ) ),
      "1:73: a rule key holds no offset of a prefix but 0" );
   EXPECT_EQ( goBgp().read( R"({"nlri":{"rd":{"type":3},"value":[{"type":1,"value":{"prefix":)"
                            R"("10.0.0.0/8"}}]},"attrs":[]})" ),
              "1:23: expected a number from 0 to 2, found '3'" );
   EXPECT_EQ( goBgp().read( R"({"nlri":{"rd":{"type":1,"admin":"x","assigned":1},"value":[{"type":)"
                            R"(1,"value":{"prefix":"10.0.0.0/8"}}]},"attrs":[]})" ),
              "1:33: expected an IPv4 address" );
   EXPECT_EQ( ofCommunities( R"({"type":128,"subtype":6,"as":0,"rate":1e99})" ),
              "1:161: expected a number that a float holds, found '1e99'" );
   EXPECT_EQ( ofCommunities( R"({"type":128,"subtype":7,"terminal":1,"sample":false})" ),
              "1:158: expected true or false, found '1'" );
   EXPECT_EQ( ofCommunities( R"({"type":128,"subtype":9,"value":64})" ),
              "1:155: expected a number from 0 to 63, found '64'" );
   EXPECT_EQ( ofCommunities( R"({"type":128,"subtype":8,"value":"65536:1"})" ),
              "1:155: expected what the type of the community has, such as '65000:1'" );
   EXPECT_EQ( ofCommunities( R"({"type":129,"subtype":8,"value":"65535:1"})" ),
              "1:155: expected what the type of the community has, such as '192.0.2.1:1'" );
   for ( const char* const wrong :
         { "", "DAAARh4AAA=", "DAAARh4AAA=x", "DA!ARh4AAA==", "CAAARh4AAA==", "DAAARh4AAAA=" } ) {
      EXPECT_EQ(
         ofCommunities( R"({"type":128,"subtype":12,"value":")" + std::string( wrong ) + R"("})" ),
         "1:156: expected 7 octets in base64, the first being the subtype" )
         << wrong;
   }
}

TEST( GoBgpJson, WritesAPath ) {
   EXPECT_EQ( goBgp().writeAction( R"({"rateLimit":{"bytes":9600.5},"markDscp":46,"sample":true})",
                                   "10.0.0.0/8;*;P:=80&<=443;" ),
              R"({"nlri":{"value":[{"type":1,"value":{"prefix":"10.0.0.0/8"}},{"type":4,"value":[)"
              R"({"op":1,"value":80},{"op":213,"value":443}]}]},"attrs":[{"type":16,"value":[)"
              R"({"type":128,"subtype":6,"as":65000,"rate":9600.5},{"type":128,"subtype":7,)"
              R"("terminal":false,"sample":true},{"type":128,"subtype":9,"value":46}]},{"type":14,)"
              R"("nexthop":"0.0.0.0","afi":1,"safi":133,"value":[{"value":[{"type":1,"value":)"
              R"({"prefix":"10.0.0.0/8"}},{"type":4,"value":[{"op":1,"value":80},{"op":213,)"
              R"("value":443}]}]}]}]})" );
   Rule rule = OneDialect::rule( "2001:db8::/32;*;", AddressFamily::ipv6 );
   rule.rd = Zorv::RouteDistinguisher( 3ULL << 48 );
   EXPECT_EQ( goBgp().write( rule ),
              "refused: GoBGP has no text for the route distinguisher 0x0003000000000000" );
   rule.kept.push_back( { 0x80, 0x0C, 0, 0, 0x46, 0x1E, 0, 0 } );
   rule.kept.back()[0] = 0x81;
   rule.rd = Zorv::RouteDistinguisher::fromText( "70000:5" );
   EXPECT_EQ(
      goBgp().write( rule ),
      R"({"nlri":{"rd":{"type":2,"admin":70000,"assigned":5},"value":[{"type":1,"value":)"
      R"({"prefix":"2001:db8::/32"},"offset":0}]},"attrs":[{"type":16,"value":[{"type":129,)"
      R"("subtype":12,"value":"DAAARh4AAA=="}]},{"type":14,"nexthop":"::","afi":2,)"
      R"("safi":134,"value":[{"rd":{"type":2,"admin":70000,"assigned":5},"value":[{"type":1,)"
      R"("value":{"prefix":"2001:db8::/32"},"offset":0}]}]}]})" );
}

TEST( GoBgpJson, SaysOfEachKindOfValueWhatIsWrong ) {
   EXPECT_EQ(
      goBgp().read( R"({"nlri":{"rd":{"type":1,"admin":"2001:db8::1","assigned":1},)"
                    R"("value":[{"type":1,"value":{"prefix":"10.0.0.0/8"}}]},"attrs":[]})" ),
      "1:33: expected an IPv4 address" );
   EXPECT_EQ( ofCommunities( R"({"type":130,"subtype":8,"value":"65535:1"})" ),
              "1:155: expected what the type of the community has, such as '1.0:1'" );
   EXPECT_EQ( ofCommunities( R"({"type":3,"subtype":12,"value":"a:b"})" ),
              "ipv4 *;*;P:=5; -> permit, 1:123: the community is passed over: it is not part of "
              "the action" );
   EXPECT_EQ( ofCommunities( R"({"type":128,"subtype":8,"value":7})" ),
              "1:155: expected a string, found '7'" );
   EXPECT_EQ( ofCommunities( R"({"type":128,"subtype":8})" ), "1:123: 'value' is missing" );
   EXPECT_EQ( ofCommunities( R"({"type":128,"subtype":6,"as":0,"rate":"1"})" ),
              "1:161: expected a number that a float holds, found '\"'" );
   EXPECT_EQ( ofCommunities( R"({"type":128,"subtype":6,"as":"0","rate":1})" ),
              "1:152: expected a number from 0 to 65535, found '\"'" );
   EXPECT_EQ( ofCommunities( R"({"type":128,"subtype":7,"terminal":null,"sample":false})" ),
              "1:158: expected true or false, found 'null'" );
   EXPECT_EQ( ofComponents( R"({"type":1,"value":{"prefix":5}})" ),
              "1:47: expected a string, found '5'" );
}

TEST( ExaBgpJson, SaysOfEachKindOfValueWhatIsWrong ) {
   EXPECT_EQ( ofString( "flow port =5 rd 65000:1" ), "ipv4 *;*;P:=5; -> permit" );
   EXPECT_EQ( exaBgp().read( message( R"("announce":{"ipv4 flow":{"no-nexthop":[{"string":)"
                                      R"("flow port =5","rd":"65000:1"}]}})" ) ),
              "1:90: the family has no 'rd'" );
   EXPECT_EQ( ofAttributes( "\"attribute-0x19-0xC0\":\"0x" + std::string( 41, '0' ) + '"' ),
              "1:87: expected 1 to 40 hexadecimal digits after '0x'" );
}

} // namespace
} // namespace Forms
