#pragma once

#include "Vek/text/String.h"
#include "wire/NlriFormat.h"

#include <array>
#include <compare>
#include <optional>

namespace Bgp {

/// What the routes of an update are: AFI and SAFI (RFC 4760). A plain value.
struct Family {
   U16 afi = 0;
   U8 safi = 0;

   /// How rules are written in this family; nothing when it is not one of flow specifications.
   constexpr std::optional< Wire::NlriFormat > format() const {
      return Wire::NlriFormat::of( afi, safi );
   }

   auto operator<=>( const Family& ) const = default;
};

inline constexpr Family ipv4Unicast{ 1, 1 };
inline constexpr Family ipv4Flow{ 1, 133 };
inline constexpr Family ipv6Flow{ 2, 133 };
inline constexpr Family ipv4VpnFlow{ 1, 134 };
inline constexpr Family ipv6VpnFlow{ 2, 134 };
inline constexpr std::array flowFamilies{ ipv4Flow, ipv6Flow, ipv4VpnFlow, ipv6VpnFlow };

/// "ipv4-flow", "ipv6-flow", "ipv4-vpn-flow", "ipv6-vpn-flow", "ipv4-unicast", or both numbers,
/// such as "25/65".
Vek::String name( Family family );
/// The family of one of the five names; nothing for any other text.
std::optional< Family > familyOf( std::string_view name );

} // namespace Bgp
