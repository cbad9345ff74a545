#include "Vek/log/Connection.h"

namespace Vek::log {

namespace {

constexpr std::size_t roomSize = 1U << 16;

// A peer that sends without end does not keep the others waiting.
constexpr int maxPiecesAtOnce = 16;

} // namespace

Connection::Connection( std::unique_ptr< Transport > transport, Options options )
   : transport_( std::move( transport ) ), replies_( std::move( options.replies ) ) {
   if ( options.source ) {
      sender_ = std::make_unique< Sender >( *options.source, options.bufferSize );
   }
   if ( options.directory ) {
      receiver_ = std::make_unique< Receiver >( *options.directory, std::move( options.policy ) );
   }
}

Connection::~Connection() = default;

bool Connection::process() {
   if ( !open_ ) {
      return false;
   }
   try {
      receive();
      if ( open_ && sender_ ) {
         send();
      }
   } catch ( const StreamException& exception ) {
      close( exception.what() );
   }
   return open_;
}

void Connection::receive() {
   U8 room[roomSize];
   for ( int piece = 0; piece < maxPiecesAtOnce; ++piece ) {
      const auto count = transport_->receive( room );
      if ( !count ) {
         closedByPeer_ = true;
         close( receiver_ && !receiver_->atBoundary() ? "the peer closed inside a message" : "" );
         return;
      }
      if ( *count == 0 ) {
         return;
      }
      if ( receiver_ ) {
         receiver_->receive( std::span( room, *count ) );
      } else if ( replies_ ) {
         replies_( std::span( room, *count ) );
      } else {
         throw StreamException( "nothing is received on this connection" );
      }
   }
}

void Connection::send() {
   do {
      sender_->fill();
      if ( !sender_->error().empty() ) {
         throw StreamException( sender_->error() );
      }
      while ( !sender_->pending().empty() ) {
         std::size_t count = 0;
         try {
            count = transport_->send( sender_->pending() );
         } catch ( const StreamException& ) {
            // What the peer said before it went tells more.
            receive();
            if ( open_ ) {
               throw;
            }
         }
         if ( count == 0 ) {
            return;
         }
         sender_->sent( count );
         sent_ += count;
      }
   } while ( !sender_->idle() );
}

void Connection::close( const String& error ) {
   open_ = false;
   error_ = error;
   sender_.reset();
   receiver_.reset();
   transport_.reset();
}

} // namespace Vek::log
