#include "tests/tools/flowspecctl/Run.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using nlohmann::json;
using TestSupport::flowspecctl;
using TestSupport::Result;

TEST( VocabCommand, Tables ) {
   const Result result = flowspecctl( { "vocab" } );
   EXPECT_EQ( result.status, 0 );
   EXPECT_EQ( result.err, "" );
   EXPECT_EQ( result.out, R"(number  name          label    detailLabel         operator  maximum
------  ------------  -------  ------------------  --------  -------
0       invalid       INVALID  INVALID             -         -
1       destPrefix    -        Destination Prefix  -         -
2       srcPrefix     -        Source Prefix       -         -
3       ipProto       IP       IP Protocol         numeric   255
4       port          P        Port                numeric   65535
5       destPort      DP       Destination Port    numeric   65535
6       srcPort       SP       Source Port         numeric   65535
7       icmpType      IT       ICMP Type           numeric   255
8       icmpCode      IC       ICMP Code           numeric   255
9       tcpFlags      TCP      TCP Flags           bitmask   -
10      packetLength  LEN      Packet Length       numeric   65535
11      dscp          DSCP     DSCP                numeric   63
12      fragment      FRAG     Fragment Flags      bitmask   -
13      flowLabel     FL       Flow Label          numeric   1048575

value  name
-----  ----
0      cs0
8      cs1
10     af11
12     af12
14     af13
16     cs2
18     af21
20     af22
22     af23
24     cs3
26     af31
28     af32
30     af33
32     cs4
34     af41
36     af42
38     af43
40     cs5
46     ef
48     cs6
56     cs7
)" );
}

TEST( VocabCommand, Json ) {
   const Result result = flowspecctl( { "vocab", "--json" } );
   EXPECT_EQ( result.status, 0 );
   EXPECT_EQ( result.err, "" );
   const json vocabulary = json::parse( result.out );
   ASSERT_EQ( vocabulary.size(), 2U );
   const json& components = vocabulary["components"];
   ASSERT_EQ( components.size(), 14U );
   EXPECT_EQ( components[0], json::parse( R"({"number":0,"name":"invalid","label":"INVALID",
      "detailLabel":"INVALID","operator":null,"maximum":null})" ) );
   EXPECT_EQ( components[1], json::parse( R"({"number":1,"name":"destPrefix","label":"",
      "detailLabel":"Destination Prefix","operator":null,"maximum":null})" ) );
   EXPECT_EQ( components[5], json::parse( R"({"number":5,"name":"destPort","label":"DP",
      "detailLabel":"Destination Port","operator":"numeric","maximum":65535})" ) );
   EXPECT_EQ( components[12], json::parse( R"({"number":12,"name":"fragment","label":"FRAG",
      "detailLabel":"Fragment Flags","operator":"bitmask","maximum":null})" ) );
   const json& dscp = vocabulary["dscp"];
   ASSERT_EQ( dscp.size(), 21U );
   EXPECT_EQ( dscp[0], json::parse( R"({"value":0,"name":"cs0"})" ) );
   EXPECT_EQ( dscp[18], json::parse( R"({"value":46,"name":"ef"})" ) );
}

} // namespace
