#pragma once

#include "agents/daemon/MountHandler.h"

#include <optional>

namespace Agents {

/// A root of the state database that this process goes on writing where another one, such as its
/// own former run, ended: what the database has is taken over once, and from then on the entity
/// here is the state, which a database that was started again gets anew.
class OwnRoot final : private EventLoop::Handler {
public:
   /// Takes over `root`, which is created with `type` where the database has nothing. `taken` is
   /// called once, from the event loop, when that is done.
   OwnRoot( Daemon& daemon, const Vek::log::Endpoint& endpoint, const Vek::String& type,
            const Vek::String& root, std::function< void() > taken );
   OwnRoot( const OwnRoot& ) = delete;
   OwnRoot& operator=( const OwnRoot& ) = delete;
   ~OwnRoot();

   bool isTaken() const { return handler_.has_value(); }
   /// The root, once it is taken.
   template < typename Root >
   Vek::Ptr< Root > root() const {
      return Vek::Ptr( static_cast< Root* >( directory_.entity( name_ ).get() ) );
   }

private:
   int fd() const override { return mount_->fd(); }
   bool wantsToSend() const override { return mount_->wantsToSend(); }
   EventLoop::Clock::time_point due() const override { return mount_->nextTry(); }
   void ready() override;

   Daemon& daemon_;
   const Vek::String name_;
   const std::function< void() > taken_;
   Vek::Directory directory_;
   std::optional< Vek::log::Mount > mount_; ///< takes over, and then writes
   std::optional< MountHandler > handler_;  ///< once it writes
   Vek::String logged_;
};

} // namespace Agents
