#include "agents/daemon/PidFile.h"

#include "Vek/text/Text.h"

#include <cerrno>
#include <limits>
#include <optional>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Agents {

namespace {

// Why the file cannot be taken.
using Reason = std::runtime_error;

[[noreturn]] void throwErrno() { throw Reason( std::generic_category().message( errno ) ); }

// Whether a name is still that of an open file.
bool isNamed( int fd, const Vek::String& name ) {
   struct stat open {};
   struct stat named {};
   return ::fstat( fd, &open ) == 0 && ::lstat( name.c_str(), &named ) == 0 &&
          open.st_dev == named.st_dev && open.st_ino == named.st_ino;
}

// The number in a file, 0 in an empty one; nothing when it holds something else.
std::optional< U64 > numberIn( int fd ) {
   char bytes[24];
   const ssize_t count = ::pread( fd, bytes, sizeof bytes, 0 );
   if ( count <= 0 ) {
      return count == 0 ? std::optional< U64 >( 0 ) : std::nullopt;
   }
   const std::string_view text( bytes, static_cast< std::size_t >( count ) );
   return text.ends_with( '\n' ) ? Vek::decimal( text.substr( 0, text.size() - 1 ),
                                                 std::numeric_limits< pid_t >::max() )
                                 : std::nullopt;
}

} // namespace

PidFile::PidFile( Vek::String file, const Vek::String& purpose )
   : file_( std::move( file ) ), temporary_( file_ + ".new" ) {
   try {
      lock();
      write();
   } catch ( const Reason& reason ) {
      ::close( fd_ );
      throw std::runtime_error( Vek::concat( "cannot ", purpose, ": ", reason.what() ) );
   }
}

PidFile::~PidFile() {
   if ( isNamed( fd_, file_ ) ) {
      ::unlink( file_.c_str() );
   }
   ::close( fd_ );
}

void PidFile::lock() {
   // The one that held it may have removed the name meanwhile.
   while ( fd_ < 0 || !isNamed( fd_, file_ ) ) {
      ::close( fd_ );
      // To open a device may do something.
      struct stat found {};
      if ( ::lstat( file_.c_str(), &found ) == 0 && !S_ISREG( found.st_mode ) ) {
         throw Reason( "it is not a regular file" );
      }
      fd_ = ::open( file_.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0644 );
      if ( fd_ < 0 ) {
         throwErrno();
      }
      if ( ::flock( fd_, LOCK_EX | LOCK_NB ) < 0 ) {
         if ( errno != EWOULDBLOCK ) {
            throwErrno();
         }
         const U64 holder = numberIn( fd_ ).value_or( 0 );
         throw Reason( holder ? Vek::concat( "process ", holder, " has it" )
                              : Vek::String( "another process has it" ) );
      }
   }
   if ( !numberIn( fd_ ) ) {
      throw Reason( "it holds something else than the number of a process" );
   }
}

void PidFile::write() {
   // Nobody else has this name: the file is locked.
   ::unlink( temporary_.c_str() );
   const int fd =
      ::open( temporary_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644 );
   const Vek::String text = Vek::concat( ::getpid(), '\n' );
   const ssize_t written = fd < 0 ? -1 : ::write( fd, text.data(), text.size() );
   if ( written == static_cast< ssize_t >( text.size() ) && ::flock( fd, LOCK_EX | LOCK_NB ) == 0 &&
        ::rename( temporary_.c_str(), file_.c_str() ) == 0 ) {
      ::close( fd_ );
      fd_ = fd;
      return;
   }
   const int error =
      written >= 0 && written < static_cast< ssize_t >( text.size() ) ? ENOSPC : errno;
   ::close( fd );
   ::unlink( temporary_.c_str() );
   if ( numberIn( fd_ ) == 0U ) {
      ::unlink( file_.c_str() );
   }
   errno = error;
   throwErrno();
}

} // namespace Agents
