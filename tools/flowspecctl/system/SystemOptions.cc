#include "tools/flowspecctl/system/SystemOptions.h"

#include "tools/flowspecctl/Options.h"

#include <algorithm>

namespace Tools {

using namespace Flowspec;
using namespace Forms;

bool RuleFilter::admits( const FlowspecKey& key, const RuleStatus* rule ) const {
   return admits( key ) &&
          ( status.empty() || ( rule && std::ranges::count( status, rule->statusCode() ) > 0 ) );
}

void addSystem( CLI::App& command, SystemOptions& system, std::initializer_list< Root > roots ) {
   addSocket( command, system.endpoint );
   for ( const Root& root : roots ) {
      command.add_option( root.option, system.*root.name, root.help )
         ->type_name( "NAME" )
         ->capture_default_str();
   }
   command.footer( "Exit status: 0 when it was done, 1 when it was not, 2 for wrong usage." );
}

void addListing( CLI::App& command, ListOptions& options, std::initializer_list< Root > roots ) {
   command.add_flag( "--json", options.json, "Write an object on each line" );
   addVrf( command, "Only what is in this VRF", options.filter.vrfId );
   addFamily( command, "to leave out the other", options.filter.family );
   addSystem( command, options.system, roots );
}

} // namespace Tools
