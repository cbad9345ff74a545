#include "agents/peerd/ExportRoot.h"

#include "Flowspec/config/RuleAction.h"

namespace Peerd {

using Flowspec::Config;

ExportRoot::ExportRoot( Agents::Daemon& daemon, const Vek::log::Endpoint& endpoint,
                        const Vek::String& root, RouteOut& routes, std::function< void() > changed )
   : routes_( routes ), changed_( std::move( changed ) ),
     mount_( endpoint, daemon.name(), root, directory_ ),
     watcher_(
        Vek::Ptr( static_cast< Config* >( directory_.create( Config::typeName, root ).get() ) ) ),
     handler_( daemon, mount_, [this] { take(); } ) {}

void ExportRoot::take() {
   // A rule is announced whole: its action comes after its key.
   if ( !mount_.stands() ) {
      return;
   }
   const auto keys = watcher_.take();
   for ( const Flowspec::FlowspecKey& key : keys ) {
      if ( const auto rule = watcher_.rule( key ) ) {
         routes_.put( key, Flowspec::actionOf( *rule ) );
      } else {
         routes_.del( key );
      }
   }
   if ( !keys.empty() ) {
      changed_();
   }
}

} // namespace Peerd
