#include "Vek/entity/Directory.h"

#include "Vek/text/Printable.h"
#include "Vek/types/TypeRegistry.h"

namespace Vek {

namespace {

const TypeInfo& rootType( std::string_view typeName, std::span< const Any > arguments ) {
   const TypeInfo* const type = TypeRegistry::find( typeName );
   if ( !type ) {
      throwRange( concat( "Vek::Directory: type '", printable( typeName ), "' is not loaded" ) );
   }
   if ( type->kind != TypeKind::root ) {
      throwRange( concat( "Vek::Directory: '", typeName, "' is not a root type" ) );
   }
   const Module& module = *TypeRegistry::moduleOf( *type );
   if ( const auto missing = module.missing(); !missing.empty() ) {
      throwRange( concat( "Vek::Directory: ", module.name(), " needs ", missing.front(),
                          ", which is not loaded" ) );
   }
   if ( !arguments.empty() ) {
      throw NewEntityArgsException( module.name(), typeName );
   }
   return *type;
}

} // namespace

Ptr< NamedEntity > Directory::create( std::string_view typeName, const String& name,
                                      std::span< const Any > arguments ) {
   const TypeInfo& type = rootType( typeName, arguments );
   if ( Ptr< NamedEntity > existing = entity( name ) ) {
      if ( &existing->typeInfo() != &type ) {
         throwRange( concat( "Vek::Directory: '", printable( name ), "' is a ",
                             existing->typeInfo().name ) );
      }
      return existing;
   }
   String argument = name;
   void* const constructorArguments[] = { &argument };
   const Ptr< Entity > made = type.construct( constructorArguments );
   Ptr< NamedEntity > root( static_cast< NamedEntity* >( made.get() ) );
   roots_.emplace( name, root );
   return root;
}

Ptr< NamedEntity > Directory::entity( std::string_view name ) const {
   const auto at = roots_.find( name );
   return at == roots_.end() ? nullptr : at->second;
}

void Directory::erase( std::string_view name ) {
   if ( const auto at = roots_.find( name ); at != roots_.end() ) {
      roots_.erase( at );
   }
}

std::vector< String > Directory::names() const {
   std::vector< String > names;
   for ( const auto& [name, root] : roots_ ) {
      names.push_back( name );
   }
   return names;
}

} // namespace Vek
