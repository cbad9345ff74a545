#pragma once

#include "Osk/Endian.h"

namespace Osk {

/// Which of 16 bytes have a property: bit 0 for the first one.
using GroupMask = U32;

/// 16 bytes at once without instructions for vectors: on machines of other kinds, and what the
/// tests compare the others with.
class PlainGroup {
public:
   /// The 16 bytes at `at`, which may be anywhere.
   explicit PlainGroup( const void* at ) {
      std::memcpy( halves_, at, sizeof halves_ );
      halves_[0] = littleOrder( halves_[0] );
      halves_[1] = littleOrder( halves_[1] );
   }

   /// The bytes that are `byte`.
   GroupMask equal( U8 byte ) const {
      const U64 wanted = byte * ones;
      return mask( ~aboveZero( halves_[0] ^ wanted ), ~aboveZero( halves_[1] ^ wanted ) );
   }

   /// The bytes that are not '0' to '9'.
   GroupMask otherThanDigits() const {
      return mask( aboveNine( halves_[0] ^ '0' * ones ), aboveNine( halves_[1] ^ '0' * ones ) );
   }

private:
   static constexpr U64 ones = 0x0101010101010101;
   static constexpr U64 highBits = 0x80 * ones;

   // In the high bit of each byte; no sum carries into the next one.
   static U64 aboveZero( U64 bytes ) { return ( ( bytes & ~highBits ) + ~highBits ) | bytes; }
   static U64 aboveNine( U64 bytes ) { return ( ( bytes & ~highBits ) + 0x76 * ones ) | bytes; }

   // The multiplication moves the high bit of each byte to one of the 8 highest, in their order.
   static GroupMask gather( U64 bytes ) {
      return static_cast< U32 >( ( bytes & highBits ) / 0x80 * 0x0102040810204080 >> 56 );
   }
   static GroupMask mask( U64 low, U64 high ) { return gather( low ) | gather( high ) << 8; }

   U64 halves_[2];
};

/// Whether groups are the same, of any number of pairs.
class PlainGroupComparison {
public:
   void add( const void* a, const void* b ) {
      U64 of[2][2];
      std::memcpy( of[0], a, sizeof of[0] );
      std::memcpy( of[1], b, sizeof of[1] );
      difference_ |= ( of[0][0] ^ of[1][0] ) | ( of[0][1] ^ of[1][1] );
   }
   bool same() const { return difference_ == 0; }

private:
   U64 difference_ = 0;
};

#if defined( __SSE2__ )

namespace detail {

// In vectors as the compilers know them: <emmintrin.h> declares hundreds of functions.
using Bytes16 = U8 __attribute__( ( vector_size( 16 ) ) );

template < typename Vector >
GroupMask highBits( Vector bytes ) {
   using Chars = char __attribute__( ( vector_size( 16 ) ) );
   return static_cast< U32 >( __builtin_ia32_pmovmskb128( reinterpret_cast< Chars >( bytes ) ) );
}

} // namespace detail

/// 16 bytes at once.
class Group {
public:
   /// The 16 bytes at `at`, which may be anywhere.
   explicit Group( const void* at ) { std::memcpy( &bytes_, at, sizeof bytes_ ); }

   /// The bytes that are `byte`.
   GroupMask equal( U8 byte ) const { return detail::highBits( bytes_ == all( byte ) ); }

   /// The bytes that are not '0' to '9'.
   GroupMask otherThanDigits() const { return detail::highBits( bytes_ - all( '0' ) > all( 9 ) ); }

private:
   static detail::Bytes16 all( U8 byte ) {
      using Words = U32 __attribute__( ( vector_size( 16 ) ) );
      const U32 word = byte * 0x01010101U;
      return reinterpret_cast< detail::Bytes16 >( Words{ word, word, word, word } );
   }

   detail::Bytes16 bytes_;
};

/// Whether groups are the same, of any number of pairs.
class GroupComparison {
public:
   void add( const void* a, const void* b ) {
      detail::Bytes16 of[2];
      std::memcpy( &of[0], a, sizeof of[0] );
      std::memcpy( &of[1], b, sizeof of[1] );
      same_ &= of[0] == of[1];
   }
   bool same() const { return detail::highBits( same_ ) == 0xFFFF; }

private:
   using Mask = decltype( detail::Bytes16() == detail::Bytes16() );

   Mask same_ = ~Mask{};
};

#else

using Group = PlainGroup;
using GroupComparison = PlainGroupComparison;

#endif

} // namespace Osk
