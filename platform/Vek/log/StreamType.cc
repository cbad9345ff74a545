#include "Vek/log/StreamType.h"

#include "Osk/Assert.h"
#include "Vek/types/TypeRegistry.h"

#include <algorithm>

namespace Vek::log {

namespace {

bool isStreamed( const Field& row ) {
   switch ( row.kind ) {
   case FieldKind::attribute:
      return row.set && row.stored;
   case FieldKind::collection:
   case FieldKind::children:
   case FieldKind::child:
      return true;
   default:
      return false;
   }
}

} // namespace

StreamType::StreamType( const TypeInfo& info ) : info_( &info ) {
   positions_.fill( none );
   std::vector< const Field* > keys;
   info.forEachField( [&]( const Field& row ) {
      if ( isStreamed( row ) ) {
         rows_.push_back( &row );
      } else if ( row.kind == FieldKind::key || row.id == firstId ) {
         keys.push_back( &row );
      }
   } );
   std::sort( rows_.begin(), rows_.end(),
              []( const Field* a, const Field* b ) { return a->id < b->id; } );
   OSK_ASSERT( rows_.size() <= maxRows, "there is a mark for each streamed row" );
   for ( std::size_t i = 0; i < rows_.size(); ++i ) {
      OSK_ASSERT( rows_[i]->id >= firstId && rows_[i]->id < firstId + positions_.size(),
                  "a streamed row has the id of an entity's" );
      positions_[rows_[i]->id - firstId] = static_cast< U8 >( i );
      const U32 bit = 1U << i;
      allRows_ |= bit;
      collectionRows_ |= rows_[i]->isCollection() ? bit : 0;
      if ( rows_[i]->kind == FieldKind::children || rows_[i]->kind == FieldKind::child ) {
         childRows_ |= bit;
      }
   }
   // A key may be read by more than one row.
   auto next = keys.begin();
   for ( const ValueType* const parameter : info.parameters ) {
      while ( next != keys.end() && !( *( *next )->value == *parameter ) ) {
         ++next;
      }
      OSK_ASSERT( next != keys.end(), "each constructor parameter has a row" );
      parameters_.push_back( *next++ );
   }
}

const Field& StreamType::keyRow( const ValueType& key ) const {
   const auto row = std::find_if( parameters_.begin(), parameters_.end(),
                                  [&]( const Field* field ) { return *field->value == key; } );
   OSK_ASSERT( row != parameters_.end(), "a child knows its key" );
   return **row;
}

const StreamType& StreamTypes::of( const TypeInfo& info ) {
   return types_.try_emplace( &info, info ).first->second;
}

const StreamType& StreamTypes::ofChildren( const Field& row ) {
   const StreamType*& type = ofChildren_[&row];
   if ( !type ) {
      const TypeInfo* const info = TypeRegistry::find( row.typeName );
      OSK_ASSERT( info, "the type of a row's children is registered" );
      type = &of( *info );
   }
   return *type;
}

} // namespace Vek::log
