#include "Flowspec/vocab/IpVersion.h"

namespace Flowspec {

IpVersion::IpVersion( unsigned value ) {
   if ( value > ( ipv4Bit | ipv6Bit ) ) {
      Vek::throwRange(
         Vek::concat( "Flowspec::IpVersion: ", value, " is not a set of IP versions" ) );
   }
   value_ = static_cast< U8 >( value );
}

Vek::String IpVersion::stringValue() const {
   return Vek::concat( ipv4() ? "ipv4" : "", ipv4() && ipv6() ? "|" : "", ipv6() ? "ipv6" : "" );
}

} // namespace Flowspec
