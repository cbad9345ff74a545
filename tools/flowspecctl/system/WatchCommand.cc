#include "tools/flowspecctl/system/WatchCommand.h"

#include "tools/flowspecctl/system/TreeWatch.h"
#include "tools/lib/Diagnostics.h"
#include "tools/lib/StateRoots.h"

#include <map>
#include <set>

namespace Flowspec::Tools {

namespace {

constexpr std::chrono::hours aLongTime( 1 );

} // namespace

void runWatch( const WatchOptions& options, Output& output ) {
   StateRoots roots{ Vek::log::Endpoint( options.endpoint ) };
   for ( const Vek::String& root : std::set( options.roots.begin(), options.roots.end() ) ) {
      roots.read( root );
   }
   roots.settle();
   for ( const Vek::log::Mount* const mount : roots.mounts() ) {
      if ( const Vek::String fault = StateRoots::fault( *mount ); !fault.empty() ) {
         throw std::runtime_error( mount->root() + ": " + fault );
      }
   }
   TreeWatch watch( output.text(), options.json );
   std::set< Vek::String > watched;
   std::map< Vek::String, Vek::String > reported; // faults
   for ( bool initial = options.initial;; initial = true ) {
      for ( const Vek::log::Mount* const mount : roots.mounts() ) {
         const auto root = roots.find( mount->root() );
         if ( root && watched.insert( mount->root() ).second ) {
            watch.watch( *root, initial );
         }
         Vek::String& last = reported[mount->root()];
         if ( last != mount->error() ) {
            last = mount->error();
            if ( !last.empty() ) {
               reportFile( mount->root(), last );
            }
         }
      }
      output.flush();
      roots.turn( aLongTime );
   }
}

} // namespace Flowspec::Tools
