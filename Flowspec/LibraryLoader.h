#pragma once

#include "Loading/SiblingModules.h"
#include "Vek/types/RuntimeModule.h"
#include "Zorv/ZorvModule.h"

namespace Flowspec {

/// Loads a module of this library while it lives, and before it whatever it stands on. The
/// libraries that are built into this one go with the last of its modules.
class LibraryLoader {
public:
   explicit LibraryLoader( Vek::Module& module ) : module_( module ) {
      Vek::runtimeModule.loaded();
      Zorv::zorvModule.loaded();
      for ( Vek::Module* const sibling : siblingModules() ) {
         sibling->loaded();
      }
      ++loaders_;
      module_.loaded();
   }
   LibraryLoader( const LibraryLoader& ) = delete;
   LibraryLoader& operator=( const LibraryLoader& ) = delete;
   ~LibraryLoader() {
      module_.unloaded();
      if ( --loaders_ == 0 ) {
         for ( Vek::Module* const sibling : siblingModules() ) {
            sibling->unloaded();
         }
      }
   }

private:
   static inline constinit unsigned loaders_ = 0;

   Vek::Module& module_;
};

} // namespace Flowspec
