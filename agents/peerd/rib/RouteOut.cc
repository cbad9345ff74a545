#include "agents/peerd/rib/RouteOut.h"

#include "Osk/Assert.h"
#include "Vek/text/Text.h"
#include "agents/peerd/rib/PeerOut.h"

#include <algorithm>

namespace Peerd {

namespace {

U8 positionOf( Bgp::Family family ) {
   const auto found = std::ranges::find( Bgp::flowFamilies, family );
   OSK_ASSERT( found != Bgp::flowFamilies.end(), "found != Bgp::flowFamilies.end()" );
   return static_cast< U8 >( found - Bgp::flowFamilies.begin() );
}

} // namespace

class RouteOut::State {
public:
   PeerOut& peer( PeerId id ) {
      const auto found = peers.find( id );
      OSK_ASSERT( found != peers.end(), "found != peers.end()" );
      return found->second;
   }

   // Tells the peers; an NLRI that nobody is to be told of goes.
   void changed( OutNlri* nlri ) {
      if ( nlri ) {
         rules.use( *nlri );
         for ( auto& [id, peer] : peers ) {
            peer.touch( *nlri );
         }
         rules.unuse( *nlri );
      }
   }

   OutRules rules;
   std::map< PeerId, PeerOut > peers; // go before the rules
};

RouteOut::RouteOut() : state_( std::make_unique< State >() ) {}
RouteOut::~RouteOut() = default;

void RouteOut::put( const Flowspec::FlowspecKey& key, const Flowspec::RuleAction& action ) {
   state_->changed( state_->rules.put( key, action ) );
}

void RouteOut::del( const Flowspec::FlowspecKey& key ) {
   state_->changed( state_->rules.del( key ) );
}

void RouteOut::vrfTableIs( const VrfTable& table ) {
   if ( state_->rules.vrfTable() == table ) {
      return;
   }
   const auto rules = state_->rules.rules();
   for ( const auto& [key, action] : rules ) {
      del( key );
   }
   state_->rules.vrfTableIs( table );
   for ( const auto& [key, action] : rules ) {
      put( key, action );
   }
}

void RouteOut::peerIs( PeerId id, const std::optional< ExportPolicy >& policy ) {
   state_->peers.try_emplace( id, state_->rules ).first->second.policyIs( policy );
}

void RouteOut::peerDel( PeerId id ) { state_->peers.erase( id ); }

void RouteOut::established( PeerId id, const Bgp::Agreed& agreed ) {
   state_->peer( id ).established( agreed );
}

void RouteOut::down( PeerId id ) { state_->peer( id ).down(); }

void RouteOut::refresh( PeerId id, Bgp::Family family ) {
   state_->peer( id ).refresh( positionOf( family ) );
}

bool RouteOut::isPending( PeerId id ) const { return state_->peer( id ).isPending(); }

void RouteOut::write( PeerId id, std::vector< U8 >& out, U32 limit ) {
   state_->peer( id ).write( out, limit );
}

U32 RouteOut::announced( PeerId id ) const { return state_->peer( id ).announced(); }

bool RouteOut::endOfRibSent( PeerId id, Bgp::Family family ) const {
   return state_->peer( id ).endOfRibSent( positionOf( family ) );
}

void RouteOut::forEachRefused( U32 limit, const Take& take ) const {
   for ( const OutKey* const rule : state_->rules.refused() ) {
      if ( limit-- == 0 ) {
         return;
      }
      take( rule->key, state_->rules.reasonOf( *rule ) );
   }
}

U32 RouteOut::refused() const { return static_cast< U32 >( state_->rules.refused().size() ); }

void RouteOut::forEachTooLong( PeerId id, U32 limit, const Take& take ) const {
   for ( const U32 number : state_->peer( id ).tooLong() ) {
      if ( limit-- == 0 ) {
         return;
      }
      const OutNlri& nlri = *state_->rules.find( number );
      take( nlri.first->key,
            Vek::concat( "no message has room for its ", nlri.octets.size(), " octets" ) );
   }
}

} // namespace Peerd
