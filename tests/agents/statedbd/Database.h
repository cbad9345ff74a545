#pragma once

#include "Vek/log/Mount.h"
#include "tests/support/Folder.h"
#include "tests/support/Process.h"

#include <algorithm>
#include <csignal>
#include <functional>
#include <memory>

namespace TestSupport {

/// The statedbd of this build, with a socket in a folder of its own.
class Database {
public:
   Database() { start(); }

   /// Where it listens.
   Vek::log::Endpoint endpoint() const {
      return Vek::log::Endpoint( folder_.path() + "/statedb.sock" );
   }
   Vek::String pidFile() const { return folder_.path() + "/statedbd.pid"; }

   void start() {
      process_ = std::make_unique< Process >( std::vector< Vek::String >{ STATEDBD, "--socket",
                                                                          endpoint().text(),
                                                                          "--pid-file", pidFile() },
                                              folder_.path() + "/errors" );
   }
   Process& process() { return *process_; }
   const Folder& folder() const { return folder_; }

private:
   Folder folder_;
   std::unique_ptr< Process > process_;
};

/// Lets some mounts go on until `done` or for ten seconds; whether it was done.
inline bool until( const std::vector< Vek::log::Mount* >& mounts,
                   const std::function< bool() >& done ) {
   using Clock = Vek::log::Mount::Clock;
   const auto end = Clock::now() + std::chrono::seconds( 10 );
   for ( ;; ) {
      for ( Vek::log::Mount* const mount : mounts ) {
         mount->process();
      }
      if ( done() ) {
         return true;
      }
      if ( Clock::now() > end ) {
         return false;
      }
      Vek::log::Mount::wait( mounts, std::chrono::milliseconds( 20 ) );
   }
}

/// The same until all of them stand.
inline bool untilAllStand( const std::vector< Vek::log::Mount* >& mounts ) {
   return until( mounts, [&] {
      return std::ranges::all_of( mounts, []( const auto* mount ) { return mount->stands(); } );
   } );
}

} // namespace TestSupport
