#pragma once

#include "Vek/Search.h"

#include <functional>
#include <utility>
#include <vector>

namespace Vek {

/// Where a member of a collection has its key: in front of the value.
struct FirstOf {
   template < typename K, typename V >
   const K& operator()( const std::pair< K, V >& member ) const {
      return member.first;
   }
};

/// Where a member of a collection has its key: it is the key.
struct Itself {
   template < typename K >
   const K& operator()( const K& member ) const {
      return member;
   }
};

namespace detail {

/// What `FlatMap` and `FlatSet` have in common: members in a vector, ascending by their keys.
template < typename Member, typename KeyOf >
class SortedVector {
public:
   using value_type = Member;
   using Key = std::remove_cvref_t< std::invoke_result_t< KeyOf, const Member& > >;
   using const_iterator = typename std::vector< Member >::const_iterator;

   U32 size() const { return static_cast< U32 >( members_.size() ); }
   bool empty() const { return members_.empty(); }
   const_iterator begin() const { return members_.begin(); }
   const_iterator end() const { return members_.end(); }

   /// The member with `key`, or `end()`.
   const_iterator find( const Key& key ) const {
      const const_iterator at = lowerBound( key );
      return at != end() && !( key < KeyOf()( *at ) ) ? at : end();
   }
   bool contains( const Key& key ) const { return find( key ) != end(); }

   /// The first member whose key is not below `key`, or `end()`.
   const_iterator lowerBound( const Key& key ) const {
      return begin() +
             firstNotBefore( 0, size(), [&]( U32 i ) { return KeyOf()( members_[i] ) < key; } );
   }

   /// Removes the member with `key`; whether there was one.
   bool erase( const Key& key ) {
      const const_iterator at = find( key );
      if ( at == end() ) {
         return false;
      }
      members_.erase( at );
      return true;
   }

   /// Removes the member at `at` and returns the place behind it.
   const_iterator erase( const_iterator at ) { return members_.erase( at ); }

   /// Removes all members; the memory is kept for the next ones.
   void clear() { members_.clear(); }

   bool operator==( const SortedVector& ) const = default;

protected:
   SortedVector() = default;
   SortedVector( const SortedVector& ) = default;
   SortedVector( SortedVector&& ) noexcept = default;
   SortedVector& operator=( const SortedVector& ) = default;
   SortedVector& operator=( SortedVector&& ) noexcept = default;
   ~SortedVector() = default;

   // Inserts what `make()` gives unless there is a member with `key`; the place, and whether it was
   // inserted.
   template < typename Make >
   std::pair< const_iterator, bool > insertWith( const Key& key, Make make ) {
      const const_iterator at = lowerBound( key );
      if ( at != end() && !( key < KeyOf()( *at ) ) ) {
         return { at, false };
      }
      return { members_.insert( at, make() ), true };
   }

   Member& member( const_iterator at ) { return *( members_.begin() + ( at - begin() ) ); }

private:
   std::vector< Member > members_;
};

} // namespace detail

} // namespace Vek
