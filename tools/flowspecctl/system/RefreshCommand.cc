#include "Vek/text/Text.h"
#include "tools/flowspecctl/system/CounterRefresh.h"
#include "tools/flowspecctl/system/RuleText.h"

namespace Tools {

using namespace Flowspec;

namespace {

void refresh( const SystemOptions& system, Output& output ) {
   StateRoots roots{ Vek::log::Endpoint( system.endpoint ) };
   roots.read( system.counter );
   roots.settle();
   roots.get< Counter >( system.counter );
   const auto counter = refreshCounters( system, roots );
   output.text() +=
      Vek::concat( counter->snapshot().size(),
                   " counters read from hardware: ", timeText( counter->timestamp() ), '\n' );
   output.flush();
}

} // namespace

Run addRefresh( CLI::App& command ) {
   const auto system = std::make_shared< SystemOptions >();
   addSystem( command, *system, { cliConfigRoot, counterRoot } );
   return [system]( Output& output ) {
      refresh( *system, output );
      return true;
   };
}

} // namespace Tools
