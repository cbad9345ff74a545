#pragma once

#include "agents/bgp/message/Notification.h"

namespace Bgp {

enum class MessageType : U8 { open = 1, update, notification, keepalive, routeRefresh };

inline constexpr std::size_t headerSize = 19;
/// The longest message, and the longest between those who agreed on more (RFC 8654). OPEN and
/// KEEPALIVE are never longer than the former.
inline constexpr std::size_t maxMessage = 4096;
inline constexpr std::size_t maxExtendedMessage = 65535;

struct Header {
   MessageType type;
   U16 length; ///< of the message, its header included
};

/// Reads the header that a message begins with: the marker, a type that is known, and a length that
/// a message of that type can have and that is at most `maxLength`.
[[nodiscard]] std::optional< Fault > readHeader( std::span< const U8, headerSize > octets,
                                                 std::size_t maxLength, Header& header );

/// Appends a header whose length `endMessage` fills in; returns where the message begins.
std::size_t beginMessage( MessageType type, std::vector< U8 >& out );
/// The message that begins at `start` ends where `out` does; it is at most 65535 octets long.
void endMessage( std::size_t start, std::vector< U8 >& out );

void writeKeepalive( std::vector< U8 >& out );

/// Appends a number in network order.
inline void append16( std::vector< U8 >& out, U16 value ) {
   out.push_back( static_cast< U8 >( value >> 8 ) );
   out.push_back( static_cast< U8 >( value ) );
}
inline void append32( std::vector< U8 >& out, U32 value ) {
   append16( out, static_cast< U16 >( value >> 16 ) );
   append16( out, static_cast< U16 >( value ) );
}

} // namespace Bgp
