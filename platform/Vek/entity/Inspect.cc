#include "Vek/entity/Inspect.h"

#include "Vek/types/ValueBuffer.h"

namespace Vek {

namespace {

bool is( const Any& any, const ValueType* type ) {
   return any.value && any.type && *any.type == *type;
}

bool operator==( U8 code, InspectCode known ) { return code == static_cast< U8 >( known ); }

// A child, as an untyped address of its entity, into a counted reference.
InspectAnswer giveChild( const void* child, Any result ) {
   auto* const reference = result.as< Ptr< Entity > >();
   if ( !reference ) {
      return InspectAnswer::wrongArgument;
   }
   *reference = Ptr< Entity >( static_cast< Entity* >( const_cast< void* >( child ) ) );
   return child ? InspectAnswer::done : InspectAnswer::absent;
}

InspectAnswer inspectScalar( const Field& field, void* object, U8 code,
                             std::span< const Any > arguments, Any result ) {
   if ( code == InspectCode::write ) {
      if ( !field.set ) {
         return InspectAnswer::readOnly;
      }
      if ( arguments.size() != 1 || !is( arguments[0], field.value ) ) {
         return InspectAnswer::wrongArgument;
      }
      field.set( object, arguments[0].value );
      return InspectAnswer::done;
   }
   if ( !( code == InspectCode::read ) ) {
      return InspectAnswer::noSuchOperation;
   }
   if ( !arguments.empty() ) {
      return InspectAnswer::wrongArgument;
   }
   if ( field.kind == FieldKind::child ) {
      return giveChild( field.stored( object ), result );
   }
   if ( !is( result, field.value ) ) {
      return InspectAnswer::wrongArgument;
   }
   field.get( object, result.value );
   return InspectAnswer::done;
}

InspectAnswer insertMember( const Field& field, void* object, std::span< const Any > arguments ) {
   const std::size_t expected = field.value ? 2 : 1;
   if ( arguments.size() != expected || !is( arguments[0], field.key ) ||
        ( field.value && !is( arguments[1], field.value ) ) ) {
      return InspectAnswer::wrongArgument;
   }
   if ( !field.collection->insert ) {
      return InspectAnswer::readOnly;
   }
   const void* const value = field.value ? arguments[1].value : nullptr;
   return field.collection->insert( object, arguments[0].value, value )
             ? InspectAnswer::done
             : InspectAnswer::wrongArgument;
}

InspectAnswer findMember( const Field& field, const void* object, const void* key, Any result ) {
   const void* const member = field.collection->find( object, key );
   if ( field.kind == FieldKind::children ) {
      return giveChild( member, result );
   }
   if ( field.value && !is( result, field.value ) ) {
      return InspectAnswer::wrongArgument;
   }
   if ( !member ) {
      return InspectAnswer::absent;
   }
   if ( field.value ) {
      field.value->assign( result.value, member );
   }
   return InspectAnswer::done;
}

InspectAnswer keyAt( const Field& field, const void* object, std::span< const Any > arguments,
                     Any result ) {
   const U32* const position = arguments.size() == 1 ? arguments[0].as< U32 >() : nullptr;
   if ( !position || !is( result, field.key ) ) {
      return InspectAnswer::wrongArgument;
   }
   InspectAnswer answer = InspectAnswer::absent;
   U32 at = 0;
   field.collection->visit( object, [&]( const void* key, const void* ) {
      if ( at++ == *position ) {
         field.key->assign( result.value, key );
         answer = InspectAnswer::done;
      }
   } );
   return answer;
}

InspectAnswer inspectCollection( const Field& field, void* object, U8 code,
                                 std::span< const Any > arguments, Any result ) {
   if ( code == InspectCode::insert ) {
      return insertMember( field, object, arguments );
   }
   if ( code == InspectCode::size ) {
      U32* const size = result.as< U32 >();
      if ( !size || !arguments.empty() ) {
         return InspectAnswer::wrongArgument;
      }
      *size = field.collection->size( object );
      return InspectAnswer::done;
   }
   if ( code == InspectCode::keyAt ) {
      return keyAt( field, object, arguments, result );
   }
   const bool erases = code == InspectCode::erase;
   if ( !erases && !( code == InspectCode::find ) ) {
      return InspectAnswer::noSuchOperation;
   }
   if ( arguments.size() != 1 || !is( arguments[0], field.key ) ) {
      return InspectAnswer::wrongArgument;
   }
   if ( !erases ) {
      return findMember( field, object, arguments[0].value, result );
   }
   if ( !field.collection->erase ) {
      return InspectAnswer::readOnly;
   }
   field.collection->erase( object, arguments[0].value );
   return InspectAnswer::done;
}

InspectAnswer callOperation( const Field& field, void* object, U8 code,
                             std::span< const Any > arguments, Any result ) {
   if ( !( code == InspectCode::call ) ) {
      return InspectAnswer::noSuchOperation;
   }
   const OperationOps& operation = *field.operation;
   void* values[std::size( Field().arguments )] = {};
   if ( arguments.size() != operation.parameters.size() ||
        ( operation.result && !is( result, operation.result ) ) ) {
      return InspectAnswer::wrongArgument;
   }
   for ( std::size_t i = 0; i < arguments.size(); ++i ) {
      if ( !is( arguments[i], operation.parameters[i] ) ) {
         return InspectAnswer::wrongArgument;
      }
      values[i] = arguments[i].value;
   }
   operation.call( object, values, result.value );
   return InspectAnswer::done;
}

// Codes on a value as a whole.
InspectAnswer inspectValue( const TypeInfo& type, const void* object, U8 code,
                            std::span< const Any > arguments, Any result ) {
   const ValueType* const value = type.value;
   const bool compares = code == InspectCode::isEqual;
   if ( !value || !value->equal || !value->construct ||
        ( !compares && !( code == InspectCode::isSet ) ) ) {
      return InspectAnswer::noSuchOperation;
   }
   bool* const answer = result.as< bool >();
   if ( !answer || arguments.size() != ( compares ? 1 : 0 ) ||
        ( compares && !is( arguments[0], value ) ) ) {
      return InspectAnswer::wrongArgument;
   }
   if ( compares ) {
      *answer = value->equal( object, arguments[0].value );
   } else {
      *answer = !value->equal( object, ValueBuffer( *value ).get() );
   }
   return InspectAnswer::done;
}

} // namespace

std::string_view stringValue( InspectAnswer answer ) {
   static constexpr std::string_view names[] = { "done",      "no such field",  "no such operation",
                                                 "read-only", "wrong argument", "absent" };
   return names[static_cast< U8 >( answer )];
}

InspectAnswer inspectOperation( const TypeInfo& type, void* object, const FieldDescriptor* field,
                                U8 code, std::span< const Any > arguments, Any result ) {
   if ( !field ) {
      return inspectValue( type, object, code, arguments, result );
   }
   const bool belongsToBase = type.base && field->fieldId < Entity::firstOwnField;
   const Field* const row = belongsToBase ? nullptr : type.field( field->fieldId );
   if ( !row ) {
      return InspectAnswer::noSuchField;
   }
   if ( row->collection ) {
      return inspectCollection( *row, object, code, arguments, result );
   }
   if ( row->operation ) {
      return callOperation( *row, object, code, arguments, result );
   }
   return inspectScalar( *row, object, code, arguments, result );
}

InspectAnswer inspectOperation( Entity& entity, const FieldDescriptor& field, U8 code,
                                std::span< const Any > arguments, Any result ) {
   return inspectOperation( entity.typeInfo(), dynamic_cast< void* >( &entity ), &field, code,
                            arguments, result );
}

} // namespace Vek
