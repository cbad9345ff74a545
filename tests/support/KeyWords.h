#pragma once

#include "Flowspec/key/FlowspecKey.h"

#include <string>
#include <vector>

namespace TestSupport {

/// The words of a key, each as its index, type, operator byte in hexadecimal and value: such as
/// "0: destPort 13 1024".
inline std::vector< std::string > words( const Flowspec::FlowspecKey& key ) {
   std::vector< std::string > result;
   for ( const auto& [index, word] : key.matchOpVal() ) {
      std::string text;
      Vek::TextWriter out( text );
      out << index.value() << ": " << stringValue( word.matchType() ) << ' ';
      out.hex( word.op() ) << ' ' << word.val();
      out.flush();
      result.push_back( text );
   }
   return result;
}

} // namespace TestSupport
