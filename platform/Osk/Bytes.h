#pragma once

#include "Osk/Group.h"
#include "Osk/Types.h"

#include <cstddef>
#include <cstring>
#include <utility>

namespace Osk {

namespace detail {

template < typename T >
bool sameEnds( const char* a, const char* b, std::size_t size ) {
   const auto difference = []( const char* x, const char* y ) {
      T of[2];
      std::memcpy( &of[0], x, sizeof( T ) );
      std::memcpy( &of[1], y, sizeof( T ) );
      return of[0] ^ of[1];
   };
   const std::size_t last = size - sizeof( T );
   return ( difference( a, b ) | difference( a + last, b + last ) ) == 0;
}

} // namespace detail

/// Whether `size` bytes are the same at `a` and at `b`. For short ones that mostly are: a call of
/// `memcmp` costs more than the comparison.
inline bool sameBytes( const void* a, const void* b, std::size_t size ) {
   const auto* const p = static_cast< const char* >( a );
   const auto* const q = static_cast< const char* >( b );
   if ( size >= 16 ) {
      GroupComparison comparison;
      const std::size_t last = size - 16;
      comparison.add( p + last, q + last );
      for ( std::size_t at = 0; at < last; at += 16 ) {
         comparison.add( p + at, q + at );
      }
      return comparison.same();
   }
   if ( size >= 8 ) {
      return detail::sameEnds< U64 >( p, q, size );
   }
   if ( size >= 4 ) {
      return detail::sameEnds< U32 >( p, q, size );
   }
   bool same = true;
   for ( std::size_t at = 0; at < size; ++at ) {
      same &= p[at] == q[at];
   }
   return same;
}

/// The same for a size that is known beforehand, a multiple of 16.
template < std::size_t size >
requires( size % 16 == 0 ) bool sameBytes( const void* a, const void* b ) {
   const auto* const p = static_cast< const char* >( a );
   const auto* const q = static_cast< const char* >( b );
   GroupComparison comparison;
   [&]< std::size_t... i >( std::index_sequence< i... > ) {
      ( comparison.add( p + i * 16, q + i * 16 ), ... );
   }
   ( std::make_index_sequence< size / 16 >() );
   return comparison.same();
}

} // namespace Osk
