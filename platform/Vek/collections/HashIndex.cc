#include "Vek/collections/HashIndex.h"

#include <atomic>
#include <cstring>
#include <new>
#include <random>
#include <stdexcept>
#include <utility>

namespace Vek::detail {

namespace {

// Three chunks in four are full at the most, so that few members go on to a second chunk.
constexpr U32 roomIn( U32 chunks ) { return chunks == 1 ? 12 : chunks * 10; }

// Twice as many would have positions above 2^31.
constexpr U32 mostChunks = 1U << 27;

// An odd factor for each index. Peers do not learn it: nothing that is sent comes from here.
U64 drawFactor() {
   static constinit std::atomic< U64 > drawn{ 0 };
   if ( drawn.load( std::memory_order_relaxed ) == 0 ) {
      std::random_device random;
      drawn.store( U64{ random() } << 32 | random(), std::memory_order_relaxed );
   }
   U64 factor = drawn.fetch_add( 0x9E3779B97F4A7C15, std::memory_order_relaxed );
   factor = ( factor ^ factor >> 30 ) * 0xBF58476D1CE4E5B9;
   factor = ( factor ^ factor >> 27 ) * 0x94D049BB133111EB;
   return ( factor ^ factor >> 31 ) | 1;
}

} // namespace

void HashIndex::allocate( U64 chunks, U32 room ) {
   const std::size_t bytes = sizeof( Head ) + chunks * sizeof( Chunk ) + room * sizeof( U32 );
   Head* const head = static_cast< Head* >( ::operator new( bytes, std::align_val_t( 64 ) ) );
   std::memset( static_cast< void* >( head ), 0, sizeof( Head ) + chunks * sizeof( Chunk ) );
   chunks_ = reinterpret_cast< Chunk* >( head + 1 );
   mask_ = static_cast< U32 >( chunks - 1 );
   room_ = room;
}

HashIndex::HashIndex( const HashIndex& other ) {
   if ( other.size_ == 0 ) {
      return;
   }
   HashIndex copy;
   copy.allocate( U64{ other.mask_ } + 1, other.room_ );
   copy.size_ = other.size_;
   std::memcpy( static_cast< void* >( copy.chunks_ ), other.chunks_,
                ( std::size_t{ copy.mask_ } + 1 ) * sizeof( Chunk ) );
   std::memcpy( copy.hashes(), other.hashes(), copy.size_ * sizeof( U32 ) );
   copy.head().factor = other.head().factor;
   if ( other.head().crowd ) {
      copy.head().crowd = new HashCrowd( *other.head().crowd );
   }
   swap( copy );
}

// What `placeOf` does with the chunks that a member went on from, when the member goes.
constexpr auto noLongerPassed = []( auto& chunk ) {
   chunk.passed = static_cast< U16 >( chunk.passed - ( chunk.passed < 0xFFFF ) );
};

HashIndex::~HashIndex() {
   if ( chunks_ ) {
      delete head().crowd;
      ::operator delete( &head(), std::align_val_t( 64 ) );
   }
}

void HashIndex::swap( HashIndex& other ) noexcept {
   std::swap( chunks_, other.chunks_ );
   std::swap( mask_, other.mask_ );
   std::swap( room_, other.room_ );
   std::swap( size_, other.size_ );
}

void HashIndex::grow( const HashKeys& keys ) {
   const U32 chunks = chunks_ ? 2 * ( mask_ + 1 ) : 1;
   if ( chunks > mostChunks ) {
      throw std::length_error( "Vek::HashIndex" );
   }
   HashIndex larger;
   larger.allocate( chunks, roomIn( chunks ) );
   larger.head().factor = chunks_ ? head().factor : drawFactor();
   if ( chunks_ ) {
      std::memcpy( larger.hashes(), hashes(), size_ * sizeof( U32 ) );
      const auto put = [&]( U32 position ) {
         if ( !larger.place( hashes()[position], position ) ) [[unlikely]] {
            larger.addToCrowd( position, keys );
         }
      };
      // Chunk by chunk, so that all but a few go to one of two places that move on through memory.
      for ( U32 i = 0; i < chunks / 2; ++i ) {
         for ( U32 used = chunks_[i].used; used; used &= used - 1 ) {
            put( chunks_[i].positions[std::countr_zero( used )] );
         }
      }
      if ( head().crowd ) {
         head().crowd->forEach( put );
      }
   }
   larger.size_ = size_;
   swap( larger );
}

void HashIndex::addToCrowd( U32 position, const HashKeys& keys ) {
   try {
      if ( !head().crowd ) {
         head().crowd = new HashCrowd( head().factor );
      }
      head().crowd->insert( keys, position );
   } catch ( ... ) {
      placeOf( position, noLongerPassed );
      throw;
   }
}

// Where a position stands, in no chunk when it is in the crowd; tells of each chunk that it went on
// from.
template < typename Passed >
HashIndex::Place HashIndex::placeOf( U32 position, Passed passed ) {
   const U32 hash = hashes()[position];
   U32 at = first( hash );
   for ( U32 tries = 0; tries < longestWay; ++tries, at += step( hash ) ) {
      Chunk& chunk = chunkAt( at );
      for ( U32 hits = chunk.with( hash ) & chunk.used; hits; hits &= hits - 1 ) {
         const U32 slot = static_cast< U32 >( std::countr_zero( hits ) );
         if ( chunk.positions[slot] == position ) {
            return { &chunk, slot };
         }
      }
      passed( chunk );
   }
   return {};
}

void HashIndex::erase( U32 position, const HashKeys& keys ) {
   const Place place = placeOf( position, noLongerPassed );
   if ( place.chunk ) {
      place.chunk->used = static_cast< U16 >( place.chunk->used & ~( 1U << place.slot ) );
      place.chunk->positions[place.slot] = 0;
   } else {
      head().crowd->erase( keys, position );
   }
   if ( const U32 last = size_ - 1; position != last ) {
      const Place lastPlace = placeOf( last, []( Chunk& ) {} );
      U32& stored = lastPlace.chunk ? lastPlace.chunk->positions[lastPlace.slot]
                                    : *head().crowd->find( keys, keys.at( keys.table, last ) );
      stored = position;
      hashes()[position] = hashes()[last];
   }
   --size_;
}

} // namespace Vek::detail
