#include "tools/flowspecctl/system/CliConfigWriter.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <thread>
#include <utility>

namespace Tools {

using namespace Flowspec;

std::chrono::milliseconds Deadline::left() const {
   const auto now = std::chrono::steady_clock::now();
   return std::max( std::chrono::ceil< std::chrono::milliseconds >( end_ - now ),
                    std::chrono::milliseconds( 0 ) );
}

void CliConfigWriter::write( bool creates, const std::function< void( CliConfig& ) >& change ) {
   for ( ;; ) {
      const Vek::String fault = attempt( creates, change );
      const bool isFirst = std::exchange( isFirst_, false );
      if ( fault.empty() ) {
         return;
      }
      // In a database that has come again the configuration may be yet to come.
      const bool isHopeless = !reached_ || ( isFirst && fault == StateRoots::absent );
      if ( isHopeless || deadline_.over() ) {
         throw std::runtime_error( system_.cliConfig + ": " + fault );
      }
      constexpr std::chrono::milliseconds pause( 100 );
      std::this_thread::sleep_for( std::min( pause, deadline_.left() ) );
   }
}

// Why it did not come to its end; empty when it did.
Vek::String CliConfigWriter::attempt( bool creates,
                                      const std::function< void( CliConfig& ) >& change ) {
   if ( !creates ) {
      if ( const Vek::String fault = look(); !fault.empty() ) {
         return fault;
      }
   }
   StateRoots roots{ Vek::log::Endpoint( system_.endpoint ) };
   roots.takeOver( Vek::String( CliConfig::type().name ), system_.cliConfig );
   const Vek::log::Mount& mount = *roots.mounts().front();
   if ( const Vek::String fault = settle( roots ); !fault.empty() ) {
      return fault;
   }
   change( *roots.get< CliConfig >( system_.cliConfig ) );
   // A mount has an error until it works for the first time, too.
   roots.until( [&] { return mount.acknowledged() || mount.refused() || mount.fd() < 0; },
                deadline_.left() );
   if ( mount.acknowledged() ) {
      return {};
   }
   return mount.error().empty() ? "the state database does not answer" : mount.error();
}

// Whether the configuration is there: a command that only asks does not create it.
Vek::String CliConfigWriter::look() {
   StateRoots roots{ Vek::log::Endpoint( system_.endpoint ) };
   roots.read( system_.cliConfig );
   if ( const Vek::String fault = settle( roots ); !fault.empty() ) {
      return fault;
   }
   return roots.find( system_.cliConfig ) ? "" : StateRoots::absent;
}

Vek::String CliConfigWriter::settle( StateRoots& roots ) {
   const Vek::log::Mount& mount = *roots.mounts().front();
   roots.settle( deadline_.left() );
   reached_ = reached_ || !StateRoots::unreachable( mount );
   return StateRoots::fault( mount );
}

Vek::Ptr< Counter > refreshCounters( const SystemOptions& system, StateRoots& roots ) {
   const auto mount = std::ranges::find( roots.mounts(), system.counter, &Vek::log::Mount::root );
   const Deadline deadline;
   CliConfigWriter writer( system, deadline );
   bool lost = false;
   do {
      double request =
         std::chrono::duration< double >( std::chrono::system_clock::now().time_since_epoch() )
            .count();
      writer.write( false, [&]( CliConfig& cli ) {
         if ( cli.counterUpdateRequestTime() == request ) {
            // Two requests within the clock's step are two.
            request = std::nextafter( request, std::numeric_limits< double >::max() );
         }
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
