#pragma once

#include <memory>

namespace Vek {

/// A value that takes the place of a pointer while it is the default one, for the rare parts of
/// values of which there are many. Copies are deep; a moved-from one is the default.
template < typename T >
class OnDemand {
public:
   OnDemand() = default;
   OnDemand( const OnDemand& other )
      : value_( other.value_ ? std::make_unique< T >( *other.value_ ) : nullptr ) {}
   OnDemand( OnDemand&& ) noexcept = default;
   OnDemand& operator=( const OnDemand& other ) { return *this = OnDemand( other ); }
   OnDemand& operator=( OnDemand&& ) noexcept = default;
   ~OnDemand() = default;

   /// The value; the reference is good until the next call of `edit` or `reset`.
   const T& get() const { return value_ ? *value_ : defaultValue.value; }

   /// The value, to be changed in place.
   T& edit() {
      if ( !value_ ) {
         value_ = std::make_unique< T >();
      }
      return *value_;
   }

   /// Makes it the default one.
   void reset() { value_.reset(); }

   bool operator==( const OnDemand& other ) const { return get() == other.get(); }

private:
   // One for all, never destroyed: others may outlive the end of the process's static objects.
   union Default {
      constexpr Default() : value() {}
      constexpr ~Default() {}
      T value;
   };
   static inline constinit const Default defaultValue{};

   std::unique_ptr< T > value_;
};

} // namespace Vek
