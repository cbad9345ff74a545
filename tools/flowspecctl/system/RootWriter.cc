#include "tools/flowspecctl/system/RootWriter.h"

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

void RootWriter::write( bool creates, const std::function< void( Vek::NamedEntity& ) >& change ) {
   for ( ;; ) {
      const Vek::String fault = attempt( creates, change );
      const bool isFirst = std::exchange( isFirst_, false );
      if ( fault.empty() ) {
         return;
      }
      // In a database that has come again the root may be yet to come.
      const bool isHopeless = !reached_ || ( isFirst && fault == StateRoots::absent );
      if ( isHopeless || deadline_.over() ) {
         throw std::runtime_error( root_ + ": " + fault );
      }
      constexpr std::chrono::milliseconds pause( 100 );
      std::this_thread::sleep_for( std::min( pause, deadline_.left() ) );
   }
}

// Why it did not come to its end; empty when it did.
Vek::String RootWriter::attempt( bool creates,
                                 const std::function< void( Vek::NamedEntity& ) >& change ) {
   if ( !creates ) {
      if ( const Vek::String fault = look(); !fault.empty() ) {
         return fault;
      }
   }
   StateRoots roots{ endpoint_ };
   roots.takeOver( Vek::String( type_.name ), root_ );
   const Vek::log::Mount& mount = *roots.mounts().front();
   if ( const Vek::String fault = settle( roots ); !fault.empty() ) {
      return fault;
   }
   change( *roots.get( root_, type_ ) );
   // A mount has an error until it works for the first time, too.
   roots.until( [&] { return mount.acknowledged() || mount.refused() || mount.fd() < 0; },
                deadline_.left() );
   if ( mount.acknowledged() ) {
      return {};
   }
   return mount.error().empty() ? "the state database does not answer" : mount.error();
}

// Whether the root is there: a command that only asks does not create it.
Vek::String RootWriter::look() {
   StateRoots roots{ endpoint_ };
   roots.read( root_ );
   if ( const Vek::String fault = settle( roots ); !fault.empty() ) {
      return fault;
   }
   return roots.find( root_ ) ? "" : StateRoots::absent;
}

Vek::String RootWriter::settle( StateRoots& roots ) {
   const Vek::log::Mount& mount = *roots.mounts().front();
   roots.settle( deadline_.left() );
   reached_ = reached_ || !StateRoots::unreachable( mount );
   return StateRoots::fault( mount );
}

double requestTime( double before ) {
   const auto since = std::chrono::system_clock::now().time_since_epoch();
   const double now = std::chrono::duration< double >( since ).count();
   return std::max( now, std::nextafter( before, std::numeric_limits< double >::max() ) );
}

} // namespace Tools
