#include "agents/statedbd/Client.h"

#include "Vek/text/Printable.h"
#include "Vek/text/Text.h"

#include <new>

#include <sys/socket.h>

namespace Agents {

using Vek::concat;
using Vek::log::Greeting;

namespace {

constexpr auto never = EventLoop::Clock::time_point::max();

// A refusal fits into a line of the greeting, with room for "refused " and its end.
constexpr std::size_t maxReason = Greeting::maxSize - Greeting::refused.size() - 1;

// The client's transport for its connection, after which it is still of use.
class Lent final : public Vek::log::Transport {
public:
   explicit Lent( Vek::log::Transport& transport ) : transport_( transport ) {}

   std::size_t send( std::span< const U8 > bytes ) override { return transport_.send( bytes ); }
   std::optional< std::size_t > receive( std::span< U8 > room ) override {
      return transport_.receive( room );
   }

private:
   Vek::log::Transport& transport_;
};

} // namespace

Client::Client( StateDatabase& database, int fd ) : database_( database ), transport_( fd ) {}

Client::~Client() { leave(); }

void Client::ready() {
   bool isOpen = false;
   try {
      isOpen = go();
   } catch ( const Vek::StreamException& ) {
      // Gone before it said who it is, or while it was told why it is cut off.
   } catch ( const std::bad_alloc& ) {
      if ( connection_ && greeting_.writes ) {
         // Readers may have missed a change: they connect again.
         root_->source.fail( "out of memory" );
      }
      connection_.reset();
      database_.logOutOfMemory();
   }
   if ( !isOpen ) {
      database_.end( *this );
   }
}

bool Client::go() {
   switch ( stage_ ) {
   case Stage::greets:
      return greet();
   case Stage::streams:
      return stream();
   case Stage::ends:
      break;
   }
   return drain();
}

bool Client::greet() {
   // A byte at a time: what comes after the line is the connection's.
   U8 byte = 0;
   while ( !line_.ends_with( '\n' ) ) {
      const auto count = transport_.receive( std::span( &byte, 1 ) );
      if ( count && *count == 0 ) {
         return EventLoop::Clock::now() < due_;
      }
      line_ += static_cast< char >( byte );
      if ( !count || line_.size() > Greeting::maxSize ) {
         return false;
      }
   }
   line_.pop_back();
   answer( line_ );
   return go();
}

void Client::answer( std::string_view line ) {
   auto greeting = Greeting::fromText( line );
   if ( !greeting ) {
      refuse( "invalid greeting" );
      return;
   }
   greeting_ = std::move( *greeting );
   peer_ = Peer::of( fd() );
   if ( greeting_.lists ) {
      endWith( concat( Greeting::accepted, '\n', database_.list() ) );
      due_ = EventLoop::Clock::now() + greetingTime;
      return;
   }
   if ( greeting_.writes && !database_.access_.mayWrite( peer_, rootName() ) ) {
      const Vek::String reason = concat( peer_.text(), " may not write ", rootName() );
      database_.log_( concat( agent(), " is refused: ", reason ) );
      refuse( reason );
      return;
   }
   Vek::String reason;
   auto root = database_.root( rootName(), reason );
   if ( reason.empty() && greeting_.writes && root->writer ) {
      reason = concat( rootName(), " is written by ", root->writer->agent() );
   } else if ( reason.empty() && !greeting_.writes && !root->entity ) {
      reason = database_.refusesToWait( peer_ );
   }
   if ( !reason.empty() ) {
      refuse( reason );
      return;
   }
   root_ = std::move( root );
   begin();
}

void Client::begin() {
   stage_ = Stage::streams;
   words_ = concat( Greeting::accepted, '\n' );
   due_ = never;
   Vek::log::Connection::Options options;
   if ( greeting_.writes ) {
      root_->writer = this;
      due_ = EventLoop::Clock::now() + database_.options_.lasting;
      options.directory = &database_.directory_;
      options.policy.budget = database_.budget_;
      options.policy.refusesRoot = [this]( std::string_view type, std::string_view name ) {
         if ( name != rootName() ) {
            return concat( '\'', Vek::printable( name ),
                           "' is not the root that it said to write" );
         }
         Vek::String reason = database_.refusesType( rootName(), type );
         if ( reason.empty() ) {
            hasWritten_ = true;
            root_->complaint.clear();
         }
         return reason;
      };
   } else {
      ++root_->readers;
      options.source = &root_->source;
   }
   connection_ = std::make_unique< Vek::log::Connection >( std::make_unique< Lent >( transport_ ),
                                                           std::move( options ) );
   if ( database_.options_.verbose ) {
      noteComing();
   }
}

bool Client::stream() {
   if ( !sendWords() ) {
      return false;
   }
   if ( !words_.empty() && !greeting_.writes ) {
      return true; // The log comes after the answer.
   }
   bool isOpen = connection_->process();
   Vek::String error = connection_->error();
   if ( greeting_.writes ) {
      database_.show( rootName(), *root_ );
      if ( const Vek::String fault = database_.keep( rootName(), *root_ ); !fault.empty() ) {
         isOpen = false;
         error = fault;
      }
      if ( EventLoop::Clock::now() >= due_ ) {
         due_ = never;
         noteComing();
      }
   }
   if ( isOpen ) {
      acknowledge();
      return true;
   }
   logEnd( error );
   if ( error.empty() || !greeting_.writes ) {
      return false;
   }
   leave();
   refuse( error );
   return true;
}

void Client::acknowledge() {
   // One that does not read is told the latest once it does.
   if ( greeting_.writes && words_.empty() && acknowledged_ != connection_->applied() ) {
      acknowledged_ = connection_->applied();
      words_ = concat( Greeting::has, acknowledged_, '\n' );
      sendWords();
   }
}

void Client::refuse( std::string_view reason ) {
   endWith( concat( Greeting::refused, Vek::printable( reason, maxReason ), '\n' ) );
}

void Client::endWith( Vek::String words ) {
   stage_ = Stage::ends;
   // What was left to be said before is whole lines and at most one that was begun.
   words_ += words;
   due_ = EventLoop::Clock::now() + endingTime;
}

bool Client::drain() {
   if ( !sendWords() || EventLoop::Clock::now() >= due_ ) {
      return false;
   }
   if ( words_.empty() ) {
      ::shutdown( fd(), SHUT_WR );
   }
   // What comes is dropped, so that the client can read why it is refused.
   U8 room[1024];
   for ( int piece = 0; piece < 64; ++piece ) {
      const auto count = transport_.receive( room );
      if ( !count ) {
         return false;
      }
      if ( *count == 0 ) {
         break;
      }
   }
   return true;
}

bool Client::sendWords() {
   if ( !words_.empty() ) {
      const auto* const bytes = reinterpret_cast< const U8* >( words_.data() );
      try {
         words_.erase( 0, transport_.send( std::span( bytes, words_.size() ) ) );
      } catch ( const Vek::StreamException& ) {
         words_.clear();
         // What a writer sent before it closed is received all the same.
         return greeting_.writes;
      }
   }
   return true;
}

void Client::leave() {
   connection_.reset();
   if ( !root_ ) {
      return;
   }
   if ( !greeting_.writes ) {
      --root_->readers;
   } else if ( root_->writer == this ) {
      root_->writer = nullptr;
      if ( hasWritten_ ) {
         root_->left = EventLoop::Clock::now();
      }
   }
   root_.reset();
}

void Client::noteComing() {
   isLogged_ = true;
   database_.log_( concat( who(), greeting_.writes ? " writes " : " reads ", rootName() ) );
}

void Client::logEnd( std::string_view error ) {
   const std::string_view doing = greeting_.writes ? " writes " : " reads ";
   if ( !error.empty() ) {
      const Vek::String line =
         concat( who(), ", which", doing, rootName(), ", is cut off: ", error );
      // A writer tries again and again.
      if ( line != root_->complaint ) {
         root_->complaint = line;
         database_.log_( line );
      }
   } else if ( isLogged_ ) {
      database_.log_( concat( who(), " no longer", doing, rootName() ) );
   }
}

Vek::String Client::who() const { return concat( agent(), " (", peer_.text(), ')' ); }

} // namespace Agents
