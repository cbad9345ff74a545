#include "Vek/log/RowMessage.h"

namespace Vek::log {

RowMessage::RowMessage( U64 number, const Field& row, const void* object, const void* key )
   : row_( row ), key_( key ) {
   header_.entity = number;
   header_.fieldId = row.id;
   std::size_t length = key ? row.key->logSize( key ) : 0;
   if ( row.kind == FieldKind::attribute ) {
      header_.kind = MessageKind::attribute;
      value_ = row.stored( object );
   } else if ( row.kind == FieldKind::collection ) {
      header_.kind = MessageKind::member;
      const void* const member = row.collection->find( object, key );
      header_.flags = member ? 0 : removedFlag;
      value_ = row.value ? member : nullptr;
   } else {
      header_.kind = MessageKind::child;
      header_.flags = removedFlag;
      length += sizeof( U64 );
   }
   if ( value_ ) {
      length += row.value->logSize( value_ );
   }
   header_.length = static_cast< U32 >( messageSize( length ) - Header::size );
}

void RowMessage::write( U8* at ) const {
   LogWriter out( at );
   writeHeader( out, header_ );
   if ( header_.kind == MessageKind::child ) {
      out.u64( 0 );
   }
   if ( key_ ) {
      row_.key->logWrite( out, key_ );
   }
   if ( value_ ) {
      row_.value->logWrite( out, value_ );
   }
   checkWritten( static_cast< std::size_t >( out.at() - at ), size() );
}

} // namespace Vek::log
