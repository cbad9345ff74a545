#pragma once

#include "Mell/ThreadMode.h"

namespace Mell {

/// Counts the objects of one type. Constant-initialised; read by any thread, and changed atomically
/// in the thread-safe mode only.
class Tracker {
public:
   /// How many objects were ever created.
   U64 created() const { return created_.load(); }

   /// How many live; exact while no other thread creates or drops objects.
   U64 live() const { return created() - dropped_.load(); }

   void objectCreated() { addOne( created_ ); }
   void objectDropped() { addOne( dropped_ ); }

private:
   static void addOne( Osk::Atomic< U64 >& count ) {
      if ( threadSafeMode() ) [[unlikely]] {
         count.add( 1 );
      } else {
         count.store( count.load() + 1 );
      }
   }

   Osk::Atomic< U64 > created_{ 0 };
   Osk::Atomic< U64 > dropped_{ 0 };
};

} // namespace Mell
