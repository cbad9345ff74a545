#pragma once

#include "Zorv/IpGenPrefix.h"

namespace Wire {

/// An address as a number of 128 bits, an IPv4 one in the highest 32, to be masked and compared.
struct AddressBits {
   U64 high = 0;
   U64 low = 0;

   static AddressBits of( const Zorv::IpGenAddr& address ) {
      return { Osk::loadBig64( address.bytes().data() ),
               Osk::loadBig64( address.bytes().data() + 8 ) };
   }

   /// The first `length` bits, 0 to 128; the others are 0.
   AddressBits masked( unsigned length ) const {
      if ( length <= 64 ) {
         return { length == 0 ? 0 : high & ~U64{ 0 } << ( 64 - length ), 0 };
      }
      return { high, low & ~U64{ 0 } << ( 128 - length ) };
   }

   auto operator<=>( const AddressBits& ) const = default;
};

} // namespace Wire
