#include "tests/tools/flowspecctl/Run.h"

#include <filesystem>
#include <sstream>

#include <gtest/gtest.h>

namespace {

using TestSupport::contents;
using TestSupport::flowspecctlPath;
using TestSupport::run;

// One command of a `console` block, with the lines of its input, and what it is shown to write.
struct Example {
   Vek::String command;
   Vek::String output;
};

std::vector< Example > examples( const Vek::String& path ) {
   std::vector< Example > all;
   std::istringstream text( contents( path ) );
   bool inBlock = false;
   bool inHereDocument = false;
   for ( Vek::String line; std::getline( text, line ); ) {
      if ( line.starts_with( "```" ) ) {
         inBlock = line == "```console";
      } else if ( inBlock && line.starts_with( "$ " ) ) {
         all.push_back( { line.substr( 2 ) + '\n', "" } );
         inHereDocument = line.ends_with( "<<'END'" );
      } else if ( inBlock && inHereDocument ) {
         all.back().command += line + '\n';
         inHereDocument = line != "END";
      } else if ( inBlock ) {
         all.back().output += line + '\n';
      }
   }
   return all;
}

void expectThatExamplesAreTrue( const Vek::String& path, std::size_t atLeast ) {
   const Vek::String program = std::filesystem::path( flowspecctlPath() ).parent_path().string();
   const auto all = examples( path );
   EXPECT_GE( all.size(), atLeast );
   for ( const Example& example : all ) {
      const auto result = run(
         { .command = { "bash", "-c", "exec 2>&1\nPATH=$0:$PATH\n" + example.command, program } } );
      EXPECT_EQ( result.out, example.output ) << path << ": " << example.command;
   }
}

TEST( Docs, ExamplesOfTheReadmeAreTrue ) { expectThatExamplesAreTrue( "README.md", 6 ); }

TEST( Docs, ExamplesOfTheDialectsAreTrue ) { expectThatExamplesAreTrue( "docs/dialects.md", 6 ); }

TEST( Docs, ExamplesOfTheCommandAreTrue ) { expectThatExamplesAreTrue( "docs/flowspecctl.md", 9 ); }

} // namespace
