#pragma once

#include "Osk/Types.h"

#include <cstddef>
#include <cstring>
#include <utility>

#include <emmintrin.h>

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
      const auto equal = [&]( std::size_t at ) {
         return _mm_cmpeq_epi8( _mm_loadu_si128( reinterpret_cast< const __m128i* >( p + at ) ),
                                _mm_loadu_si128( reinterpret_cast< const __m128i* >( q + at ) ) );
      };
      const std::size_t last = size - 16;
      __m128i all = equal( last );
      for ( std::size_t at = 0; at < last; at += 16 ) {
         all = _mm_and_si128( all, equal( at ) );
      }
      return _mm_movemask_epi8( all ) == 0xFFFF;
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
   const auto load = []( const void* bytes, std::size_t at ) {
      return _mm_loadu_si128(
         reinterpret_cast< const __m128i* >( static_cast< const char* >( bytes ) + at ) );
   };
   const auto all = [&]< std::size_t... i >( std::index_sequence< i... > ) {
      __m128i same = _mm_set1_epi8( -1 );
      ( ( same = _mm_and_si128( same, _mm_cmpeq_epi8( load( a, i * 16 ), load( b, i * 16 ) ) ) ),
        ... );
      return same;
   };
   return _mm_movemask_epi8( all( std::make_index_sequence< size / 16 >() ) ) == 0xFFFF;
}

} // namespace Osk
