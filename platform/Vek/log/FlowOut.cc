#include "Vek/log/FlowOut.h"

#include "Vek/log/EntityStreamAdapter.h"
#include "Vek/log/Source.h"

#include <algorithm>

// What waits for a connection is never a list of changes, but a note of what to look up: values are
// written as they are when their turn comes, so a change that is overtaken by another costs
// nothing. Between calls, for each row with a bit in `dirty`:
//
//   `whole`  `begun`
//   clear    clear    an attribute or the child is written; of a collection, the keys in `rowKeys`
//   set      clear    the collection is to be written between the two ends of a transaction; no key
//                     is noted, as what there is then will be written
//   set      set      the beginning is written: `walk` has the place among the members, and
//                     `rowKeys` has what changed after `walk` had passed it
//
// `begun` is never set without `whole`. For children the transaction begins with the announcement
// of their parent, before any of them is announced: what the peer has and is told of in between
// stays, and the rest goes at the end. There is one `walk`, as rows are written in their order: it
// belongs to the children that are announced (`instantiateAt`) or to the first row in `dirty`.
namespace Vek::log {

namespace {

constinit Mell::Slab flowOutSlab{ sizeof( FlowOut ), alignof( FlowOut ) };

} // namespace

void* FlowOut::operator new( std::size_t ) { return flowOutSlab.allocate(); }
void FlowOut::operator delete( void* memory ) { flowOutSlab.free( memory ); }

FlowOut::FlowOut( EntityStreamAdapter& adapter_, Sender& sender_ )
   : adapter( adapter_ ), sender( sender_ ),
     nextOfAdapter( std::exchange( adapter_.flowOuts_, this ) ) {
   if ( nextOfAdapter ) {
      nextOfAdapter->previousOfAdapter = this;
   }
}

FlowOut::~FlowOut() {
   sender.remove( *this );
   ( previousOfAdapter ? previousOfAdapter->nextOfAdapter : adapter.flowOuts_ ) = nextOfAdapter;
   if ( nextOfAdapter ) {
      nextOfAdapter->previousOfAdapter = previousOfAdapter;
   }
}

// When memory runs out, a row may have its bit and no key of what changed: the connection ends then
// (`Sender::unlessOutOfMemory`), as what is not noted cannot be found again.
void FlowOut::mark( U8 position, const void* key ) {
   const U32 bit = StreamType::bitOf( position );
   dirty |= bit;
   // What is to be sent whole will be sent as it is then.
   if ( !key || ( whole & ~begun & bit ) ) {
      return;
   }
   const Field& row = *adapter.type().rows()[position];
   const bool isOfValues = row.kind == FieldKind::collection;
   if ( isOfValues && ( begun & bit ) && walk && walk->covers( key ) ) {
      return;
   }
   if ( !rowKeys ) {
      rowKeys = std::make_unique< std::unique_ptr< DirtyKeys >[] >( adapter.type().rows().size() );
   }
   std::unique_ptr< DirtyKeys >& waiting = rowKeys[position];
   if ( !waiting ) {
      waiting.reset( row.collection->dirtyKeys() );
   }
   waiting->insert( key );
   // Keys that came and went again: it takes less to tell what is there.
   constexpr std::size_t few = 16;
   if ( isOfValues && waiting->size() > row.collection->size( &adapter.entity() ) + few ) {
      waiting.reset();
      walk.reset();
      whole |= bit;
      begun &= ~bit;
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
   created.mayHaveChildren = type_.childRows() != 0;
   sender.enqueue( created );
   return created;
}

void EntityStreamAdapter::newFlowOuts( Sender& sender ) {
   newFlowOut( sender );
   forEachChild( [&]( U8, Entity& child ) { of( child, source_ )->newFlowOuts( sender ); } );
}

// Parents before their children, as a child's announcement names its parent's number; children are
// announced before the attributes of any entity are written, so the peer can take those in whatever
// order they are queued.
bool EntityStreamAdapter::vekInstantiateSerialize( FlowOut& waiting, U64 upTo ) {
   // They are announced before more are looked for, so a connection that is full holds no more.
   constexpr std::size_t portion = 256;
   std::vector< Entity* > children;
   for ( ; waiting.instantiateAt < type_.rows().size(); ++waiting.instantiateAt ) {
      const Field& row = *type_.rows()[waiting.instantiateAt];
      const auto take = [&]( const void*, const void* child ) {
         if ( children.size() == portion ) {
            return false;
         }
         children.push_back( static_cast< Entity* >( const_cast< void* >( child ) ) );
         return true;
      };
      bool all = true;
      if ( row.kind == FieldKind::children ) {
         if ( !waiting.walk ) {
            waiting.walk.reset( row.collection->walk() );
         }
         all = waiting.walk->visit( object(), waiting.sender.steps(), take );
      } else if ( row.kind == FieldKind::child && row.stored( object() ) ) {
         all = take( nullptr, row.stored( object() ) );
      }
      if ( !all ) {
         break;
      }
      waiting.walk.reset();
   }
   constexpr std::size_t ahead = 8;
   for ( std::size_t i = 0; i < children.size(); ++i ) {
      __builtin_prefetch( children[std::min( i + ahead, children.size() - 1 )] );
      EntityStreamAdapter* const child = of( *children[i], source_ );
      if ( child && child->number_ <= upTo ) {
         child->newFlowOut( waiting.sender );
      }
   }
   return waiting.instantiateAt == type_.rows().size();
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
   U8* const at = waiting.sender.room( total );
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

// A row's bit goes when all of it is written: who comes back to a row that was cut off by a full
// connection finds in `begun`, `walk` and `rowKeys` how far it had come.
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
   const CollectionOps& collection = *row.collection;
   const U32 bit = StreamType::bitOf( position );
   Sender& sender = waiting.sender;
   if ( waiting.whole & ~waiting.begun & bit ) {
      if ( !putTransaction( sender, position, TransactionType::start ) ) {
         return false;
      }
      waiting.begun |= bit;
      if ( collection.size( object() ) != 0 ) {
         waiting.walk.reset( collection.walk() );
      }
   }
   DirtyKeys* const keys = waiting.keys( position );
   const auto put = [&]( const void* key ) {
      return sender.put( RowMessage( number_, row, object(), key ) );
   };
   // In between come the keys that changed after the walk had passed them: all in one ascending
   // order, so that a member is written once even when it waits in both.
   const auto takes = [&]( const void* key, const void* ) {
      for ( ; keys && !keys->empty() && collection.before( keys->first(), key );
            keys->eraseFirst() ) {
         if ( !put( keys->first() ) ) {
            return false;
         }
      }
      if ( !put( key ) ) {
         return false;
      }
      if ( keys && !keys->empty() && !collection.before( key, keys->first() ) ) {
         keys->eraseFirst();
      }
      return true;
   };
   if ( waiting.walk ) {
      if ( !waiting.walk->visit( object(), sender.steps(), takes ) ) {
         return false;
      }
      waiting.walk.reset();
   }
   for ( ; keys && !keys->empty(); keys->eraseFirst() ) {
      // A child that was made again was announced before, which replaced the one that is gone.
      const bool isBack =
         row.kind == FieldKind::children && collection.find( object(), keys->first() );
      if ( !isBack && !put( keys->first() ) ) {
         return false;
      }
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
   U8* const at = sender.room( size );
   if ( !at ) {
      return false;
   }
   LogWriter out( at );
   writeTransaction( out, position, type );
   sender.commit( size );
   return true;
}

} // namespace Vek::log
