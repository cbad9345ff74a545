#pragma once

#include "Vek/collections/Tree.h"
#include "Vek/collections/Version.h"

#include <cstddef>
#include <string_view> // the categories of iterators: <iterator> brings those of streams, too
#include <utility>

namespace Vek {

/// An ordered collection of pointer-like values, such as `Ptr< Entity >`, whose keys live in what
/// they point to and never change while they are in here.
///
/// `KeyOf()( value )` gives the key. `Compare` is a strict total order of keys that agrees with
/// `==`; when it offers `static KeyPrefix keyPrefix( key )`, most comparisons do not touch
/// the keys. Nothing is allocated while the collection is empty. A member takes about 40 bytes.
///
/// Every change invalidates all iterators, which notice that; `lowerBound` finds the place again.
/// What raises an exception (`std::bad_alloc`, `Compare`) changes no member.
template < typename Value, typename KeyOf, typename Compare >
class OrderedMap {
   using Tree = detail::Tree< Value, KeyOf, Compare >;

public:
   using value_type = Value;
   using Key = typename Tree::Key;

   /// Goes over the values in the order of their keys, both ways. Used after a change of the
   /// collection or after its end, it ends the process with the assertion "version ==
   /// collection.version()"; at the end, with "iterator != collection.end()"; and before the
   /// beginning with "iterator != collection.begin()".
   class const_iterator {
   public:
      using iterator_category = std::bidirectional_iterator_tag;
      using value_type = Value;
      using difference_type = std::ptrdiff_t;
      using pointer = const Value*;
      using reference = const Value&;

      const_iterator() = default;
      const Value& operator*() const { return *operator->(); }
      const Value* operator->() const {
         seen_.check();
         return place_.leaf->items + place_.index;
      }
      const_iterator& operator++() {
         seen_.check();
         if ( ++place_.index == place_.leaf->count ) {
            if ( place_.leaf->next ) {
               place_ = { place_.leaf->next, 0 };
            } else {
               seen_.atEndIs( true );
            }
         }
         return *this;
      }
      const_iterator operator++( int ) {
         const_iterator old = *this;
         ++*this;
         return old;
      }
      const_iterator& operator--() {
         seen_.checkUnchanged();
         if ( place_.index == 0 ) {
            place_.leaf = place_.leaf ? place_.leaf->previous : nullptr;
            if ( !place_.leaf ) {
               detail::iteratorAtBegin();
            }
            place_.index = place_.leaf->count;
         }
         --place_.index;
         seen_.atEndIs( false );
         return *this;
      }
      const_iterator operator--( int ) {
         const_iterator old = *this;
         --*this;
         return old;
      }
      bool operator==( const const_iterator& other ) const { return place_ == other.place_; }

   private:
      friend class OrderedMap;
      const_iterator( const OrderedMap& map, typename Tree::Place place )
         : seen_( map.version_ ), place_( place ) {
         seen_.atEndIs( place == map.tree_.end() );
      }

      detail::SeenVersion seen_;
      typename Tree::Place place_;
   };

   OrderedMap() = default;
   OrderedMap( OrderedMap&& other ) noexcept { swap( other ); }
   OrderedMap& operator=( OrderedMap&& other ) noexcept {
      OrderedMap( std::move( other ) ).swap( *this );
      return *this;
   }

   U32 size() const { return tree_.size(); }
   bool empty() const { return size() == 0; }
   const_iterator begin() const { return { *this, tree_.begin() }; }
   const_iterator end() const { return { *this, tree_.end() }; }

   /// Another number after each insertion and removal; 0 before there is a member.
   U64 version() const { return version_.number(); }

   /// The value with `key`, or `end()`.
   const_iterator find( const Key& key ) const { return { *this, tree_.find( key ) }; }

   /// The first value whose key is not before `key`, or `end()`.
   const_iterator lowerBound( const Key& key ) const { return { *this, tree_.lowerBound( key ) }; }

   /// Inserts a value, unless one has its key: gives the place of that key, and whether the value
   /// was inserted.
   std::pair< const_iterator, bool > insert( Value value ) {
      version_.prepare();
      const auto [place, inserted] = tree_.insert( std::move( value ) );
      if ( inserted ) {
         version_.change();
      }
      return { const_iterator( *this, place ), inserted };
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

   /// Removes the value at `at`, which is one of this collection, and returns the place after it:
   /// `at = collection.erase( at )`. The value is dropped last, when the collection is whole again.
   const_iterator erase( const_iterator at ) {
      at.seen_.check( version_ );
      version_.change();
      typename Tree::Place next;
      const Value& erased = at.place_.leaf->items[at.place_.index];
      [[maybe_unused]] const Value dropped = tree_.take( KeyOf()( erased ), next );
      return { *this, next };
   }

   /// Removes all values. They are dropped when the collection is empty already.
   void clear() { OrderedMap().swap( *this ); }

private:
   template < typename >
   friend struct TreeCheck;

   void swap( OrderedMap& other ) noexcept {
      tree_.swap( other.tree_ );
      version_.swap( other.version_ );
   }

   Tree tree_;
   detail::Version version_;
};

} // namespace Vek
