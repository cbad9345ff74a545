#include "Vek/text/Text.h"
#include "agents/configd/FileWatch.h"
#include "agents/configd/Filing.h"
#include "agents/configd/Report.h"
#include "agents/daemon/DaemonOptions.h"
#include "agents/daemon/ImmediateEnd.h"
#include "agents/daemon/MountHandler.h"
#include "forms/dialects/RouteTargets.h"

#include <algorithm>
#include <optional>

namespace {

using namespace Agents;
using Agents::Filed;
using Agents::Filing;
using Agents::Report;
using Forms::readRuleFile;
using Forms::RuleDefaults;
using Forms::RuleError;
using Forms::RuleFile;

struct Options {
   DaemonOptions daemon;
   Vek::String root = "flowspec/config";
   std::vector< Vek::String > files;
   RuleDefaults defaults;
};

// A file that could not be read says so once, without a line.
bool unreadable( const RuleFile& file ) {
   return std::ranges::any_of( file.errors,
                               []( const RuleError& error ) { return error.line == 0; } );
}

/// The rules of some files, filed under a root entity.
class Rules {
public:
   Rules( const Options& options, const Daemon& daemon )
      : options_( options ), daemon_( daemon ), config_( Flowspec::configFactory( options.root ) ),
        filing_( config_ ), files_( options.files.size() ) {}

   Flowspec::Config& config() { return *config_; }

   /// Reads the files and files what differs. A file that cannot be read keeps the rules that it
   /// had. False when there was one.
   bool read() {
      // A million rules take a while.
      const ImmediateEnd end( options_.daemon.pidFile );
      bool good = true;
      U64 refused = 0;
      Report report;
      for ( std::size_t i = 0; i < files_.size(); ++i ) {
         RuleFile file = readRuleFile( options_.files[i], options_.defaults );
         report.errors( file.errors );
         report.warnings( file.warnings );
         refused += file.errors.size();
         if ( unreadable( file ) ) {
            good = false;
         } else {
            file.errors = {};
            file.warnings = {};
            files_[i] = std::move( file );
         }
      }
      const Filed filed = filing_.apply( files_ );
      report.errors( filed.errors );
      report.warnings( filed.warnings );
      for ( const Vek::String& text : report.rest() ) {
         daemon_.log( text );
      }
      added_ += filed.added;
      removed_ += filed.removed;
      outcome_ = { filed.feasible, filed.infeasible, refused + filed.errors.size() };
      return good;
   }

   /// Logs what became of the rules, once readers of the database can have them.
   void tell( const Vek::log::Mount& mount ) {
      if ( !outcome_ || !mount.acknowledged() ) {
         return;
      }
      daemon_.log( Vek::concat( "filed ", outcome_->feasible, " rules and ", outcome_->infeasible,
                                " infeasible ones: ", added_, " new, ", removed_, " gone, ",
                                outcome_->refused, " refused" ) );
      outcome_.reset();
      added_ = 0;
      removed_ = 0;
   }

private:
   struct Outcome {
      U64 feasible;
      U64 infeasible;
      U64 refused;
   };

   const Options& options_;
   const Daemon& daemon_;
   const Vek::Ptr< Flowspec::Config > config_;
   Filing filing_;
   std::vector< RuleFile > files_;
   std::optional< Outcome > outcome_; // of the last reading, while it was not told
   U64 added_ = 0;                    // by all readings that were not told
   U64 removed_ = 0;
};

void addOptions( CLI::App& app, Options& options ) {
   addDaemonOptions( app, options.daemon, "Where the state database listens" );
   app.add_option( "--root", options.root, "Name of the root entity that holds the rules" )
      ->type_name( "NAME" )
      ->capture_default_str();
   app.add_option( "--vrf", options.defaults.vrfId, "VRF for rules that have none" )
      ->type_name( "NUMBER" )
      ->capture_default_str();
   app.add_option_function< Vek::String >(
         "--family",
         [&]( const Vek::String& text ) {
            options.defaults.family = Zorv::addressFamily( text );
            if ( !options.defaults.family ) {
               throw CLI::ValidationError( "--family", "'" + text + "' is not an address family" );
            }
         },
         "Address family, ipv4 or ipv6, for rules that have none" )
      ->type_name( "FAMILY" );
   app.add_option( "--local-as", options.defaults.localAs,
                   "AS number whose interface sets in communities are ours" )
      ->type_name( "NUMBER" )
      ->capture_default_str();
   app.add_option_function< std::vector< Vek::String > >(
         "--route-target",
         [&]( const std::vector< Vek::String >& texts ) {
            for ( const Vek::String& text : texts ) {
               if ( !Forms::addRouteTarget( text, options.defaults.vrfs ) ) {
                  throw CLI::ValidationError( "--route-target",
                                              "'" + text +
                                                 "' is not a route target, '=' and the number of "
                                                 "a VRF" );
               }
            }
         },
         "The VRF that redirects to a route target mean, such as 65000:100=5" )
      ->type_name( "TARGET=VRF" )
      ->expected( 1 )
      ->allow_extra_args( false )
      ->multi_option_policy( CLI::MultiOptionPolicy::TakeAll );
   app.add_option( "FILE", options.files,
                   "Rule files; the ending tells the form: .jsonl, .cli, .cli-len, .rd, .rd-len, "
                   ".value, .diag, .bird, .exabgp, .exabgp-json, .gobgp, .gobgp-json, .nlri, "
                   ".nlri-vpn" )
      ->required()
      ->type_name( "" );
}

ExitStatus run( int argc, char** argv ) {
   CLI::App app( "Files flow-specification rules as configuration in the state database.",
                 "configd" );
   Options options;
   addOptions( app, options );
   if ( const auto status = parse( app, argc, argv ) ) {
      return *status;
   }
   Daemon daemon( "configd" );
   Rules rules( options, daemon );
   std::optional< Vek::log::Mount > mount;
   const auto readAgain = [&] {
      rules.read();
      rules.tell( *mount );
   };
   const FileWatch watch( daemon.loop(), options.files, readAgain );
   if ( !rules.read() ) {
      return ExitStatus::failed;
   }
   daemon.onHangup( readAgain );
   mount.emplace( Vek::log::Endpoint( options.daemon.endpoint ), "configd", rules.config() );
   const MountHandler handler( daemon, *mount, [&] { rules.tell( *mount ); } );
   if ( !options.daemon.pidFile.empty() ) {
      daemon.pidFileIs( options.daemon.pidFile );
   }
   daemon.run();
   return ExitStatus::good;
}

} // namespace

int main( int argc, char** argv ) {
   return Agents::daemonMain( "configd", [=] { return run( argc, argv ); } );
}
