#include "agents/bgp/session/Farewells.h"

#include <algorithm>
#include <cerrno>

#include <sys/socket.h>

namespace Bgp {

class Farewells::Member final : public Agents::EventLoop::Handler {
public:
   Member( Farewells& all, Socket socket, std::span< const U8 > octets )
      : all_( all ), socket_( std::move( socket ) ), octets_( octets.begin(), octets.end() ),
        end_( all.now_() + time ) {
      all_.loop_.add( *this );
   }
   Member( const Member& ) = delete;
   Member& operator=( const Member& ) = delete;
   ~Member() { all_.loop_.remove( *this ); }

   int fd() const override { return socket_.fd(); }
   bool wantsToSend() const override { return !octets_.empty(); }
   Agents::EventLoop::Clock::time_point due() const override {
      return all_.now_() >= end_ ? Time() : end_;
   }
   void ready() override {
      if ( all_.now_() >= end_ || !send() || !drain() ) {
         std::erase_if( all_.members_, [this]( const auto& each ) { return each.get() == this; } );
      }
   }

   // False when nobody reads any more.
   bool send() {
      if ( octets_.empty() ) {
         return true;
      }
      const ssize_t count = ::send( fd(), octets_.data(), octets_.size(), MSG_NOSIGNAL );
      if ( count < 0 ) {
         return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
      }
      octets_.erase( octets_.begin(), octets_.begin() + count );
      if ( octets_.empty() ) {
         ::shutdown( fd(), SHUT_WR );
      }
      return true;
   }

private:
   // Drops what comes; false when the peer has closed.
   bool drain() const {
      U8 room[16384];
      const ssize_t count = ::recv( fd(), room, sizeof room, 0 );
      return count > 0 ||
             ( count < 0 && ( errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR ) );
   }

   Farewells& all_;
   const Socket socket_;
   std::vector< U8 > octets_;
   const Time end_;
};

Farewells::Farewells( Agents::EventLoop& loop, const std::function< Time() >& now )
   : loop_( loop ), now_( now ) {}

Farewells::~Farewells() = default;

void Farewells::add( Socket socket, std::span< const U8 > octets ) {
   auto member = std::make_unique< Member >( *this, std::move( socket ), octets );
   // What is short goes at once, also where there is no room for another one.
   if ( member->send() && members_.size() < most ) {
      members_.push_back( std::move( member ) );
   }
}

} // namespace Bgp
