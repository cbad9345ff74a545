#pragma once

#include "agents/bgp/message/Header.h"

namespace Bgp {

/// Messages by type, whole ones.
struct MessageCounts {
   U64 opens = 0;
   U64 updates = 0;
   U64 notifications = 0;
   U64 keepalives = 0;
   U64 routeRefreshes = 0;

   U64 total() const { return opens + updates + notifications + keepalives + routeRefreshes; }

   void add( MessageType type );
   /// Each of some messages that we wrote, one after the other.
   void add( std::span< const U8 > messages );

   bool operator==( const MessageCounts& ) const = default;
};

} // namespace Bgp
