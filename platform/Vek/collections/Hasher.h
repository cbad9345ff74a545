#pragma once

#include "Osk/Endian.h"
#include "Osk/HashMix.h"
#include "Vek/text/String.h"

#include <concepts>
#include <cstring>
#include <type_traits>

namespace Vek {

/// The 32-bit hash of a key for hash collections, unless another function is given: a class's own
/// `hash()`; of integers, enumerations, pointers and texts a mix of all their bits. The same in all
/// processes of one version, but not a format. Each collection spreads it over all bits once more.
template < typename Key >
struct Hasher {
   U32 operator()( const Key& key ) const {
      if constexpr ( requires { key.hash(); } ) {
         return key.hash();
      } else if constexpr ( std::is_convertible_v< const Key&, std::string_view > ) {
         return textHash( key );
      } else if constexpr ( std::is_pointer_v< Key > ) {
         return numberHash( reinterpret_cast< std::uintptr_t >( key ) );
      } else {
         return numberHash( static_cast< U64 >( key ) );
      }
   }

private:
   static U32 numberHash( U64 number ) {
      return static_cast< U32 >( ( number ^ number >> 32 ) * 0x9E3779B97F4A7C15 >> 32 );
   }

   static U32 textHash( std::string_view text ) {
      Osk::HashMix mix;
      mix.mix( U64{ text.size() } );
      for ( ; text.size() > 8; text.remove_prefix( 8 ) ) {
         mix.mix( bytes( text, 8 ) );
      }
      mix.mix( bytes( text, text.size() ) );
      return mix.value();
   }

   static U64 bytes( std::string_view text, std::size_t count ) {
      U64 number = 0;
      std::memcpy( &number, text.data(), count );
      return Osk::littleOrder( number );
   }
};

} // namespace Vek
