#include "agents/statedbd/StateDatabase.h"

#include "Vek/mount/Greeting.h"
#include "Vek/text/Printable.h"
#include "Vek/text/Text.h"
#include "agents/statedbd/Client.h"

#include <algorithm>
#include <cerrno>
#include <new>
#include <system_error>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Agents {

using Vek::concat;

namespace {

constexpr auto never = EventLoop::Clock::time_point::max();

// Clients that come without end do not keep those waiting that are there.
constexpr int maxAtOnce = 64;
constexpr std::chrono::milliseconds pause( 100 );

} // namespace

StateDatabase::StateDatabase( EventLoop& loop, Vek::log::Endpoint endpoint, Options options,
                              std::function< void( const Vek::String& line ) > log )
   : loop_( loop ), endpoint_( std::move( endpoint ) ), options_( options ),
     log_( std::move( log ) ) {
   if ( endpoint_.isUnix() ) {
      lock_.emplace( endpoint_.text() + ".lock", "listen on " + endpoint_.text() );
   }
   if ( options_.disk ) {
      for ( const Kept& kept : options_.kept ) {
         Root& root = *( roots_[kept.root] = std::make_shared< Root >() );
         root.kept = std::make_unique< KeptRoot >( *options_.disk, kept.root, kept.type );
         load( kept.root, root );
         if ( const Vek::String fault = keep( kept.root, root ); !fault.empty() ) {
            log_( concat( kept.root, " is not kept: ", fault ) );
         }
      }
   }
   listener_ = endpoint_.listen();
   keepReserve();
   loop_.add( *this );
}

StateDatabase::~StateDatabase() {
   loop_.remove( *this );
   clients_.clear();
   ::close( listener_ );
   ::close( reserve_ );
   endpoint_.remove();
}

void StateDatabase::ready() {
   const auto now = EventLoop::Clock::now();
   if ( now >= sweep_ ) {
      removeAbandoned();
   }
   if ( !isFull_ || now >= acceptAgain_ ) {
      accept();
   }
}

void StateDatabase::accept() {
   keepReserve();
   for ( int i = 0; i < maxAtOnce; ++i ) {
      const int fd = ::accept4( listener_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC );
      if ( fd < 0 && errno == EAGAIN ) {
         isFull_ = false;
         acceptAgain_ = never;
         return;
      }
      if ( fd >= 0 ? !admit( fd ) : errno != ECONNABORTED && errno != EINTR ) {
         wait( fd < 0 && ( errno == EMFILE || errno == ENFILE ) );
         return;
      }
   }
}

// There is no descriptor or no memory for one more: those who wait are let in when others go.
void StateDatabase::wait( bool canRefuse ) {
   const bool wasFull = std::exchange( isFull_, true );
   acceptAgain_ = EventLoop::Clock::now() + pause;
   if ( canRefuse ) {
      refuseOne();
   }
   if ( !wasFull ) {
      try {
         log_( "too many clients: those that come are refused" );
      } catch ( const std::bad_alloc& ) {
         // There is not enough for the line either.
      }
   }
}

bool StateDatabase::admit( int fd ) {
   const Client* client = nullptr;
   try {
      auto owned = std::make_unique< Client >( *this, fd );
      client = owned.get();
      Client& admitted = *clients_.emplace( client, std::move( owned ) ).first->second;
      loop_.add( admitted );
      return true;
   } catch ( const std::bad_alloc& ) {
      if ( client ) {
         clients_.erase( client );
      } else {
         ::close( fd );
      }
      return false;
   }
}

void StateDatabase::refuseOne() {
   ::close( reserve_ );
   const int fd = ::accept4( listener_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC );
   if ( fd >= 0 ) {
      static constexpr std::string_view line = "refused the state database has too many clients\n";
      ::send( fd, line.data(), line.size(), MSG_NOSIGNAL );
      ::close( fd );
   }
   reserve_ = -1;
   keepReserve();
}

void StateDatabase::keepReserve() {
   if ( reserve_ < 0 ) {
      reserve_ = ::open( "/dev/null", O_RDONLY | O_CLOEXEC );
   }
}

std::shared_ptr< StateDatabase::Root > StateDatabase::root( const Vek::String& name,
                                                            Vek::String& reason ) {
   if ( const auto at = roots_.find( name ); at != roots_.end() ) {
      reason = at->second->kept ? at->second->kept->fault() : Vek::String();
      return at->second;
   }
   if ( roots_.size() >= options_.maxRoots ) {
      reason =
         concat( "the state database has ", roots_.size(), " roots, and no room for one more" );
      return nullptr;
   }
   return roots_.emplace( name, std::make_shared< Root >() ).first->second;
}

Vek::String StateDatabase::refusesToWait( const Peer& peer ) const {
   std::size_t all = 0;
   std::size_t ofUser = 0;
   for ( const auto& [key, client] : clients_ ) {
      if ( client->isWaiting() ) {
         ++all;
         ofUser += client->peer().user == peer.user;
      }
   }
   if ( all < options_.maxWaiting && ofUser < options_.maxWaitingOfUser ) {
      return {};
   }
   return concat( "nobody has written this root, and ", ofUser, " readers of this user, ", all,
                  " in all, wait for such roots" );
}

Vek::String StateDatabase::refusesType( const Vek::String& name, std::string_view type ) {
   Root& root = *roots_.at( name );
   if ( root.kept && !root.kept->type().empty() && root.kept->type() != type ) {
      return concat( name, " is kept as a ", root.kept->type(), ", not a ",
                     Vek::printable( type ) );
   }
   const auto entity = directory_.entity( name );
   if ( !entity || entity->typeInfo().name == type ) {
      return {};
   }
   if ( EventLoop::Clock::now() - root.left < options_.abandoned ) {
      return concat( name, " is a ", entity->typeInfo().name, ", not a ", Vek::printable( type ) );
   }
   directory_.erase( name );
   show( name, root );
   return {};
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

Vek::String StateDatabase::keep( const Vek::String& name, Root& root ) {
   if ( !root.kept || !root.kept->fault().empty() ) {
      return {};
   }
   try {
      root.kept->save( root.source, root.entity );
      return {};
   } catch ( const std::bad_alloc& ) {
      throw;
   } catch ( const std::exception& exception ) {
      const Vek::String reason = exception.what();
      // What could not be kept was not written.
      load( name, root );
      return reason;
   }
}

void StateDatabase::load( const Vek::String& name, Root& root ) {
   Vek::String cut;
   root.kept->load( directory_, cut );
   for ( const Vek::String& line : { cut, root.kept->fault() } ) {
      if ( !line.empty() ) {
         log_( line );
      }
   }
   show( name, root );
}

Vek::String StateDatabase::list() const {
   Vek::String text;
   for ( const auto& [name, root] : roots_ ) {
      text +=
         concat( name, '\t', root->entity ? root->entity->typeInfo().name : std::string_view( "-" ),
                 '\t', root->readers, '\t' );
      if ( root->writer ) {
         text += concat( root->writer->agent(), '\t', root->writer->peer().text(), '\n' );
      } else {
         text += "-\t-\n";
      }
   }
   return text;
}

void StateDatabase::end( Client& client ) {
   const Vek::String name = client.rootName();
   loop_.remove( client );
   clients_.erase( &client );
   const auto at = roots_.find( name );
   if ( at == roots_.end() || at->second.use_count() != 1 ) {
      return;
   }
   if ( at->second->kept ) {
      return;
   }
   if ( !at->second->entity ) {
      roots_.erase( at );
   } else {
      sweep_ = std::min( sweep_, at->second->left + options_.abandoned );
   }
}

void StateDatabase::logOutOfMemory() const {
   try {
      log_( "a client is cut off: out of memory" );
   } catch ( const std::bad_alloc& ) {
      // There is not enough for the line either.
   }
}

void StateDatabase::removeAbandoned() {
   const auto now = EventLoop::Clock::now();
   sweep_ = never;
   for ( auto at = roots_.begin(); at != roots_.end(); ) {
      // Nobody but the map has it: there is neither a writer nor a reader.
      if ( at->second.use_count() == 1 && !at->second->kept ) {
         if ( at->second->left + options_.abandoned <= now ) {
            directory_.erase( at->first );
            at = roots_.erase( at );
            continue;
         }
         sweep_ = std::min( sweep_, at->second->left + options_.abandoned );
      }
      ++at;
   }
}

} // namespace Agents
