#include "Vek/Exceptions.h"
#include "agents/lib/Daemon.h"
#include "agents/lib/DaemonOptions.h"
#include "agents/statedbd/StateDatabase.h"

namespace {

using namespace Agents;

ExitStatus run( int argc, char** argv ) {
   CLI::App app( "Holds the state that agents share, and streams it to who reads it.", "statedbd" );
   DaemonOptions options;
   addDaemonOptions( app, options, "Where to listen" );
   if ( const auto status = parse( app, argc, argv ) ) {
      return *status;
   }
   Daemon daemon( "statedbd" );
   StateDatabase database( daemon.loop(), Vek::log::Endpoint( options.endpoint ),
                           [&]( const Vek::String& line ) { daemon.log( line ); } );
   if ( !options.pidFile.empty() ) {
      daemon.pidFileIs( options.pidFile );
   }
   daemon.log( "listens on " + options.endpoint );
   daemon.run();
   return ExitStatus::good;
}

} // namespace

int main( int argc, char** argv ) {
   return Agents::daemonMain( "statedbd", [=] { return run( argc, argv ); } );
}
