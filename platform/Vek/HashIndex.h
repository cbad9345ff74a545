#pragma once

#include "Osk/Types.h"

#include <bit>
#include <cstring>

namespace Vek::detail {

/// Ends the process: an iterator of a hash collection was used after the collection had changed.
[[noreturn]] OSK_EXPORT void versionChanged();

/// The index of a hash collection: finds, by their 32-bit hashes, the positions of members that
/// stand densely in an array, 0 to `size() - 1`.
///
/// Open addressing over chunks of one cache line: 12 positions, and a tag of each, 8 bits of its
/// hash, that are compared at once. A chunk counts the members that found no room in it and went
/// on, so that a search knows when to stop and removals leave no marks behind. The hashes are kept
/// too: to grow, no key is looked at.
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

   /// The first position with the hash `hash` or one that looks the same, for which
   /// `matches( position )`; `none` when there is none.
   template < typename Matches >
   U32 find( U32 hash, Matches matches ) const {
      if ( size_ == 0 ) {
         return none;
      }
      const Probe probe( hash );
      U32 at = hash;
      for ( U32 tries = 0; tries <= mask_; ++tries ) {
         const Chunk& chunk = chunks_[at & mask_];
         for ( U32 hits = chunk.with( probe.tag ); hits; hits &= hits - 1 ) {
            const U32 position = chunk.positions[std::countr_zero( hits )];
            if ( matches( position ) ) {
               return position;
            }
         }
         if ( chunk.passed == 0 ) [[likely]] {
            break;
         }
         at += probe.step;
      }
      return none;
   }

   /// Makes room for one more; `std::bad_alloc` or `std::length_error` when there is none.
   void makeRoom() {
      if ( size_ == room_ ) [[unlikely]] {
         grow();
      }
   }

   /// Adds the position `size()`, for which there is room.
   void add( U32 hash ) {
      hashes()[size_] = hash;
      place( hash, size_++ );
   }

   /// Removes a position, which the last one takes.
   void erase( U32 position );

   void swap( HashIndex& other ) noexcept;

private:
   struct alignas( 64 ) Chunk {
      static constexpr U32 capacity = 12;
      static constexpr U32 all = ( 1U << capacity ) - 1;

      U8 tags[15]; ///< 0 in slots not in use
      U8 passed;   ///< members that went on from here; 255 and more stay 255
      U32 positions[capacity];

      // In vectors as the compilers know them: <emmintrin.h> declares hundreds of functions.
      U32 with( U8 tag ) const {
         using Group = char __attribute__( ( vector_size( 16 ) ) );
         Group group;
         std::memcpy( &group, this, sizeof group );
         const auto same = reinterpret_cast< Group >( group == static_cast< char >( tag ) );
         return static_cast< U32 >( __builtin_ia32_pmovmskb128( same ) ) & all;
      }
   };

   // The way of a hash through the chunks: begins at the low bits and takes odd steps.
   struct Probe {
      explicit Probe( U32 hash )
         : tag( static_cast< U8 >( hash >> 24 | ( hash < 1U << 24 ) ) ), step( 2U * tag + 1 ) {}
      U8 tag; ///< not 0
      U32 step;
   };

   U32* hashes() const { return reinterpret_cast< U32* >( chunks_ + mask_ + 1 ); }

   void place( U32 hash, U32 position ) {
      const Probe probe( hash );
      U32 at = hash;
      for ( ;; at += probe.step ) {
         Chunk& chunk = chunks_[at & mask_];
         if ( const U32 unused = chunk.with( 0 ) ) [[likely]] {
            const int slot = std::countr_zero( unused );
            chunk.tags[slot] = probe.tag;
            chunk.positions[slot] = position;
            return;
         }
         chunk.passed = static_cast< U8 >( chunk.passed + ( chunk.passed < 0xFF ) );
      }
   }

   struct Place {
      Chunk& chunk;
      U32 slot;
   };

   static Chunk* allocate( U64 chunks, U64 room );
   void grow();
   template < typename Passed >
   Place placeOf( U32 position, Passed passed );

   Chunk* chunks_ = nullptr; ///< behind them the hashes of all positions
   U32 mask_ = 0;            ///< number of chunks - 1
   U32 room_ = 0;            ///< how many positions there is room for
   U32 size_ = 0;
};

} // namespace Vek::detail
