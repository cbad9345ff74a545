#pragma once

#include "Mell/Tracker.h"

#include <bit>
#include <cstddef>
#include <new>
#include <type_traits>

/// Memory for the objects of the runtime, one allocator for each type.
namespace Mell {

/// Gives memory for objects of one size, and counts them. Constant-initialised; nothing is run when
/// the process ends. To be used by one thread at a time, but in the thread-safe mode by any.
///
/// There are two kinds, `PagedSlab` and `TrackedHeap`.
class OSK_EXPORT Allocator {
public:
   Allocator( const Allocator& ) = delete;
   Allocator& operator=( const Allocator& ) = delete;

   /// Memory for one object. `std::bad_alloc` when there is none.
   void* allocate() {
      if ( threadSafeMode() || !open_ ) [[unlikely]] {
         return allocateSlowly();
      }
      return takeSlot();
   }

   /// Takes back what `allocate` gave.
   void free( void* memory ) {
      if ( threadSafeMode() || pageSize_ == 0 ) [[unlikely]] {
         freeSlowly( memory );
      } else {
         putSlot( memory );
      }
   }

   /// Gives unused memory back that is kept for the next object, as before a library is unloaded.
   void trim();

   U64 live() const { return tracker_.live(); }
   U64 created() const { return tracker_.created(); }

   /// Bytes that are taken from the heap at the moment, for live objects and for free slots.
   U64 bytes() const;

protected:
   // A page size of 0 stands for the heap.
   constexpr Allocator( std::size_t size, std::size_t alignment, std::size_t pageSize )
      : size_( roundUp( larger( size, sizeof( Slot ) ), larger( alignment, alignof( Slot ) ) ) ),
        alignment_( larger( alignment, alignof( Slot ) ) ), pageSize_( pageSize ) {}
   ~Allocator() = default;

   static constexpr std::size_t larger( std::size_t a, std::size_t b ) { return a < b ? b : a; }

private:
   struct Slot {
      Slot* next;
   };

   // Stands at the beginning of its memory, which is aligned to its size. Pages with a free slot
   // are in a list; the first of them, the open one, is used first and kept when it is empty.
   struct Page {
      Slot* free;
      U64 live;
      Page* next;
      Page* previous;
   };

   static constexpr std::size_t roundUp( std::size_t bytes, std::size_t alignment ) {
      return ( bytes + alignment - 1 ) / alignment * alignment;
   }

   void* takeSlot() {
      Page& page = *open_;
      Slot* const slot = page.free;
      page.free = slot->next;
      ++page.live;
      if ( !page.free ) [[unlikely]] {
         unlink( page );
      }
      tracker_.objectCreated();
      return slot;
   }

   void putSlot( void* memory ) {
      const std::uintptr_t offset =
         reinterpret_cast< std::uintptr_t >( memory ) & ( pageSize_ - 1 );
      Page& page = *reinterpret_cast< Page* >( static_cast< char* >( memory ) - offset );
      const bool wasFull = !page.free;
      page.free = ::new ( memory ) Slot{ page.free };
      --page.live;
      if ( wasFull || ( page.live == 0 && &page != open_ ) ) [[unlikely]] {
         relink( page );
      }
      tracker_.objectDropped();
   }

   void* allocateSlowly();
   void freeSlowly( void* memory );
   void addPage();
   void removePage( Page& page );
   void unlink( Page& page );
   void relink( Page& page );

   class Lock;

   const std::size_t size_;
   const std::size_t alignment_;
   const std::size_t pageSize_;
   Page* open_ = nullptr;
   U64 pages_ = 0;
   bool locked_ = false;
   Tracker tracker_;
};

#if defined( __SANITIZE_ADDRESS__ )
inline constexpr bool slabsUseHeap = true;
#elif defined( __has_feature )
#if __has_feature( address_sanitizer )
inline constexpr bool slabsUseHeap = true;
#else
inline constexpr bool slabsUseHeap = false;
#endif
#else
inline constexpr bool slabsUseHeap = false;
#endif

/// Takes memory by the page and cuts it into slots; a page whose slots are all free goes back to
/// the heap, but for one.
class PagedSlab : public Allocator {
public:
   /// For objects of `size` bytes, aligned to `alignment`, which is a power of two up to 4096.
   constexpr PagedSlab( std::size_t size, std::size_t alignment )
      : Allocator( size, alignment, std::bit_ceil( larger( 16'384, 64 * size ) ) ) {}
};

/// Takes each object from the heap.
class TrackedHeap : public Allocator {
public:
   constexpr TrackedHeap( std::size_t size, std::size_t alignment )
      : Allocator( size, alignment, 0 ) {}
};

/// Memory for many objects of one kind. Under AddressSanitizer each object is on the heap, so that
/// leaks and uses after the end are seen.
using Slab = std::conditional_t< slabsUseHeap, TrackedHeap, PagedSlab >;

} // namespace Mell
