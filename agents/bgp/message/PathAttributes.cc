#include "agents/bgp/message/PathAttributes.h"

#include "agents/bgp/message/AsSegments.h"
#include "agents/bgp/message/AttributeTable.h"
#include "agents/bgp/message/Header.h"
#include "agents/bgp/message/Open.h"

namespace Bgp {

namespace {

void append( std::vector< U8 >& out, U8 type, std::span< const U8 > value ) {
   const U8 flags = findAttribute( type )->flags;
   if ( value.size() > 0xFF ) {
      out.insert( out.end(),
                  { static_cast< U8 >( flags | AttributeFlags::extendedLength ), type } );
      append16( out, static_cast< U16 >( value.size() ) );
   } else {
      out.insert( out.end(), { flags, type, static_cast< U8 >( value.size() ) } );
   }
   out.insert( out.end(), value.begin(), value.end() );
}

void append( std::vector< U8 >& out, U8 type, U32 value ) {
   U8 octets[4];
   Osk::storeBig32( octets, value );
   append( out, type, octets );
}

// The path in numbers of two octets; whether one needs more.
bool narrow( const AsPath& path, std::vector< U8 >& out ) {
   bool wide = false;
   for ( AsSegments segments( path.octets(), 4 ); !segments.atEnd(); segments.next() ) {
      out.push_back( segments.type() );
      out.push_back( static_cast< U8 >( segments.count() ) );
      for ( U32 i = 0; i < segments.count(); ++i ) {
         const U32 as = segments.as( i );
         wide |= as > 0xFFFF;
         append16( out, static_cast< U16 >( as > 0xFFFF ? asTrans : as ) );
      }
   }
   return wide;
}

} // namespace

bool PathAttributes::passed( U32 cluster ) const {
   for ( std::size_t at = 0; at < clusterList.size(); at += 4 ) {
      if ( Osk::loadBig32( &clusterList[at] ) == cluster ) {
         return true;
      }
   }
   return false;
}

void writeAttributes( const PathAttributes& attributes, bool fourOctetAs, std::vector< U8 >& out ) {
   const U8 origin = static_cast< U8 >( attributes.origin );
   append( out, AttributeType::origin, { &origin, 1 } );
   bool wide = false;
   if ( fourOctetAs ) {
      append( out, AttributeType::asPath, attributes.asPath.octets() );
   } else {
      std::vector< U8 > path;
      wide = narrow( attributes.asPath, path );
      append( out, AttributeType::asPath, path );
   }
   if ( attributes.med ) {
      append( out, AttributeType::med, *attributes.med );
   }
   if ( attributes.localPref ) {
      append( out, AttributeType::localPref, *attributes.localPref );
   }
   if ( attributes.originatorId ) {
      append( out, AttributeType::originatorId, *attributes.originatorId );
   }
   if ( !attributes.clusterList.empty() ) {
      append( out, AttributeType::clusterList, attributes.clusterList );
   }
   if ( attributes.communities.extended ) {
      append( out, AttributeType::extendedCommunities, *attributes.communities.extended );
   }
   if ( wide ) {
      append( out, AttributeType::as4Path, attributes.asPath.octets() );
   }
   if ( attributes.communities.ipv6 ) {
      append( out, AttributeType::ipv6Communities, *attributes.communities.ipv6 );
   }
}

} // namespace Bgp
