#include "agents/peerd/rib/AttributeSet.h"

#include "Osk/Endian.h"

namespace Peerd {

namespace {

using Octets = std::span< const U8 >;

// What is in front of the octets of variable length, as it is in memory.
struct Head {
   Bgp::AttributeFaultCode faultCode{};
   U8 faultType = 0;
   U16 faultDetail = 0;
   U32 localAs = 0;
   U32 med = 0;
   U32 localPref = 0;
   U32 originatorId = 0;
   U16 pathSize = 0;
   U16 clusterSize = 0;
   U16 extendedSize = 0;
   U16 ipv6Size = 0;
   U8 nextHopSize = 0;
   Bgp::Origin origin{};
   U16 present = 0;
};
static_assert( std::has_unique_object_representations_v< Head > );

struct Present {
   static constexpr U16 fault = 1;
   static constexpr U16 med = 2;
   static constexpr U16 localPref = 4;
   static constexpr U16 originatorId = 8;
   static constexpr U16 extended = 16;
   static constexpr U16 ipv6 = 32;
};

template < typename T >
U16 presence( U16 bit, const std::optional< T >& value ) {
   return value ? bit : U16{ 0 };
}

template < typename T >
std::optional< T > ifPresent( U16 present, U16 bit, T value ) {
   return present & bit ? std::optional( value ) : std::nullopt;
}

Head headOf( const Bgp::Update& update, U32 localAs ) {
   Head head;
   head.localAs = localAs;
   if ( update.withdrawn ) {
      head.present = Present::fault;
      head.faultCode = update.withdrawn->code;
      head.faultType = update.withdrawn->type;
      head.faultDetail = update.withdrawn->detail;
      return head;
   }
   const Bgp::PathAttributes& path = update.attributes;
   const Wire::Communities& communities = path.communities;
   head.origin = path.origin;
   head.med = path.med.value_or( 0 );
   head.localPref = path.localPref.value_or( 0 );
   head.originatorId = path.originatorId.value_or( 0 );
   head.pathSize = static_cast< U16 >( path.asPath.octets().size() );
   head.clusterSize = static_cast< U16 >( path.clusterList.size() );
   head.extendedSize = static_cast< U16 >( communities.extended.value_or( Octets() ).size() );
   head.ipv6Size = static_cast< U16 >( communities.ipv6.value_or( Octets() ).size() );
   head.nextHopSize = static_cast< U8 >( update.nextHop.size() );
   head.present = static_cast< U16 >( presence( Present::med, path.med ) |
                                      presence( Present::localPref, path.localPref ) |
                                      presence( Present::originatorId, path.originatorId ) |
                                      presence( Present::extended, communities.extended ) |
                                      presence( Present::ipv6, communities.ipv6 ) );
   return head;
}

// The address in a next hop of any length that there may be; a distinguisher is passed over.
Zorv::IpGenAddr addressOf( Octets nextHop ) {
   if ( nextHop.size() == 12 || nextHop.size() == 24 ) {
      nextHop = nextHop.subspan( 8 );
   }
   if ( nextHop.size() == 4 ) {
      return Zorv::IpGenAddr::ipv4( Osk::loadBig32( nextHop.data() ) );
   }
   return nextHop.size() == 16
             ? Zorv::IpGenAddr::ofFamily( Zorv::AddressFamily::ipv6, nextHop.data(), 128 )
             : Zorv::IpGenAddr();
}

} // namespace

AttributeSet::AttributeSet( AttributePool& pool, Octets octets )
   : pool_( pool ), octets_( octets.begin(), octets.end() ) {
   Head head;
   std::memcpy( &head, octets_.data(), sizeof head );
   localAs_ = head.localAs;
   if ( head.present & Present::fault ) {
      fault_ = { head.faultCode, head.faultType, head.faultDetail };
      return;
   }
   Octets rest = Octets( octets_ ).subspan( sizeof head );
   const auto take = [&]( std::size_t size ) {
      const Octets taken = rest.first( size );
      rest = rest.subspan( size );
      return taken;
   };
   path_.origin = head.origin;
   path_.med = ifPresent( head.present, Present::med, head.med );
   path_.localPref = ifPresent( head.present, Present::localPref, head.localPref );
   path_.originatorId = ifPresent( head.present, Present::originatorId, head.originatorId );
   path_.asPath = Bgp::AsPath( take( head.pathSize ) );
   path_.clusterList = take( head.clusterSize );
   path_.communities.extended =
      ifPresent( head.present, Present::extended, take( head.extendedSize ) );
   path_.communities.ipv6 = ifPresent( head.present, Present::ipv6, take( head.ipv6Size ) );
   nextHop_ = addressOf( take( head.nextHopSize ) );
   pathLength_ = path_.asPath.length();
   neighborAs_ = path_.asPath.first().value_or( localAs_ );
   hasLocalAs_ = path_.asPath.contains( localAs_ );
}

void AttributeSet::decode( const Wire::RouteTargetTable& vrfs ) {
   if ( fault_ ) {
      return;
   }
   Wire::DecodedAction decoded;
   rejection_ = Wire::decodeAction( path_.communities, { localAs_, nextHop_, vrfs }, decoded );
   action_ = decoded.action;
   interfaceSets_ = std::move( decoded.interfaceSets );
   importVrfs_ = std::move( decoded.importVrfs );
}

AttributesRef AttributePool::intern( const Bgp::Update& update, U32 localAs ) {
   const Head head = headOf( update, localAs );
   const auto* const headOctets = reinterpret_cast< const U8* >( &head );
   octets_.assign( headOctets, headOctets + sizeof head );
   if ( !update.withdrawn ) {
      const Bgp::PathAttributes& path = update.attributes;
      for ( const Octets part : { path.asPath.octets(), path.clusterList,
                                  path.communities.extended.value_or( Octets() ),
                                  path.communities.ipv6.value_or( Octets() ), update.nextHop } ) {
         octets_.insert( octets_.end(), part.begin(), part.end() );
      }
   }
   if ( const auto found = sets_.find( { octets_ } ); found != sets_.end() ) {
      return AttributesRef( found->second.get() );
   }
   std::unique_ptr< AttributeSet > set( new AttributeSet( *this, octets_ ) );
   AttributeSet& made = *set;
   made.decode( vrfs_ );
   sets_.insertOrAssign( { made.octets_ }, std::move( set ) );
   return AttributesRef( &made );
}

void AttributePool::vrfsAre( const Wire::RouteTargetTable& vrfs ) {
   vrfs_ = vrfs;
   for ( const auto& member : sets_.unsorted() ) {
      member.second->decode( vrfs_ );
   }
}

} // namespace Peerd
