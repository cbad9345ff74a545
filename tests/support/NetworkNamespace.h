#pragma once

#include "Vek/text/String.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

namespace TestSupport {

/// A network namespace of its own for this thread and for the processes that it starts; the one
/// before is back with the end of the object. It is gone when nobody is in it.
class NetworkNamespace {
public:
   NetworkNamespace() : before_( ::open( "/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC ) ) {
      if ( before_ < 0 || ::unshare( CLONE_NEWNET ) != 0 ) {
         missing_ = Vek::String( "network namespaces: " ) + std::strerror( errno );
      }
   }
   NetworkNamespace( const NetworkNamespace& ) = delete;
   NetworkNamespace& operator=( const NetworkNamespace& ) = delete;
   ~NetworkNamespace() {
      ::setns( before_, CLONE_NEWNET );
      ::close( before_ );
   }

   /// What this machine or this user has not, to skip a test with; "" when all is there.
   const Vek::String& missing() const { return missing_; }

   /// Runs a line of shell; `std::runtime_error` when it fails.
   void run( const Vek::String& line ) const {
      if ( std::system( line.c_str() ) != 0 ) {
         throw std::runtime_error( "fails: " + line );
      }
   }
   /// What a line of shell writes.
   Vek::String output( const Vek::String& line ) const {
      std::FILE* const pipe = ::popen( line.c_str(), "r" );
      Vek::String text;
      char room[4096];
      for ( std::size_t size = 0; ( size = std::fread( room, 1, sizeof room, pipe ) ) > 0; ) {
         text.append( room, size );
      }
      ::pclose( pipe );
      return text;
   }

private:
   int before_;
   Vek::String missing_;
};

} // namespace TestSupport
