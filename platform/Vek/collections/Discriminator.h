#pragma once

#include "Osk/Types.h"

#include <compare>

namespace Vek {

/// Sixteen bytes that order most keys without looking at them: when the discriminator of one key is
/// below that of another, the key comes before the other one. Equal discriminators say nothing.
struct Discriminator {
   U64 high = 0;
   U64 low = 0;

   constexpr auto operator<=>( const Discriminator& ) const = default;
};

namespace detail {

/// The discriminator of a key in an order that offers one, else that of all keys.
template < typename Order, typename Key >
Discriminator discriminatorOf( const Key& key ) {
   if constexpr ( requires { Order::discriminator( key ); } ) {
      return Order::discriminator( key );
   } else {
      return {};
   }
}

} // namespace detail

} // namespace Vek
