#include "forms/KeyJson.h"

#include <gtest/gtest.h>

namespace {

using namespace Flowspec;
using namespace Forms;

// A sound object in which one piece of text is replaced by another.
Vek::String with( std::string_view piece, std::string_view other ) {
   Vek::String text =
      R"({"vrfId":5,"addressFamily":"ipv4","destPrefix":"10.1.0.0/16","srcPrefix":null,)"
      R"("interfaceSet":[3,17],"terms":[{"type":"destPort","op":145,"value":443}]})";
   const std::size_t at = text.find( piece );
   EXPECT_NE( at, text.npos ) << piece;
   return text.replace( at, piece.size(), other );
}

std::optional< Vek::String > fault( std::string_view text ) {
   FlowspecKey key;
   return readKeyJson( text, key );
}

struct Row {
   std::string_view piece;
   std::string_view other;
   const char* fault;
};

TEST( KeyJsonReader, BlanksAndTheOrderOfMembersDoNotMatter ) {
   FlowspecKey key;
   ASSERT_EQ( readKeyJson( " {\"terms\" : [ { \"value\":443, \"op\":145,\t\"type\":\"destPort\"} ],"
                           "\"srcPrefix\":null,\"interfaceSet\":[3,17],\"destPrefix\":"
                           "\"10.1.2.3/16\",\"addressFamily\":\"ipv4\",\"vrfId\":5} ",
                           key ),
              std::nullopt );
   FlowspecKey expected;
   ASSERT_EQ( readKeyJson( with( "", "" ), expected ), std::nullopt );
   EXPECT_EQ( key, expected );
   EXPECT_EQ( key.toStrep(), "5;ipv4;IFSET:=3,17;10.1.0.0/16;;93389243;" );
}

TEST( KeyJsonReader, TheInvalidVrfMayBeWrittenAsANumber ) {
   FlowspecKey key;
   ASSERT_EQ( readKeyJson( with( "\"vrfId\":5", "\"vrfId\":16777215" ), key ), std::nullopt );
   EXPECT_EQ( key.vrfId(), Vrf::VrfIdMap::invalid() );
}

TEST( KeyJsonReader, EveryMemberIsWanted ) {
   const Row rows[] = {
      { R"("vrfId":5,)", "", "member 'vrfId' is missing" },
      { R"("addressFamily":"ipv4",)", "", "member 'addressFamily' is missing" },
      { R"("destPrefix":"10.1.0.0/16",)", "", "member 'destPrefix' is missing" },
      { R"("srcPrefix":null,)", "", "member 'srcPrefix' is missing" },
      { R"("interfaceSet":[3,17],)", "", "member 'interfaceSet' is missing" },
      { R"(,"terms":[{"type":"destPort","op":145,"value":443}])", "",
        "exactly one of 'terms' and 'words' is wanted" },
      { R"("terms")", R"("words":[],"terms")", "exactly one of 'terms' and 'words' is wanted" },
      { R"("type":"destPort",)", "", "member 'terms[0].type' is missing" },
      { R"("op":145,)", "", "member 'terms[0].op' is missing" },
      { R"(,"value":443)", "", "member 'terms[0].value' is missing" },
   };
   for ( const Row& row : rows ) {
      EXPECT_EQ( fault( with( row.piece, row.other ) ), row.fault );
   }
}

TEST( KeyJsonReader, OtherMembersAreNot ) {
   const Row rows[] = {
      { R"("vrfId":5)", R"("vrfId":5,"rd":"1:1")", "unknown member 'rd'" },
      { R"("vrfId")", R"("vrfid")", "unknown member 'vrfid'" },
      { R"("value":443)", R"("value":443,"len":1)", "unknown member 'terms[0].len'" },
      { R"("vrfId":5)", R"("vrfId":5,"vrfId":5)", "member 'vrfId' is there twice" },
      { R"("op":145)", R"("op":145,"op":145)", "member 'op' is there twice" },
   };
   for ( const Row& row : rows ) {
      EXPECT_EQ( fault( with( row.piece, row.other ) ), row.fault );
   }
}

TEST( KeyJsonReader, TypesAndRangesAreChecked ) {
   const Row rows[] = {
      { R"("vrfId":5)", R"("vrfId":-1)", "'vrfId' is not a whole number from 0 to 4294967295" },
      { R"("vrfId":5)", R"("vrfId":4294967296)",
        "'vrfId' is not a whole number from 0 to 4294967295" },
      { R"("vrfId":5)", R"("vrfId":5.0)", "'vrfId' is not a whole number from 0 to 4294967295" },
      { R"("vrfId":5)", R"("vrfId":"5")", "'vrfId' is not a whole number from 0 to 4294967295" },
      { R"("vrfId":5)", R"("vrfId":18446744073709551616)",
        "'vrfId' is not a whole number from 0 to 4294967295" },
      { R"("ipv4")", "4", "'addressFamily' is not a string" },
      { R"("ipv4")", "null", "'addressFamily' is not a string" },
      { R"("ipv4")", R"("IPv4")", "'addressFamily': 'IPv4' is not an address family" },
      { R"("ipv4")", R"("")", "'addressFamily': '' is not an address family" },
      { R"("10.1.0.0/16")", "10", "'destPrefix' is neither null nor a string" },
      { R"("10.1.0.0/16")", R"("10.1.0.0")", "'destPrefix': '10.1.0.0' is not a prefix" },
      { R"("10.1.0.0/16")", R"("")", "'destPrefix': '' is not a prefix" },
      { R"("srcPrefix":null)", R"("srcPrefix":"*")", "'srcPrefix': '*' is not a prefix" },
      { R"("srcPrefix":null)", R"("srcPrefix":false)", "'srcPrefix' is neither null nor a string" },
      { "[3,17]", "3", "'interfaceSet' is not an array" },
      { "[3,17]", "null", "'interfaceSet' is not an array" },
      { "[3,17]", "[3,65536]", "'interfaceSet[1]' is not a whole number from 0 to 65535" },
      { "[3,17]", "[null]", "'interfaceSet[0]' is not a whole number from 0 to 65535" },
      { R"([{"type":"destPort","op":145,"value":443}])", "{}", "'terms' is not an array" },
      { R"([{"type":"destPort","op":145,"value":443}])", "[1]", "'terms[0]' is not an object" },
      { R"("destPort")", "5", "'terms[0].type' is not a string" },
      { R"("destPort")", R"("DP")", "'terms[0].type': 'DP' is not a component type" },
      { R"("op":145)", R"("op":256)", "'terms[0].op' is not a whole number from 0 to 255" },
      { R"("op":145)", R"("op":true)", "'terms[0].op' is not a whole number from 0 to 255" },
      { R"("op":145)", R"("op":177)", "'terms[0].op': 8-byte values are not supported" },
      { R"("op":145)", R"("op":129)", "'terms[0].value' is not a whole number from 0 to 255" },
      { R"("value":443)", R"("value":65536)",
        "'terms[0].value' is not a whole number from 0 to 65535" },
      { R"("op":145,"value":443)", R"("op":161,"value":4294967296)",
        "'terms[0].value' is not a whole number from 0 to 4294967295" },
      { R"("terms":[{"type":"destPort","op":145,"value":443}])", R"("words":[1,-1])",
        "'words[1]' is not a whole number from 0 to 4294967295" },
      { R"("terms":[{"type":"destPort","op":145,"value":443}])", R"("words":"1")",
        "'words' is not an array" },
   };
   for ( const Row& row : rows ) {
      EXPECT_EQ( fault( with( row.piece, row.other ) ), row.fault );
   }
}

TEST( KeyJsonReader, TheLargestValuesOfEachLengthAreTaken ) {
   for ( const std::string_view term : { R"("op":129,"value":255)", R"("op":145,"value":65535)",
                                         R"("op":161,"value":4294967295)" } ) {
      EXPECT_EQ( fault( with( R"("op":145,"value":443)", term ) ), std::nullopt );
   }
}

TEST( KeyJsonReader, AKeyHasRoomFor2047WordsOfTermsAnd2048AsWords ) {
   const auto list = []( std::string_view element, int count ) {
      Vek::String text( element );
      while ( --count > 0 ) {
         text.append( "," ).append( element );
      }
      return text;
   };
   constexpr std::string_view term = R"({"type":"destPort","op":145,"value":443})";
   constexpr std::string_view wide = R"({"type":"flowLabel","op":161,"value":443})";
   EXPECT_EQ( fault( with( term, list( term, 2047 ) ) ), std::nullopt );
   EXPECT_EQ( fault( with( term, list( term, 2048 ) ) ), "'terms[2047]' ends above index 2047" );
   EXPECT_EQ( fault( with( term, list( wide, 1023 ) ) ), std::nullopt );
   EXPECT_EQ( fault( with( term, list( wide, 1024 ) ) ), "'terms[1023]' ends above index 2047" );
   const Vek::String terms = "\"terms\":[" + Vek::String( term ) + "]";
   EXPECT_EQ( fault( with( terms, "\"words\":[" + list( "7", 2048 ) + "]" ) ), std::nullopt );
   EXPECT_EQ( fault( with( terms, "\"words\":[" + list( "7", 2049 ) + "]" ) ),
              "'words[2048]' is above index 2047" );
}

TEST( KeyJsonReader, OtherTextIsNoJson ) {
   EXPECT_EQ( fault( "" ), "not JSON: parse error at line 1, column 1: syntax error while parsing "
                           "value - unexpected end of input; expected '[', '{', or a literal" );
   for ( const std::string_view text :
         { "{", "10.0.0.0/8;*;", "{\"vrfId\":01}", "nul", "\"\xff\"" } ) {
      const auto reason = fault( text );
      ASSERT_TRUE( reason ) << text;
      EXPECT_TRUE( reason->starts_with( "not JSON: parse error at line 1, column " ) ) << *reason;
   }
   const auto behind = fault( with( "", "" ) + " drop" );
   ASSERT_TRUE( behind );
   EXPECT_TRUE( behind->starts_with( "not JSON: parse error at line 1, column " ) ) << *behind;
   EXPECT_EQ( fault( with( "443", "1e999" ) ), "not JSON: number overflow parsing '1e999'" );
   for ( const std::string_view text : { "null", "[]", "5", "\"\"", "true" } ) {
      EXPECT_EQ( fault( text ), "not a JSON object" ) << text;
   }
}

TEST( KeyJsonReader, NestingIsBounded ) {
   EXPECT_EQ( fault( with( "443", "[1]" ) ), "nested too deeply for a rule key" );
   EXPECT_EQ( fault( Vek::String( 1000000, '[' ) ), "nested too deeply for a rule key" );
   EXPECT_EQ( fault( with( "[3,17]", "[[3]]" ) ),
              "'interfaceSet[0]' is not a whole number from 0 to 65535" );
}

TEST( KeyJsonReader, WhatWasReadBeforeAFaultStays ) {
   FlowspecKey key;
   EXPECT_TRUE( readKeyJson( with( "443", "65536" ), key ) );
   EXPECT_EQ( key.toStrep(), "5;ipv4;IFSET:=3,17;10.1.0.0/16;;" );
}

} // namespace
