#pragma once

#include "agents/bgp/message/Header.h"
#include "agents/bgp/session/Peering.h"
#include "agents/bgp/session/Socket.h"
#include "agents/daemon/EventLoop.h"

namespace Bgp {

/// One TCP connection of a session: cuts what arrives into messages, and keeps what is to be sent
/// until the socket takes it. Both buffers are bounded.
class Connection final : public Agents::EventLoop::Handler {
public:
   /// Whoever has connections is called when one of them can go on.
   class Owner {
   public:
      virtual void ready( Slot slot ) = 0;

   protected:
      ~Owner() = default;
   };

   /// From here on there is no room for more to be sent; half of it must be gone until there is.
   static constexpr std::size_t sendRoom = std::size_t{ 256 } << 10;

   /// What there is to be read.
   enum class Input : U8 {
      nothing, ///< not a whole message yet
      message,
      fault,  ///< a header that is wrong
      closed, ///< by the peer, or broken
   };

   /// `loop` and `owner` outlive it.
   Connection( Agents::EventLoop& loop, Owner& owner, Slot slot, Socket socket );
   Connection( const Connection& ) = delete;
   Connection& operator=( const Connection& ) = delete;
   ~Connection();

   int fd() const override { return socket_.fd(); }
   bool wantsToSend() const override { return connecting_ || !pending().empty(); }
   Agents::EventLoop::Clock::time_point due() const override {
      return hasMessage() ? Time() : Timer::never;
   }
   void ready() override { owner_.ready( slot_ ); }

   const Socket& socket() const { return socket_; }
   /// Whether it is not known yet that the connection is there.
   bool isConnecting() const { return connecting_; }
   void connected() { connecting_ = false; }

   /// How long a message of the peer may be; 4096 at first.
   void maxLengthIs( std::size_t length ) { maxLength_ = length; }
   /// Reads what there is, once, unless a whole message waits already.
   void receive();
   /// Goes on to the next message. What the last one viewed may be gone after that.
   Input next();
   /// The message that `next` found.
   const Header& header() const { return header_; }
   std::span< const U8 > body() const;
   const Fault& fault() const { return fault_; }
   const Vek::String& closeReason() const { return closeReason_; }

   /// Keeps whole messages until `flush`.
   void queue( std::span< const U8 > messages );
   /// Sends what the socket takes. Whether it took any.
   bool flush();
   std::span< const U8 > pending() const { return std::span( out_ ).subspan( sent_ ); }

   /// Gives the socket away; the connection is of no more use.
   Socket release() { return std::move( socket_ ); }

private:
   bool hasMessage() const;
   std::span< const U8 > unread() const {
      return std::span( in_ ).subspan( begin_, end_ - begin_ );
   }

   Agents::EventLoop& loop_;
   Owner& owner_;
   const Slot slot_;
   Socket socket_;
   bool connecting_;
   std::size_t maxLength_ = maxMessage;
   std::vector< U8 > in_;
   std::size_t begin_ = 0; ///< of what is not read yet
   std::size_t end_ = 0;
   Header header_{ MessageType::keepalive, 0 };
   std::size_t taken_ = 0; ///< length of the message that `next` found
   Fault fault_;
   bool closed_ = false;
   Vek::String closeReason_;
   std::vector< U8 > out_;
   std::size_t sent_ = 0; ///< of `out_`
};

} // namespace Bgp
