#include "fuzz/Check.h"
#include "wire/ActionDecoder.h"
#include "wire/ActionEncoder.h"

#include <algorithm>
#include <cmath>

// An input is a byte that says how many octets the extended communities have, these, and the IPv6
// extended communities.

namespace {

using namespace Wire;

RouteTargetTable makeTable() {
   RouteTargetTable table;
   table.add( { RouteTarget::Kind::as2, { 0xFD, 0xE8, 0, 0, 0, 0x64 } }, 5 );
   table.add( { RouteTarget::Kind::ipv4, { 192, 0, 2, 1, 0, 0x64 } }, 7 );
   table.add( { RouteTarget::Kind::as4, { 0, 1, 0x11, 0x70, 0, 0x64 } }, 8 );
   table.add( { RouteTarget::Kind::ipv6, { 0x20, 0x01, 0x0D, 0xB8 } }, 9 );
   return table;
}

template < typename Community >
std::vector< U8 > joined( const std::vector< Community >& communities ) {
   std::vector< U8 > octets;
   for ( const Community& community : communities ) {
      octets.insert( octets.end(), community.begin(), community.end() );
   }
   return octets;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
   static const RouteTargetTable table = makeTable();
   if ( size == 0 ) {
      return 0;
   }
   const std::span< const U8 > octets( data + 1, size - 1 );
   const std::size_t extended = std::min< std::size_t >( data[0], octets.size() );
   Communities communities{ octets.first( extended ), {} };
   if ( extended < octets.size() ) {
      communities.ipv6 = octets.subspan( extended );
   }
   const ActionContext context{ 65000, Zorv::IpGenAddr::ipv4( 0xC0000209 ), table };
   DecodedAction decoded;
   const auto rejection = decodeAction( communities, context, decoded );
   Fuzz::require( decoded.action.fields.invalid() == rejection.has_value(),
                  "what is refused permits nothing" );
   if ( rejection ) {
      Fuzz::require( rejection->offset <= octets.size() && !rejection->message().empty(),
                     "a rejection has a place and a message" );
      return 0;
   }
   Fuzz::require( std::isfinite( decoded.action.rateLimit ) && decoded.action.rateLimit >= 0,
                  "a rate is a number" );
   EncodedAction encoded;
   Fuzz::require( !encodeAction( decoded.action, decoded.interfaceSets, 65000, table, encoded ),
                  "what was read can be written" );
   const auto written = joined( encoded.extended );
   const auto writtenIpv6 = joined( encoded.ipv6 );
   Communities again;
   if ( !written.empty() ) {
      again.extended = written;
   }
   if ( !writtenIpv6.empty() ) {
      again.ipv6 = writtenIpv6;
   }
   DecodedAction read;
   Fuzz::require( !decodeAction( again, context, read ) && read.remarks.empty() &&
                     read.action == decoded.action && read.interfaceSets == decoded.interfaceSets,
                  "what was written is the same" );
   return 0;
}
