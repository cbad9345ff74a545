#pragma once

#include "Flowspec/key/FlowspecKey.h"

#include <optional>

namespace Flowspec::Tools {

/// What one line of input holds: a rule key and, where its form has one, the distinguisher that
/// stands in front of it.
struct Rule {
   FlowspecKey key;
   std::optional< Zorv::RouteDistinguisher > rd;

   bool operator==( const Rule& ) const = default;
};

} // namespace Flowspec::Tools
