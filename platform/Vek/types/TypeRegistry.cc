#include "Vek/types/TypeRegistry.h"

#include "Mell/Slab.h"

#include <algorithm>
#include <iterator>

namespace Vek {

constinit TraceHandle traceHandle( "Vek" );

namespace {

constinit Module* firstModule = nullptr;

bool isKnown( std::string_view name ) {
   return TypeRegistry::find( name ) || TypeRegistry::module( name );
}

} // namespace

void Module::loaded() {
   if ( isLoaded() ) {
      return;
   }
   Module** end = &firstModule;
   while ( *end ) {
      end = &( *end )->next_;
   }
   next_ = nullptr;
   *end = this;
   for ( const std::string_view name : missing() ) {
      VEK_TRACE( traceHandle, 0, name_, " needs ", name, ", which is not loaded" );
   }
}

void Module::unloaded() {
   for ( Module** at = &firstModule; *at; at = &( *at )->next_ ) {
      if ( *at == this ) {
         *at = next_;
         next_ = nullptr;
         return;
      }
   }
}

bool Module::isLoaded() const { return TypeRegistry::module( name_ ) == this; }

std::vector< std::string_view > Module::missing() const {
   std::vector< std::string_view > names;
   std::copy_if( needs_.begin(), needs_.end(), std::back_inserter( names ),
                 []( std::string_view name ) { return !isKnown( name ); } );
   return names;
}

std::vector< const Module* > TypeRegistry::modules() {
   std::vector< const Module* > modules;
   for ( const Module* module = firstModule; module; module = module->next_ ) {
      modules.push_back( module );
   }
   return modules;
}

const TypeInfo* TypeRegistry::find( std::string_view typeName ) {
   for ( const Module* module = firstModule; module; module = module->next_ ) {
      for ( const TypeInfo* const type : module->types() ) {
         if ( type->name == typeName ) {
            return type;
         }
      }
   }
   return nullptr;
}

const Module* TypeRegistry::moduleOf( const TypeInfo& type ) {
   for ( const Module* module = firstModule; module; module = module->next_ ) {
      for ( const TypeInfo* const known : module->types() ) {
         if ( known == &type ) {
            return module;
         }
      }
   }
   return nullptr;
}

const Module* TypeRegistry::module( std::string_view moduleName ) {
   for ( const Module* module = firstModule; module; module = module->next_ ) {
      if ( module->name() == moduleName ) {
         return module;
      }
   }
   return nullptr;
}

U64 TypeRegistry::liveInstances( const TypeInfo& type ) {
   return type.allocator ? type.allocator->live() : 0;
}

} // namespace Vek
