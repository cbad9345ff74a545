#include "agents/statedbd/Client.h"

#include "Vek/Printable.h"
#include "Vek/Text.h"

namespace Agents {

using Vek::concat;
using Vek::log::Greeting;

Client::Client( StateDatabase& database, int fd )
   : database_( database ), fd_( fd ),
     transport_( std::make_unique< Vek::log::FdTransport >( fd ) ) {}

Client::~Client() {
   connection_.reset();
   if ( root_ && root_->writer == this ) {
      root_->writer = nullptr;
   }
}

void Client::ready() {
   try {
      if ( !connection_ && !greet() ) {
         database_.end( *this );
         return;
      }
   } catch ( const Vek::StreamException& ) {
      // Gone before it said who it is.
      database_.end( *this );
      return;
   }
   if ( !connection_ ) {
      return;
   }
   const bool open = connection_->process();
   if ( greeting_.writes ) {
      database_.show( greeting_.root, *root_ );
   }
   if ( open && greeting_.writes ) {
      acknowledge();
   }
   if ( !open ) {
      logEnd( connection_->error() );
      database_.end( *this );
   }
}

bool Client::greet() {
   // A byte at a time: what comes behind the line is the connection's.
   U8 byte = 0;
   while ( !line_.ends_with( '\n' ) ) {
      const auto count = transport_->receive( std::span( &byte, 1 ) );
      if ( count && *count == 0 ) {
         return EventLoop::Clock::now() < due_;
      }
      line_ += static_cast< char >( byte );
      if ( !count || line_.size() > Greeting::maxSize ) {
         return false;
      }
   }
   line_.pop_back();
   return answer( line_ );
}

bool Client::answer( std::string_view line ) {
   auto greeting = Greeting::fromText( line );
   if ( !greeting ) {
      reply( concat( Greeting::refused, "this is no greeting" ) );
      return false;
   }
   greeting_ = std::move( *greeting );
   root_ = database_.root( greeting_.root );
   if ( greeting_.writes && root_->writer ) {
      reply(
         concat( Greeting::refused, greeting_.root, " is written by ", root_->writer->agent() ) );
      return false;
   }
   if ( !reply( Vek::String( Greeting::accepted ) ) ) {
      return false;
   }
   begin();
   return true;
}

bool Client::reply( const Vek::String& line ) {
   const Vek::String text = line + '\n';
   const auto* const bytes = reinterpret_cast< const U8* >( text.data() );
   return transport_->send( std::span( bytes, text.size() ) ) == text.size();
}

void Client::begin() {
   due_ = EventLoop::Clock::time_point::max();
   Vek::log::Connection::Options options;
   if ( greeting_.writes ) {
      root_->writer = this;
      options.directory = &database_.directory_;
      options.policy.budget = database_.budget_;
      options.policy.refusesRoot = [this]( std::string_view, std::string_view name ) {
         return name == greeting_.root ? Vek::String()
                                       : concat( "'", Vek::printable( name ),
                                                 "' is not the root that it said to write" );
      };
      database_.log_( concat( agent(), " writes ", rootName() ) );
   } else {
      options.source = &root_->source;
   }
   connection_ =
      std::make_unique< Vek::log::Connection >( std::move( transport_ ), std::move( options ) );
}

void Client::acknowledge() {
   // One that does not read is told the latest once it does.
   if ( words_.empty() && acknowledged_ != connection_->applied() ) {
      acknowledged_ = connection_->applied();
      words_ = concat( Greeting::has, acknowledged_, '\n' );
   }
   if ( !words_.empty() ) {
      const auto* const bytes = reinterpret_cast< const U8* >( words_.data() );
      try {
         words_.erase( 0, connection_->transport().send( std::span( bytes, words_.size() ) ) );
      } catch ( const Vek::StreamException& ) {
         // What it sent before it closed is received all the same.
         words_.clear();
      }
   }
}

void Client::logEnd( const Vek::String& error ) const {
   const std::string_view doing = greeting_.writes ? " writes " : " reads ";
   if ( !error.empty() ) {
      database_.log_( concat( agent(), ", which", doing, rootName(), ", is cut off: ", error ) );
   } else if ( greeting_.writes ) {
      database_.log_( concat( agent(), " no longer writes ", rootName() ) );
   }
}

} // namespace Agents
