#pragma once

#include "Vek/entity/Entity.h"

/// Reflection: reading and changing objects by field id, without knowing their types.
namespace Vek {

/// Names a field to `inspectOperation`.
struct FieldDescriptor {
   U16 fieldId;
};

/// Operation codes. Which apply depends on the field.
enum class InspectCode : U8 {
   read = 0,   ///< attribute: into the result
   write = 1,  ///< attribute: through the setter, so that the change is published
   insert = 0, ///< collection: insert or replace; arguments key and value, as the type has them
   erase = 1,  ///< collection: argument key
   size = 2,   ///< collection: into a U32
   find = 3,   ///< collection: argument key, value into the result; children: into a Ptr< Entity >
   keyAt = 4,  ///< collection: argument U32 position in ascending order, key into the result
   call = 0,   ///< operation: its arguments, its result if it has one
   isSet = 11, ///< value without field: whether it differs from a default one, into a bool
   isEqual = 12, ///< value without field: argument another value of the type, into a bool
};

enum class InspectAnswer : U8 {
   done,
   noSuchField,     ///< the type has no field with that id
   noSuchOperation, ///< the field does not know that code
   readOnly,        ///< the field cannot be written
   wrongArgument,   ///< number or type of the arguments, the type of the result, or a key that is
                    ///< not the value's own
   absent,          ///< no member under that key or position
};

OSK_EXPORT std::string_view stringValue( InspectAnswer answer );

/// Does `code` on a field of `object`, an object of `type` at the address of the whole object; on
/// the object itself, a value, when `field` is null. Anything but `done` and what a setter raises
/// leaves the object unchanged. Values are copied; buffers belong to the caller.
///
/// An entity type knows its own fields, from 258 on, and those of the kinds that it derives from.
/// What every entity has, 256 `name` and 257 `parent`, is a field of `NamedEntity::baseInfo` or
/// `Entity::baseInfo`, which is then handed over as `type`.
OSK_EXPORT InspectAnswer inspectOperation( const TypeInfo& type, void* object,
                                           const FieldDescriptor* field, U8 code,
                                           std::span< const Any > arguments, Any result );

/// The same on an entity.
OSK_EXPORT InspectAnswer inspectOperation( Entity& entity, const FieldDescriptor& field, U8 code,
                                           std::span< const Any > arguments, Any result );

inline InspectAnswer inspectOperation( Entity& entity, U16 fieldId, InspectCode code,
                                       std::span< const Any > arguments = {}, Any result = {} ) {
   return inspectOperation( entity, FieldDescriptor{ fieldId }, static_cast< U8 >( code ),
                            arguments, result );
}

} // namespace Vek
