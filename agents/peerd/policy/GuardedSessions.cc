#include "agents/peerd/policy/GuardedSessions.h"

#include <algorithm>

namespace Peerd {

GuardedSessions::GuardedSessions( std::vector< SessionEnds > sessions )
   : sessions_( std::move( sessions ) ) {
   for ( std::size_t i = 0; i < sessions_.size(); ++i ) {
      for ( const Zorv::IpGenAddr& address : { sessions_[i].local, sessions_[i].peer } ) {
         ends_.push_back( { address, static_cast< U16 >( i ) } );
      }
   }
   std::ranges::sort( ends_ );
}

std::optional< U16 > GuardedSessions::coveredBy( const Flowspec::FlowspecKey& rule ) const {
   // An end of each session that the rule covers is inside of its prefix; these ends are in a row.
   const bool hasDestination = !rule.destPrefix().empty();
   const Zorv::IpGenPrefix& prefix = hasDestination ? rule.destPrefix() : rule.srcPrefix();
   const bool isAny = prefix.empty();
   auto at = isAny ? ends_.begin()
                   : std::ranges::lower_bound( ends_, prefix.address(), {}, &End::address );
   std::optional< U16 > first;
   for ( ; at != ends_.end() &&
           ( isAny || ( at->address.family() == prefix.family() &&
                        at->address.masked( prefix.length() ) == prefix.address() ) );
         ++at ) {
      if ( ( !first || at->session < *first ) && coversSession( rule, sessions_[at->session] ) ) {
         first = at->session;
      }
   }
   return first;
}

} // namespace Peerd
