#include "Flowspec/vocab/MatchCompType.h"

#include "Flowspec/vocab/Labels.h"
#include "Flowspec/vocab/TraceHandle.h"

namespace Flowspec {

bool isBitfieldType( MatchCompType type ) {
   switch ( type ) {
   case invalid:
      VEK_TRACE( traceHandle, 2, "Found invalid type in routeKey" );
      return false;
   case destPrefix:
   case srcPrefix:
   case ipProto:
   case port:
   case destPort:
   case srcPort:
   case icmpType:
   case icmpCode:
   case packetLength:
   case dscp:
   case flowLabel:
      return false;
   case tcpFlags:
   case fragment:
      break;
   }
   return true;
}

MatchCompType getCompType( std::string_view text ) {
   for ( U8 type = static_cast< U8 >( ipProto ); type < numComponentTypes; ++type ) {
      if ( text.starts_with( labels[type].brief ) ) {
         return static_cast< MatchCompType >( type );
      }
   }
   return invalid;
}

} // namespace Flowspec
