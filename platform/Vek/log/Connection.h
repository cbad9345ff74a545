#pragma once

#include "Vek/log/Receiver.h"
#include "Vek/log/Source.h"
#include "Vek/log/Transport.h"

namespace Vek::log {

/// A connection to a peer: sends what a source streams, receives what the peer streams, or both. It
/// never waits: the owner's event loop calls `process` when the transport is ready, or at once
/// while the connection `wantsTurn`.
class OSK_EXPORT Connection {
public:
   struct Options {
      Source* source = nullptr;          ///< what to send; null to send nothing
      std::size_t bufferSize = 1U << 18; ///< of what is to be sent, in bytes
      Directory* directory = nullptr;    ///< where to receive; null to refuse all that comes
      Receiver::Policy policy = {};
      /// Takes what comes while there is no `directory`; empty to refuse it.
      std::function< void( std::span< const U8 > bytes ) > replies = {};
   };

   /// What `options` points to lives as long as the connection.
   Connection( std::unique_ptr< Transport > transport, Options options );
   Connection( const Connection& ) = delete;
   Connection& operator=( const Connection& ) = delete;
   ~Connection();

   /// Receives and sends what can be received and sent now, for a few milliseconds at most, so that
   /// other connections are served whatever the peer sends or holds. False when the connection has
   /// ended, because the peer closed it or for the reason that `error` gives; it is of no use then.
   bool process();

   /// Whether there is more to do before the transport is ready again.
   bool wantsTurn() const { return hasRest() || ( sender_ && !sender_->error().empty() ); }

   bool isOpen() const { return open_; }

   /// Whether there is something that the transport did not take yet.
   bool wantsToSend() const { return open_ && sender_ && !sender_->idle(); }

   /// Whether all that the source held when the connection began, and all changes since, were given
   /// to the transport.
   bool allSent() const { return sender_ && sender_->synchronised() && sender_->idle(); }

   /// The bytes of its log that were given to the transport, and of the peer's that were applied.
   U64 sent() const { return sent_; }
   U64 applied() const { return receiver_ ? receiver_->applied() : 0; }

   /// Whether the peer has sent all that it held when the connection began.
   bool synchronised() const { return receiver_ && receiver_->synchronised(); }

   /// Why the connection ended; empty when the peer closed it. What it had sent of a message that
   /// is not whole is dropped then.
   const String& error() const { return error_; }
   /// Whether it ended because the peer closed it.
   bool closedByPeer() const { return closedByPeer_; }

   Transport& transport() { return *transport_; }

private:
   // Whether something that was received is not applied.
   bool hasRest() const { return receiver_ && ( receiver_->isBusy() || !rest_.empty() ); }
   void receive();
   void give( std::span< const U8 > bytes );
   void send();
   void close( const String& error );

   std::unique_ptr< Transport > transport_;
   std::unique_ptr< Sender > sender_;
   std::unique_ptr< Receiver > receiver_;
   const std::function< void( std::span< const U8 > bytes ) > replies_;
   std::vector< U8 > rest_; ///< that was received and waits for the receiver
   U64 sent_ = 0;
   String cannotSend_; ///< why, once the transport takes no more
   bool open_ = true;
   bool closedByPeer_ = false;
   String error_;
};

} // namespace Vek::log
