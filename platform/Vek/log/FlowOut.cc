#include "Vek/log/FlowOut.h"

#include "Vek/log/EntityStreamAdapter.h"
#include "Vek/log/Source.h"

#include <algorithm>

namespace Vek::log {

namespace {

constinit Mell::Slab flowOutSlab{ sizeof( FlowOut ), alignof( FlowOut ) };

} // namespace

void* FlowOut::operator new( std::size_t ) { return flowOutSlab.allocate(); }
void FlowOut::operator delete( void* memory ) { flowOutSlab.free( memory ); }

FlowOut::FlowOut( EntityStreamAdapter& adapter_, Sender& sender_ )
   : adapter( adapter_ ), sender( sender_ ),
     nextOfAdapter( std::exchange( adapter_.flowOuts_, this ) ) {}

FlowOut::~FlowOut() {
   sender.remove( *this );
   FlowOut** at = &adapter.flowOuts_;
   while ( *at != this ) {
      at = &( *at )->nextOfAdapter;
   }
   *at = nextOfAdapter;
}

DirtyKeys& FlowOut::keys( U8 position ) {
   const auto rows = adapter.type().rows();
   if ( !rowKeys ) {
      rowKeys = std::make_unique< std::unique_ptr< DirtyKeys >[] >( rows.size() );
   }
   std::unique_ptr< DirtyKeys >& list = rowKeys[position];
   if ( !list ) {
      list.reset( rows[position]->collection->dirtyKeys() );
   }
   return *list;
}

FlowOut* EntityStreamAdapter::flowOut( const Sender& sender ) const {
   FlowOut* at = flowOuts_;
   while ( at && &at->sender != &sender ) {
      at = at->nextOfAdapter;
   }
   return at;
}

void EntityStreamAdapter::mark( Sender& sender, U8 position, const void* key ) {
   FlowOut* waiting = flowOut( sender );
   if ( !waiting ) {
      waiting = new FlowOut( *this, sender );
      waiting->announced = true;
      sender.enqueue( *waiting );
   }
   waiting->dirty |= StreamType::bitOf( position );
   // What is to be sent whole will be sent as it is then.
   if ( key && !( waiting->whole & ~waiting->begun & StreamType::bitOf( position ) ) ) {
      waiting->keys( position ).insert( key );
   }
}

void EntityStreamAdapter::forEachChild(
   const std::function< void( U8 position, Entity& child ) >& visit ) const {
   for ( U8 position = 0; position < type_.rows().size(); ++position ) {
      const Field& row = *type_.rows()[position];
      const auto visitOne = [&]( const void* child ) {
         visit( position, *static_cast< Entity* >( const_cast< void* >( child ) ) );
      };
      if ( row.kind == FieldKind::children ) {
         row.collection->visit( object(),
                                [&]( const void*, const void* child ) { visitOne( child ); } );
      } else if ( row.kind == FieldKind::child && row.stored( object() ) ) {
         visitOne( row.stored( object() ) );
      }
   }
}

FlowOut& EntityStreamAdapter::newFlowOut( Sender& sender, U16 fromFieldId ) {
   FlowOut& created = *new FlowOut( *this, sender );
   created.dirty = type_.rowsFrom( fromFieldId );
   created.whole = created.dirty & type_.collectionRows();
   sender.enqueue( created );
   return created;
}

void EntityStreamAdapter::vekInstantiateSerialize( Sender& sender ) {
   std::vector< Entity* > children;
   forEachChild( [&]( U8, Entity& child ) { children.push_back( &child ); } );
   std::vector< EntityStreamAdapter* > parents;
   constexpr std::size_t ahead = 8;
   for ( std::size_t i = 0; i < children.size(); ++i ) {
      __builtin_prefetch( children[std::min( i + ahead, children.size() - 1 )] );
      EntityStreamAdapter& child = *of( *children[i], source_ );
      child.newFlowOut( sender );
      if ( child.type_.childRows() != 0 ) {
         parents.push_back( &child );
      }
   }
   for ( EntityStreamAdapter* const parent : parents ) {
      parent->vekInstantiateSerialize( sender );
   }
}

bool EntityStreamAdapter::announce( FlowOut& waiting ) {
   const U32 transactions = waiting.whole & type_.childRows();
   const std::size_t transactionSize = messageSize( 1 );
   const std::string_view typeName = type_.info().name;
   const std::size_t length =
      attrLogSizeCtorParams() + ( parent_ ? sizeof( U64 ) : 4 + typeName.size() );
   const std::size_t size = messageSize( length );
   std::size_t total = size;
   for ( U32 left = transactions; left; left &= left - 1 ) {
      total += transactionSize;
   }
   U8* const at = waiting.sender.reserve( total );
   if ( !at ) {
      return false;
   }
   LogWriter out( at );
   Header header{
      .length = static_cast< U32 >( length ), .kind = MessageKind::root, .entity = number_ };
   if ( parent_ ) {
      header.kind = MessageKind::child;
      header.entity = parent_->number_;
      header.fieldId = parent_->type_.rows()[parentPosition_]->id;
      writeHeader( out, header );
      out.u64( number_ );
   } else {
      writeHeader( out, header );
      out.string( typeName );
   }
   serializeConstructorParams( out );
   checkWritten( static_cast< std::size_t >( out.at() - at ), size );
   for ( U32 left = transactions; left; left &= left - 1 ) {
      writeTransaction( out, static_cast< U8 >( std::countr_zero( left ) ),
                        TransactionType::start );
   }
   waiting.sender.commit( total );
   waiting.begun |= transactions;
   waiting.announced = true;
   return true;
}

U16 EntityStreamAdapter::handleAttrFlowOut( U16 fieldId, FlowOut& waiting ) {
   for ( U32 left = waiting.dirty & type_.rowsFrom( fieldId ); left; left &= left - 1 ) {
      const auto position = static_cast< U8 >( std::countr_zero( left ) );
      if ( !writeRow( position, waiting ) ) {
         return type_.rows()[position]->id;
      }
      waiting.dirty &= ~StreamType::bitOf( position );
   }
   return 0;
}

bool EntityStreamAdapter::writeRow( U8 position, FlowOut& waiting ) {
   const Field& row = *type_.rows()[position];
   if ( row.isCollection() ) {
      return writeKeys( position, waiting );
   }
   // A child that is there was announced.
   if ( row.kind == FieldKind::child && row.stored( object() ) ) {
      return true;
   }
   return waiting.sender.put( RowMessage( number_, row, object(), nullptr ) );
}

bool EntityStreamAdapter::writeKeys( U8 position, FlowOut& waiting ) {
   const Field& row = *type_.rows()[position];
   const U32 bit = StreamType::bitOf( position );
   Sender& sender = waiting.sender;
   DirtyKeys& keys = waiting.keys( position );
   if ( waiting.whole & ~waiting.begun & bit ) {
      if ( !putTransaction( sender, position, TransactionType::start ) ) {
         return false;
      }
      waiting.begun |= bit;
      row.collection->visit( object(),
                             [&]( const void* key, const void* ) { keys.insert( key ); } );
   }
   while ( !keys.empty() ) {
      // A child that was made again was announced before, which replaced the one that is gone.
      const bool isBack =
         row.kind == FieldKind::children && row.collection->find( object(), keys.first() );
      if ( !isBack && !sender.put( RowMessage( number_, row, object(), keys.first() ) ) ) {
         return false;
      }
      keys.eraseFirst();
   }
   if ( waiting.whole & bit ) {
      if ( !putTransaction( sender, position, TransactionType::end ) ) {
         return false;
      }
      waiting.whole &= ~bit;
      waiting.begun &= ~bit;
   }
   return true;
}

void EntityStreamAdapter::writeTransaction( LogWriter& out, U8 position,
                                            TransactionType type ) const {
   writeHeader( out, { .length = 1,
                       .kind = MessageKind::transaction,
                       .entity = number_,
                       .fieldId = type_.rows()[position]->id } );
   out.u8( static_cast< U8 >( type ) );
}

bool EntityStreamAdapter::putTransaction( Sender& sender, U8 position,
                                          TransactionType type ) const {
   const std::size_t size = messageSize( 1 );
   U8* const at = sender.reserve( size );
   if ( !at ) {
      return false;
   }
   LogWriter out( at );
   writeTransaction( out, position, type );
   sender.commit( size );
   return true;
}

} // namespace Vek::log
