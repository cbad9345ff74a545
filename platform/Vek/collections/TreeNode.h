#pragma once

#include "Vek/collections/KeyPrefix.h"

#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

namespace Vek::detail {

/// The part of a tree node that is searched: key prefixes in ascending order. The high halves
/// stand apart, so that a search reads few cache lines; those not in use are the greatest number.
struct alignas( 64 ) NodeOrder {
   static constexpr U32 capacity = 32;

   U64 high[capacity];
   U64 low[capacity];
   U32 count = 0;

   NodeOrder() { std::memset( high, 0xFF, sizeof high ); }

   bool full() const { return count == capacity; }

   KeyPrefix at( U32 i ) const { return { high[i], low[i] }; }
   void set( U32 i, KeyPrefix prefix ) {
      high[i] = prefix.high;
      low[i] = prefix.low;
   }

   /// How many of the high halves are below `h`: first the block of one cache line, then within it.
   U32 below( U64 h ) const {
      const U32 block = 8 * ( U32{ high[7] < h } + U32{ high[15] < h } + U32{ high[23] < h } );
      U32 n = block;
      for ( U32 i = 0; i < 8; ++i ) {
         n += high[block + i] < h;
      }
      return n;
   }

   /// The entries with the key prefix `prefix`, from `first` to before `last`.
   struct Range {
      U32 first;
      U32 last;
   };
   Range equalTo( KeyPrefix prefix ) const {
      U32 first = below( prefix.high );
      while ( first < count && high[first] == prefix.high && low[first] < prefix.low ) {
         ++first;
      }
      U32 last = first;
      while ( last < count && high[last] == prefix.high && low[last] == prefix.low ) {
         ++last;
      }
      return { first, last };
   }
};

/// A node with an item beside each key prefix: children, or the values of a leaf.
template < typename T >
struct Node : NodeOrder {
   static_assert( std::is_nothrow_move_constructible_v< T > );

   union {
      T items[capacity]; ///< the first `count` of them exist
   };

   Node() {}
   Node( const Node& ) = delete;
   Node& operator=( const Node& ) = delete;
   ~Node() {
      for ( U32 i = 0; i < count; ++i ) {
         items[i].~T();
      }
   }

   /// Begins to fetch from memory what a search needs after the high halves.
   void prefetch() const {
      for ( U32 i = 0; i < capacity; i += 8 ) {
         __builtin_prefetch( low + i );
         __builtin_prefetch( items + i );
      }
   }

   /// Inserts before `i`; there is room.
   void insert( U32 i, KeyPrefix prefix, T item ) {
      move( i, count - i, *this, i + 1 );
      set( i, prefix );
      ::new ( static_cast< void* >( items + i ) ) T( std::move( item ) );
      ++count;
   }

   /// Takes the item at `i` out.
   T take( U32 i ) {
      T item = std::move( items[i] );
      items[i].~T();
      move( i + 1, count - i - 1, *this, i );
      high[--count] = ~U64{ 0 };
      return item;
   }

   /// Takes the `n` last entries away and puts them before those of `to`, which has room.
   void moveToFront( U32 n, Node& to ) {
      to.move( 0, to.count, to, n );
      move( count - n, n, to, 0 );
      to.count += n;
      shrink( n );
   }

   /// Takes the `n` first entries away and puts them after those of `to`, which has room.
   void moveToBack( U32 n, Node& to ) {
      move( 0, n, to, to.count );
      to.count += n;
      move( n, count - n, *this, 0 );
      shrink( n );
   }

private:
   // Moves entries to a place of `to` that holds none; the two may overlap.
   void move( U32 from, U32 n, Node& to, U32 at ) {
      std::memmove( to.high + at, high + from, n * sizeof( U64 ) );
      std::memmove( to.low + at, low + from, n * sizeof( U64 ) );
      if constexpr ( std::is_trivially_copyable_v< T > ) {
         // An item may well be a pointer. NOLINTNEXTLINE(bugprone-sizeof-expression)
         std::memmove( to.items + at, items + from, n * sizeof( T ) );
      } else if ( at > from ) {
         for ( U32 i = n; i-- > 0; ) {
            relocate( items + from + i, to.items + at + i );
         }
      } else {
         for ( U32 i = 0; i < n; ++i ) {
            relocate( items + from + i, to.items + at + i );
         }
      }
   }

   static void relocate( T* from, T* to ) {
      ::new ( static_cast< void* >( to ) ) T( std::move( *from ) );
      from->~T();
   }

   void shrink( U32 n ) {
      count -= n;
      std::memset( high + count, 0xFF, n * sizeof( U64 ) );
   }
};

} // namespace Vek::detail
