#pragma once

#include "agents/programd/nftables/Batch.h"

#include <array>
#include <cstring>

/// What the parts of `Batch` share.
namespace Agents::Nftables {

/// An attribute that holds others, until the end of its block.
class Batch::Nest {
public:
   Nest( Batch& batch, U16 type ) : batch_( batch ), at_( batch.bytes_.size() ) {
      batch.put( static_cast< U16 >( type | NLA_F_NESTED ), nullptr, 0 );
   }
   Nest( const Nest& ) = delete;
   Nest& operator=( const Nest& ) = delete;
   ~Nest() {
      const U16 length = static_cast< U16 >( batch_.bytes_.size() - at_ );
      std::memcpy( &batch_.bytes_[at_], &length, sizeof length );
   }

private:
   Batch& batch_;
   const std::size_t at_;
};

// A number as it is in packets.
inline std::array< U8, 4 > numberBytes( U32 value, U8 size ) {
   std::array< U8, 4 > bytes{};
   for ( U8 i = 0; i < size; ++i ) {
      bytes[i] = static_cast< U8 >( value >> 8 * ( size - 1 - i ) );
   }
   return bytes;
}

inline std::size_t addressSize( Zorv::AddressFamily family ) {
   return family == Zorv::AddressFamily::ipv6 ? 16 : 4;
}

} // namespace Agents::Nftables
