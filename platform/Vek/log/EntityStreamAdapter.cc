#include "Vek/log/EntityStreamAdapter.h"

#include "Vek/log/RowMessage.h"
#include "Vek/log/Source.h"

#include <typeinfo>

// One adapter for each entity of the tree, whatever the number of connections. A connection is in
// one of three states towards an entity:
//
//   it has a flow-out here    something waits: a change is marked there, and written later
//   it has none, and its      it is up to date: a change is written at once, from one encoding for
//   first copy is done        all such connections, or marked in a new flow-out when it has no room
//   it has none, and its      the entity's turn comes: nothing is noted, as the copy will have what
//   first copy is under way   there is then
//
// Whatever goes over the connections first notes at each sender in which state it is
// (`Sender::Note`) and then over all senders once: a note is good for one change, which
// `Source::beginChange` begins.
namespace Vek::log {

namespace {

constinit Mell::Slab adapterSlab{ sizeof( EntityStreamAdapter ), alignof( EntityStreamAdapter ) };

} // namespace

void* EntityStreamAdapter::operator new( std::size_t ) { return adapterSlab.allocate(); }
void EntityStreamAdapter::operator delete( void* memory ) { adapterSlab.free( memory ); }

EntityStreamAdapter::EntityStreamAdapter( Source& source, Entity& entity, const StreamType& type,
                                          EntityStreamAdapter* parent, U8 parentPosition )
   : observation_( entity.observe( *this ) ), source_( source ), type_( type ),
     number_( ++source.lastNumber_ ), parent_( parent ), parentPosition_( parentPosition ) {
   if ( parent_ ) {
      next_ = std::exchange( parent_->firstChild_, this );
      if ( next_ ) {
         next_->previous_ = this;
      }
   }
   // The children's adapters come with their parent's: from here on there is no entity in the tree
   // without one, and `of` finds it.
   try {
      forEachChild( [&]( U8 position, Entity& child ) {
         new EntityStreamAdapter( source_, child, source_.types_.of( child.typeInfo() ), this,
                                  position );
      } );
   } catch ( ... ) {
      leave();
      throw;
   }
}

EntityStreamAdapter::~EntityStreamAdapter() { leave(); }

void EntityStreamAdapter::leave() {
   while ( firstChild_ ) {
      delete firstChild_;
   }
   while ( flowOuts_ ) {
      delete flowOuts_;
   }
   if ( parent_ ) {
      ( previous_ ? previous_->next_ : parent_->firstChild_ ) = next_;
      if ( next_ ) {
         next_->previous_ = previous_;
      }
   }
}

EntityStreamAdapter* EntityStreamAdapter::of( const Entity& entity, const Source& source ) {
   for ( const Observation* at = entity.observations(); at; at = at->next() ) {
      Observer& observer = at->observer();
      if ( typeid( observer ) != typeid( EntityStreamAdapter ) ) {
         continue;
      }
      auto& adapter = static_cast< EntityStreamAdapter& >( observer );
      if ( &adapter.source_ == &source ) {
         return &adapter;
      }
   }
   return nullptr;
}

std::size_t EntityStreamAdapter::attrLogSizeCtorParams() const {
   std::size_t size = 0;
   for ( const Field* const row : type_.parameters() ) {
      withValue( *row, object(),
                 [&]( const void* value ) { size += row->value->logSize( value ); } );
   }
   return size;
}

void EntityStreamAdapter::serializeConstructorParams( LogWriter& out ) const {
   for ( const Field* const row : type_.parameters() ) {
      withValue( *row, object(), [&]( const void* value ) { row->value->logWrite( out, value ); } );
   }
}

bool EntityStreamAdapter::streamAdapterOnAttribute( U16 fieldId ) {
   const auto position = type_.position( fieldId );
   if ( !position || type_.rows()[*position]->kind != FieldKind::attribute ) {
      return false;
   }
   publish( *position, nullptr );
   return true;
}

void EntityStreamAdapter::onChange( const Change& change ) {
   const auto position = type_.position( change.fieldId() );
   if ( !position ) {
      return;
   }
   try {
      if ( type_.childRows() & StreamType::bitOf( *position ) ) {
         onChildren( change, *position );
      } else {
         publish( *position, change.key );
      }
   } catch ( const std::exception& exception ) {
      source_.fail( exception.what() );
   }
}

// Connections that lag are found by what waits for them here: to look for each one's would take
// steps in the square of their number.
void EntityStreamAdapter::publish( U8 position, const void* key ) {
   source_.beginChange();
   for ( FlowOut* at = flowOuts_; at; at = at->nextOfAdapter ) {
      at->sender.noteIs( Sender::Note::served );
      at->sender.unlessOutOfMemory( [&] { at->mark( position, key ); } );
   }
   source_.multicast( *this, position, key, [&]( Sender& sender ) {
      if ( sender.note() != Sender::Note::served ) {
         markNew( sender, position, key );
      }
   } );
}

void EntityStreamAdapter::markNew( Sender& sender, U8 position, const void* key ) {
   // What its first copy has not come to will be in it.
   if ( sender.instantiating() ) {
      return;
   }
   sender.unlessOutOfMemory( [&] {
      FlowOut& waiting = *new FlowOut( *this, sender );
      waiting.announced = true;
      sender.enqueue( waiting );
      waiting.mark( position, key );
   } );
}

void EntityStreamAdapter::noteAnnounced() const {
   for ( const FlowOut* at = flowOuts_; at; at = at->nextOfAdapter ) {
      at->sender.noteIs( at->announced ? Sender::Note::announced : Sender::Note::unannounced );
   }
}

// Observers that were told before may have changed the row again: what is in it now counts.
void EntityStreamAdapter::onChildren( const Change& change, U8 position ) {
   const Field& row = *type_.rows()[position];
   if ( change.removed ) {
      if ( EntityStreamAdapter* const child = of( *change.removed, source_ ) ) {
         onRemoved( *child, change.key, position );
      }
   }
   const void* const stored =
      row.isCollection() ? row.collection->find( object(), change.key ) : row.stored( object() );
   if ( !stored ) {
      return;
   }
   Entity& child = *static_cast< Entity* >( const_cast< void* >( stored ) );
   if ( of( child, source_ ) ) {
      return;
   }
   EntityStreamAdapter& adapter = *new EntityStreamAdapter(
      source_, child, source_.types_.of( child.typeInfo() ), this, position );
   for ( const FlowOut* at = flowOuts_; at; at = at->nextOfAdapter ) {
      if ( at->sender.instantiating() && at->instantiating ) {
         at->sender.unlessOutOfMemory( [&] { adapter.newFlowOut( at->sender ); } );
      }
   }
   for ( Sender* const sender : source_.senders_ ) {
      if ( !sender->instantiating() ) {
         sender->unlessOutOfMemory( [&] { adapter.newFlowOuts( *sender ); } );
      }
   }
}

// A peer is told of the end of a child only when it was told of its beginning. What the child
// itself had waiting goes with its adapter, last: until then its flow-outs say who knows it.
void EntityStreamAdapter::onRemoved( EntityStreamAdapter& child, const void* key, U8 position ) {
   source_.beginChange();
   child.noteAnnounced();
   for ( FlowOut* at = flowOuts_; at; at = at->nextOfAdapter ) {
      if ( at->sender.knowsNoted() ) {
         at->sender.unlessOutOfMemory( [&] { at->mark( position, key ); } );
      }
      at->sender.noteIs( Sender::Note::served );
   }
   // While the child waits to be announced, its connection is not up to date.
   source_.multicast( *this, position, key, [&]( Sender& sender ) {
      if ( sender.knowsNoted() ) {
         markNew( sender, position, key );
      }
   } );
   delete &child;
}

} // namespace Vek::log
