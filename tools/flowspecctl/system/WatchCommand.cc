#include "tools/flowspecctl/Commands.h"
#include "tools/flowspecctl/Options.h"
#include "tools/flowspecctl/system/TreeWatch.h"
#include "tools/state/StateRoots.h"

#include <set>

namespace Tools {

using namespace Flowspec;
using namespace Forms;

namespace {

constexpr std::chrono::hours aLongTime( 1 );

struct WatchOptions {
   Vek::String endpoint = defaultEndpoint;
   bool json = false;
   bool initial = false; // begin with what is there
   std::vector< Vek::String > roots{ "flowspec/config",  "flowspec/cliconfig", "flowspec/status",
                                     "flowspec/counter", "flowspec/bgp",       "flowspec/peers" };
};

// Goes on until the process is ended. A root that comes later is printed whole. Connections that
// are lost are reported, and tried again.
void watch( const WatchOptions& options, Output& output ) {
   StateRoots roots{ Vek::log::Endpoint( options.endpoint ) };
   for ( const Vek::String& root : std::set( options.roots.begin(), options.roots.end() ) ) {
      roots.read( root );
   }
   roots.settle();
   roots.mustStand();
   TreeWatch tree( output.text(), options.json );
   std::set< Vek::String > watched;
   for ( bool initial = options.initial;; initial = true ) {
      for ( const Vek::log::Mount* const mount : roots.mounts() ) {
         const auto root = roots.find( mount->root() );
         if ( root && watched.insert( mount->root() ).second ) {
            tree.watch( *root, initial );
         }
      }
      roots.reportFaults();
      output.flush();
      roots.turn( aLongTime );
   }
}

} // namespace

Run addWatch( CLI::App& command ) {
   const auto options = std::make_shared< WatchOptions >();
   addSocket( command, options->endpoint );
   command.add_flag( "--json", options->json, "Write an object for each change" );
   command.add_flag( "--initial", options->initial, "Begin with what is there" );
   command
      .add_option( "ROOT", options->roots, "Names of roots; those of the system when not given" )
      ->type_name( "" );
   command.footer( "Exit status: 1 when it cannot begin or write, 2 for wrong usage; else it goes "
                   "on until a signal ends it." );
   return [options]( Output& output ) {
      watch( *options, output );
      return true;
   };
}

} // namespace Tools
