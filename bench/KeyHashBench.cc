#include "bench/support/Measure.h"
#include "bench/support/Rules.h"

#include <cstring>

#include <xxhash.h>

/// The hash of a six-word key beside XXH3 over the same quantities. XXH3 finds them in a buffer and
/// takes them in one call; the key collects them from its attributes and reduces its prefixes.

namespace {

// One call of the shared library as Debian ships it.
XXH64_hash_t sharedXxh3( const void* bytes, std::size_t size ) {
   return XXH3_64bits( bytes, size );
}

} // namespace

// From here on the names of the library stand for its code, compiled into the caller.
#define XXH_INLINE_ALL
#include <xxhash.h>

namespace {

using Flowspec::FlowspecKey;

constexpr U32 keyCount = 100;

// VRF, family and both reduced prefixes, 4 bytes each; then an index and a word for each of six.
using HashedBytes = std::array< char, 4 * 4 + 6 * ( 2 + 4 ) >;

const std::vector< FlowspecKey >& keys() {
   static const auto made = [] {
      std::vector< FlowspecKey > result;
      for ( U32 i = 0; i < keyCount; ++i ) {
         result.push_back( Bench::sixWordRule( i ) );
      }
      return result;
   }();
   return made;
}

HashedBytes hashedBytes( const FlowspecKey& key ) {
   HashedBytes bytes;
   char* at = bytes.data();
   const auto append = [&]( auto quantity ) {
      std::memcpy( at, &quantity, sizeof quantity );
      at += sizeof quantity;
   };
   append( key.vrfId() );
   append( U32{ static_cast< U8 >( key.addressFamily() ) } );
   append( FlowspecKey::prefixHash( key.destPrefix() ) );
   append( FlowspecKey::prefixHash( key.srcPrefix() ) );
   for ( const auto member : key.matchOpVal() ) {
      append( member.index.value() );
      append( member.word.storage() );
   }
   Bench::require( at == bytes.data() + bytes.size(), key.stringValue() );
   return bytes;
}

const std::vector< HashedBytes >& buffers() {
   static const auto made = [] {
      std::vector< HashedBytes > result;
      for ( const FlowspecKey& key : keys() ) {
         result.push_back( hashedBytes( key ) );
      }
      return result;
   }();
   return made;
}

void hash( benchmark::State& state ) {
   Bench::perItem( state, keys(),
                   []( const FlowspecKey& key ) { benchmark::DoNotOptimize( key.hash() ); } );
}
BENCHMARK( hash );

void hashXxh3( benchmark::State& state ) {
   Bench::perItem( state, buffers(), []( const HashedBytes& bytes ) {
      benchmark::DoNotOptimize( sharedXxh3( bytes.data(), bytes.size() ) );
   } );
}
BENCHMARK( hashXxh3 );

void hashXxh3Inline( benchmark::State& state ) {
   Bench::perItem( state, buffers(), []( const HashedBytes& bytes ) {
      benchmark::DoNotOptimize( XXH3_64bits( bytes.data(), bytes.size() ) );
   } );
}
BENCHMARK( hashXxh3Inline );

} // namespace
