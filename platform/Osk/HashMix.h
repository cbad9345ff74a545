#pragma once

#include "Osk/Types.h"

namespace Osk {

/// Incremental hash mixer: feed quantities in a fixed order, then take `value()`.
///
/// Every pair of 64-bit lanes is folded into the state by one 64 x 64 -> 128-bit multiplication, so
/// the position of a quantity counts: the same quantities in another order give another value.
/// Values are the same in all processes of one version, but are not a format: never store or send
/// them.
class HashMix {
public:
   /// Feeds a 2-byte quantity.
   constexpr void mix( U16 v ) { mixSmall( v, 2 ); }

   /// Feeds a 4-byte quantity.
   constexpr void mix( U32 v ) { mixSmall( v, 4 ); }

   /// Feeds an 8-byte quantity.
   constexpr void mix( U64 v ) { mix( v, U64{ 8 } ); }

   /// Feeds two 8-byte quantities at little more than the price of one.
   constexpr void mix( U64 first, U64 second ) {
      const U64 a = first ^ firstSecret;
      const U64 b = second ^ state_;
      // Without the factors themselves one that is 0 would swallow the other.
      state_ = fold( a, b ) ^ a ^ b;
   }

   /// Feeds two quantities, the first below 2^63, at the price of one. The first factor is never 0
   /// then, as the secret is above; the second is only when it meets the state by chance.
   constexpr void mixSmall( U64 first, U64 second ) {
      state_ = fold( first ^ firstSecret, second ^ state_ );
   }

   /// The 32-bit hash of everything fed so far.
   constexpr U32 value() const {
      const U64 h = fold( state_, lastSecret );
      return static_cast< U32 >( h ^ ( h >> 32 ) );
   }

private:
   // Odd constants with balanced bits.
   static constexpr U64 firstSecret = 0xA0761D6478BD642F;
   static constexpr U64 lastSecret = 0x9E3779B97F4A7C15;

   static constexpr U64 fold( U64 a, U64 b ) {
      __extension__ using U128 = unsigned __int128;
      const U128 product = U128{ a } * b;
      return static_cast< U64 >( product ) ^ static_cast< U64 >( product >> 64 );
   }

   U64 state_ = 0xE7037ED1A0B428DB;
};

} // namespace Osk
