#pragma once

#include "Mell/ThreadMode.h"

#include <concepts>
#include <cstddef>
#include <functional>
#include <utility>

/// Intrusive reference counts. Counts are changed atomically only in the thread-safe mode.
namespace Vek {

using Mell::threadSafeMode;
using Mell::threadSafeModeIs;

template < typename T >
class Ptr;

/// Makes a counted object on the heap; entities are made by `create`.
template < typename T, typename... Arguments >
Ptr< T > make( Arguments&&... arguments );

/// In Entity.h.
template < typename T, typename... Arguments >
Ptr< T > create( Arguments&&... arguments );

namespace detail {

/// Ends the process: a `Ptr` to nothing was followed.
[[noreturn]] OSK_EXPORT void pointerIsNull();

} // namespace detail

/// Base of counted objects. A new one has the count 1, the first `Ptr`'s; the object is destroyed
/// when the count reaches 0.
class OSK_EXPORT Counted {
public:
   Counted( const Counted& ) = delete;
   Counted& operator=( const Counted& ) = delete;

   /// The number of references; of use to tests and diagnostics.
   U32 useCount() const { return count_; }

protected:
   Counted() = default;
   virtual ~Counted();

   /// Ends the object and gives its memory back; `delete this` unless overridden.
   virtual void destroy() const;

private:
   template < typename >
   friend class Ptr;

   void addReference() const {
      if ( threadSafeMode() ) [[unlikely]] {
         addAtomically();
      } else {
         ++count_;
      }
   }

   void dropReference() const {
      if ( threadSafeMode() ) [[unlikely]] {
         dropAtomically();
      } else if ( --count_ == 0 ) {
         destroy();
      }
   }

   // Apart, so that counting is a few instructions wherever references are copied.
   void addAtomically() const;
   void dropAtomically() const;

   mutable U32 count_ = 1;
};

/// A counted reference to a `T`, which derives from `Counted`, or to nothing.
template < typename T >
class Ptr {
public:
   using Object = T;

   constexpr Ptr() = default;
   constexpr Ptr( std::nullptr_t ) {}

   /// One more reference to `object`, which may be null.
   explicit Ptr( T* object ) : object_( object ) { add(); }

   Ptr( const Ptr& other ) : object_( other.object_ ) { add(); }
   Ptr( Ptr&& other ) noexcept : object_( std::exchange( other.object_, nullptr ) ) {}

   template < typename U >
   requires std::convertible_to< U*, T* > Ptr( const Ptr< U >& other ) : object_( other.get() ) {
      add();
   }
   template < typename U >
   requires std::convertible_to< U*, T* > Ptr( Ptr< U >&& other )
   noexcept : object_( other.release() ) {}

   Ptr& operator=( Ptr other ) noexcept {
      std::swap( object_, other.object_ );
      return *this;
   }

   ~Ptr() {
      if ( object_ ) {
         object_->dropReference();
      }
   }

   T* get() const { return object_; }
   /// The object; without one the assertion "pointer != nullptr" fails.
   T& operator*() const { return *operator->(); }
   T* operator->() const {
      if ( !object_ ) [[unlikely]] {
         detail::pointerIsNull();
      }
      return object_;
   }
   explicit operator bool() const { return object_ != nullptr; }

   template < typename U >
   bool operator==( const Ptr< U >& other ) const {
      return object_ == other.get();
   }
   bool operator==( std::nullptr_t ) const { return object_ == nullptr; }

private:
   template < typename >
   friend class Ptr;
   template < typename U, typename... Arguments >
   friend Ptr< U > make( Arguments&&... arguments );
   template < typename U, typename... Arguments >
   friend Ptr< U > create( Arguments&&... arguments );

   // Takes over the reference of a new object.
   static Ptr adopt( T* object ) {
      Ptr ptr;
      ptr.object_ = object;
      return ptr;
   }
   T* release() { return std::exchange( object_, nullptr ); }

   void add() const {
      if ( object_ ) {
         object_->addReference();
      }
   }

   T* object_ = nullptr;
};

template < typename T, typename... Arguments >
Ptr< T > make( Arguments&&... arguments ) {
   return Ptr< T >::adopt( new T( std::forward< Arguments >( arguments )... ) );
}

} // namespace Vek

template < typename T >
struct std::hash< Vek::Ptr< T > > {
   std::size_t operator()( const Vek::Ptr< T >& ptr ) const {
      return std::hash< T* >()( ptr.get() );
   }
};
