#include "agents/bgp/message/Notification.h"

#include "Vek/text/Printable.h"
#include "Vek/text/Text.h"
#include "agents/bgp/message/Header.h"

#include <algorithm>

namespace Bgp {

namespace {

constexpr std::size_t maxCommunication = 255;

struct Named {
   U8 number;
   std::string_view name;
};

constexpr Named codes[] = {
   { ErrorCode::header, "message header error" },
   { ErrorCode::open, "OPEN message error" },
   { ErrorCode::update, "UPDATE message error" },
   { ErrorCode::holdTimer, "hold timer expired" },
   { ErrorCode::stateMachine, "state machine error" },
   { ErrorCode::cease, "cease" },
   { ErrorCode::routeRefresh, "ROUTE-REFRESH message error" },
   { ErrorCode::sendHoldTimer, "send hold timer expired" },
};
constexpr Named headerErrors[] = {
   { 1, "connection not synchronized" },
   { 2, "bad message length" },
   { 3, "bad message type" },
};
constexpr Named openErrors[] = {
   { 1, "unsupported version number" }, { 2, "bad peer AS" },
   { 3, "bad BGP identifier" },         { 4, "unsupported optional parameter" },
   { 5, "authentication failure" },     { 6, "unacceptable hold time" },
   { 7, "unsupported capability" },     { 11, "role mismatch" },
};
constexpr Named updateErrors[] = {
   { 1, "malformed attribute list" },
   { 2, "unrecognized well-known attribute" },
   { 3, "missing well-known attribute" },
   { 4, "attribute flags error" },
   { 5, "attribute length error" },
   { 6, "invalid ORIGIN attribute" },
   { 7, "AS routing loop" },
   { 8, "invalid NEXT_HOP attribute" },
   { 9, "optional attribute error" },
   { 10, "invalid network field" },
   { 11, "malformed AS_PATH" },
};
constexpr Named stateMachineErrors[] = {
   { 1, "unexpected message in OpenSent" },
   { 2, "unexpected message in OpenConfirm" },
   { 3, "unexpected message in Established" },
};
constexpr Named ceaseReasons[] = {
   { Cease::maximumPrefixes, "maximum number of prefixes reached" },
   { Cease::administrativeShutdown, "administrative shutdown" },
   { Cease::peerDeconfigured, "peer de-configured" },
   { Cease::administrativeReset, "administrative reset" },
   { Cease::connectionRejected, "connection rejected" },
   { Cease::otherConfigurationChange, "other configuration change" },
   { Cease::collision, "connection collision resolution" },
   { Cease::outOfResources, "out of resources" },
   { Cease::hardReset, "hard reset" },
   { Cease::bfdDown, "BFD down" },
};
constexpr Named routeRefreshErrors[] = {
   { 1, "invalid message length" },
};

constexpr std::span< const Named > subcodes[] = {
   {},           headerErrors,       openErrors, updateErrors, {}, stateMachineErrors,
   ceaseReasons, routeRefreshErrors, {},
};

std::string_view find( std::span< const Named > names, U8 number ) {
   const auto found = std::ranges::find( names, number, &Named::number );
   return found == names.end() ? std::string_view() : found->name;
}

bool hasCommunication( const Notification& notification ) {
   return notification.code == ErrorCode::cease &&
          ( notification.subcode == Cease::administrativeShutdown ||
            notification.subcode == Cease::administrativeReset );
}

// The length of the character that `text`, not empty, begins with (RFC 3629); 0 when it is none.
std::size_t characterLength( std::string_view text ) {
   const auto octet = [text]( std::size_t i ) { return static_cast< U8 >( text[i] ); };
   const U8 first = octet( 0 );
   if ( first < 0x80 ) {
      return 1;
   }
   const std::size_t length = first < 0xC2 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
   if ( length == 0 || first > 0xF4 || length > text.size() ) {
      return 0;
   }
   for ( std::size_t i = 1; i < length; ++i ) {
      if ( octet( i ) >> 6 != 2 ) {
         return 0;
      }
   }
   const bool overlong =
      ( first == 0xE0 && octet( 1 ) < 0xA0 ) || ( first == 0xF0 && octet( 1 ) < 0x90 );
   const bool noCharacter = ( first == 0xED && octet( 1 ) > 0x9F ) || // half of a UTF-16 pair
                            ( first == 0xF4 && octet( 1 ) > 0x8F );
   return overlong || noCharacter ? 0 : length;
}

// The longest start of `text` of whole characters and at most `atMost` octets.
std::string_view wholeCharacters( std::string_view text, std::size_t atMost ) {
   std::size_t end = 0;
   while ( end < text.size() ) {
      const std::size_t length = characterLength( text.substr( end ) );
      if ( length == 0 || end + length > atMost ) {
         break;
      }
      end += length;
   }
   return text.substr( 0, end );
}

} // namespace

Notification readNotification( std::span< const U8 > body ) {
   return { body[0], body[1], { body.begin() + 2, body.end() } };
}

void writeNotification( const Notification& notification, std::vector< U8 >& out ) {
   const std::size_t start = beginMessage( MessageType::notification, out );
   out.push_back( notification.code );
   out.push_back( notification.subcode );
   const std::size_t room = maxMessage - headerSize - 2;
   const auto data =
      std::span( notification.data ).first( std::min( room, notification.data.size() ) );
   out.insert( out.end(), data.begin(), data.end() );
   endMessage( start, out );
}

Notification shutdown( U8 subcode, std::string_view text ) {
   Notification notification{ ErrorCode::cease, subcode, {} };
   text = wholeCharacters( text, maxCommunication );
   if ( !text.empty() ) {
      notification.data.resize( 1 + text.size() );
      notification.data[0] = static_cast< U8 >( text.size() );
      std::ranges::copy( text, notification.data.begin() + 1 );
   }
   return notification;
}

std::optional< std::string_view > shutdownCommunication( const Notification& notification ) {
   const std::vector< U8 >& data = notification.data;
   if ( !hasCommunication( notification ) || data.size() < 2 || data[0] != data.size() - 1 ) {
      return std::nullopt;
   }
   const std::string_view text( reinterpret_cast< const char* >( data.data() ) + 1, data[0] );
   return wholeCharacters( text, text.size() ).size() == text.size() ? std::optional( text )
                                                                     : std::nullopt;
}

Notification hardReset( const Notification& inner ) {
   Notification outer{ ErrorCode::cease, Cease::hardReset,
                       std::vector< U8 >( 2 + inner.data.size() ) };
   outer.data[0] = inner.code;
   outer.data[1] = inner.subcode;
   std::ranges::copy( inner.data, outer.data.begin() + 2 );
   return outer;
}

std::optional< Notification > insideHardReset( const Notification& notification ) {
   if ( notification.code != ErrorCode::cease || notification.subcode != Cease::hardReset ||
        notification.data.size() < 2 ) {
      return std::nullopt;
   }
   return readNotification( notification.data );
}

Vek::String describe( const Notification& notification ) {
   const std::string_view code = find( codes, notification.code );
   if ( code.empty() ) {
      return Vek::concat( "error ", notification.code, '/', notification.subcode );
   }
   Vek::String text( code );
   if ( const auto name = find( subcodes[notification.code], notification.subcode );
        !name.empty() ) {
      text += Vek::concat( ", ", name );
   } else if ( notification.subcode != 0 ) {
      text += Vek::concat( ", subcode ", notification.subcode );
   }
   if ( const auto communication = shutdownCommunication( notification ) ) {
      text += Vek::concat( ": \"", Vek::printable( *communication, 4 * maxCommunication ), '"' );
   }
   // What is inside of a hard reset is not unpacked again: a peer could nest a thousand of them.
   if ( const auto inner = insideHardReset( notification ); inner && !insideHardReset( *inner ) ) {
      text += Vek::concat( ": ", describe( *inner ) );
   }
   return text;
}

} // namespace Bgp
