#pragma once

#include <functional>

namespace Vek {

namespace detail {

template < typename Key >
struct OrderOf {
   using Type = std::less< Key >;
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
