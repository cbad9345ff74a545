#include "Vek/collections/Version.h"

#include "Osk/Assert.h"

#include <algorithm>
#include <atomic>
#include <new>
#include <thread>

namespace Vek::detail {

void versionChanged() { OSK_ASSERT( false, "version == collection.version()" ); }
void iteratorAtEnd() { OSK_ASSERT( false, "iterator != collection.end()" ); }
void iteratorAtBegin() { OSK_ASSERT( false, "iterator != collection.begin()" ); }
void iteratorOfAnother() { OSK_ASSERT( false, "iterator.collection() == collection" ); }

constinit U64 Version::none_ = 0;

namespace {

constexpr std::size_t placesOfPage = 511; // with the heap's own bytes, 4 KiB

constinit std::atomic< bool > locked = false;
constinit U64* firstFree = nullptr;
constinit U64 highest = 2; // of the numbers of places that were given back

// Values, and with them their collections, are used on any thread, whatever the thread mode.
class Lock {
public:
   Lock() {
      while ( locked.exchange( true, std::memory_order_acquire ) ) {
         std::this_thread::yield();
      }
   }
   Lock( const Lock& ) = delete;
   Lock& operator=( const Lock& ) = delete;
   ~Lock() { locked.store( false, std::memory_order_release ); }
};

void free( U64* place ) {
   *place = reinterpret_cast< std::uintptr_t >( firstFree );
   firstFree = place;
}

} // namespace

U64* Version::take() {
   const Lock lock;
   if ( !firstFree ) {
      U64* const page = static_cast< U64* >( ::operator new( placesOfPage * sizeof( U64 ) ) );
      std::for_each( page, page + placesOfPage, []( U64& place ) { free( &place ); } );
   }
   U64* const place = firstFree;
   // A page has places.
   // NOLINTNEXTLINE(clang-analyzer-core.NullDereference,performance-no-int-to-ptr)
   firstFree = reinterpret_cast< U64* >( *place );
   *place = highest + step;
   return place;
}

void Version::giveBack( U64* place ) {
   const Lock lock;
   highest = std::max( highest, *place );
   free( place );
}

void Version::swap( Version& other ) noexcept {
   std::swap( place_, other.place_ );
   const U64 number = std::max( *place_, *other.place_ ) + step;
   for ( const Version* const version : { this, &other } ) {
      if ( version->place_ != &none_ ) {
         *version->place_ = number;
      }
   }
}

void SeenVersion::fail( SeenVersion seen ) {
   seen.isChanged() ? versionChanged() : iteratorAtEnd();
}

void SeenVersion::fail( SeenVersion seen, const Version& version ) {
   if ( *seen.place_ == seen.number_ && seen.place_ != version.place_ ) {
      iteratorOfAnother();
   }
   fail( seen );
}

} // namespace Vek::detail
