#pragma once

#include "Osk/Types.h"

#include <compare>

namespace Classification {

/// A test of TCP flags: of the bits in the mask, those in the flag must be set and the others
/// clear. The bits are those of byte 13 of the TCP header (RFC 9293 section 3.1), FIN the lowest. A
/// plain value, ordered by flag, then mask; flag bits outside the mask are kept and compared.
class TcpFlagAndMask {
public:
   constexpr TcpFlagAndMask( U8 flag, U8 mask ) : flag_( flag ), mask_( mask ) {}

   constexpr U8 flag() const { return flag_; }
   /// The empty mask tests nothing.
   constexpr U8 mask() const { return mask_; }

   constexpr bool isEq( const TcpFlagAndMask& other ) const { return *this == other; }

   constexpr auto operator<=>( const TcpFlagAndMask& ) const = default;

private:
   U8 flag_;
   U8 mask_;
};

} // namespace Classification
