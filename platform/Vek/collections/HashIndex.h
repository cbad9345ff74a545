#pragma once

#include "Osk/Group.h"
#include "Vek/collections/HashCrowd.h"

#include <bit>

namespace Vek::detail {

/// The index of a hash collection: finds, by their 32-bit hashes, the positions of members that
/// stand densely in an array, 0 to `size() - 1`.
///
/// Open addressing over chunks of one cache line: 12 positions, and a tag of each, 8 bits of its
/// hash, that are compared at once. A chunk counts the members that found no room in it and went
/// on, so that a search knows when to stop and removals leave no marks behind. The hashes are kept
/// too: to grow, no key is looked at.
///
/// Whoever chooses the keys may choose them for their hashes. So each index spreads them by a
/// factor of its own, drawn at random; and a member that finds no room in the first chunks of its
/// way, as many of one hash do, goes to a crowd that is searched by the order of the keys.
class OSK_EXPORT HashIndex {
public:
   static constexpr U32 none = 0xFFFFFFFF;

   HashIndex() = default;
   HashIndex( const HashIndex& other );
   HashIndex( HashIndex&& other ) noexcept { swap( other ); }
   HashIndex& operator=( HashIndex other ) noexcept {
      swap( other );
      return *this;
   }
   ~HashIndex();

   U32 size() const { return size_; }

   /// What `find` and `add` take for the hash of a key: spread over all bits, otherwise in each
   /// index. The index has or had room.
   U32 spread( U32 hash ) const { return static_cast< U32 >( hash * head().factor >> 32 ); }

   /// The first position with the hash `hash` or one that looks the same, for which
   /// `wanted.matches( position )`; `none` when there is none. When the way of a hash ends,
   /// `wanted.inCrowd( crowd )` looks there. The index is not empty.
   template < typename Wanted >
   U32 find( U32 hash, Wanted wanted ) const {
      const Chunk& chunk = chunkAt( first( hash ) );
      const U32 position = chunk.find( hash, wanted );
      return position != none || chunk.passed == 0 ? position : findFurther( hash, wanted );
   }

   /// Makes room for one more; `std::bad_alloc` or `std::length_error` when there is none. Here and
   /// below, `keys()` gives the keys of the members.
   template < typename Keys >
   void makeRoom( Keys keys ) {
      if ( size_ == room_ ) [[unlikely]] {
         grow( keys() );
      }
   }

   /// Adds the position `size()`, for which there is room and a member; `std::bad_alloc` when it
   /// goes to the crowd and there is no memory.
   template < typename Keys >
   void add( U32 hash, Keys keys ) {
      hashes()[size_] = hash;
      if ( !place( hash, size_ ) ) [[unlikely]] {
         addToCrowd( size_, keys() );
      }
      ++size_;
   }

   /// Removes a position, which the last one takes.
   void erase( U32 position, const HashKeys& keys );

   void swap( HashIndex& other ) noexcept;

private:
   // Look-ups wait for memory: the fewer instructions one takes, the more of them the processor has
   // under way at once.
   struct alignas( 64 ) Chunk {
      static constexpr U32 capacity = 12;
      static constexpr U32 all = ( 1U << capacity ) - 1;

      U8 tags[capacity];       ///< the low 8 bits of the hashes
      U16 used;                ///< a bit for each slot
      U16 passed;              ///< members that went on from here; 65535 and more stay 65535
      U32 positions[capacity]; ///< 0 in slots not in use: that one is there to be looked at

      // The slots with the tag of `hash`, those not in use among them.
      U32 with( U32 hash ) const {
         return Osk::Group( this ).equal( static_cast< U8 >( hash ) ) & all;
      }

      template < typename Wanted >
      U32 find( U32 hash, Wanted wanted ) const {
         for ( U32 hits = with( hash ); hits; hits &= hits - 1 ) {
            const U32 position = positions[static_cast< U32 >( std::countr_zero( hits ) )];
            if ( wanted.matches( position ) ) [[likely]] {
               return position;
            }
         }
         return none;
      }
   };

   // Stands before the chunks.
   struct alignas( 64 ) Head {
      U64 factor;
      HashCrowd* crowd;
   };

   // The way of a hash through the chunks begins at the bits above the tag and takes odd steps.
   // With hashes by chance one member in 10,000 comes to its end.
   static constexpr U32 longestWay = 8;
   static U32 first( U32 hash ) { return std::rotr( hash, 8 ); }
   static U32 step( U32 hash ) { return hash << 1 | 1; }
   Chunk& chunkAt( U32 at ) const { return chunks_[at & mask_]; }

   // Apart, so that it costs `find` no registers.
   template < typename Wanted >
   [[gnu::noinline]] U32 findFurther( U32 hash, Wanted wanted ) const {
      U32 at = first( hash );
      for ( U32 tries = 1; tries < longestWay; ++tries ) {
         at += step( hash );
         const Chunk& chunk = chunkAt( at );
         const U32 position = chunk.find( hash, wanted );
         if ( position != none || chunk.passed == 0 ) {
            return position;
         }
      }
      return head().crowd ? wanted.inCrowd( *head().crowd ) : none;
   }

   Head& head() const { return reinterpret_cast< Head* >( chunks_ )[-1]; }
   U32* hashes() const { return reinterpret_cast< U32* >( chunks_ + mask_ + 1 ); }

   // Whether there was room.
   bool place( U32 hash, U32 position ) {
      U32 at = first( hash );
      for ( U32 tries = 0; tries < longestWay; ++tries, at += step( hash ) ) {
         Chunk& chunk = chunkAt( at );
         if ( chunk.used != Chunk::all ) [[likely]] {
            const int slot = std::countr_one( chunk.used );
            chunk.used = static_cast< U16 >( chunk.used | 1U << slot );
            chunk.tags[slot] = static_cast< U8 >( hash );
            chunk.positions[slot] = position;
            return true;
         }
         chunk.passed = static_cast< U16 >( chunk.passed + ( chunk.passed < 0xFFFF ) );
      }
      return false;
   }

   // Makes an index with room for `room` positions, all chunks of which are empty.
   void allocate( U64 chunks, U32 room );
   void grow( const HashKeys& keys );
   void addToCrowd( U32 position, const HashKeys& keys );

   struct Place {
      Chunk* chunk = nullptr;
      U32 slot = 0;
   };
   template < typename Passed >
   Place placeOf( U32 position, Passed passed );

   Chunk* chunks_ = nullptr; ///< after them the hashes of all positions
   U32 mask_ = 0;            ///< number of chunks - 1
   U32 room_ = 0;            ///< how many positions there is room for
   U32 size_ = 0;
};

} // namespace Vek::detail
