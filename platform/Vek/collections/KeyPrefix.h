#pragma once

#include "Osk/Types.h"

#include <compare>

namespace Vek {

/// Sixteen bytes that order most keys without looking at them: when the prefix of one key is
/// below that of another, the key comes before the other one. Equal prefixes say nothing.
struct KeyPrefix {
   U64 high = 0;
   U64 low = 0;

   constexpr auto operator<=>( const KeyPrefix& ) const = default;
};

namespace detail {

/// The prefix of a key in an order that offers one, else one that all keys have.
template < typename Order, typename Key >
KeyPrefix keyPrefixOf( const Key& key ) {
   if constexpr ( requires { Order::keyPrefix( key ); } ) {
      return Order::keyPrefix( key );
   } else {
      return {};
   }
}

} // namespace detail

} // namespace Vek
