#include "Vek/mount/Mount.h"

#include "Vek/mount/Greeting.h"
#include "Vek/text/Printable.h"
#include "Vek/text/Text.h"

#include <algorithm>

#include <poll.h>

namespace Vek::log {

namespace {

// How long a database may take to reply.
constexpr std::chrono::seconds replyTime( 10 );

// Pauses between two tries double up to one of these.
constexpr std::chrono::milliseconds shortest( 200 );
constexpr std::chrono::milliseconds whileRefused( 1000 ); // another writer may end at any time
constexpr std::chrono::milliseconds longest( 5000 );

constexpr const char* closed = "the state database closed the connection";
constexpr const char* foreign = "invalid reply: this is not a state database";

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
   if ( connection_ && connection_->wantsTurn() ) {
      return {};
   }
   return connection_ ? Clock::time_point::max() : nextTry_;
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
      } else if ( !connection_ && transport_ ) {
         greet();
      }
   } catch ( const StreamException& exception ) {
      fail( exception.what(), longest );
      return;
   }
   if ( !connection_ ) {
      return;
   }
   if ( !connection_->process() ) {
      connectionEnded();
      return;
   }
   stands_ = stands_ || ( writes() ? connection_->allSent() : connection_->synchronised() );
   if ( writes() && whole_ == 0 && connection_->allSent() ) {
      whole_ = connection_->sent();
   }
   if ( !works_ && ( writes() ? whole_ != 0 && acknowledged_ >= whole_ : stands_ ) ) {
      works_ = Clock::now();
      error_.clear();
   }
}

void Mount::connect() {
   try {
      transport_ = std::make_unique< FdTransport >( endpoint_.connect() );
   } catch ( const StreamException& exception ) {
      // It will be there when it has started.
      fail( exception.what(), shortest );
      return;
   }
   nextTry_ = Clock::now() + replyTime;
   greeting_ = greetingText_;
   reply_.clear();
}

void Mount::greet() {
   // The database may have replied and closed before it has all of the greeting.
   String failure;
   if ( !greeting_.empty() ) {
      const auto* const bytes = reinterpret_cast< const U8* >( greeting_.data() );
      try {
         greeting_.erase( 0, transport_->send( std::span( bytes, greeting_.size() ) ) );
      } catch ( const StreamException& exception ) {
         failure = exception.what();
      }
   }
   // A byte at a time: what comes after the reply is the connection's.
   U8 byte = 0;
   while ( !reply_.ends_with( '\n' ) ) {
      const auto count = transport_->receive( std::span( &byte, 1 ) );
      if ( !failure.empty() && count.value_or( 0 ) == 0 ) {
         fail( failure, shortest ); // nobody listens on a port, as far as one can know
         return;
      }
      if ( !count ) {
         throw StreamException( closed );
      }
      if ( *count == 0 ) {
         if ( Clock::now() >= nextTry_ ) {
            throw StreamException( "the state database does not answer" );
         }
         return;
      }
      reply_ += static_cast< char >( byte );
      if ( reply_.size() > Greeting::maxSize ) {
         throw StreamException( foreign );
      }
   }
   takeReply();
}

void Mount::takeReply() {
   reply_.pop_back();
   const String line = std::exchange( reply_, {} );
   if ( line == Greeting::accepted ) {
      if ( type_ ) {
         reader_ = std::make_unique< Mount >( endpoint_, agent_, root_, *directory_ );
         takeOver();
      } else {
         begin();
      }
      return;
   }
   if ( !line.starts_with( Greeting::refused ) ) {
      throw StreamException( foreign );
   }
   fail( refusal( line ), whileRefused );
   refused_ = true;
}

String Mount::refusal( std::string_view line ) {
   const String reason = printable( line.substr( Greeting::refused.size() ), printableReasonSize );
   return reason.empty() ? "the state database refuses without a reason" : reason;
}

void Mount::takeOver() {
   // What is read is the state only while no other can write it.
   U8 words[64];
   const auto count = transport_->receive( words );
   if ( !count ) {
      throw StreamException( closed );
   }
   takeWords( std::span( words, *count ) );
   reader_->process();
   if ( !reader_->stands() ) {
      error_ = reader_->error();
      refused_ = reader_->refused();
      return;
   }
   reader_.reset();
   try {
      source_ = std::make_unique< Source >();
      source_->rootIs( *directory_->create( *type_, root_ ) );
   } catch ( const RangeException& exception ) {
      throw StreamException( exception.what() ); // such as a root of another type
   }
   ++takeovers_;
   begin();
}

void Mount::begin() {
   Connection::Options options;
   if ( source_ ) {
      options.source = source_.get();
      options.replies = [this]( std::span< const U8 > bytes ) { takeWords( bytes ); };
      whole_ = 0;
      acknowledged_ = 0;
   } else {
      options.directory = directory_;
      options.policy.refusesRoot = [this]( std::string_view, std::string_view name ) {
         return name == root_ ? String() : String( "only the root that was asked for is read" );
      };
   }
   connection_ = std::make_unique< Connection >( std::move( transport_ ), std::move( options ) );
   works_ = std::nullopt;
   refused_ = false;
}

// What the database says while it is written to.
void Mount::takeWords( std::span< const U8 > bytes ) {
   for ( const U8 byte : bytes ) {
      if ( byte != '\n' ) {
         reply_ += static_cast< char >( byte );
         if ( reply_.size() == Greeting::maxSize ) {
            throw StreamException( foreign );
         }
         continue;
      }
      const String line = std::exchange( reply_, {} );
      if ( line.starts_with( Greeting::refused ) ) {
         refused_ = true;
         throw StreamException( refusal( line ) );
      }
      const auto count = line.starts_with( Greeting::has )
                            ? decimal( std::string_view( line ).substr( Greeting::has.size() ),
                                       std::numeric_limits< U64 >::max() )
                            : std::nullopt;
      if ( !count ) {
         throw StreamException( foreign );
      }
      acknowledged_ = *count;
   }
}

void Mount::connectionEnded() {
   const bool refused = refused_; // the database's last word
   // One that ends in good order is back soon; other ends repeat, unless it was good for a while.
   const bool wasGood =
      works_ && ( connection_->closedByPeer() || Clock::now() - *works_ > longest );
   fail( connection_->closedByPeer() ? closed : connection_->error(),
         wasGood ? shortest : longest );
   refused_ = refused;
}

// Tries again after a pause, which doubles from one failure to the next.
void Mount::fail( const String& reason, std::chrono::milliseconds longestPause ) {
   // The reason may be the connection's.
   error_ = String( reason );
   refused_ = false;
   reader_.reset();
   connection_.reset();
   transport_.reset();
   greeting_.clear();
   stands_ = stands_ && !type_;
   pause_ = std::min( pause_, longestPause );
   nextTry_ = Clock::now() + pause_;
   pause_ = std::min( 2 * pause_, longestPause );
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
   ::poll( polled.data(), polled.size(),
           static_cast< int >( std::clamp( left.count(), 0L, 3'600'000L ) ) );
}

} // namespace Vek::log
