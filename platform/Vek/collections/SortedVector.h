#pragma once

#include "Vek/collections/DenseIterator.h"

#include <algorithm>
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
   using const_iterator = DenseIterator< Member >;

   U32 size() const { return static_cast< U32 >( members_.size() ); }
   bool empty() const { return members_.empty(); }
   const_iterator begin() const { return placeAt( 0 ); }
   const_iterator end() const { return {}; }

   /// Another number after each insertion and removal; 0 before there is a member.
   U64 version() const { return version_.number(); }

   /// The member with `key`, or `end()`.
   const_iterator find( const Key& key ) const {
      const U32 at = positionFor( key );
      return isAt( at, key ) ? memberAt( at ) : end();
   }
   bool contains( const Key& key ) const { return find( key ) != end(); }

   /// The first member whose key is not below `key`, or `end()`.
   const_iterator lowerBound( const Key& key ) const { return placeAt( positionFor( key ) ); }

   /// Removes the member with `key`; whether there was one.
   bool erase( const Key& key ) {
      const U32 at = positionFor( key );
      if ( !isAt( at, key ) ) {
         return false;
      }
      eraseAt( at );
      return true;
   }

   /// Removes the member at `at`, which is one of this collection, and returns the place after it:
   /// `at = collection.erase( at )`.
   const_iterator erase( const_iterator at ) {
      const U32 position = positionOf( at );
      eraseAt( position );
      return placeAt( position );
   }

   /// Removes all members; the memory is kept for the next ones.
   void clear() {
      if ( !empty() ) {
         version_.change();
         members_.clear();
      }
   }

   bool operator==( const SortedVector& other ) const { return members_ == other.members_; }

protected:
   SortedVector() = default;
   SortedVector( const SortedVector& other ) : members_( other.members_ ) {
      if ( !empty() ) {
         version_.prepare();
      }
   }
   SortedVector( SortedVector&& other ) noexcept { swap( other ); }
   SortedVector& operator=( const SortedVector& other ) {
      SortedVector( other ).swap( *this );
      return *this;
   }
   SortedVector& operator=( SortedVector&& other ) noexcept {
      SortedVector( std::move( other ) ).swap( *this );
      return *this;
   }
   ~SortedVector() = default;

   // Inserts what `make()` gives unless there is a member with `key`; the place, and whether it was
   // inserted.
   template < typename Make >
   std::pair< const_iterator, bool > insertWith( const Key& key, Make make ) {
      const U32 at = positionFor( key );
      if ( isAt( at, key ) ) {
         return { memberAt( at ), false };
      }
      version_.prepare();
      members_.insert( members_.begin() + at, make() );
      version_.change();
      return { memberAt( at ), true };
   }

   Member& member( const_iterator at ) { return members_[positionOf( at )]; }

   // Takes note of a change of a member; gives its place to go on from.
   const_iterator changed( const_iterator at ) {
      const U32 position = positionOf( at );
      version_.change();
      return memberAt( position );
   }

private:
   const Key& keyAt( U32 position ) const { return KeyOf()( members_.data()[position] ); }

   // Of the first member whose key is not below `key`.
   U32 positionFor( const Key& key ) const {
      const Member* const members = members_.data();
      return static_cast< U32 >(
         std::partition_point( members, members + members_.size(),
                               [&]( const Member& member ) { return KeyOf()( member ) < key; } ) -
         members );
   }
   bool isAt( U32 position, const Key& key ) const {
      return position < size() && !( key < keyAt( position ) );
   }

   const_iterator memberAt( U32 position ) const {
      const Member* const members = members_.data();
      return { version_, members + position, members + members_.size() };
   }
   const_iterator placeAt( U32 position ) const {
      return position < members_.size() ? memberAt( position ) : end();
   }
   U32 positionOf( const_iterator at ) const {
      return static_cast< U32 >( at.of( version_ ) - members_.data() );
   }

   void eraseAt( U32 position ) {
      version_.change();
      members_.erase( members_.begin() + position );
   }

   void swap( SortedVector& other ) noexcept {
      members_.swap( other.members_ );
      version_.swap( other.version_ );
   }

   std::vector< Member > members_;
   Version version_;
};

} // namespace detail

} // namespace Vek
