#include "Flowspec/FlowspecDalb.h"
#include "Flowspec/FlowspecPolicy.h"
#include "agents/statedbd/StateDatabase.h"
#include "fuzz/LogInput.h"

#include <algorithm>

#include <sys/socket.h>
#include <unistd.h>

namespace {

using Agents::EventLoop;

// A client that says something in pieces, hears what it is told, and closes the connection.
class Speaker final : public EventLoop::Handler {
public:
   Speaker( EventLoop& loop, const Vek::log::Endpoint& endpoint, std::span< const U8 > words,
            std::size_t piece )
      : loop_( loop ), fd_( endpoint.connect() ), words_( words ), piece_( piece ) {
      loop_.add( *this );
   }
   Speaker( const Speaker& ) = delete;
   Speaker& operator=( const Speaker& ) = delete;
   ~Speaker() { ::close( fd_ ); }

   int fd() const override { return -1; }
   EventLoop::Clock::time_point due() const override { return {}; }
   void ready() override {
      U8 heard[4096];
      const ssize_t got = ::recv( fd_, heard, sizeof heard, MSG_DONTWAIT );
      if ( got == 0 || ( got < 0 && errno != EAGAIN ) || turnsLeft_ == 0 ) {
         loop_.remove( *this );
         loop_.stop();
         return;
      }
      if ( words_.empty() ) {
         --turnsLeft_; // some turns more to be answered in
         return;
      }
      const std::span< const U8 > now = words_.first( std::min( piece_, words_.size() ) );
      const ssize_t sent = ::send( fd_, now.data(), now.size(), MSG_DONTWAIT | MSG_NOSIGNAL );
      words_ = words_.subspan( static_cast< std::size_t >( std::max( sent, ssize_t{ 0 } ) ) );
   }

private:
   EventLoop& loop_;
   const int fd_;
   std::span< const U8 > words_;
   const std::size_t piece_;
   int turnsLeft_ = 3;
};

std::vector< U8 > conversation( const std::uint8_t* data, std::size_t size ) {
   std::vector< U8 > words = Fuzz::logStream( data, size );
   if ( !( data[0] & 1 ) ) {
      static constexpr std::string_view greeting = "mount/1 write fuzz flowspec/config\n";
      words.insert( words.begin(), greeting.begin(), greeting.end() );
   }
   return words;
}

} // namespace

// What a client says, after its greeting when the first byte is even.
extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
   if ( size == 0 ) {
      return 0;
   }
   const Vek::log::Endpoint endpoint( Vek::concat( "/tmp/flowspec-fuzz-", ::getpid(), ".sock" ) );
   const std::vector< U8 > words = conversation( data, size );
   std::vector< Vek::String > log;
   {
      EventLoop loop;
      Agents::StateDatabase database( loop, endpoint, {},
                                      [&]( const Vek::String& line ) { log.push_back( line ); } );
      Speaker speaker( loop, endpoint, words, 1U + data[0] * 64U );
      loop.run();
   }
   Fuzz::require( log.size() < 10, "a connection is a few lines of the log" );
   return 0;
}
