#pragma once

#include "Osk/Types.h"
#include "Vrf/VrfIdMap.h"

#include <array>
#include <compare>
#include <map>
#include <optional>

namespace Wire {

/// An extended community (RFC 4360): two octets of type, six of value.
using ExtendedCommunity = std::array< U8, 8 >;
/// An IPv6-address-specific one (RFC 5701): two octets of type, an address, two octets more.
using Ipv6Community = std::array< U8, 20 >;

/// The types of extended communities that say what is done with a rule's packets, or where the rule
/// belongs.
struct CommunityType {
   static constexpr U16 routeTargetAs2 = 0x0002;
   static constexpr U16 routeTargetIpv4 = 0x0102;
   static constexpr U16 routeTargetAs4 = 0x0202; ///< RFC 5668
   static constexpr U16 redirectIp = 0x010C;
   static constexpr U16 color = 0x030B;        ///< RFC 9012 section 4.3
   static constexpr U16 interfaceSet = 0x0702; ///< transitive
   static constexpr U16 interfaceSetLocal = 0x4702;
   static constexpr U16 redirectNextHop = 0x0800; ///< the older form of `redirectIp`
   static constexpr U16 rateBytes = 0x8006;
   static constexpr U16 trafficAction = 0x8007;
   static constexpr U16 redirectAs2 = 0x8008;
   static constexpr U16 marking = 0x8009;
   static constexpr U16 ratePackets = 0x800C;
   static constexpr U16 redirectIpv4 = 0x8108;
   static constexpr U16 redirectAs4 = 0x8208;
};

/// The same of IPv6-address-specific ones.
struct Ipv6CommunityType {
   static constexpr U16 routeTarget = 0x0002;
   static constexpr U16 redirectIp = 0x000C;
   static constexpr U16 redirect = 0x000D; ///< RFC 8956 section 6.1
};

/// A route target, as it stands in a community without its type: two, four or four octets of AS
/// number or address and the rest a number, or an IPv6 address and two octets. A plain value.
struct RouteTarget {
   enum class Kind : U8 { as2, ipv4, as4, ipv6 };

   Kind kind = Kind::as2;
   std::array< U8, 18 > value{}; ///< six octets, or 18 of `ipv6`; the rest is 0

   auto operator<=>( const RouteTarget& ) const = default;
};

/// Which route targets VRFs import: the caller's table.
class RouteTargetTable {
public:
   /// `vrf` imports what has `target`. Of several VRFs that import it the first to be added is the
   /// one that packets are redirected to.
   void add( const RouteTarget& target, Vrf::VrfIdMap::VrfId vrf ) {
      vrfs_.emplace( target, vrf ); // equal ones keep their order
      targets_.try_emplace( vrf, target );
   }

   /// The VRF that packets are redirected to by `target`.
   std::optional< Vrf::VrfIdMap::VrfId > vrfOf( const RouteTarget& target ) const {
      const auto found = vrfs_.lower_bound( target );
      return found == vrfs_.end() || found->first != target ? std::nullopt
                                                            : std::optional( found->second );
   }

   /// Calls `take` with each VRF that imports `target`.
   template < typename Take >
   void forEachVrfOf( const RouteTarget& target, Take take ) const {
      const auto [begin, end] = vrfs_.equal_range( target );
      for ( auto at = begin; at != end; ++at ) {
         take( at->second );
      }
   }

   /// The first route target that was added for `vrf`.
   std::optional< RouteTarget > targetOf( Vrf::VrfIdMap::VrfId vrf ) const {
      const auto found = targets_.find( vrf );
      return found == targets_.end() ? std::nullopt : std::optional( found->second );
   }

private:
   std::multimap< RouteTarget, Vrf::VrfIdMap::VrfId > vrfs_;
   std::map< Vrf::VrfIdMap::VrfId, RouteTarget > targets_;
};

} // namespace Wire
