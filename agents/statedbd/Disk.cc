#include "agents/statedbd/Disk.h"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace Agents {

namespace {

[[noreturn]] void fail( const Vek::String& doing ) {
   throw std::system_error( errno, std::generic_category(), "cannot " + doing );
}

class FolderFile final : public Disk::File {
public:
   FolderFile( int fd, Vek::String folder ) : fd_( fd ), folder_( std::move( folder ) ) {}
   FolderFile( const FolderFile& ) = delete;
   FolderFile& operator=( const FolderFile& ) = delete;
   ~FolderFile() override { ::close( fd_ ); }

   void append( std::span< const U8 > bytes ) override {
      while ( !bytes.empty() ) {
         const ssize_t count = ::write( fd_, bytes.data(), bytes.size() );
         if ( count < 0 && errno != EINTR ) {
            fail( "write to " + folder_ );
         }
         bytes = bytes.subspan( count < 0 ? 0 : static_cast< std::size_t >( count ) );
      }
   }

   void cut( U64 size ) override {
      if ( ::ftruncate( fd_, static_cast< off_t >( size ) ) < 0 ) {
         fail( "write to " + folder_ );
      }
   }

   void sync() override {
      if ( ::fdatasync( fd_ ) < 0 ) {
         fail( "write to " + folder_ );
      }
   }

private:
   const int fd_;
   const Vek::String folder_;
};

} // namespace

FolderDisk::FolderDisk( Vek::String folder )
   : folder_( std::move( folder ) ), lock_( folder_ + "/lock", "keep state in " + folder_ ),
     fd_( ::open( folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC ) ) {
   if ( fd_ < 0 ) {
      fail( "open " + folder_ );
   }
}

FolderDisk::~FolderDisk() { ::close( fd_ ); }

bool FolderDisk::read( const Vek::String& name,
                       const std::function< void( std::span< const U8 > ) >& take ) {
   const int fd = ::open( path( name ).c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC );
   if ( fd < 0 ) {
      if ( errno == ENOENT ) {
         return false;
      }
      fail( "read " + path( name ) );
   }
   const FolderFile closed( fd, {} );
   U8 room[1U << 16];
   ssize_t count = 0;
   while ( ( count = ::read( fd, room, sizeof room ) ) != 0 ) {
      if ( count < 0 && errno != EINTR ) {
         fail( "read " + path( name ) );
      }
      take( std::span( room, count < 0 ? 0 : static_cast< std::size_t >( count ) ) );
   }
   return true;
}

std::unique_ptr< Disk::File > FolderDisk::create( const Vek::String& name ) {
   const int fd = ::open( path( name ).c_str(),
                          O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_NOFOLLOW | O_CLOEXEC, 0600 );
   if ( fd < 0 ) {
      fail( "write " + path( name ) );
   }
   return std::make_unique< FolderFile >( fd, folder_ );
}

void FolderDisk::rename( const Vek::String& from, const Vek::String& to ) {
   if ( ::rename( path( from ).c_str(), path( to ).c_str() ) < 0 ) {
      fail( "write " + path( to ) );
   }
   syncFolder();
}

void FolderDisk::remove( const Vek::String& name ) {
   if ( ::unlink( path( name ).c_str() ) < 0 && errno != ENOENT ) {
      fail( "remove " + path( name ) );
   }
   syncFolder();
}

void FolderDisk::syncFolder() const {
   if ( ::fsync( fd_ ) < 0 ) {
      fail( "write to " + folder_ );
   }
}

} // namespace Agents
