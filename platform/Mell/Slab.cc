#include "Mell/Slab.h"

#include <atomic>
#include <new>
#include <thread>
#include <type_traits>

namespace Mell {

namespace detail {
constinit bool threadSafe = false;
}

static_assert( std::is_trivially_destructible_v< Slab > );

void Tracker::addAtomically( U64& count ) {
   std::atomic_ref( count ).fetch_add( 1, std::memory_order_relaxed );
}

namespace {

// The heap puts a few bytes before each block. With as many left over at the end of a page, the
// pages of a growing heap follow one another without gaps.
constexpr std::size_t leftOver = 64;

} // namespace

/// Held in the thread-safe mode only, for a few instructions or the creation of one page.
class Allocator::Lock {
public:
   explicit Lock( Allocator& allocator ) : locked_( allocator.locked_ ) {
      if ( isOn_ ) {
         while ( locked_.exchange( true, std::memory_order_acquire ) ) {
            std::this_thread::yield();
         }
      }
   }
   Lock( const Lock& ) = delete;
   Lock& operator=( const Lock& ) = delete;
   ~Lock() {
      if ( isOn_ ) {
         locked_.store( false, std::memory_order_release );
      }
   }

private:
   const std::atomic_ref< bool > locked_;
   const bool isOn_ = threadSafeMode();
};

void* Allocator::allocateSlowly() {
   if ( pageSize_ == 0 ) {
      void* const memory = ::operator new( size_, std::align_val_t( alignment_ ) );
      tracker_.objectCreated();
      return memory;
   }
   const Lock lock( *this );
   if ( !open_ ) {
      addPage();
   }
   return takeSlot();
}

void Allocator::freeSlowly( void* memory ) {
   if ( pageSize_ == 0 ) {
      ::operator delete( memory, std::align_val_t( alignment_ ) );
      tracker_.objectDropped();
      return;
   }
   const Lock lock( *this );
   putSlot( memory );
}

void Allocator::addPage() {
   void* const memory = ::operator new( pageSize_ - leftOver, std::align_val_t( pageSize_ ) );
   Page* const page = ::new ( memory ) Page{};
   std::byte* const begin = static_cast< std::byte* >( memory );
   std::byte* const end = begin + pageSize_ - leftOver;
   Slot** last = &page->free;
   std::byte* slot = begin + roundUp( sizeof( Page ), alignment_ );
   do {
      *last = ::new ( slot ) Slot{};
      last = &( *last )->next;
      slot += size_;
   } while ( slot + size_ <= end );
   open_ = page;
   ++pages_;
}

void Allocator::removePage( Page& page ) {
   unlink( page );
   --pages_;
   ::operator delete( &page, std::align_val_t( pageSize_ ) );
}

void Allocator::unlink( Page& page ) {
   ( page.previous ? page.previous->next : open_ ) = page.next;
   if ( page.next ) {
      page.next->previous = page.previous;
   }
   page.next = page.previous = nullptr;
}

// Puts a page that was full after the open one, or gives one back that is empty now.
void Allocator::relink( Page& page ) {
   if ( page.live == 0 ) {
      removePage( page );
      return;
   }
   Page** const place = open_ ? &open_->next : &open_;
   page.previous = open_;
   page.next = *place;
   if ( page.next ) {
      page.next->previous = &page;
   }
   *place = &page;
}

void Allocator::trim() {
   const Lock lock( *this );
   if ( open_ && open_->live == 0 ) {
      removePage( *open_ );
   }
}

U64 Allocator::bytes() const { return pageSize_ == 0 ? live() * size_ : pages_ * pageSize_; }

} // namespace Mell
