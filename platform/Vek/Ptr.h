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

/// Base of counted objects. A new one has the count 1, which its creator owns; the object is
/// destroyed when the count reaches 0.
class OSK_EXPORT Counted {
public:
   Counted( const Counted& ) = delete;
   Counted& operator=( const Counted& ) = delete;

   /// The number of references; of use to tests and diagnostics.
   U32 useCount() const { return count_.load(); }

   void addReference() const {
      if ( threadSafeMode() ) [[unlikely]] {
         addAtomically();
      } else {
         ++count_.unshared();
      }
   }

   void dropReference() const {
      if ( threadSafeMode() ) [[unlikely]] {
         dropAtomically();
      } else if ( --count_.unshared() == 0 ) {
         destroy();
      }
   }

protected:
   Counted() = default;
   virtual ~Counted();

   /// Ends the object and gives its memory back; `delete this` unless overridden.
   virtual void destroy() const;

private:
   // Apart, so that counting is a few instructions wherever references are copied.
   void addAtomically() const;
   void dropAtomically() const;

   mutable Osk::Atomic< U32 > count_{ 1 };
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

   /// Takes over the reference that the caller owns, such as that of a new object.
   static Ptr adopt( T* object ) {
      Ptr ptr;
      ptr.object_ = object;
      return ptr;
   }

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
   T& operator*() const { return *object_; }
   T* operator->() const { return object_; }
   explicit operator bool() const { return object_ != nullptr; }

   /// Hands the reference to the caller and leaves this one empty.
   T* release() { return std::exchange( object_, nullptr ); }

   template < typename U >
   bool operator==( const Ptr< U >& other ) const {
      return object_ == other.get();
   }
   bool operator==( std::nullptr_t ) const { return object_ == nullptr; }

private:
   void add() const {
      if ( object_ ) {
         object_->addReference();
      }
   }

   T* object_ = nullptr;
};

} // namespace Vek

template < typename T >
struct std::hash< Vek::Ptr< T > > {
   std::size_t operator()( const Vek::Ptr< T >& ptr ) const {
      return std::hash< T* >()( ptr.get() );
   }
};
