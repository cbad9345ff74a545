#pragma once

#include "Vek/entity/Entity.h"

#include <map>
#include <memory>

namespace Vek {

/// The root entities of a state database, by name. They live at least as long as the directory
/// holds them.
class OSK_EXPORT Directory {
public:
   /// The root entity `name`, of the type with the name `typeName`, created when there is none.
   /// `RangeException` when no loaded module has the type, when it is no root type, when its module
   /// needs something that is not loaded, or when the name is taken by another type;
   /// `NewEntityArgsException` when there are arguments, as a root has only its name.
   Ptr< NamedEntity > create( std::string_view typeName, const String& name,
                              std::span< const Any > arguments = {} );

   /// The root entity `name`, or null.
   Ptr< NamedEntity > entity( std::string_view name ) const;

   /// Drops the root entity `name`, if there is one.
   void erase( std::string_view name );

   /// The names of all root entities, ascending.
   std::vector< String > names() const;

private:
   std::map< String, Ptr< NamedEntity >, std::less<> > roots_;
};

} // namespace Vek
