#pragma once

#include "Flowspec/key/FlowspecKey.h"
#include "wire/NlriFormat.h"

#include <string>
#include <vector>

namespace TestSupport {

/// A second decoder, written to be obvious: a component after the other out of vectors whose every
/// access is checked, each rule of the RFCs a line.
struct PlainNlri {
   struct Term {
      U8 op;
      unsigned size;
      U64 value;
   };
   struct Component {
      unsigned type;
      unsigned length = 0; // of a prefix
      unsigned offset = 0;
      std::vector< U8 > pattern;
      std::vector< Term > terms;
   };

   std::string code; // why it is rejected; empty when it is not
   std::vector< std::string > remarks;
   U64 rd = 0;
   std::vector< Component > components;
   std::size_t size = 0; // with the length field; 0 when the framing is broken
};

/// Decodes the NLRI that `octets` begin with; a single one remarks what follows it.
PlainNlri plainDecode( const std::vector< U8 >& octets, Wire::NlriFormat format, bool single );

/// The key of one that was taken.
Flowspec::FlowspecKey plainKey( const PlainNlri& nlri, Wire::NlriFormat format );

} // namespace TestSupport
