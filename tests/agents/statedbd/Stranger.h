#pragma once

#include "Flowspec/FlowspecDalb.h"
#include "tests/agents/statedbd/Database.h"

#include <gmock/gmock.h>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace TestSupport {

/// A connection of a client that does as it likes.
class Stranger {
public:
   explicit Stranger( const Vek::log::Endpoint& endpoint ) {
      // While too many wait to be let in, one more is turned away.
      for ( int i = 0; i < 10'000 && fd_ < 0; ++i ) {
         try {
            fd_ = endpoint.connect();
         } catch ( const Vek::StreamException& ) {
            ::usleep( 1000 );
         }
      }
      EXPECT_GE( fd_, 0 ) << "nobody lets it in";
   }
   explicit Stranger( const Database& database ) : Stranger( database.endpoint() ) {}
   Stranger( const Stranger& ) = delete;
   Stranger& operator=( const Stranger& ) = delete;
   ~Stranger() { ::close( fd_ ); }

   void send( const Vek::String& bytes ) const {
      EXPECT_EQ( ::send( fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL ),
                 static_cast< ssize_t >( bytes.size() ) );
   }

   /// What comes until the other end closes.
   Vek::String answer( std::chrono::milliseconds patience = std::chrono::seconds( 5 ) ) const {
      Vek::String text;
      char byte = 0;
      pollfd polled{ .fd = fd_, .events = POLLIN, .revents = 0 };
      while ( ::poll( &polled, 1, static_cast< int >( patience.count() ) ) == 1 &&
              ::read( fd_, &byte, 1 ) == 1 ) {
         text += byte;
      }
      return text;
   }

   /// A line that comes, without its end.
   Vek::String line() const {
      Vek::String text;
      char byte = 0;
      pollfd polled{ .fd = fd_, .events = POLLIN, .revents = 0 };
      while ( ::poll( &polled, 1, 5000 ) == 1 && ::read( fd_, &byte, 1 ) == 1 && byte != '\n' ) {
         text += byte;
      }
      return text;
   }

   /// Whether the other end has closed.
   bool isClosed() const {
      char byte = 0;
      return ::recv( fd_, &byte, 1, MSG_DONTWAIT ) == 0;
   }

private:
   int fd_ = -1;
};

/// The attribute log of a root as it is.
inline Vek::String logOf( Vek::NamedEntity& root ) {
   Vek::log::Source source;
   source.rootIs( root );
   Vek::log::Sender sender( source );
   sender.fill();
   return { sender.pending().begin(), sender.pending().end() };
}

/// The same of a configuration with one rule.
inline Vek::String logOf( const Vek::String& root ) {
   const auto config = Flowspec::configFactory( root );
   config->vrfRuleConfigIs( 0 )->ruleIs( Flowspec::FlowspecKey() );
   return logOf( *config );
}

} // namespace TestSupport
