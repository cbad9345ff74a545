#include "agents/peerd/rib/PeerOut.h"

#include "agents/bgp/message/Header.h"
#include "agents/bgp/message/RouteRefresh.h"
#include "agents/bgp/message/UpdateWriter.h"

#include <algorithm>

namespace Peerd {

namespace {

bool isSet( const std::vector< bool >& bits, U32 position ) {
   return position < bits.size() && bits[position];
}

void set( std::vector< bool >& bits, U32 position ) {
   if ( position >= bits.size() ) {
      bits.resize( std::max< std::size_t >( position + 1, bits.size() * 2 ) );
   }
   bits[position] = true;
}

} // namespace

bool PeerOut::wants( const OutNlri& nlri ) const {
   return nlri.content && families_[nlri.family].agreed && policy_ &&
          policy_->announces( nlri.first->key, nlri.content->action );
}

void PeerOut::policyIs( const std::optional< ExportPolicy >& policy ) {
   const std::optional< ExportPolicy > before = std::exchange( policy_, policy );
   if ( before == policy || !up_ ) {
      return;
   }
   const bool otherAttributes =
      before && policy && ( before->localPref != policy->localPref || before->med != policy->med );
   for ( U32 number = 0; number < rules_.numbers(); ++number ) {
      OutNlri* const nlri = rules_.find( number );
      if ( nlri && ( otherAttributes || wants( *nlri ) != isSet( announced_, number ) ) ) {
         touch( *nlri );
      }
   }
}

void PeerOut::established( const Bgp::Agreed& agreed ) {
   down();
   up_ = true;
   agreed_ = agreed;
   for ( U8 i = 0; i < families_.size(); ++i ) {
      families_[i].agreed = agreed.has( Bgp::flowFamilies[i] );
      if ( families_[i].agreed ) {
         pushAll( i );
         families_[i].endAt = taken_ + queue_.size();
      }
   }
}

void PeerOut::down() {
   up_ = false;
   families_ = {};
   tooLong_.clear();
   for ( U32 number = 0; number < announced_.size(); ++number ) {
      if ( announced_[number] ) {
         announcedIs( *rules_.find( number ), false );
      }
   }
   for ( const U32 number : std::exchange( queue_, {} ) ) {
      rules_.unuse( *rules_.find( number ) );
   }
   announced_.clear();
   pending_.clear();
}

void PeerOut::refresh( U8 family ) { families_[family].refreshWanted = families_[family].agreed; }

void PeerOut::touch( OutNlri& nlri ) {
   if ( !up_ || isSet( pending_, nlri.number ) ||
        !( isSet( announced_, nlri.number ) || tooLong_.contains( nlri.number ) ||
           wants( nlri ) ) ) {
      return;
   }
   set( pending_, nlri.number );
   queue_.push_back( nlri.number );
   rules_.use( nlri );
}

void PeerOut::pushAll( U8 family ) {
   for ( U32 number = 0; number < rules_.numbers(); ++number ) {
      OutNlri* const nlri = rules_.find( number );
      if ( nlri && nlri->family == family ) {
         touch( *nlri );
      }
   }
}

bool PeerOut::isPending() const {
   return !queue_.empty() || std::ranges::any_of( families_, []( const FamilyOut& family ) {
      return family.endAt || family.refreshWanted;
   } );
}

void PeerOut::write( std::vector< U8 >& out, U32 limit ) {
   if ( !up_ ) {
      return;
   }
   beginRefreshes( out );
   takeBatch( limit );
   writeWithdrawals( out );
   writeAnnouncements( out );
   endFamilies( out );
}

// A refresh begins when the one before, or what was told at first, has ended (RFC 7313 section 4).
void PeerOut::beginRefreshes( std::vector< U8 >& out ) {
   for ( U8 i = 0; i < families_.size(); ++i ) {
      FamilyOut& family = families_[i];
      if ( !family.refreshWanted || family.endAt ) {
         continue;
      }
      family.refreshWanted = false;
      family.refreshing = true;
      if ( agreed_.enhancedRefresh ) {
         Bgp::writeRouteRefresh( { Bgp::flowFamilies[i], Bgp::RouteRefresh::begin }, out );
      }
      pushAll( i );
      family.endAt = taken_ + queue_.size();
   }
}

void PeerOut::endFamilies( std::vector< U8 >& out ) {
   for ( U8 i = 0; i < families_.size(); ++i ) {
      FamilyOut& family = families_[i];
      if ( !family.endAt || taken_ < *family.endAt ) {
         continue;
      }
      family.endAt.reset();
      if ( !std::exchange( family.refreshing, false ) ) {
         family.endOfRibSent = true;
         Bgp::writeEndOfRib( Bgp::flowFamilies[i], out );
      } else if ( agreed_.enhancedRefresh ) {
         Bgp::writeRouteRefresh( { Bgp::flowFamilies[i], Bgp::RouteRefresh::end }, out );
      }
   }
}

void PeerOut::takeBatch( U32 limit ) {
   batch_.clear();
   for ( ; !queue_.empty() && batch_.size() < limit; queue_.pop_front() ) {
      OutNlri& nlri = *rules_.find( queue_.front() );
      ++taken_;
      pending_[nlri.number] = false;
      batch_.push_back( { &nlri, wants( nlri ) } );
   }
   std::ranges::sort( batch_, {}, []( const Item& item ) {
      return std::tuple( item.announces, item.nlri->family,
                         item.announces ? item.nlri->content->number : 0, item.nlri->number );
   } );
}

// Those at the front of the batch; they are not looked at again.
void PeerOut::writeWithdrawals( std::vector< U8 >& out ) {
   std::size_t at = 0;
   while ( at < batch_.size() && !batch_[at].announces ) {
      const U8 family = batch_[at].nlri->family;
      auto writer =
         Bgp::UpdateWriter::withdrawing( Bgp::flowFamilies[family], agreed_.maxSend, out );
      for ( ; at < batch_.size() && !batch_[at].announces && batch_[at].nlri->family == family;
            ++at ) {
         OutNlri& nlri = *batch_[at].nlri;
         tooLong_.erase( nlri.number );
         if ( isSet( announced_, nlri.number ) ) {
            (void)writer.add( nlri.octets ); // there was room for it with attributes
            announcedIs( nlri, false );
         }
         rules_.unuse( nlri );
      }
      writer.finish();
   }
   batch_.erase( batch_.begin(), batch_.begin() + static_cast< std::ptrdiff_t >( at ) );
}

void PeerOut::writeAnnouncements( std::vector< U8 >& out ) {
   for ( std::size_t at = 0; at < batch_.size(); ) {
      const OutContent* const content = batch_[at].nlri->content;
      const Bgp::Family family = Bgp::flowFamilies[batch_[at].nlri->family];
      const std::vector< U8 > attributes = attributesOf( *content );
      std::vector< U8 > unannounced;
      auto writer = Bgp::UpdateWriter::announcing( family, attributes, agreed_.maxSend, out );
      auto withdrawing = Bgp::UpdateWriter::withdrawing( family, agreed_.maxSend, unannounced );
      for ( ; at < batch_.size() && batch_[at].nlri->content == content &&
              Bgp::flowFamilies[batch_[at].nlri->family] == family;
            ++at ) {
         OutNlri& nlri = *batch_[at].nlri;
         if ( writer.add( nlri.octets ) ) {
            announcedIs( nlri, true );
            tooLong_.erase( nlri.number );
         } else {
            if ( isSet( announced_, nlri.number ) ) {
               (void)withdrawing.add( nlri.octets ); // there was room for it with attributes
               announcedIs( nlri, false );
            }
            tooLong_.insert( nlri.number );
         }
         rules_.unuse( nlri );
      }
      writer.finish();
      withdrawing.finish();
      out.insert( out.end(), unannounced.begin(), unannounced.end() );
   }
   batch_.clear();
}

std::vector< U8 > PeerOut::attributesOf( const OutContent& content ) const {
   const bool internal = agreed_.internal();
   std::vector< U8 > path;
   if ( !internal ) {
      path = { static_cast< U8 >( Bgp::AsPath::SegmentType::sequence ), 1 };
      Bgp::append32( path, agreed_.localAs );
   }
   const OutRules::Communities communities = rules_.communitiesOf( content, agreed_.localAs );
   Bgp::PathAttributes attributes;
   attributes.asPath = Bgp::AsPath( path );
   attributes.med = policy_->med;
   if ( internal ) {
      attributes.localPref = policy_->localPref;
   }
   if ( !communities.extended.empty() ) {
      attributes.communities.extended = communities.extended;
   }
   if ( !communities.ipv6.empty() ) {
      attributes.communities.ipv6 = communities.ipv6;
   }
   std::vector< U8 > octets;
   Bgp::writeAttributes( attributes, agreed_.fourOctetAs, octets );
   return octets;
}

void PeerOut::announcedIs( OutNlri& nlri, bool announced ) {
   if ( isSet( announced_, nlri.number ) == announced ) {
      return;
   }
   if ( announced ) {
      set( announced_, nlri.number );
      ++announcedCount_;
      rules_.use( nlri );
   } else {
      announced_[nlri.number] = false;
      --announcedCount_;
      rules_.unuse( nlri );
   }
}

} // namespace Peerd
