#pragma once

#include "Vek/mount/Mount.h"
#include "agents/daemon/Daemon.h"

namespace Agents {

/// A mount in a daemon's event loop. The log gets a line when its connection stands, and when there
/// is none for a reason that was not logged last.
class MountHandler final : public EventLoop::Handler {
public:
   /// `changed`, when set, is called after each turn in which the mount did something.
   MountHandler( Daemon& daemon, Vek::log::Mount& mount, std::function< void() > changed = {} );
   MountHandler( const MountHandler& ) = delete;
   MountHandler& operator=( const MountHandler& ) = delete;
   ~MountHandler();

   int fd() const override { return mount_.fd(); }
   bool wantsToSend() const override { return mount_.wantsToSend(); }
   EventLoop::Clock::time_point due() const override { return mount_.nextTry(); }
   void ready() override;

private:
   Daemon& daemon_;
   Vek::log::Mount& mount_;
   const std::function< void() > changed_;
   Vek::String logged_;
};

} // namespace Agents
