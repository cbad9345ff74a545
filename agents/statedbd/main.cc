#include "Vek/Exceptions.h"
#include "Vek/Printable.h"
#include "agents/lib/Daemon.h"
#include "agents/lib/DaemonOptions.h"
#include "agents/statedbd/StateDatabase.h"

#include <cstdio>

namespace {

using namespace Agents;

struct Options {
   DaemonOptions daemon;
   StateDatabase::Options database;
   bool allowTcp = false;
   Vek::String access; ///< a file; none when empty
};

void addOptions( CLI::App& app, Options& options ) {
   addDaemonOptions( app, options.daemon, "Where to listen" );
   app.add_flag( "--allow-tcp", options.allowTcp,
                 "Listen on a TCP port, where any user of this machine can read and write" );
   app.add_option( "--access", options.access,
                   "A file that says who may write which root, read again on SIGHUP: lines "
                   "\"ROOT = user NAME, group NAME\"" )
      ->type_name( "FILE" );
   app.add_flag( "--verbose", options.database.verbose, "Log every client that comes and goes" );
}

// Reads the file anew. False, and all stays as it is, when there is a fault in it.
bool readAccess( const Options& options, StateDatabase& database ) {
   std::vector< Vek::String > faults;
   Access access = Access::read( options.access, faults );
   for ( const Vek::String& fault : faults ) {
      std::fprintf( stderr, "%s\n", Vek::printable( fault, Log::maxLine ).c_str() );
   }
   if ( faults.empty() ) {
      database.accessIs( std::move( access ) );
   }
   return faults.empty();
}

ExitStatus run( int argc, char** argv ) {
   CLI::App app( "Holds the state that agents share, and streams it to its readers.", "statedbd" );
   Options options;
   addOptions( app, options );
   if ( const auto status = parse( app, argc, argv ) ) {
      return *status;
   }
   const Vek::log::Endpoint endpoint( options.daemon.endpoint );
   if ( !endpoint.isUnix() && !options.allowTcp ) {
      return badUsage( app, "--socket: any user of this machine could read and write over TCP; "
                            "add --allow-tcp if that is wanted" );
   }
   Daemon daemon( "statedbd" );
   StateDatabase database( daemon.loop(), endpoint, options.database,
                           [&]( const Vek::String& line ) { daemon.logPeer( line ); } );
   if ( !options.access.empty() ) {
      if ( !readAccess( options, database ) ) {
         return ExitStatus::failed;
      }
      daemon.onHangup( [&] { readAccess( options, database ); } );
   }
   if ( !options.daemon.pidFile.empty() ) {
      daemon.pidFileIs( options.daemon.pidFile );
   }
   daemon.log( "listens on " + options.daemon.endpoint );
   if ( !endpoint.isUnix() ) {
      daemon.log( "warning: any user of this machine can read and write over TCP" );
   }
   daemon.run();
   return ExitStatus::good;
}

} // namespace

int main( int argc, char** argv ) {
   return Agents::daemonMain( "statedbd", [=] { return run( argc, argv ); } );
}
