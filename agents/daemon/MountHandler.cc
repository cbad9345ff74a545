#include "agents/daemon/MountHandler.h"

#include "Vek/text/Text.h"

namespace Agents {

MountHandler::MountHandler( Daemon& daemon, Vek::log::Mount& mount,
                            std::function< void() > changed )
   : daemon_( daemon ), mount_( mount ), changed_( std::move( changed ) ),
     logged_( mount.error() ) {
   daemon_.loop().add( *this );
}

MountHandler::~MountHandler() { daemon_.loop().remove( *this ); }

void MountHandler::ready() {
   mount_.process();
   if ( mount_.error() != logged_ ) {
      logged_ = mount_.error();
      const std::string_view text = logged_.empty() ? std::string_view( "mounted" ) : logged_;
      daemon_.logPeer( Vek::concat( mount_.root(), ": ", text ) );
   }
   if ( changed_ ) {
      changed_();
   }
}

} // namespace Agents
