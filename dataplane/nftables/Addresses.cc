#include "dataplane/nftables/Addresses.h"

#include "Osk/Endian.h"

namespace Dataplane::Nftables {

using Zorv::AddressFamily;
using Zorv::IpGenAddr;
using Zorv::IpGenPrefix;

IpGenAddr lastOf( const IpGenPrefix& prefix ) {
   IpGenAddr::Bytes bytes = prefix.address().bytes();
   const std::size_t bits = prefix.family() == AddressFamily::ipv4 ? 32 : 128;
   for ( std::size_t bit = prefix.length(); bit < bits; ++bit ) {
      bytes[bit / 8] |= static_cast< U8 >( 0x80U >> bit % 8 );
   }
   return prefix.family() == AddressFamily::ipv4 ? IpGenAddr::ipv4( Osk::loadBig32( bytes.data() ) )
                                                 : IpGenAddr::ipv6( bytes );
}

IpGenAddr beside( const IpGenAddr& address, int step ) {
   if ( address.family() == AddressFamily::ipv4 ) {
      return IpGenAddr::ipv4( address.ipv4Value() + static_cast< U32 >( step ) );
   }
   IpGenAddr::Bytes bytes = address.bytes();
   const U8 full = step > 0 ? 0xFF : 0;
   std::size_t at = bytes.size() - 1;
   while ( bytes[at] == full ) {
      bytes[at--] = static_cast< U8 >( ~full );
   }
   bytes[at] = static_cast< U8 >( bytes[at] + step );
   return IpGenAddr::ipv6( bytes );
}

bool isLast( const IpGenAddr& address ) { return address == lastOf( { address, 0 } ); }

} // namespace Dataplane::Nftables
