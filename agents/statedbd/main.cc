#include "Vek/text/Exceptions.h"
#include "Vek/text/Printable.h"
#include "Vek/text/Text.h"
#include "agents/daemon/Daemon.h"
#include "agents/daemon/DaemonOptions.h"
#include "agents/statedbd/StateDatabase.h"

#include <cerrno>
#include <cstdio>
#include <system_error>

#include <sys/stat.h>

namespace {

using namespace Agents;

constexpr const char* defaultStateFolder = "/var/lib/flowspec";

struct Options {
   DaemonOptions daemon;
   StateDatabase::Options database;
   bool allowTcp = false;
   Vek::String access; ///< a file; none when empty
   Vek::String stateFolder = defaultStateFolder;
   bool namesStateFolder = false;
   std::vector< Vek::String > kept{ "flowspec/cliconfig=Flowspec::CliConfig" };
};

void addOptions( CLI::App& app, Options& options ) {
   addDaemonOptions( app, options.daemon, "Where to listen" );
   app.add_flag( "--allow-tcp", options.allowTcp,
                 "Listen on a TCP port, where any user of this machine can read and write" );
   app.add_option( "--access", options.access,
                   "A file that says who may write which root, read again on SIGHUP: lines "
                   "\"ROOT = user NAME, group NAME\"" )
      ->type_name( "FILE" );
   app.add_option( "--persist", options.kept,
                   "A root that is kept on the disk, and the type that it must have; may be given "
                   "several times" )
      ->type_name( "NAME[=TYPE]" )
      ->allow_extra_args( false )
      ->capture_default_str();
   app.add_option( "--state-dir", options.stateFolder, "The folder where roots are kept" )
      ->type_name( "DIR" )
      ->capture_default_str();
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

// Where roots are kept. The folder that nobody named may be missing: then nothing is kept.
std::unique_ptr< Disk > openDisk( const Options& options, const Daemon& daemon ) {
   if ( options.namesStateFolder && ::mkdir( options.stateFolder.c_str(), 0700 ) < 0 &&
        errno != EEXIST ) {
      throw std::system_error( errno, std::generic_category(),
                               "cannot make " + options.stateFolder );
   }
   try {
      return std::make_unique< FolderDisk >( options.stateFolder );
   } catch ( const std::runtime_error& error ) {
      if ( options.namesStateFolder ) {
         throw;
      }
      daemon.log( Vek::concat( "warning: nothing is kept on the disk: ", error.what(),
                               "; --state-dir names another folder" ) );
      return nullptr;
   }
}

StateDatabase::Kept kept( const Vek::String& text ) {
   // A root's name may have a '=', a type's has none.
   const std::size_t equals = text.rfind( '=' );
   if ( equals == text.npos ) {
      return { .root = text, .type = {} };
   }
   StateDatabase::Kept named{ .root = text.substr( 0, equals ), .type = text.substr( equals + 1 ) };
   Vek::Directory().create( named.type, named.root ); // or it raises that there is no such type
   return named;
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
   options.namesStateFolder = app.count( "--state-dir" ) != 0;
   for ( const Vek::String& text : options.kept ) {
      options.database.kept.push_back( kept( text ) );
   }
   Daemon daemon( "statedbd" );
   const std::unique_ptr< Disk > disk = openDisk( options, daemon );
   options.database.disk = disk.get();
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
