#pragma once

#include "Osk/Types.h"

#include <cstddef>
#include <cstring>
#include <utility>

namespace Osk {

namespace detail {

// 16 bytes, in vectors as the compilers know them: <emmintrin.h> declares hundreds of functions.
using Group = char __attribute__( ( vector_size( 16 ) ) );

inline Group load16( const char* at ) {
   Group group;
   std::memcpy( &group, at, sizeof group );
   return group;
}

template < typename Mask >
bool allSet( Mask mask ) {
   return __builtin_ia32_pmovmskb128( reinterpret_cast< Group >( mask ) ) == 0xFFFF;
}

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
      const auto equal = [&]( std::size_t at ) {
         return detail::load16( p + at ) == detail::load16( q + at );
      };
      const std::size_t last = size - 16;
      auto all = equal( last );
      for ( std::size_t at = 0; at < last; at += 16 ) {
         all &= equal( at );
      }
      return detail::allSet( all );
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
   const auto all = [=]< std::size_t... i >( std::index_sequence< i... > ) {
      return ( ( detail::load16( p + i * 16 ) == detail::load16( q + i * 16 ) ) & ... );
   };
   return detail::allSet( all( std::make_index_sequence< size / 16 >() ) );
}

} // namespace Osk
