#pragma once

#include "Vek/collections/TreeNode.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace Vek {

/// Defined by the tests.
template < typename Map >
struct TreeCheck;

namespace detail {

/// The B+ tree under `OrderedMap`: leaves hold the key prefix and the value of each member, the
/// nodes above them a key prefix and a child each. Nodes are split and joined on the way down,
/// so that one pass does, and an exception leaves a whole tree behind.
template < typename Value, typename KeyOf, typename Compare >
class Tree {
public:
   using Key = std::remove_cvref_t< std::invoke_result_t< KeyOf, const Value& > >;

   struct Leaf : Node< Value > {
      Leaf* next = nullptr;
      Leaf* previous = nullptr;
   };

   /// A member, or the end: the place after the last member of the last leaf.
   struct Place {
      const Leaf* leaf = nullptr;
      U32 index = 0;

      bool operator==( const Place& ) const = default;
   };

   Tree() = default;
   Tree( const Tree& ) = delete;
   Tree& operator=( const Tree& ) = delete;
   ~Tree() {
      if ( root_ ) {
         destroy( root_, height_ );
      }
   }

   U32 size() const { return size_; }
   Place begin() const { return { first_, 0 }; }
   Place end() const { return { last_, last_ ? last_->count : 0 }; }

   Place find( const Key& key ) const {
      if ( size_ == 0 ) {
         return end();
      }
      const KeyPrefix prefix = keyPrefixOf< Compare >( key );
      const Leaf& leaf = leafFor( prefix, key );
      NodeOrder::Range range = leaf.equalTo( prefix );
      if ( range.last - range.first > 1 ) {
         range.first = position( leaf, range, key );
      }
      return range.first < range.last && KeyOf()( leaf.items[range.first] ) == key
                ? Place{ &leaf, range.first }
                : end();
   }

   Place lowerBound( const Key& key ) const {
      if ( size_ == 0 ) {
         return end();
      }
      const KeyPrefix prefix = keyPrefixOf< Compare >( key );
      const Leaf& leaf = leafFor( prefix, key );
      return placeOf( leaf, position( leaf, leaf.equalTo( prefix ), key ) );
   }

   std::pair< Place, bool > insert( Value value ) {
      const auto& key = KeyOf()( value );
      const KeyPrefix prefix = keyPrefixOf< Compare >( key );
      if ( !root_ ) {
         root_ = first_ = last_ = new Leaf;
      }
      if ( height_ > 0 && root_->full() ) {
         addRoot();
      }
      // The parent of a node has room for one more child.
      Inner* parent = nullptr;
      U32 index = 0;
      NodeOrder* node = root_;
      for ( U32 level = height_; level > 0; --level ) {
         parent = &asInner( node );
         index = childFor( *parent, level, prefix, key );
         if ( level > 1 && parent->items[index]->full() ) {
            splitInner( *parent, index );
            index = childFor( *parent, level, prefix, key );
         }
         node = parent->items[index];
      }
      Leaf* leaf = &asLeaf( node );
      const NodeOrder::Range range = leaf->equalTo( prefix );
      U32 at = position( *leaf, range, key );
      if ( at < range.last && KeyOf()( leaf->items[at] ) == key ) {
         return { Place{ leaf, at }, false };
      }
      if ( leaf->full() ) {
         if ( !parent ) {
            addRoot();
            parent = &asInner( root_ );
         }
         Leaf* const right = splitLeaf( *parent, index, at, prefix );
         if ( at > leaf->count || right->count == 0 ) {
            at -= leaf->count;
            leaf = right;
         }
      }
      leaf->insert( at, prefix, std::move( value ) );
      ++size_;
      return { Place{ leaf, at }, true };
   }

   /// Takes the value with `key`, which is there, out; sets `next` to the place after it.
   Value take( const Key& key, Place& next ) {
      const KeyPrefix prefix = keyPrefixOf< Compare >( key );
      // A node has an entry to spare, but for the root.
      NodeOrder* node = root_;
      for ( U32 level = height_; level > 0; --level ) {
         Inner& inner = asInner( node );
         U32 index = childFor( inner, level, prefix, key );
         if ( inner.items[index]->count <= smallest ) {
            index -= index == inner.count - 1;
            level == 1 ? join< Leaf >( inner, index ) : join< Inner >( inner, index );
            index = childFor( inner, level, prefix, key );
         }
         node = inner.items[index];
         if ( inner.count == 1 ) { // the root: any other had an entry to spare
            root_ = node;
            --height_;
            delete &inner;
         }
      }
      Leaf& leaf = asLeaf( node );
      const U32 at = position( leaf, leaf.equalTo( prefix ), key );
      Value taken = leaf.take( at );
      --size_;
      if ( leaf.count == 0 ) {
         delete &leaf;
         root_ = first_ = last_ = nullptr;
         next = end();
      } else {
         next = placeOf( leaf, at );
      }
      return taken;
   }

   void swap( Tree& other ) noexcept {
      std::swap( root_, other.root_ );
      std::swap( first_, other.first_ );
      std::swap( last_, other.last_ );
      std::swap( height_, other.height_ );
      std::swap( size_, other.size_ );
   }

private:
   template < typename >
   friend struct Vek::TreeCheck;

   using Inner = Node< NodeOrder* >;
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

   // The first entry of a range of a leaf whose key is not before `key`, or the end of the range.
   static U32 position( const Leaf& leaf, NodeOrder::Range range, const Key& key ) {
      const Value* const place = std::partition_point(
         leaf.items + range.first, leaf.items + range.last,
         [&]( const Value& item ) { return Compare()( KeyOf()( item ), key ); } );
      return static_cast< U32 >( place - leaf.items );
   }

   // The place of an entry, which may be the one after the last of the leaf.
   static Place placeOf( const Leaf& leaf, U32 i ) {
      return i == leaf.count && leaf.next ? Place{ leaf.next, 0 } : Place{ &leaf, i };
   }

   // The leaf that holds `key` or would hold it.
   const Leaf& leafFor( KeyPrefix prefix, const Key& key ) const {
      const NodeOrder* node = root_;
      for ( U32 level = height_; level > 0; --level ) {
         const Inner& inner = asInner( node );
         node = inner.items[childFor( inner, level, prefix, key )];
      }
      asLeaf( node ).prefetch();
      return asLeaf( node );
   }

   // The child that holds `key` or would hold it. The entry of a child, but the first one's, is
   // above no key of the child and below no key of the children before it.
   static U32 childFor( const Inner& inner, U32 level, KeyPrefix prefix, const Key& key ) {
      const NodeOrder::Range range = inner.equalTo( prefix );
      const auto after = std::partition_point(
         inner.items + range.first, inner.items + range.last, [&]( const NodeOrder* node ) {
            for ( U32 below = level - 1; below > 0; --below ) {
               node = asInner( node ).items[0];
            }
            return !Compare()( key, KeyOf()( asLeaf( node ).items[0] ) );
         } );
      const U32 behind = static_cast< U32 >( after - inner.items );
      return behind - ( behind > 0 );
   }

   void addRoot() {
      Inner* const root = new Inner;
      root->insert( 0, KeyPrefix(), root_ );
      root_ = root;
      ++height_;
   }

   static void splitInner( Inner& parent, U32 index ) {
      Inner& left = asInner( parent.items[index] );
      Inner* const right = new Inner;
      left.moveToFront( NodeOrder::capacity / 2, *right );
      parent.insert( index + 1, right->at( 0 ), right );
   }

   // Splits a leaf to which a member with the key prefix `prefix` is added at `at`. Members that
   // come in ascending order leave full leaves behind.
   Leaf* splitLeaf( Inner& parent, U32 index, U32 at, KeyPrefix prefix ) {
      Leaf& left = asLeaf( parent.items[index] );
      Leaf* const right = new Leaf;
      right->next = left.next;
      right->previous = &left;
      left.next = right;
      ( right->next ? right->next->previous : last_ ) = right;
      if ( right == last_ && at == left.count ) {
         parent.insert( index + 1, prefix, right );
      } else {
         left.moveToFront( NodeOrder::capacity / 2, *right );
         parent.insert( index + 1, right->at( 0 ), right );
      }
      return right;
   }

   // Moves all entries of a child and its right neighbour into the left one, or half of them into
   // each.
   template < typename N >
   void join( Inner& parent, U32 index ) {
      N& left = static_cast< N& >( *parent.items[index] );
      N& right = static_cast< N& >( *parent.items[index + 1] );
      if constexpr ( std::is_same_v< N, Inner > ) {
         right.set( 0, parent.at( index + 1 ) );
      }
      if ( left.count + right.count > largestJoined ) {
         if ( left.count < right.count ) {
            right.moveToBack( ( right.count - left.count ) / 2, left );
         } else {
            left.moveToFront( ( left.count - right.count ) / 2, right );
         }
         parent.set( index + 1, right.at( 0 ) );
         return;
      }
      right.moveToBack( right.count, left );
      if constexpr ( std::is_same_v< N, Leaf > ) {
         left.next = right.next;
         ( left.next ? left.next->previous : last_ ) = &left;
      }
      parent.take( index + 1 );
      delete &right;
   }

   static void destroy( NodeOrder* node, U32 level ) {
      if ( level == 0 ) {
         delete &asLeaf( node );
         return;
      }
      Inner& inner = asInner( node );
      for ( U32 i = 0; i < inner.count; ++i ) {
         destroy( inner.items[i], level - 1 );
      }
      delete &inner;
   }

   NodeOrder* root_ = nullptr;
   Leaf* first_ = nullptr;
   Leaf* last_ = nullptr;
   U32 height_ = 0; ///< of the root above the leaves
   U32 size_ = 0;
};

} // namespace detail

} // namespace Vek
