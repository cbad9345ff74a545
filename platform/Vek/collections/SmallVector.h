#pragma once

#include "Osk/Bytes.h"
#include "Vek/text/Exceptions.h"

#include <cstring>
#include <type_traits>

namespace Vek {

/// A vector of plain values that keeps up to `N` of them in place and more on the heap, 2^31 at the
/// most (`std::length_error` beyond). Copies are deep; a moved-from vector is empty. What `data`
/// gives is invalid after every change; an iterator is a position.
///
/// Of two vectors in place the bytes are the same when they are equal, and then only: places that
/// are not in use hold 0.
template < typename T, U32 N >
requires std::is_trivially_copyable_v< T > && std::has_unique_object_representations_v< T >
class SmallVector {
public:
   using value_type = T;

   /// A position; where no element is, `VectorRangeException`.
   class const_iterator {
   public:
      using iterator_category = std::forward_iterator_tag;
      using value_type = T;
      using difference_type = std::ptrdiff_t;
      using pointer = const T*;
      using reference = const T&;

      const_iterator() : const_iterator( nullptr, 0 ) {}
      const_iterator( const SmallVector* vector, U32 position )
         : vector_( vector ), position_( position ) {}
      const T& operator*() const { return *operator->(); }
      const T* operator->() const {
         if ( !vector_ ) [[unlikely]] {
            throwVectorRange();
         }
         return &( *vector_ )[position_];
      }
      const_iterator& operator++() {
         ++position_;
         return *this;
      }
      const_iterator operator++( int ) { return { vector_, position_++ }; }
      bool operator==( const const_iterator& ) const = default;

   private:
      const SmallVector* vector_;
      U32 position_;
   };

   SmallVector() = default;

   SmallVector( const SmallVector& other ) { copyFrom( other ); }

   SmallVector( SmallVector&& other ) noexcept { steal( other ); }

   SmallVector& operator=( const SmallVector& other ) {
      if ( this != &other ) {
         if ( isInPlace() && other.isInPlace() ) {
            store_ = other.store_;
            size_ = other.size_;
         } else if ( !isInPlace() && other.size_ <= capacity_ ) {
            std::memcpy( store_.heap, other.data(), other.size_ * sizeof( T ) );
            size_ = other.size_;
         } else {
            release();
            copyFrom( other );
         }
      }
      return *this;
   }

   SmallVector& operator=( SmallVector&& other ) noexcept {
      if ( this != &other ) {
         release();
         steal( other );
      }
      return *this;
   }

   ~SmallVector() { release(); }

   /// Whether the elements are in the vector itself.
   bool isInPlace() const { return capacity_ == N; }

   U32 size() const { return size_; }
   bool empty() const { return size_ == 0; }
   const T* data() const { return isInPlace() ? store_.local : store_.heap; }
   const_iterator begin() const { return { this, 0 }; }
   const_iterator end() const { return { this, size_ }; }

   /// The element at `position`; `VectorRangeException` when there is none.
   const T& operator[]( U64 position ) const {
      if ( position >= size_ ) [[unlikely]] {
         throwVectorRange();
      }
      return data()[position];
   }

   /// Overwrites the element at `position`; `VectorRangeException` when there is none.
   void set( U64 position, T value ) {
      if ( position >= size_ ) [[unlikely]] {
         throwVectorRange();
      }
      elements()[position] = value;
   }

   void push( T value ) {
      if ( size_ == capacity_ ) [[unlikely]] {
         grow();
      }
      elements()[size_++] = value;
   }

   /// Replaces all elements by `count` ones, which the caller writes to where the result points.
   T* assign( U32 count ) {
      clear();
      while ( capacity_ < count )
         [[unlikely]] { grow(); }
      size_ = count;
      return elements();
   }

   /// Inserts before `position`, which is at most `size()`; else `VectorRangeException`.
   void insert( U64 position, T value ) {
      if ( position > size_ ) [[unlikely]] {
         throwVectorRange();
      }
      if ( size_ == capacity_ ) [[unlikely]] {
         grow();
      }
      T* const at = elements() + position;
      std::memmove( at + 1, at, ( size_ - position ) * sizeof( T ) );
      *at = value;
      ++size_;
   }

   /// Removes the element at `position`; `VectorRangeException` when there is none.
   void erase( U64 position ) {
      if ( position >= size_ ) [[unlikely]] {
         throwVectorRange();
      }
      T* const at = elements() + position;
      std::memmove( at, at + 1, ( size_ - position - 1 ) * sizeof( T ) );
      vacate( --size_ );
   }

   /// Removes the last element and returns it; `EmptyVectorException` when there is none.
   T pop() {
      if ( size_ == 0 ) [[unlikely]] {
         throwEmptyVector();
      }
      const T last = data()[--size_];
      vacate( size_ );
      return last;
   }

   /// Removes all elements; the memory is kept for the next ones.
   void clear() {
      size_ = 0;
      if ( isInPlace() ) {
         store_ = {};
      }
   }

   bool operator==( const SmallVector& other ) const {
      return size_ == other.size_ && Osk::sameBytes( data(), other.data(), size_ * sizeof( T ) );
   }

private:
   union Store {
      T local[N];
      T* heap;
   };
   static_assert( sizeof( Store ) == sizeof( T ) * N );

   T* elements() { return isInPlace() ? store_.local : store_.heap; }

   // A place that is no longer in use.
   void vacate( U32 position ) {
      if ( isInPlace() ) {
         std::memset( store_.local + position, 0, sizeof( T ) );
      }
   }

   // Into an empty one, in place. One in place is copied whole: a fixed-size copy is cheaper than
   // one of the exact length.
   void copyFrom( const SmallVector& other ) {
      if ( other.isInPlace() ) [[likely]] {
         store_ = other.store_;
      } else if ( other.size_ <= N ) {
         std::memcpy( store_.local, other.store_.heap, other.size_ * sizeof( T ) );
      } else {
         store_.heap = new T[other.size_];
         capacity_ = other.size_;
         std::memcpy( store_.heap, other.data(), other.size_ * sizeof( T ) );
      }
      size_ = other.size_;
   }

   void steal( SmallVector& other ) {
      store_ = other.store_;
      size_ = other.size_;
      capacity_ = other.capacity_;
      other.store_ = {};
      other.size_ = 0;
      other.capacity_ = N;
   }

   void grow() {
      if ( capacity_ > 0x7FFFFFFF ) {
         throw std::length_error( "Vek::SmallVector" );
      }
      const U32 capacity = capacity_ * 2;
      T* const heap = new T[capacity];
      const U32 count = size_;
      std::memcpy( heap, data(), count * sizeof( T ) );
      release();
      store_.heap = heap;
      capacity_ = capacity;
      size_ = count;
   }

   void release() {
      if ( !isInPlace() ) [[unlikely]] {
         delete[] store_.heap;
      }
      store_ = {};
      size_ = 0;
      capacity_ = N;
   }

   U32 size_ = 0;
   U32 capacity_ = N;
   Store store_{};
};

} // namespace Vek
