#include "agents/daemon/DaemonOptions.h"
#include "agents/peerd/PeerdConfig.h"

namespace {

using namespace Agents;
using Peerd::PeerdConfig;

struct Options {
   DaemonOptions daemon;
   Vek::String config;
   Vek::String root = "flowspec/bgp";
   Vek::String peers = "flowspec/peers";
   Vek::String requests = "flowspec/peer-requests";
   Vek::String exported = "flowspec/config";
   bool check = false;
};

void addOptions( CLI::App& app, Options& options ) {
   addDaemonOptions( app, options.daemon, "Where the state database listens" );
   const auto addRoot = [&]( const char* option, Vek::String& name, const char* help ) {
      app.add_option( option, name, help )->type_name( "NAME" )->capture_default_str();
   };
   addRoot( "--root", options.root, "Root for the rules of peers" );
   addRoot( "--peers", options.peers, "Root for the state of peers" );
   addRoot( "--requests", options.requests, "Root with what operators ask for" );
   addRoot( "--export", options.exported, "Root whose rules are announced" );
   app.add_option( "--config", options.config, "What is configured, a JSON file" )
      ->required()
      ->type_name( "FILE" );
   app.add_flag( "--check", options.check,
                 "Reads the configuration, says what is wrong with it, and ends" );
}

ExitStatus run( int argc, char** argv ) {
   CLI::App app( "Speaks BGP with peers: files the flow specifications that they announce, and "
                 "announces ours.",
                 "peerd" );
   Options options;
   addOptions( app, options );
   if ( const auto status = parse( app, argc, argv ) ) {
      return *status;
   }
   if ( options.exported == options.root ) {
      return badUsage( app, "the rules of peers are not announced: --export names the root of "
                            "--root" );
   }
   auto config = Peerd::readPeerdFile( options.config );
   if ( !config ) {
      return ExitStatus::failed;
   }
   if ( options.check ) {
      return ExitStatus::good;
   }
   Daemon daemon( "peerd" );
   if ( !options.daemon.pidFile.empty() ) {
      daemon.pidFileIs( options.daemon.pidFile );
   }
   daemon.run();
   return ExitStatus::good;
}

} // namespace

int main( int argc, char** argv ) {
   return Agents::daemonMain( "peerd", [=] { return run( argc, argv ); } );
}
