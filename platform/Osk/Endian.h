#pragma once

#include "Osk/Types.h"

#include <bit>
#include <cstring>
#include <utility>

namespace Osk {

namespace detail {

inline U16 swapped( U16 v ) { return __builtin_bswap16( v ); }
inline U32 swapped( U32 v ) { return __builtin_bswap32( v ); }
inline U64 swapped( U64 v ) { return __builtin_bswap64( v ); }

} // namespace detail

/// Between the host's order of bytes and the network's, either way.
template < typename T >
T networkOrder( T v ) {
   return std::endian::native == std::endian::big ? v : detail::swapped( v );
}

/// Between the host's order of bytes and the one with the lowest first, either way.
template < typename T >
T littleOrder( T v ) {
   return std::endian::native == std::endian::little ? v : detail::swapped( v );
}

/// The 16-bit integer whose network-order bytes are at `bytes`.
inline U16 loadBig16( const void* bytes ) {
   U16 v;
   std::memcpy( &v, bytes, sizeof v );
   return networkOrder( v );
}

/// The 32-bit integer whose network-order bytes are at `bytes`.
inline U32 loadBig32( const void* bytes ) {
   U32 v;
   std::memcpy( &v, bytes, sizeof v );
   return networkOrder( v );
}

/// The 64-bit integer whose network-order bytes are at `bytes`.
inline U64 loadBig64( const void* bytes ) {
   U64 v;
   std::memcpy( &v, bytes, sizeof v );
   return networkOrder( v );
}

/// Writes `v` to `bytes` in network order.
inline void storeBig16( void* bytes, U16 v ) {
   v = networkOrder( v );
   std::memcpy( bytes, &v, sizeof v );
}

/// Writes `v` to `bytes` in network order.
inline void storeBig32( void* bytes, U32 v ) {
   v = networkOrder( v );
   std::memcpy( bytes, &v, sizeof v );
}

/// Writes `v` to `bytes` in network order.
inline void storeBig64( void* bytes, U64 v ) {
   v = networkOrder( v );
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
