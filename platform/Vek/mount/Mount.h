#pragma once

#include "Vek/log/Connection.h"
#include "Vek/mount/Endpoint.h"
#include "Vek/mount/FdTransport.h"

#include <chrono>

namespace Vek::log {

/// A root entity of a state database in this process: a copy that is kept equal to the database's,
/// or the original that the database and its readers copy. A root has one writer at a time.
///
/// A mount never waits. The owner's event loop calls `process` when `fd` is ready and when
/// `nextTry` has come; `Mount::wait` does for a program that has nothing else to wait for. A mount
/// that loses its connection, or is refused, tries again: a copy stays as it is meanwhile, and both
/// sides are brought up to date by what changed. It tries every 200 ms while nobody listens; after
/// other failures the pause doubles, to a second while another agent writes the root and to five
/// when a connection was of no use, such as with other types.
class OSK_EXPORT Mount {
public:
   using Clock = std::chrono::steady_clock;

   /// Reads: keeps `root` in `directory`, which lives as long as the mount, equal to the
   /// database's. An entity that is there already is used, so that it can be observed from the
   /// first change on. `agent` names this process to the database's users; it has no blanks.
   /// `RangeException` when one of the names cannot be in the greeting.
   Mount( Endpoint endpoint, String agent, String root, Directory& directory );

   /// Writes: `root` is the state, and replaces what the database has under its name.
   Mount( Endpoint endpoint, String agent, NamedEntity& root );

   /// Writes and takes over: what the database has under `root` is read into `directory` first,
   /// while no other can write it; where it has nothing, a new entity of `type` is created. It is
   /// there, and may be changed, while the mount `stands`. Each new connection takes over anew, as
   /// another may have written meanwhile: what was not `acknowledged` before is to be done again.
   Mount( Endpoint endpoint, String agent, String type, String root, Directory& directory );

   Mount( const Mount& ) = delete;
   Mount& operator=( const Mount& ) = delete;
   ~Mount();

   /// Connects, greets and moves what can be moved now.
   void process();

   /// What to wait for: the connection's descriptor, below 0 when there is none, and whether it is
   /// to be waited for until it can be written.
   int fd() const;
   bool wantsToSend() const;
   /// When to try again or to end waiting for a reply: long ago while there is more to do at once,
   /// and `time_point::max()` while there is a connection otherwise.
   Clock::time_point nextTry() const;

   /// A reader has received all that was there when it connected once; a writer may change its
   /// entity, as all that it had was given to a connection once, or, when it takes over, to this
   /// one.
   bool stands() const { return stands_; }

   /// How often the state was taken over.
   U64 takeovers() const { return takeovers_; }

   /// A writer: whether every change so far was given to the connection; the database may not have
   /// it yet.
   bool allSent() const { return connection_ && connection_->allSent(); }

   /// A writer: whether the database has every change so far, on its disk if it keeps the root.
   bool acknowledged() const { return allSent() && acknowledged_ >= connection_->sent(); }

   /// Why there is no connection that works; empty when there is one: all that was there has come,
   /// or the database has taken all that there was.
   const String& error() const { return error_; }
   /// Whether that is the database's refusal, such as another writer.
   bool refused() const { return refused_; }

   const String& root() const { return root_; }
   const Endpoint& endpoint() const { return endpoint_; }

   /// Waits until one of some mounts can go on, at most for `atMost`. A signal ends it early.
   static void wait( std::span< Mount* const > mounts, std::chrono::milliseconds atMost );

private:
   bool writes() const { return type_ || source_; }
   void connect();
   void greet();
   void takeReply();
   void takeWords( std::span< const U8 > bytes );
   void begin();
   void takeOver();
   void connectionEnded();
   void fail( const String& reason, std::chrono::milliseconds longestPause );
   static String refusal( std::string_view line );

   const Endpoint endpoint_;
   const String agent_;
   const String root_;
   const String greetingText_;
   const std::optional< String > type_; ///< of what is taken over
   Directory* const directory_;
   std::unique_ptr< Source > source_;         ///< of a writer, once it has its entity
   std::unique_ptr< Mount > reader_;          ///< while the state is taken over
   std::unique_ptr< FdTransport > transport_; ///< while greeting and taking over
   std::unique_ptr< Connection > connection_;
   String greeting_; ///< what is left of it to be sent
   String reply_;
   // Bytes of this connection's log: with all that there was, and that the database has.
   U64 whole_ = 0;
   U64 acknowledged_ = 0;
   U64 takeovers_ = 0;
   std::optional< Clock::time_point > works_; ///< since when this connection does
   std::chrono::milliseconds pause_{ 200 };   ///< before the next try
   Clock::time_point nextTry_{};              ///< long ago
   bool stands_ = false;
   bool refused_ = false;
   String error_ = "not connected yet";
};

} // namespace Vek::log
