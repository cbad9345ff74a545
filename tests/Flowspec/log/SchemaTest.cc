#include "Vek/log/Schema.h"

#include "Flowspec/FlowspecDalb.h"

#include <gtest/gtest.h>

namespace {

using Vek::log::typesDifference;
using Vek::log::typesTell;
using Vek::log::typesText;

std::string replaced( std::string text, const std::string& from, const std::string& to ) {
   const std::size_t at = text.find( from );
   EXPECT_NE( at, std::string::npos );
   return text.replace( at, from.size(), to );
}

TEST( Schema, DescribesStreamedRowsAndParameters ) {
   EXPECT_NE( typesText().find( "Flowspec::InterfaceSet child (U16)\n"
                                "  259 intf collection Zorv::IntfId -> nothing\n" ),
              std::string::npos );
   EXPECT_NE( typesText().find( "Flowspec::RuleStatus child (Flowspec::FlowspecKey)\n"
                                "  260 statusCode attribute Flowspec::HwRuleProgrammingStatus\n"
                                "  261 errorReason attribute Vek::String\n"
                                "  262 coloredCounters attribute QosLib::ColoredCounters\n"
                                "  265 version attribute Osk::UniqueId\n"
                                "  266 resolvedNexthopInfo attribute L3::ResolvedNexthopInfo\n" ),
              std::string::npos );
}

TEST( Schema, TheDigestIsOfTheText ) {
   EXPECT_EQ( Vek::log::typesDigest( "" ), 0xCBF29CE484222325 );
   EXPECT_EQ( Vek::log::typesDigest( "a" ), 0xAF63DC4C8601EC8C );
}

TEST( Schema, TheSameTypesAndFewerAreUnderstood ) {
   EXPECT_EQ( typesDifference( typesText() ), "" );
   EXPECT_EQ( typesDifference( "" ), "" );
   EXPECT_EQ( typesDifference( "Flowspec::InterfaceSet child (U16)\n"
                               "  259 intf collection Zorv::IntfId -> nothing\n"
                               "U16 value ()\n"
                               "Zorv::IntfId value ()\n" ),
              "" );
}

// A database has the types of all its writers, a reader those that it reads.
TEST( Schema, TypesThatThisProcessHasNotArePassedOver ) {
   EXPECT_EQ( typesDifference( typesText() + "zone child (U32, Zone)\n  258 host children U32 -> "
                                             "Host\n" ),
              "" );
   EXPECT_EQ( typesDifference( "A root (Vek::String)\n" + typesText() ), "" );
   EXPECT_EQ( typesDifference( "Flowspec::A root (Gone)\nFlowspec::InterfaceSet child (U16)\n" ),
              "Flowspec::InterfaceSet is different: '' at the peer, '259 intf collection "
              "Zorv::IntfId -> nothing' in this process" );
}

TEST( Schema, ATypeIsToldWithThoseThatItIsMadeOf ) {
   EXPECT_EQ( typesDifference( "Flowspec::InterfaceSet child (U16)\n"
                               "  259 intf collection Zorv::IntfId -> nothing\n"
                               "Zorv::IntfId value ()\n" ),
              "the peer tells of Flowspec::InterfaceSet, but not of U16, which is in it" );
   EXPECT_EQ( typesDifference( "Flowspec::InterfaceSet child (U16)\n"
                               "  259 intf collection Zorv::IntfId -> nothing\n"
                               "U16 value ()\n" ),
              "the peer tells of Flowspec::InterfaceSet, but not of Zorv::IntfId, which is in it" );
}

TEST( Schema, TypesAscendAndTheLastLineHasAnEnd ) {
   EXPECT_EQ( typesDifference( "U16 value ()\nU16 value ()\n" ),
              "the types do not ascend: U16 after U16" );
   EXPECT_EQ( typesDifference( "U16 value ()\nBool\x1B value ()\n" ),
              "the types do not ascend: Bool\\x1B after U16" );
   EXPECT_EQ( typesDifference( "U16 value ()" ),
              "the text of the types does not end with the end of a line" );
   EXPECT_EQ( typesDifference( "U16 value ()\n\n" ), "the types do not ascend:  after U16" );
   EXPECT_EQ( typesDifference( "\n" ), "the text of the types begins without a name" );
   EXPECT_EQ( typesDifference( "  259 intf\n" ), "the text of the types begins without a name" );
   EXPECT_EQ( typesDifference( "a value ()\nZorv::IntfId value ()\n" ),
              "the types do not ascend: Zorv::IntfId after a" );
}

TEST( Schema, TellsWhetherATextHasAType ) {
   const std::string_view text = "A value ()\nBC value ()\n";
   EXPECT_TRUE( typesTell( text, "A" ) );
   EXPECT_TRUE( typesTell( text, "BC" ) );
   EXPECT_FALSE( typesTell( text, "B" ) );
   EXPECT_FALSE( typesTell( text, "C" ) );
   EXPECT_FALSE( typesTell( "", "A" ) );
}

TEST( Schema, WhatThePeerSaysIsEscapedAndCut ) {
   EXPECT_EQ( typesDifference( "b\x1B[2J value ()\nA\x1B[2J value ()\n" ),
              "the types do not ascend: A\\x1B[2J after b\\x1B[2J" );
   EXPECT_EQ( typesDifference( std::string( 60000, 'x' ) + "\na\n" ).size(),
              std::string( "the types do not ascend: a after " ).size() + 120 );
   EXPECT_EQ(
      typesDifference( "U16 " + std::string( 60000, '\r' ) + "\n" ).size(),
      std::string( "U16 is different: '' at the peer, 'U16 value ()' in this process" ).size() +
         119 );
   EXPECT_EQ( typesDifference( "U16 value ()\n   259\n" ),
              "U16 is different: ' 259' at the peer, '' in this process" );
}

TEST( Schema, TheFirstDifferenceIsNamed ) {
   EXPECT_EQ( typesDifference(
                 replaced( typesText(), "  260 statusCode attribute", "  260 code attribute" ) ),
              "Flowspec::RuleStatus is different: '260 code attribute "
              "Flowspec::HwRuleProgrammingStatus' at the peer, '260 statusCode attribute "
              "Flowspec::HwRuleProgrammingStatus' in this process" );
   EXPECT_EQ( typesDifference( replaced( typesText(),
                                         "  259 intf collection Zorv::IntfId -> "
                                         "nothing\n",
                                         "" ) ),
              "Flowspec::AfIntfColl is different: '' at the peer, '259 intf collection "
              "Zorv::IntfId -> nothing' in this process" );
   EXPECT_NE( typesDifference( "no types at all" ), "" );
}

} // namespace
