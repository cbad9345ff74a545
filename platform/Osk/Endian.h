#pragma once

#include "Osk/Types.h"

#include <bit>
#include <cstring>

namespace Osk {

static_assert( std::endian::native == std::endian::little, "the host is little-endian (x86-64)" );

/// The 16-bit integer whose network-order bytes stand at `bytes`.
inline U16 loadBig16( const U8* bytes ) { return static_cast< U16 >( bytes[0] << 8 | bytes[1] ); }

/// The 32-bit integer whose network-order bytes stand at `bytes`.
inline U32 loadBig32( const void* bytes ) {
   U32 v;
   std::memcpy( &v, bytes, sizeof v );
   return __builtin_bswap32( v );
}

/// The 64-bit integer whose network-order bytes stand at `bytes`.
inline U64 loadBig64( const void* bytes ) {
   U64 v;
   std::memcpy( &v, bytes, sizeof v );
   return __builtin_bswap64( v );
}

/// Writes `v` to `bytes` in network order.
inline void storeBig32( void* bytes, U32 v ) {
   v = __builtin_bswap32( v );
   std::memcpy( bytes, &v, sizeof v );
}

/// Writes `v` to `bytes` in network order.
inline void storeBig64( void* bytes, U64 v ) {
   v = __builtin_bswap64( v );
   std::memcpy( bytes, &v, sizeof v );
}

} // namespace Osk
