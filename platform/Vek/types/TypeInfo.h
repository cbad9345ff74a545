#pragma once

#include "Vek/types/Field.h"

namespace Mell {
class Allocator;
}

namespace Vek {

class Entity;

/// What a registered type is.
enum class TypeKind : U8 {
   root,        ///< entity, creatable by name in a directory
   child,       ///< entity, created in its parent's collection
   value,       ///< copied by value
   enumeration, ///< value with named numbers
   utility,     ///< operations only
};

OSK_EXPORT std::string_view stringValue( TypeKind kind );

/// Everything that the runtime knows of one type; constant-initialised, one for each.
struct TypeInfo {
   std::string_view name{}; ///< with its namespace
   TypeKind kind{};
   bool ownsEntities = false; ///< whether a row of its own holds children or a child
   bool bounded = false;      ///< `build` refuses the largest integers, with a message of its own
   std::span< const Field > rows{}; ///< own rows, ids ascending
   const TypeInfo* base = nullptr;  ///< whose rows come first, all with lower ids
   const EnumInfo* enumeration = nullptr;
   const ValueType* value = nullptr; ///< of values and enumerations
   /// The constructor's parameters; for a value its stored attributes in declared order.
   std::span< const ValueType* const > parameters{};
   /// Makes an entity from an array of untyped constructor arguments.
   Ptr< Entity > ( *construct )( void* const* arguments ) = nullptr;
   /// Makes a value from its stored attributes and assigns it; raises what its constructor raises.
   void ( *build )( void* const* attributes, void* value ) = nullptr;
   // The encoding in the attribute log of such a value: its stored attributes in declared order.
   std::size_t ( *logSize )( const void* value ) = nullptr;
   void ( *logWrite )( LogWriter& out, const void* value ) = nullptr;
   void ( *logRead )( LogReader& in, void* value ) = nullptr;
   Mell::Allocator* allocator = nullptr; ///< of entities; counts their instances

   bool isEntity() const { return kind == TypeKind::root || kind == TypeKind::child; }

   /// The row with an id or a name, of this type or of a base; null when there is none.
   OSK_EXPORT const Field* field( U16 id ) const;
   OSK_EXPORT const Field* field( std::string_view fieldName ) const;

   /// Visits all rows, ids ascending.
   template < typename Visit >
   void forEachField( Visit visit ) const {
      if ( base ) {
         base->forEachField( visit );
      }
      for ( const Field& row : rows ) {
         visit( row );
      }
   }
};

/// Whether the table of `T` has `count` rows, of which `T` itself says the number in `rowCount`.
/// For the code that goes over attributes by hand, such as a dump or a copy: with `static_assert(
/// Vek::listsRows< T, 11 > )` beside it, a new row does not compile until each such place was
/// looked at.
template < typename T, std::size_t count >
inline constexpr bool listsRows = T::rowCount == count;

/// Gives the description of a type.
using Description = const TypeInfo& (*)();

} // namespace Vek
