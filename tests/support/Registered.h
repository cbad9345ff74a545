#pragma once

#include "Vek/entity/Entity.h"
#include "Vek/types/Arguments.h"
#include "Vek/types/TypeRegistry.h"
#include "Vek/types/ValueBuffer.h"
#include "tests/support/RandomValues.h"

#include <map>
#include <optional>
#include <tuple>

/// What tests of every registered type and every row have in common.
namespace TestSupport {

/// Visits all registered types.
template < typename Visit >
void forEachType( Visit visit ) {
   for ( const Vek::Module* const module : Vek::TypeRegistry::modules() ) {
      for ( const Vek::TypeInfo* const type : module->types() ) {
         visit( *type );
      }
   }
}

/// A value of a type that is known by its description.
class Value {
public:
   explicit Value( const Vek::ValueType& type ) : type_( &type ), buffer_( type ) {}
   Value( const Vek::ValueType& type, RandomValues& random ) : Value( type ) {
      random.fill( type, get() );
   }

   void* get() const { return buffer_.get(); }
   Vek::Any any() const { return { type_, get() }; }

private:
   const Vek::ValueType* type_;
   Vek::ValueBuffer buffer_;
};

/// Tells values apart: the bytes in the attribute log, or the text of those that are not streamed.
inline std::string bytesOf( const Vek::ValueType& type, const void* value ) {
   if ( !type.logWrite ) {
      std::string text;
      Vek::TextWriter out( text );
      type.write( out, value );
      out.flush();
      return text;
   }
   std::string bytes( type.logSize( value ), '\0' );
   Vek::LogWriter out( reinterpret_cast< U8* >( bytes.data() ) );
   type.logWrite( out, value );
   if ( out.at() != reinterpret_cast< U8* >( bytes.data() + bytes.size() ) ) {
      throw std::logic_error( "another size than was said" );
   }
   return bytes;
}

/// A new entity of a type; an argument of the type of `key` is that one.
inline Vek::Ptr< Vek::Entity > newEntity( const Vek::TypeInfo& type, RandomValues& random,
                                          Vek::Any key = {} ) {
   const Vek::Arguments arguments( type.parameters );
   for ( std::size_t i = 0; i < type.parameters.size(); ++i ) {
      const Vek::ValueType& parameter = *type.parameters[i];
      if ( key.type && *key.type == parameter ) {
         parameter.assign( arguments[i], key.value );
      } else {
         random.fill( parameter, arguments[i] );
      }
   }
   return type.construct( arguments.data() );
}

/// The address of an entity as rows take it.
inline void* objectOf( Vek::Entity& entity ) { return dynamic_cast< void* >( &entity ); }

/// A new entity of a type.
template < typename T >
Vek::Ptr< T > newOf( RandomValues& random ) {
   return Vek::Ptr< T >( static_cast< T* >( newEntity( T::type(), random ).get() ) );
}

/// Adds up to `count` members to a collection of an entity.
inline void addMembers( Vek::Entity& entity, const Vek::Field& row, RandomValues& random,
                        unsigned count ) {
   void* const object = objectOf( entity );
   while ( count-- > 0 ) {
      const Value key( *row.key, random );
      if ( row.kind == Vek::FieldKind::collection ) {
         const Value value( row.value ? *row.value : *row.key, random );
         row.collection->insert( object, key.get(), value.get() );
      } else if ( !row.collection->find( object, key.get() ) ) {
         row.adopt( entity, row, key.get(),
                    newEntity( *Vek::TypeRegistry::find( row.typeName ), random, key.any() ) );
      }
   }
}

/// One published change: the row, the bytes of the key and of the old value, and the child that
/// left.
using Published = std::tuple< U16, std::optional< std::string >, std::optional< std::string >,
                              const Vek::Entity* >;

/// Records what one entity publishes.
class PublishedChanges final : public Vek::Observer {
public:
   explicit PublishedChanges( Vek::Entity& entity ) : observation_( entity.observe( *this ) ) {}

   void onChange( const Vek::Change& change ) override {
      const auto bytes = []( const Vek::ValueType* type, const void* value ) {
         return value ? std::optional( bytesOf( *type, value ) ) : std::nullopt;
      };
      changes_.emplace_back( change.fieldId(), bytes( change.field.key, change.key ),
                             bytes( change.field.value, change.oldValue ), change.removed );
   }

   /// Since the last call.
   std::vector< Published > take() { return std::exchange( changes_, {} ); }

private:
   std::vector< Published > changes_;
   Vek::Observation observation_;
};

using Members = std::map< std::string, std::string >;

/// The members of a collection by their keys: their values, nothing in a set; for children which
/// ones they are.
inline Members membersOf( const Vek::Field& row, const void* object ) {
   Members members;
   row.collection->visit( object, [&]( const void* key, const void* value ) {
      std::string text;
      if ( row.kind == Vek::FieldKind::children ) {
         text = std::to_string( reinterpret_cast< std::uintptr_t >( value ) );
      } else if ( row.value ) {
         text = bytesOf( *row.value, value );
      }
      members.emplace( bytesOf( *row.key, key ), text );
   } );
   return members;
}

/// The attributes of an object by their ids, those that are parts of others too.
inline std::map< U16, std::string > attributesOf( const Vek::TypeInfo& type, const void* object ) {
   std::map< U16, std::string > attributes;
   type.forEachField( [&]( const Vek::Field& row ) {
      if ( row.get && row.id != 257 ) {
         const Value value( *row.value );
         row.get( object, value.get() );
         attributes[row.id] = bytesOf( *row.value, value.get() );
      }
   } );
   return attributes;
}

} // namespace TestSupport
