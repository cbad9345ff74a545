#pragma once

#include "Flowspec/key/FlowspecKey.h"

namespace Peerd {

/// A rule key that lives elsewhere, compared as keys are.
struct KeyView {
   const Flowspec::FlowspecKey* key;

   U32 hash() const { return key->hash(); }
   bool operator==( const KeyView& other ) const { return *key == *other.key; }
   bool operator<( const KeyView& other ) const {
      return Flowspec::FlowspecKeyOrder::compare( *key, *other.key ) < 0;
   }
};

} // namespace Peerd
