#pragma once

#include "Vek/entity/Directory.h"
#include "Vek/log/Budget.h"
#include "Vek/log/Source.h"
#include "Vek/mount/Endpoint.h"
#include "agents/daemon/EventLoop.h"
#include "agents/daemon/PidFile.h"
#include "agents/statedbd/Access.h"
#include "agents/statedbd/KeptRoot.h"

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <optional>

namespace Agents {

class Client;

/// The central state database: root entities by name, each written by one client at a time and
/// streamed to any number of readers. It is empty when it starts, but for roots that it keeps on a
/// disk; writers fill it.
class StateDatabase final : private EventLoop::Handler {
public:
   /// A root to be kept, and the only type that it may have; any when empty.
   struct Kept {
      Vek::String root;
      Vek::String type;
   };

   struct Options {
      std::size_t maxRoots = 4096;
      /// Readers of roots that are not there: in all, and of one user.
      std::size_t maxWaiting = 512;
      std::size_t maxWaitingOfUser = 128;
      /// How long a root stays that has neither writer nor reader, and how long one that has no
      /// writer keeps its type.
      std::chrono::milliseconds abandoned = std::chrono::seconds( 60 );
      /// How long a writer stays until its coming and going is worth a line of the log.
      std::chrono::milliseconds lasting = std::chrono::seconds( 2 );
      /// All clients that come and go are.
      bool verbose = false;
      /// Where roots are kept, which outlives the database, and which; nothing when it is null.
      Disk* disk = nullptr;
      std::vector< Kept > kept = {};
   };

   /// One root: what its readers are sent, and who writes it.
   struct Root {
      Vek::log::Source source;
      Vek::Ptr< Vek::NamedEntity > entity; ///< once a writer has named its type
      const Client* writer = nullptr;
      std::size_t readers = 0;
      EventLoop::Clock::time_point left{}; ///< when the last one that wrote it went
      std::unique_ptr< KeptRoot > kept;    ///< null for a root that is not kept
      Vek::String complaint;               ///< the last one that was logged about a writer
   };

   /// Reads what is kept and listens from now on; `loop` outlives the database. `log` takes a line
   /// for each writer that comes or goes and for each client that is cut off. `StreamException` or
   /// `std::runtime_error` when it cannot listen, `RangeException` when a root cannot be kept.
   StateDatabase( EventLoop& loop, Vek::log::Endpoint endpoint, Options options,
                  std::function< void( const Vek::String& line ) > log );
   StateDatabase( const StateDatabase& ) = delete;
   StateDatabase& operator=( const StateDatabase& ) = delete;
   ~StateDatabase();

   /// Who may write what from now on; it is asked when a writer comes.
   void accessIs( Access access ) { access_ = std::move( access ); }

   std::size_t clients() const { return clients_.size(); }
   std::size_t roots() const { return roots_.size(); }

private:
   friend class Client;

   /// None while there is no descriptor for one more client.
   int fd() const override { return isFull_ ? -1 : listener_; }
   EventLoop::Clock::time_point due() const override { return std::min( acceptAgain_, sweep_ ); }
   void ready() override;

   void accept();
   void wait( bool canRefuse );
   bool admit( int fd );
   void refuseOne();
   void keepReserve();

   /// The root `name` for one more client. Why it cannot have it, when `reason` is not empty.
   std::shared_ptr< Root > root( const Vek::String& name, Vek::String& reason );
   /// Why one more reader cannot wait for a root that is not there; empty when it can.
   Vek::String refusesToWait( const Peer& peer ) const;
   /// Why a root cannot be of a type; empty when it can. One of another type goes when nobody has
   /// written it for a while.
   Vek::String refusesType( const Vek::String& name, std::string_view type );
   /// Streams a root to its readers once its writer has made it, and tells them when it is gone.
   void show( const Vek::String& name, Root& root );
   /// Puts a root that is kept on the disk. Why it cannot, and then the root is what it was on the
   /// disk; empty when it can.
   Vek::String keep( const Vek::String& name, Root& root );
   void load( const Vek::String& name, Root& root );
   /// Lines about the roots, for a client that asked for them.
   Vek::String list() const;
   void end( Client& client );
   void removeAbandoned();
   void logOutOfMemory() const;

   /// What all writers together may have sent of messages that have not come whole.
   static constexpr std::size_t partialMessages = 64U << 20;

   EventLoop& loop_;
   const Vek::log::Endpoint endpoint_;
   const Options options_;
   const std::function< void( const Vek::String& line ) > log_;
   Access access_;
   std::optional< PidFile > lock_; ///< of a Unix socket
   int listener_ = -1;
   int reserve_ = -1;    ///< a descriptor, given up for a moment to refuse a client with a reason
   bool isFull_ = false; ///< there was no descriptor or no memory for one more client
   EventLoop::Clock::time_point acceptAgain_ = EventLoop::Clock::time_point::max();
   EventLoop::Clock::time_point sweep_ = EventLoop::Clock::time_point::max();
   const std::shared_ptr< Vek::log::Budget > budget_ =
      std::make_shared< Vek::log::Budget >( partialMessages );
   Vek::Directory directory_;
   std::map< Vek::String, std::shared_ptr< Root > > roots_;
   std::map< const Client*, std::unique_ptr< Client > > clients_;
};

} // namespace Agents
