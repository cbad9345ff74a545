#include "forms/Diagnostics.h"
#include "tools/flowspecctl/Commands.h"
#include "tools/terminal/Terminal.h"
#include "tools/terminal/Wrap.h"

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

// The program and the command that were named so far.
Vek::String commandOf( const CLI::App& app ) {
   Vek::String name = app.get_name();
   for ( const CLI::App* const command : app.get_subcommands() ) {
      name += ' ' + commandOf( *command );
   }
   return name;
}

int misused( std::string_view message, std::string_view command ) {
   reportFile( program, message );
   const Vek::String hint = Vek::concat( "Try '", command, " --help'.\n" );
   [[maybe_unused]] const ssize_t written = ::write( STDERR_FILENO, hint.data(), hint.size() );
   return badUsage;
}

int run( int argc, char** argv, Output& output ) {
   CLI::App app( "Reads, checks, converts and prints BGP flow-specification rules.", program );
   app.require_subcommand( 1 );
   app.set_version_flag( "--version", version );
   const Run run = addCommands( app );
   if ( const auto unknown = unknownCommand( { argv + 1, argv + argc } ) ) {
      return misused( *unknown, program );
   }
   try {
      app.parse( argc, argv );
      return run( output ) ? allGood : someBad;
   } catch ( const CLI::CallForHelp& ) {
      output.text() += wrapped( app.help(), lineWidth() );
      return allGood;
   } catch ( const CLI::CallForVersion& ) {
      output.text() += version;
      return allGood;
   } catch ( const CLI::ParseError& error ) {
      return misused( error.what(), commandOf( app ) );
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
