#pragma once

#include "Vek/mount/Mount.h"
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
   /// `options` are further ones of its command line.
   explicit Database( std::vector< Vek::String > options = {} ) : options_( std::move( options ) ) {
      start();
   }

   /// Where it listens.
   Vek::log::Endpoint endpoint() const {
      return Vek::log::Endpoint( folder_.path() + "/statedb.sock" );
   }
   Vek::String stateFolder() const { return folder_.path() + "/state"; }
   Vek::String pidFile() const { return folder_.path() + "/statedbd.pid"; }

   void start() {
      std::vector< Vek::String > command{ STATEDBD,  "--socket",    endpoint().text(), "--pid-file",
                                          pidFile(), "--state-dir", stateFolder() };
      command.insert( command.end(), options_.begin(), options_.end() );
      process_ = std::make_unique< Process >( std::move( command ), folder_.path() + "/errors" );
   }
   Process& process() { return *process_; }
   const Folder& folder() const { return folder_; }

private:
   const std::vector< Vek::String > options_;
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
