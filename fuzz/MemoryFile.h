#pragma once

#include "Vek/text/Text.h"
#include "fuzz/Check.h"

#include <sys/mman.h>
#include <unistd.h>

namespace Fuzz {

/// A file that holds an input, for what reads files by their names.
class MemoryFile {
public:
   MemoryFile( const std::uint8_t* data, std::size_t size )
      : fd_( ::memfd_create( "input", MFD_CLOEXEC ) ) {
      require( fd_ >= 0 && ::write( fd_, data, size ) == static_cast< ssize_t >( size ),
               "the input is in a file" );
   }
   MemoryFile( const MemoryFile& ) = delete;
   MemoryFile& operator=( const MemoryFile& ) = delete;
   ~MemoryFile() { ::close( fd_ ); }

   Vek::String path() const { return Vek::concat( "/proc/self/fd/", fd_ ); }

private:
   int fd_;
};

} // namespace Fuzz
