#pragma once

#include "Vek/log/Connection.h"
#include "Vek/mount/FdTransport.h"
#include "Vek/mount/Greeting.h"
#include "agents/statedbd/StateDatabase.h"

namespace Agents {

/// A client of the state database: greets, and then reads one root or writes one, or asks which
/// there are.
class Client final : public EventLoop::Handler {
public:
   /// How long a client may take to greet.
   static constexpr std::chrono::seconds greetingTime{ 10 };
   /// How long one that is refused may take to read why.
   static constexpr std::chrono::seconds endingTime{ 1 };

   /// Takes the connection `fd`; the database owns the client and outlives it.
   Client( StateDatabase& database, int fd );
   Client( const Client& ) = delete;
   Client& operator=( const Client& ) = delete;
   ~Client();

   int fd() const override { return transport_.fd(); }
   bool wantsToSend() const override {
      return !words_.empty() || ( connection_ && connection_->wantsToSend() );
   }
   EventLoop::Clock::time_point due() const override {
      return connection_ && connection_->wantsTurn() ? EventLoop::Clock::time_point() : due_;
   }
   /// Does what can be done now; the database destroys the client within the call when it is done.
   void ready() override;

   const Vek::String& agent() const { return greeting_.agent; }
   const Vek::String& rootName() const { return greeting_.root; }
   const Peer& peer() const { return peer_; }
   /// Whether it reads a root that is not there.
   bool isWaiting() const { return root_ && !greeting_.writes && !root_->entity; }

private:
   enum class Stage : U8 { greets, streams, ends };

   /// Does what can be done now. False when the connection is of no more use.
   bool go();
   bool greet();
   void answer( std::string_view line );
   void begin();
   bool stream();
   /// Tells a writer how much of its log the database has.
   void acknowledge();
   /// Says a last word, and gives the client time to read it.
   void endWith( Vek::String words );
   void refuse( std::string_view reason );
   bool drain();
   /// Sends of `words_` what can be sent; false when the other end is gone.
   bool sendWords();

   void leave();
   void noteComing();
   void logEnd( std::string_view error );
   Vek::String who() const;

   StateDatabase& database_;
   Vek::log::FdTransport transport_;
   Stage stage_ = Stage::greets;
   EventLoop::Clock::time_point due_ = EventLoop::Clock::now() + greetingTime;
   Peer peer_;
   Vek::String line_;
   Vek::log::Greeting greeting_;
   std::shared_ptr< StateDatabase::Root > root_;
   std::unique_ptr< Vek::log::Connection > connection_;
   Vek::String words_;       ///< to the client, not sent yet
   U64 acknowledged_ = 0;    ///< bytes of a writer's log
   bool hasWritten_ = false; ///< has named the type of its root
   bool isLogged_ = false;   ///< that it came
};

} // namespace Agents
