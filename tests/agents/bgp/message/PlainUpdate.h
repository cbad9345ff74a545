#pragma once

#include "agents/bgp/message/Open.h"

#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace TestSupport {

/// What an update says, read slowly: everything is copied, and each attribute has its rules spelled
/// out. The model that the reader of the agents is compared with.
struct PlainUpdate {
   using Octets = std::vector< U8 >;

   int resetSubcode = 0; ///< of an UPDATE message error; 0: the session stays up
   bool withdrawn = false;
   std::size_t discarded = 0;
   std::optional< Bgp::Family > reach;
   Octets reachNlri;
   Octets nextHop;
   std::optional< Bgp::Family > unreach;
   Octets unreachNlri;
   std::optional< Bgp::Family > endOfRib;
   /// The segments' types and AS numbers.
   std::vector< std::pair< U8, std::vector< U32 > > > path;
   /// The values of those that are kept, by type.
   std::map< U8, Octets > values;
};

PlainUpdate plainUpdate( std::span< const U8 > body, const Bgp::Agreed& agreed );

} // namespace TestSupport
