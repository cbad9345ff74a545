#pragma once

#include "Zorv/AddressFamily.h"

#include <optional>

namespace Wire {

/// What the octets of an NLRI depend on: the AFI and the SAFI of the attribute that it stands in
/// (RFC 8955 sections 4 and 8, RFC 8956).
struct NlriFormat {
   Zorv::AddressFamily family; ///< AFI 1 is IPv4, AFI 2 is IPv6
   bool vpn;                   ///< SAFI 134: a route distinguisher comes before the rule

   /// The format of AFI 1 or 2 with SAFI 133 or 134; nothing for any other pair.
   static constexpr std::optional< NlriFormat > of( U16 afi, U8 safi ) {
      if ( afi < 1 || afi > 2 || safi < 133 || safi > 134 ) {
         return std::nullopt;
      }
      return NlriFormat{ static_cast< Zorv::AddressFamily >( afi ), safi == 134 };
   }

   bool operator==( const NlriFormat& ) const = default;
};

/// The longest rule that a length field can tell, the distinguisher included (RFC 8955 section
/// 4.1).
inline constexpr U32 maxNlriLength = 4095;

} // namespace Wire
