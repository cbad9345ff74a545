#pragma once

#include "agents/statedbd/StateDatabase.h"
#include "tests/support/Folder.h"
#include "tests/support/ThreadSafe.h"

#include <mutex>
#include <thread>

#include <sys/eventfd.h>
#include <unistd.h>

namespace TestSupport {

/// A state database in a thread of the test.
class LocalDatabase final : private Agents::EventLoop::Handler {
public:
   explicit LocalDatabase( Agents::StateDatabase::Options options = {}, Agents::Access access = {} )
      : database_( loop_, endpoint(), options, [this]( const Vek::String& line ) {
           const std::lock_guard< std::mutex > guard( mutex_ );
           lines_.push_back( line );
        } ) {
      database_.accessIs( std::move( access ) );
      loop_.add( *this );
      thread_ = std::thread( [this] { loop_.run(); } );
   }
   LocalDatabase( const LocalDatabase& ) = delete;
   LocalDatabase& operator=( const LocalDatabase& ) = delete;
   ~LocalDatabase() {
      const U64 one = 1;
      EXPECT_EQ( ::write( stop_, &one, sizeof one ), static_cast< ssize_t >( sizeof one ) );
      thread_.join();
      ::close( stop_ );
   }

   Vek::log::Endpoint endpoint() const {
      return Vek::log::Endpoint( folder_.path() + "/statedb.sock" );
   }

   /// What it has logged so far.
   std::vector< Vek::String > lines() const {
      const std::lock_guard< std::mutex > guard( mutex_ );
      return lines_;
   }

private:
   int fd() const override { return stop_; }
   void ready() override { loop_.stop(); }

   const ThreadSafe threadSafe_;
   Folder folder_;
   const int stop_ = ::eventfd( 0, EFD_CLOEXEC );
   mutable std::mutex mutex_;
   std::vector< Vek::String > lines_;
   Agents::EventLoop loop_;
   Agents::StateDatabase database_;
   std::thread thread_;
};

} // namespace TestSupport
