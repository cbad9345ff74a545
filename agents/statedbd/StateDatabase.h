#pragma once

#include "Vek/Directory.h"
#include "Vek/log/Budget.h"
#include "Vek/log/Endpoint.h"
#include "Vek/log/Source.h"
#include "agents/lib/EventLoop.h"

#include <functional>
#include <map>
#include <memory>

namespace Agents {

class Client;

/// The central state database: root entities by name, each written by one client at a time and
/// streamed to any number of readers. It is empty when it starts; writers fill it.
class StateDatabase final : private EventLoop::Handler {
public:
   /// One root: what its readers are sent, and who writes it.
   struct Root {
      Vek::log::Source source;
      Vek::Ptr< Vek::NamedEntity > entity; ///< once a writer has named its type
      const Client* writer = nullptr;
   };

   /// Listens from now on; `loop` outlives the database. `log` takes a line for each writer that
   /// comes or goes and for each client that is cut off. `StreamException` when it cannot listen.
   StateDatabase( EventLoop& loop, Vek::log::Endpoint endpoint,
                  std::function< void( const Vek::String& line ) > log );
   StateDatabase( const StateDatabase& ) = delete;
   StateDatabase& operator=( const StateDatabase& ) = delete;
   ~StateDatabase();

   std::size_t clients() const { return clients_.size(); }

private:
   friend class Client;

   int fd() const override { return listener_; }
   EventLoop::Clock::time_point due() const override { return acceptAgain_; }
   void ready() override;

   std::shared_ptr< Root > root( const Vek::String& name );
   /// Streams a root to its readers once its writer has made it, and tells them when it is gone.
   void show( const Vek::String& name, Root& root );
   void end( Client& client );

   /// What all writers together may have sent of messages that have not come whole.
   static constexpr std::size_t partialMessages = 64U << 20;

   EventLoop& loop_;
   const Vek::log::Endpoint endpoint_;
   const std::function< void( const Vek::String& line ) > log_;
   int listener_;
   EventLoop::Clock::time_point acceptAgain_ = EventLoop::Clock::time_point::max();
   const std::shared_ptr< Vek::log::Budget > budget_ =
      std::make_shared< Vek::log::Budget >( partialMessages );
   Vek::Directory directory_;
   std::map< Vek::String, std::shared_ptr< Root > > roots_;
   std::map< const Client*, std::unique_ptr< Client > > clients_;
};

} // namespace Agents
