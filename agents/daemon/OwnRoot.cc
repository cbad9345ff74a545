#include "agents/daemon/OwnRoot.h"

#include "Vek/text/Text.h"

namespace Agents {

OwnRoot::OwnRoot( Daemon& daemon, const Vek::log::Endpoint& endpoint, const Vek::String& type,
                  const Vek::String& root, std::function< void() > taken )
   : daemon_( daemon ), name_( root ), taken_( std::move( taken ) ) {
   mount_.emplace( endpoint, daemon.name(), type, root, directory_ );
   logged_ = mount_->error();
   daemon_.loop().add( *this );
}

OwnRoot::~OwnRoot() {
   if ( !handler_ ) {
      daemon_.loop().remove( *this );
   }
}

void OwnRoot::ready() {
   mount_->process();
   if ( mount_->stands() ) {
      // Each new connection of a mount that takes over would bring back what the database has,
      // which is nothing after its restart.
      const auto entity = directory_.entity( name_ );
      const Vek::log::Endpoint endpoint = mount_->endpoint();
      daemon_.loop().remove( *this );
      mount_.emplace( endpoint, daemon_.name(), *entity );
      handler_.emplace( daemon_, *mount_ );
      taken_();
   } else if ( mount_->error() != logged_ ) {
      logged_ = mount_->error();
      if ( !logged_.empty() ) {
         daemon_.logPeer( Vek::concat( name_, ": ", logged_ ) );
      }
   }
}

} // namespace Agents
