#pragma once

#include "Flowspec/key/FlowspecKey.h"

#include <vector>

namespace TestSupport {

/// A key of these words, at indices from 0 on, and these interface sets.
inline Flowspec::FlowspecKey keyOf( std::initializer_list< U32 > words,
                                    std::initializer_list< U16 > sets ) {
   Flowspec::FlowspecKey key;
   U32 index = 0;
   for ( const U32 word : words ) {
      key.matchOpValIs( index++, Flowspec::MatchOpVal( word ) );
   }
   for ( const U16 set : sets ) {
      key.interfaceSetPush( set );
   }
   return key;
}

/// Different keys; among them are pairs of which each is less than the other under the key's own
/// operator.
inline std::vector< Flowspec::FlowspecKey > entangledKeys() {
   std::vector< Flowspec::FlowspecKey > keys;
   for ( U16 set = 1; set <= 3; ++set ) {
      keys.push_back( keyOf( {}, { set } ) );
      keys.push_back( keyOf( { 0x03810006 }, { set } ) );
      keys.push_back( keyOf( { 0x03810006, 0x05910050 }, { set } ) );
      keys.push_back( keyOf( { 0x03810006, 0x05910050, 0x05910051 }, { set } ) );
   }
   return keys;
}

} // namespace TestSupport
