#include "tests/forms/dialects/Peers.h"
#include "tests/forms/dialects/RuleData.h"
#include "tests/support/Hex.h"

#include <map>

// ExaBGP as the judge of its dialects: what it sends for our texts, and what it prints of our
// octets. It runs once for all rules, as `exabgp_judge.py` tells.

namespace Forms {
namespace {

using TestSupport::namedRules;
using TestSupport::ruleContext;
using TestSupport::sameMeaning;

constexpr const char* python = "/usr/bin/python3"; // Debian's, which has the packaged modules

/// The answers of ExaBGP, line by line; nothing when it is not there.
std::vector< std::string > answers( const std::vector< std::string >& questions ) {
   const TestSupport::Folder folder;
   Vek::String text;
   for ( const std::string& question : questions ) {
      text += question + '\n';
   }
   std::istringstream output( TestSupport::outputOf(
      Vek::concat( python, " tests/forms/dialects/exabgp_judge.py <",
                   folder.file( "questions", text ), " || echo exit $?" ) ) );
   std::vector< std::string > lines;
   for ( std::string line; std::getline( output, line ); ) {
      lines.push_back( line );
   }
   return lines;
}

#define SKIP_WITHOUT_EXABGP( lines )                                                               \
   if ( lines == std::vector< std::string >{ "exit 77" } ) {                                       \
      GTEST_SKIP() << "ExaBGP is not installed";                                                   \
   }                                                                                               \
   static_assert( true )

TEST( ExaBgpPeer, SendsWhatTheTextMeans ) {
   std::vector< std::string > questions;
   std::vector< const TestSupport::NamedRule* > rules;
   for ( const auto& named : namedRules() ) {
      Vek::String text;
      if ( !writeRule( *dialectOf( "exabgp" ), named.rule, ruleContext(), text ) ) {
         const std::string_view api = "announce flow ";
         questions.push_back( text.starts_with( api )
                                 ? "text flow { " + text.substr( api.size() ) + " }"
                                 : "text " + text );
         rules.push_back( &named );
      }
   }
   const auto lines = answers( questions );
   SKIP_WITHOUT_EXABGP( lines );
   ASSERT_EQ( lines.size(), questions.size() ) << lines.back();
   EXPECT_GT( lines.size(), 135U );
   for ( std::size_t i = 0; i < lines.size(); ++i ) {
      SCOPED_TRACE( Vek::concat( rules[i]->id, ' ', questions[i], '\n', lines[i] ) );
      if ( lines[i].starts_with( "error" ) ) {
         ADD_FAILURE();
         continue;
      }
      EXPECT_TRUE(
         sameMeaning( TestSupport::ruleOf( TestSupport::bytesOf( lines[i] ) ), rules[i]->rule ) );
   }
}

/// The rules that ExaBGP does not print, and what comes instead.
const std::map< std::string, std::string > unprinted = {
   // A test of no TCP flag, for which it prints nothing.
   { "r-733425d40a", "expected a number or a name, found '\"'" },
   // ICMP type 256, in two octets.
   { "r-c59308c1ab", "error ValueError: bytes must be in range(0, 256)" },
};

TEST( ExaBgpPeer, PrintsWhatIsReadAsTheSameRule ) {
   std::vector< std::string > questions;
   for ( const auto& named : namedRules() ) {
      questions.push_back( "update " + TestSupport::hexOf( TestSupport::updateOf( named.rule ) ) );
   }
   const auto lines = answers( questions );
   SKIP_WITHOUT_EXABGP( lines );
   ASSERT_EQ( lines.size(), questions.size() ) << lines.back();
   std::map< std::string, std::string > failed;
   for ( std::size_t i = 0; i < lines.size(); ++i ) {
      const auto& [id, rule] = namedRules()[i];
      SCOPED_TRACE( Vek::concat( id, ' ', lines[i] ) );
      Rule read;
      std::vector< Fault > remarks;
      const Dialect& json = *dialectOf( "exabgp-json" );
      if ( const auto fault = readRule( json, lines[i], ruleContext(), read, remarks ) ) {
         failed[id] = lines[i].starts_with( "error" ) ? lines[i] : fault->reason;
         continue;
      }
      EXPECT_TRUE( sameMeaning( read, rule ) ) << read.key.stringValue();
      Vek::String text;
      ASSERT_FALSE( writeRule( json, rule, ruleContext(), text ) );
      const auto announced = []( const std::string& message ) {
         return message.substr( message.find( R"("announce")" ) );
      };
      EXPECT_EQ( announced( text ), announced( lines[i] ) );
   }
   EXPECT_EQ( failed, unprinted );
}

} // namespace
} // namespace Forms
