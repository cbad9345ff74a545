#include "agents/configd/FileWatch.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include <sys/inotify.h>
#include <unistd.h>

namespace Agents {

FileWatch::FileWatch( EventLoop& loop, const std::vector< Vek::String >& files,
                      std::function< void() > changed )
   : loop_( loop ), changed_( std::move( changed ) ),
     fd_( ::inotify_init1( IN_NONBLOCK | IN_CLOEXEC ) ) {
   for ( const Vek::String& file : files ) {
      const std::filesystem::path path( file );
      const std::filesystem::path folder = path.has_parent_path() ? path.parent_path() : ".";
      const int watch =
         ::inotify_add_watch( fd_, folder.c_str(), IN_CLOSE_WRITE | IN_MOVED_TO | IN_ONLYDIR );
      if ( watch < 0 ) {
         const int error = errno;
         ::close( fd_ );
         throw std::system_error( error, std::generic_category(),
                                  "cannot watch " + folder.string() );
      }
      names_[watch].insert( path.filename().string() );
   }
   loop_.add( *this );
}

FileWatch::~FileWatch() {
   loop_.remove( *this );
   ::close( fd_ );
}

void FileWatch::ready() {
   alignas( inotify_event ) char room[4096];
   for ( ssize_t size = ::read( fd_, room, sizeof room ); size > 0;
         size = ::read( fd_, room, sizeof room ) ) {
      for ( ssize_t at = 0; at < size; ) {
         const auto& event = *reinterpret_cast< const inotify_event* >( room + at );
         // When the kernel has lost events, any file may have changed.
         const bool ours = event.mask & IN_Q_OVERFLOW ||
                           ( event.len > 0 && names_[event.wd].contains( event.name ) );
         if ( ours ) {
            due_ = EventLoop::Clock::now() + settling;
         }
         at += static_cast< ssize_t >( sizeof event + event.len );
      }
   }
   if ( EventLoop::Clock::now() >= due_ ) {
      due_ = EventLoop::Clock::time_point::max();
      changed_();
   }
}

} // namespace Agents
