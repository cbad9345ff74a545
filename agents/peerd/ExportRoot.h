#pragma once

#include "agents/daemon/MountHandler.h"
#include "agents/filing/RuleWatcher.h"
#include "agents/peerd/rib/RouteOut.h"

namespace Peerd {

/// The root whose rules are announced, read from the state database: what changes in it is put into
/// `RouteOut`.
class ExportRoot {
public:
   /// `changed` is called from the event loop after changes were put.
   ExportRoot( Agents::Daemon& daemon, const Vek::log::Endpoint& endpoint, const Vek::String& root,
               RouteOut& routes, std::function< void() > changed );
   ExportRoot( const ExportRoot& ) = delete;
   ExportRoot& operator=( const ExportRoot& ) = delete;
   ~ExportRoot() = default;

private:
   void take();

   RouteOut& routes_;
   const std::function< void() > changed_;
   Vek::Directory directory_;
   Vek::log::Mount mount_;
   Agents::RuleWatcher watcher_;
   Agents::MountHandler handler_;
};

} // namespace Peerd
