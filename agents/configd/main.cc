#include "Vek/Text.h"
#include "agents/configd/FileWatch.h"
#include "agents/configd/Filing.h"
#include "agents/lib/DaemonOptions.h"
#include "agents/lib/MountHandler.h"
#include "tools/lib/Diagnostics.h"

#include <algorithm>

namespace {

using namespace Agents;
using Flowspec::Configd::Filed;
using Flowspec::Configd::Filing;
using Flowspec::Configd::readRuleFile;
using Flowspec::Configd::RuleDefaults;
using Flowspec::Configd::RuleError;
using Flowspec::Configd::RuleFile;

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

void report( std::span< const RuleError > errors ) {
   for ( const RuleError& error : errors ) {
      if ( error.line ) {
         Flowspec::Tools::reportLine( error.file, error.line, error.reason );
      } else {
         Flowspec::Tools::reportFile( error.file, error.reason );
      }
   }
}

/// The rules of some files, filed under a root entity.
class Rules {
public:
   Rules( const Options& options, Vek::Ptr< Flowspec::Config > config )
      : options_( options ), filing_( std::move( config ) ), files_( options.files.size() ) {}

   /// Reads the files and files what differs. A file that cannot be read keeps the rules that it
   /// had. False when there was one.
   bool read( const Daemon& daemon ) {
      bool good = true;
      U64 refused = 0;
      for ( std::size_t i = 0; i < files_.size(); ++i ) {
         RuleFile file = readRuleFile( options_.files[i], options_.defaults );
         report( file.errors );
         refused += file.errors.size();
         if ( unreadable( file ) ) {
            good = false;
         } else {
            files_[i] = std::move( file );
         }
      }
      const Filed filed = filing_.apply( files_ );
      report( filed.errors );
      for ( const RuleError& warning : filed.warnings ) {
         Flowspec::Tools::warnLine( warning.file, warning.line, warning.reason );
      }
      daemon.log( Vek::concat( "filed ", filed.feasible, " rules and ", filed.infeasible,
                               " infeasible ones: ", filed.added, " new, ", filed.removed,
                               " gone, ", refused + filed.errors.size(), " refused" ) );
      return good;
   }

private:
   const Options& options_;
   Filing filing_;
   std::vector< RuleFile > files_;
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
   app.add_option( "FILE", options.files,
                   "Rule files; the ending tells the form: .jsonl, .cli, .cli-len, .rd, .rd-len, "
                   ".value, .diag" )
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
   const auto config = Flowspec::configFactory( options.root );
   Rules rules( options, config );
   const FileWatch watch( daemon.loop(), options.files, [&] { rules.read( daemon ); } );
   if ( !rules.read( daemon ) ) {
      return ExitStatus::failed;
   }
   daemon.onHangup( [&] { rules.read( daemon ); } );
   Vek::log::Mount mount( Vek::log::Endpoint( options.daemon.endpoint ), "configd", *config );
   const MountHandler handler( daemon, mount );
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
