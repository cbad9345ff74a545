#include "agents/bgp/message/AsSegments.h"

#include "agents/bgp/message/Header.h"

namespace Bgp {

namespace {

constexpr auto sequence = static_cast< U8 >( AsPath::SegmentType::sequence );

// Appends the first `count` AS numbers of a segment of two-octet numbers.
void appendWide( const AsSegments& segment, U32 count, std::vector< U8 >& out ) {
   out.push_back( segment.type() );
   out.push_back( static_cast< U8 >( count ) );
   for ( U32 i = 0; i < count; ++i ) {
      append32( out, segment.as( i ) );
   }
}

} // namespace

std::optional< AsPathFault > checkPath( std::span< const U8 > path, U32 asSize, U8 maxType ) {
   std::size_t at = 0;
   while ( at < path.size() ) {
      const AsPathFault malformed{ false, static_cast< U16 >( at ) };
      const std::size_t left = path.size() - at;
      if ( left < 2 || path[at] == 0 || path[at] > maxType || path[at + 1] == 0 ||
           left < 2 + std::size_t{ path[at + 1] } * asSize ) {
         return malformed;
      }
      const AsSegments segment( path.subspan( at ), asSize );
      for ( U32 i = 0; i < segment.count(); ++i ) {
         if ( segment.as( i ) == 0 ) {
            return AsPathFault{ true, malformed.offset };
         }
      }
      at += segment.octets().size();
   }
   return std::nullopt;
}

U32 pathLength( std::span< const U8 > path, U32 asSize ) {
   U32 length = 0;
   for ( AsSegments segments( path, asSize ); !segments.atEnd(); segments.next() ) {
      length += segments.type() > sequence ? 0 : segments.length();
   }
   return length;
}

void mergePaths( std::span< const U8 > asPath, std::span< const U8 > as4Path,
                 std::vector< U8 >& out ) {
   out.clear();
   const U32 length = pathLength( asPath, 2 );
   const U32 known = pathLength( as4Path, 4 );
   const bool taken = known <= length;
   // The AS path tells those that AS4_PATH lacks: the last ones to have sent the route on.
   U32 missing = taken ? length - known : length;
   for ( AsSegments segments( asPath, 2 ); !segments.atEnd() && missing > 0; segments.next() ) {
      const bool whole = segments.length() <= missing;
      appendWide( segments, whole ? segments.count() : missing, out );
      missing -= whole ? segments.length() : missing;
   }
   if ( !taken ) {
      return;
   }
   for ( AsSegments segments( as4Path, 4 ); !segments.atEnd(); segments.next() ) {
      if ( segments.type() <= sequence ) {
         out.insert( out.end(), segments.octets().begin(), segments.octets().end() );
      }
   }
}

} // namespace Bgp
