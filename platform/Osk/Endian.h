#pragma once

#include "Osk/Types.h"

#include <bit>
#include <cstring>
#include <utility>

namespace Osk {

static_assert( std::endian::native == std::endian::little, "the host is little-endian (x86-64)" );

/// The 16-bit integer whose network-order bytes are at `bytes`.
inline U16 loadBig16( const void* bytes ) {
   U16 v;
   std::memcpy( &v, bytes, sizeof v );
   return __builtin_bswap16( v );
}

/// The 32-bit integer whose network-order bytes are at `bytes`.
inline U32 loadBig32( const void* bytes ) {
   U32 v;
   std::memcpy( &v, bytes, sizeof v );
   return __builtin_bswap32( v );
}

/// The 64-bit integer whose network-order bytes are at `bytes`.
inline U64 loadBig64( const void* bytes ) {
   U64 v;
   std::memcpy( &v, bytes, sizeof v );
   return __builtin_bswap64( v );
}

/// Writes `v` to `bytes` in network order.
inline void storeBig16( void* bytes, U16 v ) {
   v = __builtin_bswap16( v );
   std::memcpy( bytes, &v, sizeof v );
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

/// Copies `count` 64-bit integers that stand in network order in one of the two places and in host
/// order in the other, one instruction after the other; both may begin anywhere.
template < std::size_t count >
void swap64( void* to, const void* from ) {
   const auto swapOne = [=]( std::size_t i ) {
      const U64 v = loadBig64( static_cast< const U8* >( from ) + sizeof v * i );
      std::memcpy( static_cast< U8* >( to ) + sizeof v * i, &v, sizeof v );
   };
   [&]< std::size_t... i >( std::index_sequence< i... > ) { ( swapOne( i ), ... ); }
   ( std::make_index_sequence< count >() );
}

} // namespace Osk
