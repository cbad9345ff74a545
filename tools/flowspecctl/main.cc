#include "forms/Diagnostics.h"
#include "tools/flowspecctl/Commands.h"

#include <new>
#include <system_error>

#include <unistd.h>

namespace {

using namespace Flowspec;
using namespace Forms;
using namespace Tools;

constexpr int allGood = 0;
constexpr int someBad = 1;
constexpr int badUsage = 2;

constexpr const char* program = "flowspecctl";
constexpr const char* version = "flowspecctl " FLOWSPECCTL_VERSION "\n";

int misused( std::string_view message ) {
   reportFile( program, message );
   const Vek::String hint = Vek::concat( "Try '", std::string_view( program ), " --help'.\n" );
   [[maybe_unused]] const ssize_t written = ::write( STDERR_FILENO, hint.data(), hint.size() );
   return badUsage;
}

int run( int argc, char** argv, Output& output ) {
   CLI::App app( "Reads, checks, converts and prints BGP flow-specification rules.", program );
   app.require_subcommand( 1 );
   app.set_version_flag( "--version", version );
   const Run run = addCommands( app );
   try {
      app.parse( argc, argv );
      return run( output ) ? allGood : someBad;
   } catch ( const CLI::CallForHelp& ) {
      output.text() += app.help();
      return allGood;
   } catch ( const CLI::CallForVersion& ) {
      output.text() += version;
      return allGood;
   } catch ( const CLI::ParseError& error ) {
      return misused( error.what() );
   }
}

} // namespace

int main( int argc, char** argv ) {
   try {
      Output output( STDOUT_FILENO, "standard output" );
      const int status = run( argc, argv, output );
      output.close();
      return status;
   } catch ( const std::bad_alloc& ) {
      reportFile( program, "out of memory" );
   } catch ( const std::exception& error ) {
      reportFile( program, error.what() );
   }
   return someBad;
}
