#include "Vek/log/Mount.h"

#include "Vek/Printable.h"
#include "Vek/Text.h"
#include "Vek/log/Greeting.h"

#include <poll.h>

namespace Vek::log {

namespace {

constexpr std::chrono::milliseconds pause( 200 );
constexpr std::size_t maxReason = 600;

} // namespace

Mount::Mount( Endpoint endpoint, String agent, String root, Directory& directory )
   : endpoint_( std::move( endpoint ) ), agent_( std::move( agent ) ), root_( std::move( root ) ),
     greetingText_( Greeting{ .writes = false, .agent = agent_, .root = root_ }.text() ),
     directory_( &directory ) {}

Mount::Mount( Endpoint endpoint, String agent, NamedEntity& root )
   : endpoint_( std::move( endpoint ) ), agent_( std::move( agent ) ), root_( root.name() ),
     greetingText_( Greeting{ .writes = true, .agent = agent_, .root = root_ }.text() ),
     directory_( nullptr ), source_( std::make_unique< Source >() ) {
   source_->rootIs( root );
}

Mount::Mount( Endpoint endpoint, String agent, String type, String root, Directory& directory )
   : endpoint_( std::move( endpoint ) ), agent_( std::move( agent ) ), root_( std::move( root ) ),
     greetingText_( Greeting{ .writes = true, .agent = agent_, .root = root_ }.text() ),
     type_( std::move( type ) ), directory_( &directory ) {}

Mount::~Mount() = default;

int Mount::fd() const {
   if ( reader_ ) {
      return reader_->fd();
   }
   const Transport* const transport = connection_ ? &connection_->transport() : transport_.get();
   return transport ? static_cast< const FdTransport* >( transport )->fd() : -1;
}

bool Mount::wantsToSend() const {
   if ( reader_ ) {
      return reader_->wantsToSend();
   }
   return connection_ ? connection_->wantsToSend() : !greeting_.empty();
}

Mount::Clock::time_point Mount::nextTry() const {
   if ( reader_ ) {
      return reader_->nextTry();
   }
   return connection_ || transport_ ? Clock::time_point::max() : nextTry_;
}

void Mount::process() {
   try {
      if ( !connection_ && !transport_ ) {
         if ( Clock::now() < nextTry_ ) {
            return;
         }
         connect();
      }
      if ( reader_ ) {
         takeOver();
      } else if ( !connection_ ) {
         greet();
      }
   } catch ( const StreamException& exception ) {
      fail( exception.what() );
      return;
   }
   if ( connection_ && !connection_->process() ) {
      const String& error = connection_->error();
      const bool refused = refused_; // the database's last word
      fail( error.empty() ? String( "the state database closed the connection" ) : error );
      refused_ = refused;
      return;
   }
   stands_ = stands_ ||
             ( connection_ && ( writes() ? connection_->allSent() : connection_->synchronised() ) );
}

void Mount::connect() {
   transport_ = std::make_unique< FdTransport >( endpoint_.connect() );
   greeting_ = greetingText_;
   reply_.clear();
}

void Mount::greet() {
   // Nothing is to be sent any more when the database may have replied and closed.
   if ( !greeting_.empty() ) {
      const auto* const bytes = reinterpret_cast< const U8* >( greeting_.data() );
      greeting_.erase( 0, transport_->send( std::span( bytes, greeting_.size() ) ) );
   }
   // A byte at a time: what comes behind the reply is the connection's.
   U8 byte = 0;
   while ( !reply_.ends_with( '\n' ) ) {
      const auto count = transport_->receive( std::span( &byte, 1 ) );
      if ( !count ) {
         throw StreamException( "the state database closed the connection" );
      }
      if ( *count == 0 ) {
         return;
      }
      reply_ += static_cast< char >( byte );
      if ( reply_.size() > Greeting::maxSize ) {
         throw StreamException( "this is no state database" );
      }
   }
   takeReply();
}

void Mount::takeReply() {
   reply_.pop_back();
   if ( reply_ == Greeting::accepted ) {
      if ( type_ && !source_ ) {
         reader_ = std::make_unique< Mount >( endpoint_, agent_, root_, *directory_ );
         takeOver();
      } else {
         begin();
      }
      return;
   }
   if ( !reply_.starts_with( Greeting::refused ) ) {
      throw StreamException( "this is no state database" );
   }
   fail( printable( std::string_view( reply_ ).substr( Greeting::refused.size() ), maxReason ) );
   refused_ = true;
}

void Mount::takeOver() {
   reader_->process();
   if ( !reader_->stands() ) {
      error_ = reader_->error();
      refused_ = reader_->refused();
      return;
   }
   reader_.reset();
   source_ = std::make_unique< Source >();
   source_->rootIs( *directory_->create( *type_, root_ ) );
   begin();
}

void Mount::begin() {
   Connection::Options options;
   if ( source_ ) {
      options.source = source_.get();
      options.replies = [this]( std::span< const U8 > bytes ) { takeWords( bytes ); };
      reply_.clear();
      acknowledged_ = 0;
   } else {
      options.directory = directory_;
      options.policy.refusesRoot = [this]( std::string_view, std::string_view name ) {
         return name == root_ ? String() : String( "only the root that was asked for is read" );
      };
   }
   connection_ = std::make_unique< Connection >( std::move( transport_ ), std::move( options ) );
   error_.clear();
   refused_ = false;
}

// What the database says while it is written to.
void Mount::takeWords( std::span< const U8 > bytes ) {
   for ( const U8 byte : bytes ) {
      if ( byte != '\n' ) {
         reply_ += static_cast< char >( byte );
         if ( reply_.size() > Greeting::maxSize ) {
            throw StreamException( "this is no state database" );
         }
         continue;
      }
      const String line = std::exchange( reply_, {} );
      if ( line.starts_with( Greeting::refused ) ) {
         refused_ = true;
         throw StreamException( line.substr( Greeting::refused.size() ) );
      }
      const auto count = line.starts_with( Greeting::has )
                            ? decimal( std::string_view( line ).substr( Greeting::has.size() ),
                                       std::numeric_limits< U64 >::max() )
                            : std::nullopt;
      if ( !count ) {
         throw StreamException( "this is no state database" );
      }
      acknowledged_ = *count;
   }
}

void Mount::fail( const String& reason ) {
   // The reason may be the connection's.
   error_ = String( reason );
   refused_ = false;
   reader_.reset();
   connection_.reset();
   transport_.reset();
   greeting_.clear();
   nextTry_ = Clock::now() + pause;
}

void Mount::wait( std::span< Mount* const > mounts, std::chrono::milliseconds atMost ) {
   std::vector< pollfd > polled;
   auto until = Clock::now() + atMost;
   for ( const Mount* const mount : mounts ) {
      until = std::min( until, mount->nextTry() );
      if ( mount->fd() >= 0 ) {
         const int events = mount->wantsToSend() ? POLLIN | POLLOUT : POLLIN;
         polled.push_back(
            { .fd = mount->fd(), .events = static_cast< short >( events ), .revents = 0 } );
      }
   }
   const auto left = std::chrono::ceil< std::chrono::milliseconds >( until - Clock::now() );
   ::poll( polled.data(), polled.size(), static_cast< int >( std::max( left.count(), 0L ) ) );
}

} // namespace Vek::log
