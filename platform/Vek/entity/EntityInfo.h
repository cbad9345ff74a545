#pragma once

#include "Mell/Slab.h"
#include "Vek/entity/Entity.h"
#include "Vek/types/Rows.h"

/// The descriptions of entity types, from their rows.
namespace Vek {

namespace detail {

template < auto Member >
struct Adoption {
   using Stored = typename Reads< Member >::Type;

   static void adopt( Entity& parent, const Field& field, const void* key,
                      const Ptr< Entity >& child ) {
      auto& stored = at< typename Reads< Member >::Class >( &parent ).*Member;
      const Ptr< Entity > hold( &parent );
      if ( child ) {
         parent.adopt( *child );
      }
      if constexpr ( requires { typename Stored::Object; } ) {
         Stored other( static_cast< typename Stored::Object* >( child.get() ) );
         std::swap( stored, other );
         if ( other ) {
            Entity::abandon( *other );
         }
         parent.publish( field, nullptr, nullptr, other.get() );
      } else {
         using Access = CollectionAccess< Stored >;
         using Child = typename Access::Value;
         Access::add( stored, at< const typename Access::Key >( key ),
                      Child( static_cast< typename Child::Object* >( child.get() ) ) );
         parent.publish( field, key, nullptr );
      }
   }
};

template < typename T, typename... Parameters, std::size_t... I >
Ptr< Entity > createFrom( void* const* arguments, std::index_sequence< I... > ) {
   return create< T >( at< const Parameters >( arguments[I] )... );
}

/// Whether `create< T >` takes just parameters of these types, none of which loses a bit.
template < typename T, typename... Parameters >
concept CreatedFrom = requires( void* memory, const Creation< T >& by,
                                const Parameters&... parameters ) {
   ::new ( memory ) T{ by, parameters... };
};

constexpr bool ownsEntities( std::span< const Field > rows ) {
   for ( const Field& row : rows ) {
      if ( row.kind == FieldKind::children || row.kind == FieldKind::child ) {
         return true;
      }
   }
   return false;
}

} // namespace detail

/// The memory of an entity type.
template < typename T >
inline constinit Mell::Slab slab{ sizeof( T ), alignof( T ) };

/// The memory of an entity type whose objects are to be on the heap, each by itself.
template < typename T >
inline constinit Mell::TrackedHeap trackedHeap{ sizeof( T ), alignof( T ) };

/// What all entity types that derive from `T` have: the table `rows`, and below it that of `base`.
template < typename T, const auto& rows >
consteval TypeInfo baseInfo( std::string_view name, const TypeInfo* base = nullptr ) {
   detail::checkTable< T, rows >();
   TypeInfo info;
   info.name = name;
   info.rows = rows;
   info.ownsEntities = detail::ownsEntities( rows );
   info.base = base;
   return info;
}

/// An entity type with the table `rows` and the given constructor parameters.
template < typename T, const auto& rows, typename... Parameters >
consteval TypeInfo entityInfo( TypeKind kind, Mell::Allocator& memory = slab< T > ) {
   using Base = typename T::BaseEntity;
   constexpr bool created = detail::CreatedFrom< T, Parameters... >;
   static_assert( T::typeName != Base::typeName, "the entity type has no name of its own" );
   static_assert( created, "the constructor of the entity takes other parameters" );
   static_assert( rows.size() == 0 || rows[0].id >= Entity::firstOwnField,
                  "the ids of the rows of an entity begin at 258" );
   TypeInfo info = baseInfo< T, rows >( T::typeName, &Base::baseInfo );
   info.kind = kind;
   info.parameters = detail::ParameterList< Parameters... >::types;
   if constexpr ( created ) {
      info.construct = []( void* const* arguments ) {
         return detail::createFrom< T, Parameters... >(
            arguments, std::index_sequence_for< Parameters... >() );
      };
   }
   info.allocator = &memory;
   return info;
}

} // namespace Vek
