#include "Vek/log/EntityProxy.h"

namespace Vek::log {

namespace {

constinit Mell::Slab proxySlab{ sizeof( EntityProxy ), alignof( EntityProxy ) };

} // namespace

void* EntityProxy::operator new( std::size_t ) { return proxySlab.allocate(); }
void EntityProxy::operator delete( void* memory ) { proxySlab.free( memory ); }

bool EntityProxy::doHandleAttrTransaction( U16 fieldId, U8 type ) {
   const auto position = type_.position( fieldId );
   if ( !position || !type_.rows()[*position]->isCollection() ) {
      return false;
   }
   const Field& row = *type_.rows()[*position];
   checkWritable( row );
   if ( type == static_cast< U8 >( TransactionType::start ) ) {
      if ( !stale_ ) {
         stale_ = std::make_unique< std::unique_ptr< DirtyKeys >[] >( type_.rows().size() );
      }
      stale_[*position].reset( row.collection->dirtyKeys() );
      row.collection->visit(
         object(), [&]( const void* key, const void* ) { stale_[*position]->insert( key ); } );
   } else if ( type == static_cast< U8 >( TransactionType::end ) && inTransaction( *position ) ) {
      const std::unique_ptr< DirtyKeys > keys = std::move( stale_[*position] );
      for ( ; !keys->empty(); keys->eraseFirst() ) {
         row.collection->erase( object(), keys->first() );
      }
   }
   return true;
}

bool EntityProxy::doHandleAttrDeserialization( U16 fieldId, bool removed, std::size_t length,
                                               LogReader& in ) {
   const auto position = type_.position( fieldId );
   if ( !position || type_.childRows() >> *position & 1 ) {
      return false;
   }
   const Field& row = *type_.rows()[*position];
   checkWritable( row );
   const std::size_t begin = in.offset();
   const auto checkLength = [&] {
      if ( in.offset() - begin != length ) {
         in.fail(
            concat( "the value ends ", in.offset() - begin, " bytes into a payload of ", length ) );
      }
   };
   std::unique_ptr< RowValues > values = type_.takeValues( *position );
   if ( !row.isCollection() ) {
      void* const value = values->value[0];
      row.value->logRead( in, value );
      checkLength();
      row.set( object(), value );
   } else {
      void* const key = values->key[0];
      row.key->logRead( in, key );
      if ( removed ) {
         checkLength();
         row.collection->erase( object(), key );
      } else if ( !row.value ) {
         checkLength();
         row.collection->insert( object(), key, nullptr );
      } else {
         void* const value = values->value[0];
         row.value->logRead( in, value );
         checkLength();
         if ( !row.collection->insert( object(), key, value ) ) {
            in.fail( "the value has another key than its own" );
         }
      }
      received( *position, key );
   }
   type_.giveValues( *position, std::move( values ) );
   return true;
}

void EntityProxy::received( U8 position, const void* key ) {
   if ( inTransaction( position ) ) {
      stale_[position]->erase( key );
   }
}

void EntityProxy::checkWritable( const Field& row ) const {
   if ( allowed_ && !( *allowed_ )( *entity_, row ) ) {
      throw ReadOnlyProxyException( type_.info().name, row.name );
   }
}

Ptr< Entity > newEntityForAttrLog( const TypeInfo& type, LogReader& in ) {
   const Arguments arguments( type.parameters );
   for ( std::size_t i = 0; i < type.parameters.size(); ++i ) {
      type.parameters[i]->logRead( in, arguments[i] );
   }
   return type.construct( arguments.data() );
}

} // namespace Vek::log
