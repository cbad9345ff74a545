#pragma once

#include "Osk/DumpContext.h"

namespace TestSupport {

/// What the dump of an entity or a value writes.
template < typename T >
std::string dump( const T& object, U32 indent ) {
   std::string text;
   Osk::DumpContext context( text );
   object.dumpState( context, indent );
   return text;
}

/// `lines` after `indent` blanks each.
inline std::string indented( U32 indent, const std::string& lines ) {
   std::string text;
   for ( std::size_t at = 0; at < lines.size(); ) {
      const std::size_t end = lines.find( '\n', at ) + 1;
      text += std::string( indent, ' ' ) + lines.substr( at, end - at );
      at = end;
   }
   return text;
}

} // namespace TestSupport
