#include "Vek/HashIndex.h"

#include "Osk/Assert.h"

#include <cstring>
#include <new>
#include <stdexcept>
#include <utility>

namespace Vek::detail {

void versionChanged() {
   Osk::assertionFailed( OSK_MODULE, "version == collection.version()", __func__ );
}

namespace {

// Three chunks in four are full at the most, so that few members go on to a second chunk.
constexpr U32 roomIn( U32 chunks ) { return chunks == 1 ? 12 : chunks * 10; }

// Twice as many would have positions above 2^31.
constexpr U32 mostChunks = 1U << 27;

} // namespace

HashIndex::Chunk* HashIndex::allocate( U64 chunks, U64 room ) {
   const std::size_t bytes = chunks * sizeof( Chunk ) + room * sizeof( U32 );
   return static_cast< Chunk* >( ::operator new( bytes, std::align_val_t( alignof( Chunk ) ) ) );
}

HashIndex::HashIndex( const HashIndex& other ) {
   if ( other.size_ == 0 ) {
      return;
   }
   chunks_ = allocate( U64{ other.mask_ } + 1, other.room_ );
   mask_ = other.mask_;
   room_ = other.room_;
   size_ = other.size_;
   std::memcpy( chunks_, other.chunks_, ( std::size_t{ mask_ } + 1 ) * sizeof( Chunk ) );
   std::memcpy( hashes(), other.hashes(), size_ * sizeof( U32 ) );
}

HashIndex::~HashIndex() { ::operator delete( chunks_, std::align_val_t( alignof( Chunk ) ) ); }

void HashIndex::swap( HashIndex& other ) noexcept {
   std::swap( chunks_, other.chunks_ );
   std::swap( mask_, other.mask_ );
   std::swap( room_, other.room_ );
   std::swap( size_, other.size_ );
}

void HashIndex::grow() {
   const U32 chunks = chunks_ ? 2 * ( mask_ + 1 ) : 1;
   if ( chunks > mostChunks ) {
      throw std::length_error( "Vek::HashIndex" );
   }
   HashIndex larger;
   larger.room_ = roomIn( chunks );
   larger.chunks_ = allocate( chunks, larger.room_ );
   larger.mask_ = chunks - 1;
   std::memset( larger.chunks_, 0, chunks * sizeof( Chunk ) );
   larger.size_ = size_;
   if ( chunks_ ) {
      std::memcpy( larger.hashes(), hashes(), size_ * sizeof( U32 ) );
   }
   // Chunk by chunk, so that all but a few go to one of two places that move on through memory.
   for ( U32 i = 0; i < chunks / 2; ++i ) {
      for ( U32 used = chunks_[i].used; used; used &= used - 1 ) {
         const U32 position = chunks_[i].positions[std::countr_zero( used )];
         larger.place( hashes()[position], position );
      }
   }
   swap( larger );
}

// Where a position stands; tells of each chunk that it went on from.
template < typename Passed >
HashIndex::Place HashIndex::placeOf( U32 position, Passed passed ) {
   const U32 hash = hashes()[position];
   for ( U32 at = first( hash );; at += step( hash ) ) {
      Chunk& chunk = chunkAt( at );
      for ( U32 hits = chunk.with( hash ) & chunk.used; hits; hits &= hits - 1 ) {
         const U32 slot = static_cast< U32 >( std::countr_zero( hits ) );
         if ( chunk.positions[slot] == position ) {
            return { chunk, slot };
         }
      }
      passed( chunk );
   }
}

void HashIndex::erase( U32 position ) {
   const Place place = placeOf( position, []( Chunk& chunk ) {
      chunk.passed = static_cast< U16 >( chunk.passed - ( chunk.passed < 0xFFFF ) );
   } );
   place.chunk.used = static_cast< U16 >( place.chunk.used & ~( 1U << place.slot ) );
   place.chunk.positions[place.slot] = 0;
   if ( position != size_ - 1 ) {
      const Place last = placeOf( size_ - 1, []( Chunk& ) {} );
      last.chunk.positions[last.slot] = position;
      hashes()[position] = hashes()[size_ - 1];
   }
   --size_;
}

} // namespace Vek::detail
