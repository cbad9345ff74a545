#include "Flowspec/vocab/MatchCompType.h"

#include "Flowspec/vocab/Labels.h"
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
   for ( U8 type = static_cast< U8 >( ipProto ); type < numComponentTypes; ++type ) {
      if ( beginsWith( text, labels[type].brief ) ) {
         return static_cast< MatchCompType >( type );
      }
   }
   return invalid;
}

} // namespace Flowspec
