#pragma once

#include "Osk/Endian.h"
#include "agents/bgp/message/AsPath.h"

#include <vector>

/// AS paths as the attributes AS_PATH and AS4_PATH have them: segments of a type, a count, and as
/// many AS numbers of two or four octets.
namespace Bgp {

/// Walks the segments of a path that was checked.
class AsSegments {
public:
   AsSegments( std::span< const U8 > path, U32 asSize ) : rest_( path ), asSize_( asSize ) {}

   bool atEnd() const { return rest_.empty(); }
   void next() { rest_ = rest_.subspan( size() ); }

   U8 type() const { return rest_[0]; }
   U32 count() const { return rest_[1]; }
   U32 as( U32 i ) const {
      const U8* const at = &rest_[2 + std::size_t{ i } * asSize_];
      return asSize_ == 2 ? Osk::loadBig16( at ) : Osk::loadBig32( at );
   }
   std::span< const U8 > octets() const { return rest_.first( size() ); }

   /// What it adds to the length of a path.
   U32 length() const {
      return type() == static_cast< U8 >( AsPath::SegmentType::sequence ) ? count() : 1;
   }

private:
   std::size_t size() const { return 2 + std::size_t{ count() } * asSize_; }

   std::span< const U8 > rest_;
   U32 asSize_;
};

/// Why a path is malformed (RFC 7606 section 7.2, RFC 7607).
struct AsPathFault {
   bool asZero;
   U16 offset; ///< of the segment
};

/// Checks a path whose segment types are 1 to `maxType`.
std::optional< AsPathFault > checkPath( std::span< const U8 > path, U32 asSize, U8 maxType );

/// The length of a path that was checked, as `AsPath::length` has it. Segments of confederations,
/// types 3 and 4, do not count.
U32 pathLength( std::span< const U8 > path, U32 asSize );

/// Replaces `out` by the path in numbers of four octets that a peer with two octets sent as
/// `asPath` and, maybe, `as4Path` (RFC 6793 section 4.2.3). Both were checked.
void mergePaths( std::span< const U8 > asPath, std::span< const U8 > as4Path,
                 std::vector< U8 >& out );

} // namespace Bgp
