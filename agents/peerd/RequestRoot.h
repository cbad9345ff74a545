#pragma once

#include "agents/daemon/MountHandler.h"
#include "agents/peerd/Speaker.h"

namespace Peerd {

/// The root with what operators ask for, read from the state database. It comes to be there with
/// the first request.
class RequestRoot {
public:
   RequestRoot( Agents::Daemon& daemon, const Vek::log::Endpoint& endpoint, const Vek::String& root,
                Speaker& speaker )
      : mount_( endpoint, daemon.name(), root, directory_ ),
        handler_( daemon, mount_, [this, &speaker] {
           if ( const auto requests = directory_.entity( mount_.root() ) ) {
              speaker.requests( static_cast< const Peers::PeerRequests& >( *requests ) );
           }
        } ) {}
   RequestRoot( const RequestRoot& ) = delete;
   RequestRoot& operator=( const RequestRoot& ) = delete;
   ~RequestRoot() = default;

private:
   Vek::Directory directory_;
   Vek::log::Mount mount_;
   Agents::MountHandler handler_;
};

} // namespace Peerd
