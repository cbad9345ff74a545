#pragma once

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
   const T& get() const { return value_ ? *value_ : defaultValue.value; }

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
   // One for all, never destroyed: others may outlive the end of the process's static objects.
   union Default {
      constexpr Default() : value() {}
      constexpr ~Default() {}
      T value;
   };
   static inline constinit const Default defaultValue{};

   // Not a std::unique_ptr, whose header takes more time to compile than most of the library's.
   T* value_ = nullptr;
};

} // namespace Vek
