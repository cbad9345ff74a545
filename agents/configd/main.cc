#include "Vek/text/Text.h"
#include "agents/configd/Deadlines.h"
#include "agents/configd/FileWatch.h"
#include "agents/configd/Filing.h"
#include "agents/configd/Report.h"
#include "agents/daemon/DaemonOptions.h"
#include "agents/daemon/ImmediateEnd.h"
#include "agents/daemon/MountHandler.h"
#include "agents/filing/RuleFiler.h"
#include "forms/dialects/RouteTargets.h"

#include <algorithm>
#include <optional>
#include <set>

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
   RuleDefaults defaults{ .strict = true };
};

// A file that could not be read says so once, without a line.
bool unreadable( const RuleFile& file ) {
   return std::ranges::any_of( file.errors,
                               []( const RuleError& error ) { return error.line == 0; } );
}

/// The rules of some files, filed under a root entity until they expire.
class Rules final : public EventLoop::Handler {
public:
   /// The most rules that have expired at once that are told by a line each.
   static constexpr std::size_t maxLines = 10;

   Rules( const Options& options, Daemon& daemon )
      : options_( options ), daemon_( daemon ), config_( Flowspec::configFactory( options.root ) ),
        deadlineRoot_( Peers::ruleDeadlinesFactory( options.root + "-deadlines" ) ),
        filing_( config_ ), files_( options.files.size() ), deadlines_( options.files.size() ) {
      daemon_.loop().add( *this );
   }
   Rules( const Rules& ) = delete;
   Rules& operator=( const Rules& ) = delete;
   ~Rules() { daemon_.loop().remove( *this ); }

   Flowspec::Config& config() { return *config_; }
   Peers::RuleDeadlines& deadlines() { return *deadlineRoot_; }

   int fd() const override { return -1; }
   EventLoop::Clock::time_point due() const override { return deadlines_.next( Deadlines::Now() ); }
   void ready() override { expire( Deadlines::Now() ); }

   /// Reads the files and files what differs. A file that cannot be read keeps the rules that it
   /// had. False when there was one.
   bool read() {
      // A million rules take a while.
      const ImmediateEnd end( options_.daemon.pidFile );
      bool good = true;
      U64 refused = 0;
      Report report;
      const Deadlines::Now now;
      for ( std::size_t i = 0; i < files_.size(); ++i ) {
         RuleFile file = readRuleFile( options_.files[i], options_.defaults );
         report.errors( file.errors );
         report.warnings( file.warnings );
         refused += file.errors.size();
         if ( unreadable( file ) ) {
            good = false;
         } else {
            const auto past = deadlines_.read( i, file, now );
            report.warnings( past );
            refused += past.size();
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
      deadlines_.write( files_, *deadlineRoot_, now );
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
   using Keys = std::set< Flowspec::FlowspecKey, Flowspec::FlowspecKeyOrder >;

   void expire( const Deadlines::Now& now ) {
      const auto expired = deadlines_.expire( now );
      if ( !expired.empty() ) {
         remove( expired );
      } else if ( !deadlines_.clockWasSet( now ) ) {
         return;
      }
      deadlines_.write( files_, *deadlineRoot_, now );
   }

   void remove( std::span< const Deadlines::Expired > expired ) {
      std::vector< Keys > keys( files_.size() );
      Keys gone;
      for ( const Deadlines::Expired& rule : expired ) {
         keys[rule.file].insert( rule.key );
         gone.insert( rule.key );
         if ( gone.size() <= maxLines ) {
            daemon_.log( Vek::concat(
               options_.files[rule.file], ':', rule.line,
               ": the rule has expired and is removed: ", rule.key.toStrepCli( false ) ) );
         }
      }
      if ( expired.size() > maxLines ) {
         daemon_.log(
            Vek::concat( expired.size() - maxLines, " more rules have expired and are removed" ) );
      }
      remove( keys, gone );
   }

   // The rules of `keys` go from their files. What other files have of the keys may count now.
   void remove( const std::vector< Keys >& keys, Keys& gone ) {
      const std::size_t all = gone.size();
      for ( std::size_t i = 0; i < files_.size(); ++i ) {
         std::erase_if( files_[i].rules, [&]( const Forms::FiledRule& rule ) {
            return keys[i].contains( rule.key );
         } );
         for ( const Forms::FiledRule& rule : files_[i].rules ) {
            gone.erase( rule.key );
         }
      }
      if ( gone.size() < all ) {
         filing_.apply( files_ );
         return;
      }
      RuleFiler filer( config_ );
      for ( const Flowspec::FlowspecKey& key : gone ) {
         filer.remove( key );
         filer.dropEmptyVrf( key.vrfId() );
      }
   }

   struct Outcome {
      U64 feasible;
      U64 infeasible;
      U64 refused;
   };

   const Options& options_;
   Daemon& daemon_;
   const Vek::Ptr< Flowspec::Config > config_;
   const Vek::Ptr< Peers::RuleDeadlines > deadlineRoot_;
   Filing filing_;
   std::vector< RuleFile > files_;
   Deadlines deadlines_;
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
   app.add_flag_callback(
      "--lenient", [&] { options.defaults.strict = false; },
      "File rules that are not what their text looks like, with a warning" );
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
   Vek::log::Mount deadlineMount( Vek::log::Endpoint( options.daemon.endpoint ), "configd",
                                  rules.deadlines() );
   const MountHandler deadlineHandler( daemon, deadlineMount );
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
