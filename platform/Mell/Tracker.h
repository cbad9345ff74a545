#pragma once

#include "Mell/ThreadMode.h"

namespace Mell {

/// Counts the objects of one type. Constant-initialised; changed atomically in the thread-safe mode
/// only, and read while no other thread creates or drops objects.
class OSK_EXPORT Tracker {
public:
   /// How many objects were ever created.
   U64 created() const { return created_; }

   /// How many live.
   U64 live() const { return created_ - dropped_; }

   void objectCreated() { addOne( created_ ); }
   void objectDropped() { addOne( dropped_ ); }

private:
   static void addOne( U64& count ) {
      if ( threadSafeMode() ) [[unlikely]] {
         addAtomically( count );
      } else {
         ++count;
      }
   }

   // Apart, as `<atomic>` takes a tenth of the compile time of all headers.
   static void addAtomically( U64& count );

   U64 created_ = 0;
   U64 dropped_ = 0;
};

} // namespace Mell
