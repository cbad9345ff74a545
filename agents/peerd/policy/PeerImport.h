#pragma once

#include "agents/peerd/policy/GuardRails.h"
#include "agents/peerd/policy/ImportPolicy.h"

namespace Peerd {

/// All that decides which rules of a peer are filed. A plain value.
struct PeerImport {
   Zorv::IpGenAddr address; ///< the peer's; of routes that are equal otherwise the lowest wins
   U32 localAs = 0;
   U32 peerAs = 0;
   U32 routerId = 0;  ///< ours: paths that were originated with it are not used
   U32 clusterId = 0; ///< ours: paths that passed it are not used
   /// The destinations that the peer may announce rules for.
   std::vector< Zorv::IpGenPrefix > prefixes;
   /// RFC 8955 section 6 asks whether the originator of a rule is that of the best unicast route to
   /// its destination. There are no unicast routes here: the peer's prefixes stand for them, and a
   /// rule of an external peer needs a destination inside. Off: any rule is valid.
   bool checksOriginator = true;
   /// A path of an external peer begins with its AS (RFC 9117). Off for route servers.
   bool checksFirstAs = true;
   /// Without one, all rules of an external peer are refused (RFC 8212), and all of an internal one
   /// accepted.
   std::optional< ImportPolicy > policy;
   GuardRails guards;

   bool isInternal() const { return localAs == peerAs; }

   bool operator==( const PeerImport& ) const = default;
};

} // namespace Peerd
