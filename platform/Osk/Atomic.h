#pragma once

#include "Osk/Types.h"

namespace Osk {

/// A number or flag that several threads read and change. Reads and plain stores order nothing
/// else; what changes it in one step, and `release`, order what came before.
///
/// Every user of the runtime includes this; `<atomic>` takes a tenth of the compile time of all its
/// headers.
template < typename T >
class Atomic {
public:
   constexpr Atomic() = default;
   constexpr explicit Atomic( T value ) : value_( value ) {}
   Atomic( const Atomic& ) = delete;
   Atomic& operator=( const Atomic& ) = delete;

   T load() const { return __atomic_load_n( &value_, __ATOMIC_RELAXED ); }
   void store( T value ) { __atomic_store_n( &value_, value, __ATOMIC_RELAXED ); }
   void release( T value ) { __atomic_store_n( &value_, value, __ATOMIC_RELEASE ); }

   /// The value itself, for as long as one thread alone uses it.
   T& unshared() { return value_; }

   /// These return the value before the change.
   T exchange( T value ) { return __atomic_exchange_n( &value_, value, __ATOMIC_ACQ_REL ); }
   T add( T value ) { return __atomic_fetch_add( &value_, value, __ATOMIC_ACQ_REL ); }
   T subtract( T value ) { return __atomic_fetch_sub( &value_, value, __ATOMIC_ACQ_REL ); }
   T setBits( T bits ) { return __atomic_fetch_or( &value_, bits, __ATOMIC_ACQ_REL ); }
   T clearBits( T bits ) { return __atomic_fetch_and( &value_, ~bits, __ATOMIC_ACQ_REL ); }

private:
   T value_{};
};

} // namespace Osk
