#pragma once

namespace Vek {

namespace detail {

struct Less {
   template < typename Key >
   bool operator()( const Key& a, const Key& b ) const {
      return a < b;
   }
};

template < typename Key >
struct OrderOf {
   using Type = Less;
};
template < typename Key >
requires requires { typename Key::Order; }
struct OrderOf< Key > {
   using Type = typename Key::Order;
};

} // namespace detail

/// The order in which keys are listed, dumped and streamed: a type's own strict total order, its
/// member `Order`, where it names one, else `<`.
template < typename Key >
using KeyOrder = typename detail::OrderOf< Key >::Type;

} // namespace Vek
