#include "agents/bgp/message/AsPath.h"

#include "Osk/Endian.h"
#include "Vek/text/Text.h"
#include "agents/bgp/message/AsSegments.h"

namespace Bgp {

U32 AsPath::length() const { return pathLength( octets_, 4 ); }

std::optional< U32 > AsPath::first() const {
   if ( empty() || octets_[0] != static_cast< U8 >( SegmentType::sequence ) ) {
      return std::nullopt;
   }
   return Osk::loadBig32( &octets_[2] );
}

bool AsPath::contains( U32 as ) const {
   for ( AsSegments segments( octets_, 4 ); !segments.atEnd(); segments.next() ) {
      for ( U32 i = 0; i < segments.count(); ++i ) {
         if ( segments.as( i ) == as ) {
            return true;
         }
      }
   }
   return false;
}

Vek::String AsPath::text() const {
   Vek::String text;
   Vek::TextWriter out( text );
   for ( AsSegments segments( octets_, 4 ); !segments.atEnd(); segments.next() ) {
      const bool set = segments.type() == static_cast< U8 >( SegmentType::set );
      out << ( segments.octets().data() == octets_.data() ? "" : " " ) << ( set ? "{" : "" );
      for ( U32 i = 0; i < segments.count(); ++i ) {
         out << ( i == 0 ? "" : " " ) << segments.as( i );
      }
      out << ( set ? "}" : "" );
   }
   out.flush();
   return text;
}

} // namespace Bgp
