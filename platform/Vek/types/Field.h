#pragma once

#include "Vek/types/CollectionAccess.h"
#include "Vek/types/ValueType.h"

#include <span>

/// The rows of a type's table: each attribute, collection and operation is declared in one row, and
/// reflection, change notification and registration read the rows.
namespace Vek {

class DirtyKeys;
class KeyWalk;

/// What a row declares.
enum class FieldKind : U8 {
   key,        ///< constructor argument, read-only
   attribute,  ///< stored scalar
   view,       ///< part of a stored attribute, with a setter of its own; publishes that attribute
   derived,    ///< computed, read-only
   constant,   ///< the same for all objects of the type
   collection, ///< keyed values, a set or a vector
   children,   ///< keyed entities that the object owns
   child,      ///< one entity that the object owns
   operation,
};

OSK_EXPORT std::string_view stringValue( FieldKind kind );

/// What reflection does with a collection, without knowing its type.
struct CollectionOps {
   U32 ( *size )( const void* object );
   /// The value under `key`, the key itself for a set, or null.
   const void* ( *find )( const void* object, const void* key );
   /// Visits the members in ascending order of their keys.
   void ( *visit )( const void* object, const MemberVisitor& visitor );
   /// The type's own operations, so that changes are checked and published. Null when it has none.
   /// `insert` changes nothing and returns false when the value itself says another key.
   bool ( *insert )( void* object, const void* key, const void* value );
   void ( *erase )( void* object, const void* key );
   /// Makes an empty list of this collection's keys, the caller's.
   DirtyKeys* ( *dirtyKeys )();
   /// Begins to go over the members in that order a few at a time; the caller's. Null for a
   /// collection that is part of a value.
   KeyWalk* ( *walk )();
   /// Whether a key comes before another in that order.
   bool ( *before )( const void* a, const void* b );
};

/// The parameters of an operation and how to call it.
struct OperationOps {
   std::span< const ValueType* const > parameters;
   const ValueType* result; ///< null when it returns nothing
   void ( *call )( void* object, void* const* arguments, void* result );
};

/// One row.
struct Field {
   U16 id = 0;
   FieldKind kind{};
   std::string_view name{};
   const ValueType* value = nullptr; ///< of the attribute, of a member, or null
   const ValueType* key = nullptr;   ///< of a keyed collection
   std::string_view typeName{};      ///< shown instead of the value's when not empty
   std::string_view arguments[4]{};  ///< names of an operation's parameters
   U64 member = 0;                   ///< identity of the data member
   const void* ( *stored )( const void* object ) = nullptr; ///< the stored value in place
   void ( *get )( const void* object, void* value ) = nullptr;
   void ( *set )( void* object, const void* value ) = nullptr;
   const CollectionOps* collection = nullptr;
   const OperationOps* operation = nullptr;
   /// Takes in a child of the row's type that was made elsewhere, and publishes it. A collection of
   /// children has none under `key` yet; a single child is replaced, by null to remove it.
   void ( *adopt )( Entity& parent, const Field& field, const void* key,
                    const Ptr< Entity >& child ) = nullptr;

   /// The name of the value's type as the registry shows it.
   constexpr std::string_view shownType() const {
      return !typeName.empty() ? typeName : value ? value->name : std::string_view();
   }

   bool isCollection() const { return collection != nullptr; }
};

} // namespace Vek
