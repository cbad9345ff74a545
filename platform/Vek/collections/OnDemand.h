#pragma once

#include "Osk/Types.h"

#include <new>
#include <utility>

namespace Vek {

/// A value that takes the place of a pointer while it is the default one, for the rare parts of
/// values of which there are many. Copies are deep; a moved-from one is the default.
template < typename T >
class OnDemand {
public:
   OnDemand() = default;
   OnDemand( const OnDemand& other ) : value_( other.value_ ? new T( *other.value_ ) : nullptr ) {}
   OnDemand( OnDemand&& other ) noexcept : value_( std::exchange( other.value_, nullptr ) ) {}
   OnDemand& operator=( OnDemand other ) noexcept {
      std::swap( value_, other.value_ );
      return *this;
   }
   ~OnDemand() { delete value_; }

   /// The value; the reference is good until the next call of `edit` or `reset`.
   const T& get() const { return value_ ? *value_ : defaultValue(); }

   /// The value, to be changed in place.
   T& edit() {
      if ( !value_ ) {
         value_ = new T;
      }
      return *value_;
   }

   /// Makes it the default one.
   void reset() { *this = OnDemand(); }

   bool operator==( const OnDemand& other ) const { return get() == other.get(); }

private:
   // One for all, never destroyed: there may be values in static objects that go later.
   static const T& defaultValue() {
      alignas( T ) static U8 memory[sizeof( T )];
      static const T* const value = ::new ( memory ) T;
      return *value;
   }

   // Not a std::unique_ptr, whose header takes more time to compile than most of the library's.
   T* value_ = nullptr;
};

} // namespace Vek
