#pragma once

#include "Vek/text/String.h"
#include "agents/daemon/EventLoop.h"

#include <functional>
#include <map>
#include <set>
#include <vector>

namespace Agents {

/// Tells when one of some files was written, replaced or has come into being. It watches their
/// folders, so that a file that an editor renames into its place is noticed as well.
class FileWatch final : public EventLoop::Handler {
public:
   /// How long it waits for more changes, so that several at once are told once.
   static constexpr std::chrono::milliseconds settling{ 100 };

   /// `changed` is called some time after a change. `std::system_error`, "cannot watch FOLDER:
   /// REASON".
   FileWatch( EventLoop& loop, const std::vector< Vek::String >& files,
              std::function< void() > changed );
   FileWatch( const FileWatch& ) = delete;
   FileWatch& operator=( const FileWatch& ) = delete;
   ~FileWatch();

   int fd() const override { return fd_; }
   EventLoop::Clock::time_point due() const override { return due_; }
   void ready() override;

private:
   EventLoop& loop_;
   const std::function< void() > changed_;
   int fd_;
   std::map< int, std::set< Vek::String > > names_; ///< of the files in a watched folder
   EventLoop::Clock::time_point due_ = EventLoop::Clock::time_point::max();
};

} // namespace Agents
