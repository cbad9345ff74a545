#pragma once

#include "agents/bgp/message/AsPath.h"
#include "wire/ActionDecoder.h"

#include <vector>

namespace Bgp {

/// The type codes of path attributes.
struct AttributeType {
   static constexpr U8 origin = 1;
   static constexpr U8 asPath = 2;
   static constexpr U8 nextHop = 3;
   static constexpr U8 med = 4;
   static constexpr U8 localPref = 5;
   static constexpr U8 atomicAggregate = 6;
   static constexpr U8 aggregator = 7;
   static constexpr U8 communities = 8;
   static constexpr U8 originatorId = 9;
   static constexpr U8 clusterList = 10;
   static constexpr U8 mpReach = 14;
   static constexpr U8 mpUnreach = 15;
   static constexpr U8 extendedCommunities = 16;
   static constexpr U8 as4Path = 17;
   static constexpr U8 as4Aggregator = 18;
   static constexpr U8 ipv6Communities = 25;
   static constexpr U8 largeCommunities = 32;
};

/// "ORIGIN" or "attribute 99".
Vek::String attributeName( U8 type );

enum class Origin : U8 { igp, egp, incomplete };

/// What an update says about its routes, as far as it matters to flow specifications: a view of the
/// octets that it was read from.
struct PathAttributes {
   Origin origin = Origin::igp;
   AsPath asPath; ///< with what AS4_PATH knows better
   std::optional< U32 > med;
   std::optional< U32 > localPref;    ///< of an internal peer
   std::optional< U32 > originatorId; ///< of an internal peer
   std::span< const U8 > clusterList; ///< of an internal peer: identifiers of four octets
   Wire::Communities communities;     ///< to be read by `Wire::decodeAction`

   /// Whether `cluster` is in the cluster list.
   bool passed( U32 cluster ) const;
};

/// Appends ORIGIN, AS_PATH and whichever others there are, in the order of their types, as a peer
/// reads them whose AS numbers have four octets, or two: then with AS4_PATH where that is needed.
void writeAttributes( const PathAttributes& attributes, bool fourOctetAs, std::vector< U8 >& out );

} // namespace Bgp
