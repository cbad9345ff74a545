#include "agents/bgp/message/Header.h"

#include "Osk/Endian.h"
#include "Vek/text/Text.h"

#include <algorithm>

namespace Bgp {

namespace {

constexpr std::size_t markerSize = 16;

struct Bounds {
   std::size_t least;
   std::size_t most;
};

// By type. RFC 8654 lets neither OPEN nor KEEPALIVE become longer.
constexpr Bounds bounds[] = {
   {},
   { 29, maxMessage },
   { 23, maxExtendedMessage },
   { 21, maxExtendedMessage },
   { headerSize, headerSize },
   { 23, maxExtendedMessage },
};

Fault badLength( std::span< const U8, headerSize > octets, Vek::String text ) {
   return { { ErrorCode::header, HeaderError::badLength, { octets[16], octets[17] } },
            std::move( text ) };
}

} // namespace

std::optional< Fault > readHeader( std::span< const U8, headerSize > octets, std::size_t maxLength,
                                   Header& header ) {
   if ( !std::ranges::all_of( octets.first< markerSize >(),
                              []( U8 octet ) { return octet == 0xFF; } ) ) {
      return Fault{ { ErrorCode::header, HeaderError::notSynchronized, {} },
                    "the marker is not all ones" };
   }
   const U16 length = Osk::loadBig16( &octets[16] );
   if ( length < headerSize || length > maxLength ) {
      return badLength( octets, Vek::concat( "the message length is ", length, ", it must be ",
                                             headerSize, " to ", maxLength ) );
   }
   const U8 type = octets[18];
   if ( type == 0 || type >= std::size( bounds ) ) {
      return Fault{ { ErrorCode::header, HeaderError::badType, { type } },
                    Vek::concat( "the message type ", type, " is not known" ) };
   }
   const auto [least, most] = bounds[type];
   if ( length < least || length > most ) {
      return badLength( octets, Vek::concat( "the length of a message of type ", type, " is ",
                                             length, ", it must be ", least, " to ",
                                             std::min( most, maxLength ) ) );
   }
   header = { static_cast< MessageType >( type ), length };
   return std::nullopt;
}

std::size_t beginMessage( MessageType type, std::vector< U8 >& out ) {
   const std::size_t start = out.size();
   out.insert( out.end(), markerSize, 0xFF );
   append16( out, headerSize );
   out.push_back( static_cast< U8 >( type ) );
   return start;
}

void endMessage( std::size_t start, std::vector< U8 >& out ) {
   Osk::storeBig16( &out[start + markerSize], static_cast< U16 >( out.size() - start ) );
}

void writeKeepalive( std::vector< U8 >& out ) { beginMessage( MessageType::keepalive, out ); }

} // namespace Bgp
