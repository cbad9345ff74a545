#include "Vek/log/Schema.h"

#include "Flowspec/FlowspecDalb.h"

#include <gtest/gtest.h>

namespace {

using Vek::log::typesDifference;
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
                               "  259 intf collection Zorv::IntfId -> nothing\n" ),
              "" );
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
   EXPECT_EQ( typesDifference( typesText() + "Flowspec::Zone child (U32)\n" ),
              "the peer has a type Flowspec::Zone, which this process has not" );
   EXPECT_NE( typesDifference( "no types at all" ), "" );
}

} // namespace
