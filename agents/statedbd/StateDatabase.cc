#include "agents/statedbd/StateDatabase.h"

#include "agents/statedbd/Client.h"

#include <cerrno>

#include <sys/socket.h>
#include <unistd.h>

namespace Agents {

StateDatabase::StateDatabase( EventLoop& loop, Vek::log::Endpoint endpoint,
                              std::function< void( const Vek::String& line ) > log )
   : loop_( loop ), endpoint_( std::move( endpoint ) ), log_( std::move( log ) ),
     listener_( endpoint_.listen() ) {
   loop_.add( *this );
}

StateDatabase::~StateDatabase() {
   loop_.remove( *this );
   clients_.clear();
   ::close( listener_ );
   endpoint_.remove();
}

void StateDatabase::ready() {
   acceptAgain_ = EventLoop::Clock::time_point::max();
   for ( ;; ) {
      const int fd = ::accept4( listener_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC );
      if ( fd >= 0 ) {
         auto client = std::make_unique< Client >( *this, fd );
         loop_.add( *client );
         clients_.emplace( client.get(), std::move( client ) );
         continue;
      }
      if ( errno != EAGAIN && errno != EINTR && errno != ECONNABORTED ) {
         // No descriptors or no memory for one more: those who wait are let in when others go.
         acceptAgain_ = EventLoop::Clock::now() + std::chrono::milliseconds( 100 );
      }
      return;
   }
}

std::shared_ptr< StateDatabase::Root > StateDatabase::root( const Vek::String& name ) {
   std::shared_ptr< Root >& root = roots_[name];
   if ( !root ) {
      root = std::make_shared< Root >();
   }
   return root;
}

void StateDatabase::show( const Vek::String& name, Root& root ) {
   const Vek::Ptr< Vek::NamedEntity > entity = directory_.entity( name );
   if ( root.entity == entity ) {
      return;
   }
   if ( root.entity ) {
      root.source.rootDel( *root.entity );
   }
   root.entity = entity;
   if ( entity ) {
      root.source.rootIs( *entity );
   }
}

void StateDatabase::end( Client& client ) {
   const Vek::String name = client.rootName();
   loop_.remove( client );
   clients_.erase( &client );
   const auto at = roots_.find( name );
   if ( at != roots_.end() && at->second.use_count() == 1 && !at->second->entity ) {
      roots_.erase( at );
   }
}

} // namespace Agents
