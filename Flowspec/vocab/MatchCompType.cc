#include "Flowspec/vocab/MatchCompType.h"

#include "Flowspec/vocab/TraceHandle.h"

namespace Flowspec {

bool isBitfieldType( MatchCompType type ) {
   if ( type == invalid ) {
      VEK_TRACE( traceHandle, 2, "Found invalid type in routeKey" );
   }
   return isBitmask( type );
}

namespace {

// Labels are so short that comparing in place costs less than a call.
bool beginsWith( std::string_view text, std::string_view label ) {
   std::size_t i = 0;
   while ( i < label.size() && i < text.size() && text[i] == label[i] ) {
      ++i;
   }
   return i == label.size();
}

} // namespace

MatchCompType getCompType( std::string_view text ) {
   for ( const ComponentType& row : componentTypes ) {
      if ( row.hasTerms() && beginsWith( text, row.label ) ) {
         return row.type;
      }
   }
   return invalid;
}

} // namespace Flowspec
