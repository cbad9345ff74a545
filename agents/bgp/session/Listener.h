#pragma once

#include "agents/bgp/session/Socket.h"
#include "agents/bgp/session/Timer.h"
#include "agents/daemon/EventLoop.h"

#include <functional>

namespace Bgp {

/// Listens on one address, and takes the connections that arrive, at most 16 in a turn.
class Listener final : public Agents::EventLoop::Handler {
public:
   static constexpr int backlog = 128;
   static constexpr int mostPerTurn = 16;
   /// How long to let connections wait when there is no descriptor for one more.
   static constexpr std::chrono::seconds pause{ 1 };

   /// `accepted` gets each connection and `failed`, once for each pause, why there can be none.
   /// `std::system_error` when it cannot listen.
   Listener( Agents::EventLoop& loop, const SocketAddress& address,
             const std::function< Time() >& now, std::function< void( Socket ) > accepted,
             std::function< void( std::string_view ) > failed );
   Listener( const Listener& ) = delete;
   Listener& operator=( const Listener& ) = delete;
   ~Listener();

   int fd() const override { return resume_.isRunning() ? -1 : socket_.fd(); }
   Agents::EventLoop::Clock::time_point due() const override {
      return resume_.due() <= now_() ? Time() : resume_.due();
   }
   void ready() override;

   /// As it was asked for, with a port of 0.
   const SocketAddress& address() const { return address_; }
   const Socket& socket() const { return socket_; }

private:
   Agents::EventLoop& loop_;
   const SocketAddress address_;
   const std::function< Time() >& now_;
   const std::function< void( Socket ) > accepted_;
   const std::function< void( std::string_view ) > failed_;
   const Socket socket_;
   Timer resume_;
};

} // namespace Bgp
