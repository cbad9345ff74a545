#pragma once

#include "Flowspec/key/FlowspecKey.h"

#include <string>
#include <vector>

namespace Flowspec {

/// A second reader of the command-line and value forms, slow and obvious: one step after the other
/// with the standard library's streams and conversions. The library's readers must not be told
/// from it, neither by what they return nor by the key nor by what they trace.
class ReferenceReader {
public:
   enum class Outcome {
      good,
      badText,         ///< traced; the result is false
      indexException,  ///< the range exception of an index
      invalidArgument, ///< `std::invalid_argument`
      outOfRange,      ///< `std::out_of_range`
      assertion,       ///< the process ends by `assertion`
   };

   Outcome readCli( const std::string& text, U32 offset, bool includesValueLength );
   Outcome readCliWithRd( const std::string& text, bool includesValueLength );
   Outcome readStringValue( const std::string& text );
   Outcome readInterfaceSet( const std::string& text );

   FlowspecKey key;
   Zorv::RouteDistinguisher rd;     ///< of `readCliWithRd`
   std::size_t interfaceSetEnd = 0; ///< of `readInterfaceSet`
   std::string assertion;
   std::vector< std::string > trace; ///< records of level 2

private:
   Outcome bad( const std::string& message );
   Outcome fails( const std::string& condition );
   Outcome readField( const std::string& field, bool includesValueLength );
   Outcome store( unsigned type, unsigned op, U32 value );

   U32 index_ = 0;
};

} // namespace Flowspec
