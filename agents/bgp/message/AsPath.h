#pragma once

#include "Osk/Types.h"
#include "Vek/text/String.h"

#include <algorithm>
#include <optional>
#include <span>

namespace Bgp {

/// A view of an AS path that was checked: segments of type, count and as many AS numbers of four
/// octets. Nothing is copied; equal ones have equal octets.
class AsPath {
public:
   enum class SegmentType : U8 { set = 1, sequence = 2 };

   AsPath() = default;
   /// `octets` are an AS_PATH that is not malformed, and are viewed.
   explicit AsPath( std::span< const U8 > octets ) : octets_( octets ) {}

   std::span< const U8 > octets() const { return octets_; }
   bool empty() const { return octets_.empty(); }

   /// As best-path selection counts: each number of a sequence, a set as one (RFC 4271 section
   /// 9.1.2.2).
   U32 length() const;
   /// The AS that sent it: the first one, when the path begins with a sequence.
   std::optional< U32 > first() const;
   bool contains( U32 as ) const;

   /// "64500 64501 {64510 64511}", as operators know it; "" for an empty path.
   Vek::String text() const;

   bool operator==( const AsPath& other ) const {
      return std::ranges::equal( octets_, other.octets_ );
   }

private:
   std::span< const U8 > octets_;
};

} // namespace Bgp
