#include "tests/tools/flowspecctl/Run.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using TestSupport::contents;
using TestSupport::flowspecctl;
using TestSupport::Result;

Vek::String types( std::vector< Vek::String > arguments ) {
   arguments.insert( arguments.begin(), "types" );
   const Result result = flowspecctl( std::move( arguments ) );
   EXPECT_EQ( result.err, "" );
   EXPECT_EQ( result.status, 0 );
   return result.out;
}

TEST( TypesCommand, ThePageOfTheTypesIsWhatTheCommandWrites ) {
   const Vek::String begin = "The modules of the type registry";
   const Vek::String written = types( {} );
   const Vek::String page = contents( "docs/types.md" );
   EXPECT_EQ( page.substr( page.find( begin ) ), written.substr( written.find( begin ) ) )
      << "when the change is meant, they replace what the page has from there on";
}

TEST( TypesCommand, ShowsAValue ) {
   EXPECT_EQ( types( { "Flowspec::NumericalRange" } ),
              "### Flowspec::NumericalRange\n"
              "\n"
              "value\n"
              "\n"
              "| id | name | kind | type |\n"
              "|---|---|---|---|\n"
              "| 2 | `rangeMin` | attribute | U32 |\n"
              "| 3 | `rangeMax` | attribute | U32 |\n"
              "| 4 | `min` | constant | U32 |\n"
              "| 5 | `invalidValue` | constant | U32 |\n"
              "| 6 | `isValid` | operation | () -> bool |\n"
              "| 7 | `contains` | operation | ( U32 value ) -> bool |\n"
              "| 8 | `isRangeOverlap` | operation | ( Flowspec::NumericalRange otherRange ) -> "
              "bool |\n"
              "| 9 | `rangeIntersection` | operation | ( Flowspec::NumericalRange otherRange ) -> "
              "Flowspec::NumericalRange |\n"
              "| 10 | `rangeUnion` | operation | ( Flowspec::NumericalRange otherRange ) -> "
              "Flowspec::NumericalRange |\n"
              "| 11 | `matchCompTypeMax` | operation | ( Flowspec::MatchCompType matchCompType ) "
              "-> U32 |\n"
              "| 12 | `toStrep` | operation | () -> Vek::String |\n" );
}

TEST( TypesCommand, ShowsTheEnumerators ) {
   const Vek::String text = types( { "Flowspec::MatchCompType" } );
   EXPECT_TRUE( text.starts_with( "### Flowspec::MatchCompType\n"
                                  "\n"
                                  "enumeration\n"
                                  "\n"
                                  "| number | name |\n"
                                  "|---|---|\n"
                                  "| 0 | `invalid` |\n" ) )
      << text;
   EXPECT_TRUE( text.ends_with( "| 13 | `flowLabel` |\n" ) ) << text;
}

TEST( TypesCommand, ShowsWhatAChildIsMadeFrom ) {
   const Vek::String text = types( { "Flowspec::RuleConfig" } );
   EXPECT_TRUE( text.starts_with( "### Flowspec::RuleConfig\n\nchild, made from "
                                  "Flowspec::FlowspecKey\n\n| id | name | kind | type |\n" ) )
      << text;
   const auto json = nlohmann::json::parse( types( { "--json", "Flowspec::RuleConfig" } ) );
   EXPECT_EQ( json["name"], "Flowspec::RuleConfig" );
   EXPECT_EQ( json["kind"], "child" );
   EXPECT_EQ( json["constructor"], nlohmann::json::array( { "Flowspec::FlowspecKey" } ) );
   EXPECT_FALSE( json.contains( "enumerators" ) );
}

// The object of all modules has the same types as each of them asked for by itself.
TEST( TypesCommand, AllTypesAsOneObject ) {
   const auto all = nlohmann::json::parse( types( { "--json" } ) );
   Vek::String names;
   Vek::String page = types( {} );
   std::size_t headings = 0;
   for ( std::size_t at = 0; ( at = page.find( "\n### ", at ) ) != page.npos; ++at ) {
      ++headings;
   }
   for ( const auto& module : all["modules"] ) {
      names += module["name"].get< Vek::String >() + ' ';
      for ( const auto& type : module["types"] ) {
         EXPECT_NE( page.find( "\n### " + type["name"].get< Vek::String >() + '\n' ), page.npos );
         --headings;
      }
   }
   EXPECT_EQ( headings, 0U );
   const auto& last = all["modules"].back()["types"].back();
   EXPECT_EQ( nlohmann::json::parse( types( { last["name"], "--json" } ) ), last );
   EXPECT_TRUE( names.starts_with( "Vek Zorv Vrf " ) ) << names;
}

TEST( TypesCommand, TheTypeMustBeKnown ) {
   for ( const char* const name : { "RuleConfig", "flowspec::RuleConfig", "Flowspec", "\n" } ) {
      const Result result = flowspecctl( { "types", name } );
      EXPECT_EQ( result.out, "" );
      EXPECT_EQ( result.err, Vek::String( "flowspecctl: error: no module has the type '" ) +
                                ( *name == '\n' ? "\\x0a" : name ) + "'\n" );
      EXPECT_EQ( result.status, 1 );
   }
   const Result two = flowspecctl( { "types", "bool", "char" } );
   EXPECT_EQ( two.status, 2 );
   EXPECT_EQ( two.err, "flowspecctl: error: The following argument was not expected: char\n"
                       "Try 'flowspecctl types --help'.\n" );
}

} // namespace
