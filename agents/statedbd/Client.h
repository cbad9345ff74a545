#pragma once

#include "Vek/log/Connection.h"
#include "Vek/log/Greeting.h"
#include "agents/statedbd/StateDatabase.h"

namespace Agents {

/// A client of the state database: greets, and then reads one root or writes one.
class Client final : public EventLoop::Handler {
public:
   /// How long a client may take to greet.
   static constexpr std::chrono::seconds greetingTime{ 10 };

   /// Takes the connection `fd`; the database owns the client and outlives it.
   Client( StateDatabase& database, int fd );
   Client( const Client& ) = delete;
   Client& operator=( const Client& ) = delete;
   ~Client();

   int fd() const override { return fd_; }
   bool wantsToSend() const override {
      return connection_ && ( connection_->wantsToSend() || !words_.empty() );
   }
   EventLoop::Clock::time_point due() const override { return due_; }
   /// Does what can be done now; the database destroys the client within the call when it is done.
   void ready() override;

   const Vek::String& agent() const { return greeting_.agent; }
   const Vek::String& rootName() const { return greeting_.root; }

private:
   /// Reads the greeting as far as it is there. False when the connection is of no more use.
   bool greet();
   bool answer( std::string_view line );
   bool reply( const Vek::String& line );
   void begin();
   /// Tells a writer how much of its log the database has.
   void acknowledge();
   void logEnd( const Vek::String& error ) const;

   StateDatabase& database_;
   const int fd_;
   EventLoop::Clock::time_point due_ = EventLoop::Clock::now() + greetingTime;
   std::unique_ptr< Vek::log::FdTransport > transport_; ///< until the connection has it
   Vek::String line_;
   Vek::log::Greeting greeting_;
   std::shared_ptr< StateDatabase::Root > root_;
   std::unique_ptr< Vek::log::Connection > connection_;
   Vek::String words_;    ///< to a writer, not sent yet
   U64 acknowledged_ = 0; ///< bytes of its log
};

} // namespace Agents
