#include "tools/flowspecctl/DumpCommand.h"

#include "tools/lib/Diagnostics.h"
#include "tools/lib/StateRoots.h"
#include "tools/lib/StateText.h"

#include <set>

namespace Flowspec::Tools {

bool runDump( const DumpOptions& options, Output& output ) {
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

} // namespace Flowspec::Tools
