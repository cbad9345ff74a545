#include "Vek/text/Text.h"
#include "agents/daemon/DaemonOptions.h"
#include "agents/daemon/MountHandler.h"
#include "agents/programd/CaptureStart.h"
#include "agents/programd/Metrics.h"
#include "agents/programd/PacketFile.h"
#include "agents/programd/Programmer.h"
#include "agents/programd/SoftwareTcam.h"
#include "agents/programd/nftables/NftBackend.h"
#include "forms/Diagnostics.h"
#include "forms/TextFile.h"
#include "match/LinkLayer.h"

#include <algorithm>
#include <optional>

namespace {

using namespace Agents;
using namespace Dataplane;
using Vek::log::Endpoint;
using Vek::log::Mount;

struct Options {
   DaemonOptions daemon;
   std::vector< Vek::String > configs{ "flowspec/config", "flowspec/bgp" };
   Vek::String cliConfig = "flowspec/cliconfig";
   Vek::String status = "flowspec/status";
   Vek::String counter = "flowspec/counter";
   Vek::String packets; // none when empty
   U64 intf = 1;
   std::optional< U32 > counterInterval; // seconds
   Vek::String metrics;                  // none when empty
   Vek::String backend = "tcam";
   Vek::String profile;
};

void addOptions( CLI::App& app, Options& options ) {
   addDaemonOptions( app, options.daemon, "Where the state database listens" );
   const auto addRoot = [&]( const char* option, Vek::String& name, const char* help ) {
      app.add_option( option, name, help )->type_name( "NAME" )->capture_default_str();
   };
   app.add_option( "--config", options.configs,
                   "Root with rules; given several times, of two rules with one key that of the "
                   "first root counts" )
      ->type_name( "NAME" )
      ->capture_default_str()
      ->expected( 1 )
      ->take_all()
      ->allow_extra_args( false );
   addRoot( "--cli-config", options.cliConfig, "Root with the interfaces" );
   addRoot( "--status", options.status, "Root for what became of the rules" );
   addRoot( "--counter", options.counter, "Root for their counters" );
   app.add_option( "--packets", options.packets,
                   "A capture file whose packets come in; - is standard input" )
      ->type_name( "FILE" );
   app.add_option( "--interface", options.intf, "Number of the interface that they come in on" )
      ->type_name( "NUMBER" )
      ->capture_default_str();
   app.add_option( "--counter-interval", options.counterInterval,
                   "Read counters every so many seconds; 15 with --metrics, else only on request" )
      ->type_name( "SECONDS" )
      ->check( CLI::Range( 1, 86'400 ) );
   app.add_option( "--metrics", options.metrics,
                   "A file for Prometheus, replaced each time that counters are read" )
      ->type_name( "FILE" );
   app.add_option( "--backend", options.backend,
                   "What rules are programmed into: tcam, a TCAM in software, or nftables, the "
                   "kernel's" )
      ->type_name( "NAME" )
      ->capture_default_str()
      ->check( CLI::IsMember( { "tcam", "nftables" } ) );
   app.add_option( "PROFILE", options.profile,
                   "What the hardware can and how it is wired, a JSON file; of it nftables takes "
                   "interfaces and VRFs, and does without" )
      ->type_name( "" );
}

// Nothing, after a message, when it is not good.
std::optional< Profile > readProfile( const Vek::String& file ) {
   try {
      return Profile::read( Forms::readTextFile( file ) );
   } catch ( const ProfileError& error ) {
      Forms::reportLine( file, error.line(), error.what() );
      return std::nullopt;
   }
}

double now() {
   const auto since = std::chrono::system_clock::now().time_since_epoch();
   return std::chrono::duration< double >( since ).count();
}

/// The daemon: keeps copies of the configuration, programs the back end, and writes the status.
class Programd {
public:
   /// The TCAM has a profile.
   Programd( const Options& options, std::optional< Profile > profile )
      : options_( options ), backend_( backendOf( std::move( profile ) ) ),
        status_( Flowspec::statusFactory( options.status ) ),
        counter_( Flowspec::counterFactory( options.counter ) ),
        cliReader_( endpoint(), "programd", options.cliConfig, directory_ ),
        statusWriter_( endpoint(), "programd", *status_ ),
        counterWriter_( endpoint(), "programd", *counter_ ) {
      // There before the state database has them, so that they can be watched.
      for ( const Vek::String& config : options.configs ) {
         configReaders_.push_back(
            std::make_unique< Mount >( endpoint(), "programd", config, directory_ ) );
         directory_.create( "Flowspec::Config", config );
      }
      directory_.create( "Flowspec::CliConfig", options.cliConfig );
   }

   void run() {
      // The configuration is complete before anything is programmed or told.
      const auto configured = [this] { work(); };
      std::vector< std::unique_ptr< MountHandler > > configs;
      for ( const auto& reader : configReaders_ ) {
         configs.push_back( std::make_unique< MountHandler >( daemon_, *reader, configured ) );
      }
      const MountHandler cli( daemon_, cliReader_, configured );
      if ( !options_.daemon.pidFile.empty() ) {
         daemon_.pidFileIs( options_.daemon.pidFile );
      }
      daemon_.run();
   }

private:
   std::unique_ptr< Backend > backendOf( std::optional< Profile > profile ) {
      if ( options_.backend == "nftables" ) {
         return std::make_unique< Agents::Nftables::NftBackend >(
            daemon_.loop(), std::move( profile ),
            [this]( std::string_view text ) { daemon_.log( text ); } );
      }
      auto tcam = std::make_unique< SoftwareTcam >( *std::move( profile ) );
      tcam_ = tcam.get();
      return tcam;
   }

   Endpoint endpoint() const { return Endpoint( options_.daemon.endpoint ); }

   template < typename Root >
   Vek::Ptr< Root > root( const Vek::String& name ) const {
      return Vek::Ptr( static_cast< Root* >( directory_.entity( name ).get() ) );
   }

   void work() {
      if ( !programmer_ ) {
         const auto stands = []( const auto& reader ) { return reader->stands(); };
         if ( !std::ranges::all_of( configReaders_, stands ) || !cliReader_.stands() ) {
            return;
         }
         begin();
      }
      if ( programmer_->changed() && process() ) {
         tellConfigured();
      }
   }

   bool process() {
      const auto start = EventLoop::Clock::now();
      const bool changed = programmer_->process( now() );
      if ( changed ) {
         programming_ = std::chrono::duration< double >( EventLoop::Clock::now() - start ).count();
      }
      return changed;
   }

   void readCounters() {
      programmer_->readCounters( now() );
      if ( options_.metrics.empty() ) {
         return;
      }
      Vek::String fault;
      try {
         writeWhole( options_.metrics, metricsText( *status_, programming_ ) );
      } catch ( const std::runtime_error& error ) {
         fault = error.what();
      }
      // Once, not every few seconds.
      if ( fault != metricsFault_ && !fault.empty() ) {
         daemon_.log( fault );
      }
      metricsFault_ = fault;
   }

   void tellConfigured() {
      if ( captureStart_ && programmer_->configured() ) {
         captureStart_->configured();
      }
   }

   void begin() {
      ConfigWatcher::Configs configs;
      for ( const Vek::String& config : options_.configs ) {
         configs.push_back( root< Flowspec::Config >( config ) );
      }
      programmer_.emplace( std::move( configs ), root< Flowspec::CliConfig >( options_.cliConfig ),
                           *backend_, status_, counter_ );
      process();
      if ( options_.counterInterval || !options_.metrics.empty() ) {
         readCounters();
         counterTimer_.emplace( daemon_.loop(),
                                std::chrono::seconds( options_.counterInterval.value_or( 15 ) ),
                                [this] { readCounters(); } );
      }
      statusHandler_.emplace( daemon_, statusWriter_ );
      counterHandler_.emplace( daemon_, counterWriter_ );
      if ( !options_.packets.empty() ) {
         captureStart_.emplace( daemon_.loop(), [this] { takePackets(); } );
         daemon_.onHangup( [this] {
            if ( captureStart_->started() ) {
               takePackets();
            }
         } );
         tellConfigured();
         if ( !captureStart_->isConfigured() ) {
            daemon_.log( options_.packets +
                         ": waits for rules, and for an interface that they are applied on" );
         }
      }
   }

   // Takes the packets from the first one on.
   void takePackets() {
      packets_.reset();
      try {
         packets_.emplace(
            daemon_.loop(), options_.packets,
            [this]( std::span< const U8 > frame, U32 linkType, U32 length ) {
               if ( const auto packet =
                       Match::parsePacket( Match::ipPacketOf( frame, linkType ) ) ) {
                  tcam_->process( Zorv::IntfId( options_.intf ), *packet, length );
               }
            },
            [this]( U64 packets, const Vek::String& reason ) {
               const std::string_view separator = reason.empty() ? "" : ": ";
               daemon_.log(
                  Vek::concat( options_.packets, ": ", packets, " packets", separator, reason ) );
            } );
      } catch ( const std::runtime_error& error ) {
         daemon_.log( error.what() );
      }
   }

   const Options& options_;
   Daemon daemon_{ "programd" };
   SoftwareTcam* tcam_ = nullptr; // the back end, when it is this one
   const std::unique_ptr< Backend > backend_;
   Vek::Directory directory_;
   const Vek::Ptr< Flowspec::Status > status_;
   const Vek::Ptr< Flowspec::Counter > counter_;
   std::vector< std::unique_ptr< Mount > > configReaders_; // in the order of preference
   Mount cliReader_;
   Mount statusWriter_;
   Mount counterWriter_;
   std::optional< Programmer > programmer_;
   std::optional< MountHandler > statusHandler_;
   std::optional< MountHandler > counterHandler_;
   std::optional< Repeat > counterTimer_;
   double programming_ = 0;
   Vek::String metricsFault_; // of the last writing
   std::optional< CaptureStart > captureStart_;
   std::optional< PacketFile > packets_;
};

ExitStatus run( int argc, char** argv ) {
   CLI::App app( "Programs flow-specification rules and reports what became of them.", "programd" );
   Options options;
   addOptions( app, options );
   if ( const auto status = parse( app, argc, argv ) ) {
      return *status;
   }
   for ( const Vek::String& config : options.configs ) {
      if ( std::ranges::count( options.configs, config ) > 1 ) {
         return badUsage( app, "--config: " + config + " is given twice" );
      }
   }
   const bool tcam = options.backend == "tcam";
   if ( tcam && options.profile.empty() ) {
      return badUsage( app, "PROFILE is required" );
   }
   if ( !tcam && !options.packets.empty() ) {
      return badUsage( app, "--packets: nftables takes those of the kernel's interfaces" );
   }
   std::optional< Profile > profile;
   if ( !options.profile.empty() ) {
      profile = readProfile( options.profile );
      if ( !profile ) {
         return ExitStatus::failed;
      }
   }
   Programd( options, std::move( profile ) ).run();
   return ExitStatus::good;
}

} // namespace

int main( int argc, char** argv ) {
   return Agents::daemonMain( "programd", [=] { return run( argc, argv ); } );
}
