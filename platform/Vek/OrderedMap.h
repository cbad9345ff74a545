#pragma once

#include "Vek/Tree.h"

#include <cstddef>
#include <utility>

namespace Vek {

/// An ordered collection of pointer-like values, such as `Ptr< Entity >`, whose keys live in what
/// they point to and never change while they are in here.
///
/// `KeyOf()( value )` gives the key. `Compare` is a strict total order of keys that agrees with
/// `==`; when it offers `static Discriminator discriminator( key )`, most comparisons do not touch
/// the keys. Nothing is allocated while the collection is empty. A member takes about 40 bytes.
///
/// Every change invalidates all iterators; `lowerBound` finds the place again. What raises an
/// exception (`std::bad_alloc`, `Compare`) changes nothing.
template < typename Value, typename KeyOf, typename Compare >
class OrderedMap {
   using Tree = detail::Tree< Value, KeyOf, Compare >;

public:
   using value_type = Value;
   using Key = typename Tree::Key;

   /// Goes over the values in the order of their keys, both ways.
   class const_iterator {
   public:
      using iterator_category = std::bidirectional_iterator_tag;
      using value_type = Value;
      using difference_type = std::ptrdiff_t;
      using pointer = const Value*;
      using reference = const Value&;

      const_iterator() = default;
      const Value& operator*() const { return place_.leaf->items[place_.index]; }
      const Value* operator->() const { return place_.leaf->items + place_.index; }
      const_iterator& operator++() {
         if ( ++place_.index == place_.leaf->count && place_.leaf->next ) {
            place_ = { place_.leaf->next, 0 };
         }
         return *this;
      }
      const_iterator operator++( int ) { return std::exchange( *this, std::next( *this ) ); }
      const_iterator& operator--() {
         if ( place_.index == 0 ) {
            place_.leaf = place_.leaf->previous;
            place_.index = place_.leaf->count;
         }
         --place_.index;
         return *this;
      }
      const_iterator operator--( int ) { return std::exchange( *this, std::prev( *this ) ); }
      bool operator==( const const_iterator& ) const = default;

   private:
      friend class OrderedMap;
      const_iterator( typename Tree::Place place ) : place_( place ) {}

      typename Tree::Place place_;
   };

   OrderedMap() = default;
   OrderedMap( OrderedMap&& other ) noexcept { tree_.swap( other.tree_ ); }
   OrderedMap& operator=( OrderedMap&& other ) noexcept {
      OrderedMap( std::move( other ) ).tree_.swap( tree_ );
      return *this;
   }

   U32 size() const { return tree_.size(); }
   bool empty() const { return size() == 0; }
   const_iterator begin() const { return tree_.begin(); }
   const_iterator end() const { return tree_.end(); }

   /// The value with `key`, or `end()`.
   const_iterator find( const Key& key ) const { return tree_.find( key ); }

   /// The first value whose key is not before `key`, or `end()`.
   const_iterator lowerBound( const Key& key ) const { return tree_.lowerBound( key ); }

   /// Inserts a value, unless one has its key: gives the place of that key, and whether the value
   /// was inserted.
   std::pair< const_iterator, bool > insert( Value value ) {
      const auto [place, inserted] = tree_.insert( std::move( value ) );
      return { const_iterator( place ), inserted };
   }

   /// Removes the value with `key`; whether there was one.
   bool erase( const Key& key ) {
      const const_iterator at = find( key );
      if ( at == end() ) {
         return false;
      }
      erase( at );
      return true;
   }

   /// Removes the value at `at` and returns the place behind it. The value is dropped last, when
   /// the collection is whole again.
   const_iterator erase( const_iterator at ) {
      typename Tree::Place next;
      [[maybe_unused]] const Value dropped = tree_.take( KeyOf()( *at ), next );
      return next;
   }

   /// Removes all values. They are dropped when the collection is empty already.
   void clear() { OrderedMap().tree_.swap( tree_ ); }

private:
   template < typename >
   friend struct TreeCheck;

   Tree tree_;
};

} // namespace Vek
