#include "Osk/UniqueId.h"

#include "Osk/HashMix.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <ostream>
#include <random>

#include <pthread.h>

namespace Osk {

namespace {

constexpr std::size_t digits = 16;

// 0 until the process draws its first number.
constinit std::atomic< U64 > lastDrawn{ 0 };

void forgetLastDrawn() { lastDrawn.store( 0, std::memory_order_relaxed ); }

// The upper half stays below 2^31, so that counting on does not come to 0.
U64 firstOfProcess() {
   [[maybe_unused]] static const int registered =
      pthread_atfork( nullptr, nullptr, forgetLastDrawn );
   std::random_device random;
   const U32 upperHalf = std::uniform_int_distribution< U32 >( 1, 0x7FFFFFFF )( random );
   return U64{ upperHalf } << 32 | 1;
}

U64 draw() {
   U64 last = lastDrawn.load( std::memory_order_relaxed );
   U64 drawn = 0;
   do {
      drawn = last == 0 ? firstOfProcess() : last + 1;
   } while ( !lastDrawn.compare_exchange_weak( last, drawn, std::memory_order_relaxed ) );
   return drawn;
}

} // namespace

UniqueId::UniqueId() : value_( draw() ) {}

std::optional< UniqueId > UniqueId::fromText( std::string_view text ) {
   U64 value = 0;
   const char* const end = text.data() + text.size();
   const auto [stop, error] = std::from_chars( text.data(), end, value, 16 );
   if ( text.size() != digits || error != std::errc() || stop != end ) {
      return std::nullopt;
   }
   return UniqueId( value );
}

U32 UniqueId::hash() const {
   HashMix mix;
   mix.mix( value_ );
   return mix.value();
}

std::string UniqueId::stringValue() const {
   char buffer[digits];
   const char* const end = std::to_chars( buffer, buffer + digits, value_, 16 ).ptr;
   std::string text( digits, '0' );
   std::copy_backward( static_cast< const char* >( buffer ), end, text.data() + digits );
   return text;
}

std::ostream& operator<<( std::ostream& out, const UniqueId& id ) {
   return out.write( id.stringValue().data(), digits );
}

} // namespace Osk
