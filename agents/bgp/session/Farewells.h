#pragma once

#include "agents/bgp/session/Socket.h"
#include "agents/bgp/session/Timer.h"
#include "agents/daemon/EventLoop.h"

#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace Bgp {

/// Connections that are over, whose peers are to read a last NOTIFICATION: one that is closed while
/// octets of the peer are unread is reset, and what was sent last may be lost.
class Farewells {
public:
   /// How long one lasts at most, and how many there are at most; others are closed at once.
   static constexpr std::chrono::seconds time{ 1 };
   static constexpr std::size_t most = 64;

   /// `loop` outlives it.
   Farewells( Agents::EventLoop& loop, const std::function< Time() >& now );
   Farewells( const Farewells& ) = delete;
   Farewells& operator=( const Farewells& ) = delete;
   ~Farewells();

   /// Sends the octets, and closes the connection when the peer has closed it or time is up.
   void add( Socket socket, std::span< const U8 > octets );
   bool empty() const { return members_.empty(); }

private:
   class Member;

   Agents::EventLoop& loop_;
   const std::function< Time() >& now_;
   std::vector< std::unique_ptr< Member > > members_;
};

} // namespace Bgp
