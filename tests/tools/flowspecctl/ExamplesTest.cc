#include "tests/tools/flowspecctl/Run.h"

#include "forms/KeyForms.h"

#include <algorithm>
#include <filesystem>
#include <sstream>

#include <gtest/gtest.h>

namespace {

using namespace Flowspec;
using namespace Forms;
using TestSupport::contents;
using TestSupport::flowspecctl;
using TestSupport::flowspecctlPath;
using TestSupport::Result;

using Path = std::filesystem::path;

// The files of examples/rules/ that hold sound rules and end with `extension`.
std::vector< Path > ruleFiles( std::initializer_list< std::string_view > extensions ) {
   std::vector< Path > files;
   for ( const auto& entry : std::filesystem::directory_iterator( "examples/rules" ) ) {
      const Path& path = entry.path();
      if ( path.filename().string().starts_with( "ipv" ) &&
           std::find( extensions.begin(), extensions.end(), path.extension().string() ) !=
              extensions.end() ) {
         files.push_back( path );
      }
   }
   std::sort( files.begin(), files.end() );
   return files;
}

std::vector< Path > jsonFiles() { return ruleFiles( { ".jsonl" } ); }
std::vector< Path > textFiles() { return ruleFiles( { ".cli", ".cli-len", ".rd" } ); }

std::vector< Vek::String > lines( const Vek::String& text ) {
   std::vector< Vek::String > all;
   std::istringstream stream( text );
   for ( Vek::String line; std::getline( stream, line ); ) {
      all.push_back( line );
   }
   return all;
}

// The rules of a file of text, without its comments.
Vek::String rules( const Vek::String& text ) {
   Vek::String all;
   for ( const Vek::String& line : lines( text ) ) {
      if ( !line.starts_with( '#' ) ) {
         all += line + '\n';
      }
   }
   return all;
}

Vek::String converted( const char* from, const char* to, const Vek::String& text,
                       std::vector< Vek::String > more = {} ) {
   more.insert( more.begin(), { "key", "--from", from, "--to", to } );
   const Result result = flowspecctl( std::move( more ), text );
   EXPECT_EQ( result.err, "" );
   EXPECT_EQ( result.status, 0 );
   return result.out;
}

TEST( Examples, AreAllThere ) {
   std::size_t rulesAsJson = 0;
   for ( const Path& file : jsonFiles() ) {
      rulesAsJson += lines( contents( file ) ).size();
   }
   EXPECT_EQ( rulesAsJson, 140U );
   EXPECT_EQ( jsonFiles().size(), textFiles().size() );
}

TEST( Examples, SurviveFromJsonToTheValueFormAndBack ) {
   for ( const Path& file : jsonFiles() ) {
      const Vek::String json = contents( file );
      EXPECT_EQ( converted( "json", "json", json ), json ) << file;
      EXPECT_EQ( converted( "value", "json", converted( "json", "value", json ) ), json ) << file;
      EXPECT_EQ( converted( "diag", "json", converted( "json", "diag", json ) ), json ) << file;
   }
}

TEST( Examples, AreTheSameRulesAsTextAndAsJson ) {
   for ( const Path& file : textFiles() ) {
      const Vek::String form = file.extension().string().substr( 1 );
      const Vek::String family = file.filename().string().substr( 0, 4 );
      const Vek::String text = contents( file );
      Path jsonFile = file;
      const Vek::String json = contents( jsonFile.replace_extension( ".jsonl" ) );
      EXPECT_EQ( converted( form.c_str(), "json", text, { "--family", family } ), json ) << file;
      EXPECT_EQ( converted( form.c_str(), form.c_str(), text ), rules( text ) ) << file;
      if ( form != "rd" ) {
         EXPECT_EQ( converted( "json", form.c_str(), json ), rules( text ) ) << file;
      }
   }
   EXPECT_EQ( converted( "json", "rd", contents( "examples/rules/ipv4-vpn.jsonl" ),
                         { "--rd", "65535:65536" } ),
              rules( contents( "examples/rules/ipv4-vpn.rd" ) ) );
}

TEST( Examples, EachRuleHasACommentOfOneLine ) {
   for ( const Path& file : textFiles() ) {
      bool comment = false;
      for ( const Vek::String& line : lines( contents( file ) ) ) {
         EXPECT_NE( line.starts_with( "# " ), comment ) << file << ": " << line;
         EXPECT_LE( line.size(), comment ? 1000U : 102U ) << file << ": " << line;
         comment = !comment;
      }
      EXPECT_FALSE( comment ) << file;
   }
}

// The rules are those of real speakers: the shortest length for each value but the flow label's,
// and the end-of-list bit on the last term of each component and nowhere else (RFC 8955 section
// 4.2.1, RFC 8956 section 3.7).
TEST( Examples, HaveTheOperatorsOfTheWire ) {
   for ( const Path& file : jsonFiles() ) {
      for ( const Vek::String& line : lines( contents( file ) ) ) {
         Rule rule;
         ASSERT_EQ( readRule( Form::json, line, rule ), std::nullopt ) << file;
         for ( auto term = rule.key.getOptVal( 0 ); !term.isEnd(); ) {
            const auto next = rule.key.getOptVal( term.nextIndex() );
            EXPECT_EQ( term.endOfList(), next.matchType() != term.matchType() ) << line;
            const unsigned shortest = term.val32() <= 0xFF ? 1 : term.val32() <= 0xFFFF ? 2 : 4;
            EXPECT_EQ( term.byteLength(), term.matchType() == flowLabel ? 4 : shortest ) << line;
            if ( next.isEnd() || next.matchType() != term.matchType() ) {
               EXPECT_TRUE( next.isEnd() || next.matchType() > term.matchType() ) << line;
               EXPECT_TRUE( next.isEnd() || !next.andPrevious() ) << line;
            }
            term = next;
         }
      }
   }
}

TEST( Examples, EachMistakeHasItsReason ) {
   const Vek::String bad = contents( "examples/rules/bad.cli" );
   const Result result = flowspecctl( { "key", "examples/rules/bad.cli" } );
   EXPECT_EQ( result.status, 1 );
   EXPECT_EQ( result.out, "" );
   const std::vector< Vek::String > texts = lines( rules( bad ) );
   const std::vector< std::pair< const char*, const char* > > reasons = {
      { "3:12", "Did not find a source prefix 10.0.0.0/8;" },
      { "5:1", "Could not parse dest prefix 192.0.2.1;*;IP:=17; : Zorv::IpGenPrefix: '192.0.2.1' "
               "is not a prefix: a host is '192.0.2.1/32'" },
      { "7:1", "Could not parse dest prefix 10.0.0.0/33;*; : Zorv::IpGenPrefix: '10.0.0.0/33' is "
               "not a prefix" },
      { "9:1", "Could not parse dest prefix 010.0.0.0/8;*; : Zorv::IpGenPrefix: '010.0.0.0/8' is "
               "not a prefix" },
      { "11:1", "Could not parse dest prefix www.example.net;*;DP:=443; : Zorv::IpGenPrefix: "
                "'www.example.net' is not a prefix" },
      { "13:5", "Did not find a match component in " },
      { "15:5", "Did not find a match component in =6" },
      { "17:5", "Did not find a valid component label in DST:=80" },
      { "19:5", "Did not find a valid component label in ip:=6: the label is 'IP'" },
      { "21:9", "Unexpected character t: 'tcp' is 6" },
      { "23:9", "Unexpected character  : a rule has no blanks" },
      { "25:10", "Unexpected character -: a range is '>=1024&<=2047'" },
      { "27:11", "Unexpected character ,: alternatives are joined by '|'" },
      { "29:8", "Received bitfield operator for a value component IP:!=6: not equal is '<>'" },
      { "31:9", "Received value operator for a bitfield component TCP:>2" },
      { "33:13", " Missing value in DP:=80|=" },
      { "35:10", "Unexpected character L" },
      { "37:23", "Did not find a match component in  drop" } };
   ASSERT_EQ( reasons.size(), texts.size() );
   // After each comes the text, and a mark below it.
   std::istringstream errors( result.err );
   for ( const auto& [place, reason] : reasons ) {
      Vek::String line;
      std::getline( errors, line );
      EXPECT_EQ( line, Vek::concat( "examples/rules/bad.cli:", std::string_view( place ),
                                    ": error: ", std::string_view( reason ) ) );
      std::getline( errors, line );
      std::getline( errors, line );
      const std::string_view column =
         std::string_view( place ).substr( Vek::String( place ).find( ':' ) + 1 );
      EXPECT_EQ( line.size(), 3 + std::stoul( Vek::String( column ) ) );
      EXPECT_TRUE( line.ends_with( " ^" ) );
   }
   EXPECT_EQ( errors.peek(), EOF );
}

TEST( Examples, AndAllThatIsWrittenOrReadAsJsonMeetTheSchemas ) {
   const Result result = TestSupport::run(
      { .command = { "python3", "tests/tools/flowspecctl/schema.py", flowspecctlPath(),
                     "docs/key.schema.json", "docs/filter.schema.json", "examples/rules" } } );
   EXPECT_EQ( result.out, "" );
   EXPECT_EQ( result.err, "" );
   EXPECT_EQ( result.status, 0 );
}

} // namespace
