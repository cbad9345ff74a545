#pragma once

#include "Mell/ThreadMode.h"

namespace Mell {

/// Counts the objects of one type. Constant-initialised; read by any thread, and changed atomically
/// in the thread-safe mode only.
class Tracker {
public:
   /// How many objects were ever created.
   U64 created() const { return created_.load( std::memory_order_relaxed ); }

   /// How many live; exact while no other thread creates or drops objects.
   U64 live() const { return created() - dropped_.load( std::memory_order_relaxed ); }

   void objectCreated() { addOne( created_ ); }
   void objectDropped() { addOne( dropped_ ); }

private:
   static void addOne( std::atomic< U64 >& count ) {
      if ( threadSafeMode() ) [[unlikely]] {
         count.fetch_add( 1, std::memory_order_relaxed );
      } else {
         count.store( count.load( std::memory_order_relaxed ) + 1, std::memory_order_relaxed );
      }
   }

   std::atomic< U64 > created_{ 0 };
   std::atomic< U64 > dropped_{ 0 };
};

} // namespace Mell
