#pragma once

#include "Vek/TreeNode.h"

#include <cstddef>
#include <functional>
#include <iterator>
#include <utility>

namespace Vek {

/// An ordered collection of pointer-like values, such as `Ptr< Entity >`, whose keys live in what
/// they point to and never change while they are in here.
///
/// `KeyOf()( value )` gives the key. `Compare` is a strict total order of keys; when it offers
/// `static int compare( a, b )` that is used, and its `static Discriminator discriminator( key )`
/// keeps most comparisons from touching the keys. Nothing is allocated while the collection is
/// empty.
///
/// A B+ tree: leaves hold the discriminator and the value of each member. Every change invalidates
/// all iterators; `lowerBound` finds the place again. What raises an exception (`std::bad_alloc`,
/// `Compare`) changes nothing.
template < typename Value, typename KeyOf, typename Compare >
class OrderedMap {
   struct Leaf : detail::Node< Value > {
      Leaf* next = nullptr;
      Leaf* previous = nullptr;
   };
   using Inner = detail::Node< detail::NodeOrder* >;

public:
   using value_type = Value;
   using Key = std::remove_cvref_t< std::invoke_result_t< KeyOf, const Value& > >;

   /// Goes over the values in the order of their keys, both ways.
   class const_iterator {
   public:
      using iterator_category = std::bidirectional_iterator_tag;
      using value_type = Value;
      using difference_type = std::ptrdiff_t;
      using pointer = const Value*;
      using reference = const Value&;

      const_iterator() = default;
      const Value& operator*() const { return leaf_->items[position_]; }
      const Value* operator->() const { return leaf_->items + position_; }
      const_iterator& operator++() {
         if ( ++position_ == leaf_->count && leaf_->next ) {
            *this = const_iterator( leaf_->next, 0 );
         }
         return *this;
      }
      const_iterator operator++( int ) { return std::exchange( *this, std::next( *this ) ); }
      const_iterator& operator--() {
         if ( position_ == 0 ) {
            *this = const_iterator( leaf_->previous, leaf_->previous->count );
         }
         --position_;
         return *this;
      }
      const_iterator operator--( int ) { return std::exchange( *this, std::prev( *this ) ); }
      bool operator==( const const_iterator& ) const = default;

   private:
      friend class OrderedMap;
      const_iterator( const Leaf* leaf, U32 position ) : leaf_( leaf ), position_( position ) {}

      const Leaf* leaf_ = nullptr;
      U32 position_ = 0;
   };

   OrderedMap() = default;
   OrderedMap( OrderedMap&& other ) noexcept { swap( other ); }
   OrderedMap& operator=( OrderedMap&& other ) noexcept {
      OrderedMap( std::move( other ) ).swap( *this );
      return *this;
   }
   OrderedMap( const OrderedMap& ) = delete;
   OrderedMap& operator=( const OrderedMap& ) = delete;
   ~OrderedMap() {
      if ( root_ ) {
         destroy( root_, height_ );
      }
   }

   U32 size() const { return size_; }
   bool empty() const { return size_ == 0; }
   const_iterator begin() const { return { first_, 0 }; }
   const_iterator end() const { return { last_, last_ ? last_->count : 0 }; }

   /// The value with `key`, or `end()`.
   const_iterator find( const Key& key ) const {
      const const_iterator at = lowerBound( key );
      return at != end() && compare( KeyOf()( *at ), key ) == 0 ? at : end();
   }

   /// The first value whose key is not before `key`, or `end()`.
   const_iterator lowerBound( const Key& key ) const {
      if ( !root_ ) {
         return end();
      }
      const Discriminator d = discriminator( key );
      const detail::NodeOrder* node = root_;
      for ( U32 level = height_; level > 0; --level ) {
         const Inner& inner = asInner( node );
         node = inner.items[childFor( inner, level, d, key )];
      }
      const Leaf& leaf = asLeaf( node );
      const U32 at = position( leaf, d, key );
      return at == leaf.count && leaf.next ? const_iterator( leaf.next, 0 )
                                           : const_iterator( &leaf, at );
   }

   /// Inserts a value, unless one has its key: gives the place of that key, and whether the value
   /// was inserted.
   std::pair< const_iterator, bool > insert( Value value ) {
      const auto& key = KeyOf()( value );
      const Discriminator d = discriminator( key );
      if ( !root_ ) {
         root_ = first_ = last_ = new Leaf;
      }
      if ( height_ > 0 && root_->full() ) {
         addRoot();
      }
      // Full nodes are split on the way down, so that there is room for the split of a child.
      Inner* parent = nullptr;
      U32 index = 0;
      detail::NodeOrder* node = root_;
      for ( U32 level = height_; level > 0; --level ) {
         parent = &asInner( node );
         index = childFor( *parent, level, d, key );
         if ( level > 1 && parent->items[index]->full() ) {
            splitInner( *parent, index );
            index = childFor( *parent, level, d, key );
         }
         node = parent->items[index];
      }
      Leaf* leaf = &asLeaf( node );
      U32 at = position( *leaf, d, key );
      if ( at < leaf->count && leaf->at( at ) == d &&
           compare( KeyOf()( leaf->items[at] ), key ) == 0 ) {
         return { const_iterator( leaf, at ), false };
      }
      if ( leaf->full() ) {
         if ( !parent ) {
            addRoot();
            parent = &asInner( root_ );
         }
         Leaf* const right = splitLeaf( *parent, index, at, d );
         if ( at > leaf->count || right->count == 0 ) {
            at -= leaf->count;
            leaf = right;
         }
      }
      leaf->insert( at, d, std::move( value ) );
      ++size_;
      return { const_iterator( leaf, at ), true };
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
      const auto& key = KeyOf()( *at );
      const Discriminator d = discriminator( key );
      // Small nodes are filled up on the way down, so that each can spare an entry.
      detail::NodeOrder* node = root_;
      for ( U32 level = height_; level > 0; --level ) {
         Inner& inner = asInner( node );
         U32 index = childFor( inner, level, d, key );
         if ( inner.items[index]->count <= smallest && inner.count > 1 ) {
            index -= index == inner.count - 1;
            level == 1 ? joinLeaves( inner, index ) : joinInner( inner, index );
            index = childFor( inner, level, d, key );
         }
         node = inner.items[index];
         if ( inner.count == 1 && &inner == root_ ) {
            root_ = node;
            --height_;
            delete &inner;
         }
      }
      Leaf& leaf = asLeaf( node );
      const U32 i = position( leaf, d, key );
      const Value dropped = leaf.take( i );
      if ( --size_ == 0 ) {
         delete &leaf;
         root_ = first_ = last_ = nullptr;
         return end();
      }
      return i == leaf.count && leaf.next ? const_iterator( leaf.next, 0 )
                                          : const_iterator( &leaf, i );
   }

   /// Removes all values. They are dropped when the collection is empty already.
   void clear() { OrderedMap().swap( *this ); }

   void swap( OrderedMap& other ) noexcept {
      std::swap( root_, other.root_ );
      std::swap( first_, other.first_ );
      std::swap( last_, other.last_ );
      std::swap( height_, other.height_ );
      std::swap( size_, other.size_ );
   }

private:
   template < typename >
   friend struct TreeCheck;

   using NodeOrder = detail::NodeOrder;
   static constexpr U32 smallest = NodeOrder::capacity / 4;
   static constexpr U32 largestJoined = NodeOrder::capacity * 3 / 4;

   static const Inner& asInner( const NodeOrder* node ) {
      return static_cast< const Inner& >( *node );
   }
   static Inner& asInner( NodeOrder* node ) { return static_cast< Inner& >( *node ); }
   static const Leaf& asLeaf( const NodeOrder* node ) {
      return static_cast< const Leaf& >( *node );
   }
   static Leaf& asLeaf( NodeOrder* node ) { return static_cast< Leaf& >( *node ); }

   static Discriminator discriminator( const Key& key ) {
      if constexpr ( requires { Compare::discriminator( key ); } ) {
         return Compare::discriminator( key );
      } else {
         return {};
      }
   }

   static int compare( const Key& a, const Key& b ) {
      if constexpr ( requires { Compare::compare( a, b ); } ) {
         return Compare::compare( a, b );
      } else {
         return Compare()( a, b ) ? -1 : Compare()( b, a ) ? 1 : 0;
      }
   }

   static U32 position( const Leaf& leaf, Discriminator d, const Key& key ) {
      return leaf.position( d,
                            [&]( U32 i ) { return compare( KeyOf()( leaf.items[i] ), key ) < 0; } );
   }

   // The child that holds `key` or would hold it. The entry of a child, but the first one's, is
   // above no key of the child and below no key of the children before it.
   static U32 childFor( const Inner& inner, U32 level, Discriminator d, const Key& key ) {
      const U32 behind = inner.position( d, [&]( U32 i ) {
         const NodeOrder* node = inner.items[i];
         for ( U32 below = level - 1; below > 0; --below ) {
            node = asInner( node ).items[0];
         }
         return compare( KeyOf()( asLeaf( node ).items[0] ), key ) <= 0;
      } );
      return behind - ( behind > 0 );
   }

   void addRoot() {
      Inner* const root = new Inner;
      root->insert( 0, Discriminator(), root_ );
      root_ = root;
      ++height_;
   }

   static void splitInner( Inner& parent, U32 index ) {
      Inner& left = asInner( parent.items[index] );
      Inner* const right = new Inner;
      left.moveToFront( NodeOrder::capacity / 2, *right );
      parent.insert( index + 1, right->at( 0 ), right );
   }

   // Splits a leaf to which a member with the discriminator `d` is added at `at`. Members that come
   // in ascending order leave full leaves behind.
   Leaf* splitLeaf( Inner& parent, U32 index, U32 at, Discriminator d ) {
      Leaf& left = asLeaf( parent.items[index] );
      Leaf* const right = new Leaf;
      right->next = left.next;
      right->previous = &left;
      left.next = right;
      ( right->next ? right->next->previous : last_ ) = right;
      if ( right == last_ && at == left.count ) {
         parent.insert( index + 1, d, right );
      } else {
         left.moveToFront( NodeOrder::capacity / 2, *right );
         parent.insert( index + 1, right->at( 0 ), right );
      }
      return right;
   }

   // Moves all entries of two neighbours into the left one, or half of them into each.
   template < typename N >
   static bool joined( N& left, N& right ) {
      if ( left.count + right.count <= largestJoined ) {
         right.moveToBack( right.count, left );
         return true;
      }
      if ( left.count < right.count ) {
         right.moveToBack( ( right.count - left.count ) / 2, left );
      } else {
         left.moveToFront( ( left.count - right.count ) / 2, right );
      }
      return false;
   }

   void joinLeaves( Inner& parent, U32 index ) {
      Leaf& left = asLeaf( parent.items[index] );
      Leaf& right = asLeaf( parent.items[index + 1] );
      if ( joined( left, right ) ) {
         left.next = right.next;
         ( left.next ? left.next->previous : last_ ) = &left;
         parent.take( index + 1 );
         delete &right;
      } else {
         parent.set( index + 1, right.at( 0 ) );
      }
   }

   static void joinInner( Inner& parent, U32 index ) {
      Inner& left = asInner( parent.items[index] );
      Inner& right = asInner( parent.items[index + 1] );
      right.set( 0, parent.at( index + 1 ) );
      if ( joined( left, right ) ) {
         parent.take( index + 1 );
         delete &right;
      } else {
         parent.set( index + 1, right.at( 0 ) );
      }
   }

   static void destroy( NodeOrder* node, U32 level ) {
      if ( level > 0 ) {
         Inner& inner = asInner( node );
         for ( U32 i = 0; i < inner.count; ++i ) {
            destroy( inner.items[i], level - 1 );
         }
         delete &inner;
      } else {
         Leaf& leaf = asLeaf( node );
         std::destroy_n( leaf.items, leaf.count );
         delete &leaf;
      }
   }

   NodeOrder* root_ = nullptr;
   Leaf* first_ = nullptr;
   Leaf* last_ = nullptr;
   U32 height_ = 0; ///< of the root above the leaves
   U32 size_ = 0;
};

} // namespace Vek
