#include "agents/daemon/DaemonOptions.h"

#include "Vek/mount/Endpoint.h"

#include <cstdio>

namespace Agents {

void addDaemonOptions( CLI::App& app, DaemonOptions& options, const Vek::String& endpointHelp ) {
   app.add_option( "--socket", options.endpoint,
                   endpointHelp + ": the path of a Unix socket, or 127.0.0.1:PORT" )
      ->type_name( "ENDPOINT" )
      ->capture_default_str()
      ->check( Vek::log::Endpoint::fault );
   app.add_option( "--pid-file", options.pidFile, "A file for the process's number" )
      ->type_name( "FILE" );
   app.set_version_flag( "--version", app.get_name() + " " FLOWSPEC_VERSION );
   app.footer(
      "Exit status: 0 when it was told to end by SIGTERM or SIGINT, 1 when it failed, 2 for "
      "wrong usage." );
}

ExitStatus badUsage( const CLI::App& app, const Vek::String& reason ) {
   std::fprintf( stderr, "%s: %s\nTry '%s --help'.\n", app.get_name().c_str(), reason.c_str(),
                 app.get_name().c_str() );
   return ExitStatus::badUsage;
}

std::optional< ExitStatus > parse( CLI::App& app, int argc, char** argv ) {
   try {
      app.parse( argc, argv );
      return std::nullopt;
   } catch ( const CLI::CallForHelp& ) {
      std::fputs( app.help().c_str(), stdout );
      return ExitStatus::good;
   } catch ( const CLI::CallForVersion& exception ) {
      std::printf( "%s\n", exception.what() );
      return ExitStatus::good;
   } catch ( const CLI::ParseError& error ) {
      return badUsage( app, error.what() );
   }
}

} // namespace Agents
