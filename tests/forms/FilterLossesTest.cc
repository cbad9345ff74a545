#include "forms/FilterLosses.h"

#include "forms/FilterJson.h"

#include <gtest/gtest.h>

namespace Forms {
namespace {

Vek::String loss( std::string_view json ) {
   Vek::Ptr< const Classification::StructuredFilter > filter;
   const auto reason = readFilterJson( json, filter );
   return reason ? *reason : filterLoss( *filter ).value_or( "none" );
}

TEST( FilterLosses, WhatAKeyHasIsNotLost ) {
   EXPECT_EQ( loss( "{}" ), "none" );
   EXPECT_EQ( loss( R"({"destPrefix":["10.0.0.0/8"],"srcPrefix":["10.0.0.0/8","10.0.0.0/8"],)"
                    R"("fragment":"anyFragment","length":[1,2],"dscp":[1,[2,3]]})" ),
              "none" );
   EXPECT_EQ( loss( R"({"protocols":[{"protocol":6,"ports":[{"destPort":[80]}]},)"
                    R"({"protocol":17,"ports":[{"destPort":[80]}]}]})" ),
              "none" );
   EXPECT_EQ( loss( R"({"protocols":[{"protocol":6,"ports":[{"srcPort":[1],"destPort":[80]},)"
                    R"({"srcPort":[1],"destPort":[443]}],"icmpTypes":[{"type":1},{"type":2}],)"
                    R"("tcpFlags":[{"flag":0,"mask":1},{"flag":2,"mask":2}]}]})" ),
              "none" );
}

TEST( FilterLosses, SecondPrefixesAndFragmentsAreLost ) {
   EXPECT_EQ( loss( R"({"destPrefix":["10.0.0.0/8","9.0.0.0/8"]})" ),
              "of 2 destPrefix only 9.0.0.0/8 is kept" );
   EXPECT_EQ( loss( R"({"srcPrefix":["10.0.0.0/8","9.0.0.0/8","2001:db8::/32"]})" ),
              "of 3 srcPrefix only 9.0.0.0/8 is kept" );
   for ( const char* const type : { "firstFragment", "nonFirstFragment", "notFragment" } ) {
      EXPECT_EQ( loss( Vek::concat( R"({"fragment":")", std::string_view( type ), "\"}" ) ),
                 Vek::concat( "fragment '", std::string_view( type ), "' is left out" ) );
   }
}

TEST( FilterLosses, WhatBelongsTogetherIsLost ) {
   EXPECT_EQ( loss( R"({"protocols":[{"protocol":6,"ports":[{"destPort":[80]}]},)"
                    R"({"protocol":17,"ports":[{"destPort":[53]}]}]})" ),
              "the criteria of each protocol are asked of all protocols" );
   EXPECT_EQ( loss( R"({"protocols":[{"protocol":6,"tcpFlags":[{"flag":2,"mask":2}]},)"
                    R"({"protocol":17}]})" ),
              "the criteria of each protocol are asked of all protocols" );
   EXPECT_EQ( loss( R"({"protocols":[{"protocol":6,"ports":[{"srcPort":[1],"destPort":[80]},)"
                    R"({"srcPort":[2],"destPort":[443]}]}]})" ),
              "the source ports of each 'ports' are asked with the destination ports of all" );
   EXPECT_EQ( loss( R"({"protocols":[{"protocol":6,"ports":[{"destPort":[80]},)"
                    R"({"srcPort":[2]}]}]})" ),
              "the source ports of each 'ports' are asked with the destination ports of all" );
   EXPECT_EQ( loss( R"({"protocols":[{"protocol":1,"icmpTypes":[{"type":3,"codes":[1]},)"
                    R"({"type":8,"codes":[0]}]}]})" ),
              "the codes of each ICMP type are asked of all types" );
   EXPECT_EQ( loss( R"({"protocols":[{"protocol":6,"tcpFlags":[{"flag":2,"mask":0}]}]})" ),
              "a TCP flag without a mask is left out" );
}

} // namespace
} // namespace Forms
