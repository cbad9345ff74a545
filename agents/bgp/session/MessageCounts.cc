#include "agents/bgp/session/MessageCounts.h"

#include "Osk/Endian.h"

#include <algorithm>

namespace Bgp {

void MessageCounts::add( MessageType type ) {
   switch ( type ) {
   case MessageType::open:
      ++opens;
      break;
   case MessageType::update:
      ++updates;
      break;
   case MessageType::notification:
      ++notifications;
      break;
   case MessageType::keepalive:
      ++keepalives;
      break;
   case MessageType::routeRefresh:
      ++routeRefreshes;
      break;
   }
}

void MessageCounts::add( std::span< const U8 > messages ) {
   while ( messages.size() >= headerSize ) {
      const std::size_t length = Osk::loadBig16( &messages[16] );
      add( static_cast< MessageType >( messages[18] ) );
      messages = messages.subspan( std::clamp( length, headerSize, messages.size() ) );
   }
}

} // namespace Bgp
