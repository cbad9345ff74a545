#pragma once

#include "Osk/Types.h"

namespace Osk {

/// Incremental hash mixer: feed quantities in a fixed order, then take `value()`.
///
/// Every pair of 64-bit lanes is folded by one 64 x 64 -> 128-bit multiplication with its own pair
/// of secrets, so that the multiplications of a sequence do not wait for one another. The position
/// of a quantity counts: the same quantities in another order give another value. Values are the
/// same in all processes of one build, but are not a format: never store or send them.
class HashMix {
public:
   /// Feeds a 2-byte quantity.
   constexpr void mix( U16 v ) { add( v, 2 ); }

   /// Feeds a 4-byte quantity.
   constexpr void mix( U32 v ) { add( v, 4 ); }

   /// Feeds an 8-byte quantity.
   constexpr void mix( U64 v ) { add( v, 8 ); }

   /// Feeds two 8-byte quantities at little more than the price of one.
   constexpr void mix( U64 first, U64 second ) {
      // Without the quantities themselves a factor of 0 would swallow the other one.
      sum_ += folded( first, second ) ^ first ^ second;
      secret_ += step;
   }

   /// The 32-bit hash of everything fed so far.
   constexpr U32 value() const {
      const U64 h = fold( sum_ ^ pairSecret, secret_ ^ step );
      return static_cast< U32 >( h ^ ( h >> 32 ) );
   }

private:
   // Odd constants with balanced bits; `step` keeps the secrets of a sequence apart.
   static constexpr U64 step = 0x9E3779B97F4A7C15;
   static constexpr U64 pairSecret = 0xA0761D6478BD642F;

   static constexpr U64 fold( U64 a, U64 b ) {
      __extension__ using U128 = unsigned __int128;
      const U128 product = U128{ a } * b;
      return static_cast< U64 >( product ) ^ static_cast< U64 >( product >> 64 );
   }

   constexpr U64 folded( U64 first, U64 second ) const {
      return fold( first ^ secret_, second + ( secret_ ^ pairSecret ) );
   }

   constexpr void add( U64 v, U64 width ) {
      sum_ += folded( v, width );
      secret_ += step;
   }

   U64 sum_ = 0;
   U64 secret_ = 0xE7037ED1A0B428DB;
};

} // namespace Osk
