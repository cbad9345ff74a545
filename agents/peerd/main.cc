#include "agents/daemon/DaemonOptions.h"
#include "agents/daemon/OwnRoot.h"
#include "agents/peerd/RequestRoot.h"
#include "agents/peerd/Speaker.h"
#include "peers/PeerTable.h"

#include <optional>
#include <stdexcept>

namespace {

using namespace Agents;
using Peerd::PeerdConfig;
using Peerd::Speaker;

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

/// The daemon: takes over what it wrote before, and speaks from then on.
class Program {
public:
   Program( const Options& options, PeerdConfig config )
      : options_( options ), config_( std::move( config ) ),
        rules_( daemon_, endpoint(), Vek::String( Flowspec::Config::typeName ), options.root,
                [this] { begin(); } ),
        peers_( daemon_, endpoint(), Vek::String( Peers::PeerTable::typeName ), options.peers,
                [this] { begin(); } ) {
      daemon_.onHangup( [this] { readAgain(); } );
   }

   void run() {
      if ( !options_.daemon.pidFile.empty() ) {
         daemon_.pidFileIs( options_.daemon.pidFile );
      }
      daemon_.run();
   }

private:
   Vek::log::Endpoint endpoint() const { return Vek::log::Endpoint( options_.daemon.endpoint ); }

   // Once both roots are there.
   void begin() {
      if ( !rules_.isTaken() || !peers_.isTaken() ) {
         return;
      }
      speaker_.emplace(
         daemon_,
         Speaker::Roots{ rules_.root< Flowspec::Config >(), peers_.root< Peers::PeerTable >() },
         config_ );
      exported_.emplace( daemon_, endpoint(), options_.exported, speaker_->exported(),
                         [this] { speaker_->exportedChanged(); } );
      requests_.emplace( daemon_, endpoint(), options_.requests, *speaker_ );
      daemon_.onEnd( [this] { speaker_->stop(); } );
   }

   // What is wrong is told, and changes nothing.
   void readAgain() {
      try {
         if ( auto config = Peerd::readPeerdFile( options_.config ) ) {
            config_ = *std::move( config );
            if ( speaker_ ) {
               speaker_->configIs( config_ );
            }
            daemon_.log( Vek::concat( options_.config, ": ", config_.peers.size(), " peers" ) );
         } else {
            daemon_.log( options_.config + ": the configuration stays as it was" );
         }
      } catch ( const std::runtime_error& error ) {
         daemon_.log( error.what() );
      }
   }

   const Options& options_;
   PeerdConfig config_;
   Daemon daemon_{ "peerd" };
   OwnRoot rules_;
   OwnRoot peers_;
   std::optional< Speaker > speaker_;
   std::optional< Peerd::ExportRoot > exported_;
   std::optional< Peerd::RequestRoot > requests_;
};

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
   Program( options, *std::move( config ) ).run();
   return ExitStatus::good;
}

} // namespace

int main( int argc, char** argv ) {
   return Agents::daemonMain( "peerd", [=] { return run( argc, argv ); } );
}
