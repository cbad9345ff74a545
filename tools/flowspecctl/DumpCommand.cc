#include "forms/Diagnostics.h"
#include "tools/flowspecctl/Commands.h"
#include "tools/flowspecctl/Options.h"
#include "tools/state/StateRoots.h"
#include "tools/state/StateText.h"

#include <set>

namespace Tools {

using namespace Flowspec;
using namespace Forms;

namespace {

struct DumpOptions {
   Vek::String endpoint = defaultEndpoint;
   bool json = false;
   std::vector< Vek::String > roots;
};

// In the order of the roots' names. What does not come within ten seconds is reported, too.
bool dump( const DumpOptions& options, Output& output ) {
   StateRoots roots{ Vek::log::Endpoint( options.endpoint ) };
   for ( const Vek::String& root : std::set( options.roots.begin(), options.roots.end() ) ) {
      roots.read( root );
   }
   roots.settle();
   bool good = true;
   for ( const Vek::log::Mount* const mount : roots.mounts() ) {
      const Vek::String fault = StateRoots::fault( *mount );
      const auto root = roots.find( mount->root() );
      if ( fault.empty() && root ) {
         appendState( output.text(), *root, options.json );
         output.flushIfLarge();
      } else {
         good = false;
         output.flush();
         reportFile( mount->root(), fault.empty() ? StateRoots::absent : fault );
      }
   }
   output.flush();
   return good;
}

} // namespace

Run addDump( CLI::App& command ) {
   const auto options = std::make_shared< DumpOptions >();
   addSocket( command, options->endpoint );
   command.add_flag( "--json", options->json, "Write an object for each root" );
   command.add_option( "ROOT", options->roots, "Names of roots, such as flowspec/config" )
      ->required()
      ->type_name( "" );
   command.footer( "Exit status: 0 when all was printed, 1 when it was not, 2 for wrong usage." );
   return [options]( Output& output ) { return dump( *options, output ); };
}

} // namespace Tools
