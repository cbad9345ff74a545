#include "tools/flowspecctl/system/CounterRefresh.h"

#include "tools/flowspecctl/system/RootWriter.h"

#include <algorithm>

namespace Tools {

using namespace Flowspec;

Vek::Ptr< Counter > refreshCounters( const SystemOptions& system, StateRoots& roots ) {
   const auto mount = std::ranges::find( roots.mounts(), system.counter, &Vek::log::Mount::root );
   const Deadline deadline;
   RootWriter writer( system.endpoint, system.cliConfig, CliConfig::type(), deadline );
   bool lost = false;
   do {
      double request = 0;
      writer.write( false, [&]( Vek::NamedEntity& root ) {
         auto& cli = static_cast< CliConfig& >( root );
         request = requestTime( cli.counterUpdateRequestTime() );
         cli.counterUpdateRequestTimeIs( request );
      } );
      const auto answered = [&] {
         const auto counter = roots.find( system.counter );
         return counter && static_cast< const Counter& >( *counter ).timestamp() >= request;
      };
      // A database that goes may take the request with it.
      lost = false;
      roots.until(
         [&] {
            const bool isThere = ( *mount )->error().empty();
            lost = lost || !isThere;
            return answered() || ( lost && isThere );
         },
         deadline.left() );
      if ( answered() ) {
         return roots.get< Counter >( system.counter );
      }
   } while ( lost && !deadline.over() );
   throw std::runtime_error( system.counter + ": no agent answered within 10 seconds" );
}

} // namespace Tools
