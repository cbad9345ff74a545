#include "Vek/log/Connection.h"

namespace Vek::log {

namespace {

constexpr std::size_t roomSize = 1U << 16;

// A peer that sends without end, or that has much to be told, does not keep the others waiting.
constexpr int maxPiecesAtOnce = 16;
constexpr U64 stepsAtOnce = 8192;

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
      // A peer that takes no more may have closed in good order, and said something before.
      if ( open_ && !cannotSend_.empty() ) {
         receive();
         if ( open_ && !hasRest() ) {
            close( cannotSend_ );
         }
      }
   } catch ( const StreamException& exception ) {
      close( exception.what() );
   } catch ( const std::bad_alloc& ) {
      close( Sender::outOfMemory );
   }
   return open_;
}

void Connection::receive() {
   if ( receiver_ ) {
      receiver_->steps() = stepsAtOnce;
      give( std::exchange( rest_, {} ) );
   }
   U8 room[roomSize];
   for ( int piece = 0; piece < maxPiecesAtOnce && !hasRest(); ++piece ) {
      const auto count = transport_->receive( room );
      if ( !count ) {
         closedByPeer_ = true;
         close( "" );
         return;
      }
      if ( *count == 0 ) {
         return;
      }
      if ( receiver_ ) {
         give( std::span( room, *count ) );
      } else if ( replies_ ) {
         replies_( std::span( room, *count ) );
      } else {
         throw StreamException( "nothing is received on this connection" );
      }
   }
}

void Connection::give( std::span< const U8 > bytes ) {
   const auto left = bytes.subspan( receiver_->receive( bytes ) );
   rest_.assign( left.begin(), left.end() );
}

void Connection::send() {
   sender_->steps() = stepsAtOnce;
   do {
      sender_->fill();
      if ( !sender_->error().empty() ) {
         throw StreamException( sender_->error() );
      }
      while ( !sender_->pending().empty() ) {
         std::size_t count = 0;
         try {
            count = transport_->send( sender_->pending() );
         } catch ( const StreamException& exception ) {
            cannotSend_ = exception.what();
            sender_.reset();
            return;
         }
         if ( count == 0 ) {
            return;
         }
         sender_->sent( count );
         sent_ += count;
      }
   } while ( !sender_->idle() && sender_->steps() > 0 );
}

void Connection::close( const String& error ) {
   open_ = false;
   error_ = error;
   sender_.reset();
   receiver_.reset();
   transport_.reset();
}

} // namespace Vek::log
