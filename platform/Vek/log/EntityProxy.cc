#include "Vek/log/EntityProxy.h"

#include "Vek/log/Receiver.h"

#include <limits>

namespace Vek::log {

namespace {

constinit Mell::Slab proxySlab{ sizeof( EntityProxy ), alignof( EntityProxy ) };

} // namespace

void* EntityProxy::operator new( std::size_t ) { return proxySlab.allocate(); }
void EntityProxy::operator delete( void* memory ) { proxySlab.free( memory ); }

/// The rows that are resynchronised, and the one of which the end is under way. Observes the
/// entity, as a member that comes in between stays, whoever makes it.
struct EntityProxy::Resynchronisation final : Observer {
   explicit Resynchronisation( EntityProxy& proxy )
      : received( proxy.type().rows().size() ), type( proxy.type() ),
        observation( proxy.entity().observe( *this ) ) {}

   void onChange( const Change& change ) override {
      const auto position = type.position( change.fieldId() );
      DirtyKeys* const keys = position ? received[*position].get() : nullptr;
      if ( !keys ) {
         return;
      }
      if ( !change.field.collection->find( &change.entity, change.key ) ) {
         keys->erase( change.key );
      } else if ( !change.oldValue ) {
         keys->insert( change.key );
      }
   }

   U32 rows = 0;
   /// The members of each row that stay; null where there was none that could go.
   std::vector< std::unique_ptr< DirtyKeys > > received;
   U8 ending = 0;
   std::unique_ptr< KeyWalk > walk; ///< over the row that ends
   const StreamType& type;
   const Observation observation;
};

EntityProxy::EntityProxy( U64 number, Entity& entity, const StreamType& type )
   : number_( number ), entity_( &entity ), type_( type ) {}
EntityProxy::~EntityProxy() = default;

bool EntityProxy::doHandleAttrTransaction( U16 fieldId, U8 type ) {
   U64 steps = std::numeric_limits< U64 >::max();
   return doHandleAttrTransaction( fieldId, type, steps );
}

// To note what is received, rather than all that is there, makes the beginning of a transaction as
// cheap as its message is short.
bool EntityProxy::doHandleAttrTransaction( U16 fieldId, U8 type, U64& steps ) {
   const auto position = type_.position( fieldId );
   if ( !position || !type_.rows()[*position]->isCollection() ) {
      return false;
   }
   const Field& row = *type_.rows()[*position];
   checkWritable( row );
   if ( type == static_cast< U8 >( TransactionType::start ) ) {
      if ( !resynchronisation_ ) {
         resynchronisation_ = std::make_unique< Resynchronisation >( *this );
      }
      resynchronisation_->rows |= StreamType::bitOf( *position );
      resynchronisation_->received[*position].reset(
         row.collection->size( object() ) != 0 ? row.collection->dirtyKeys() : nullptr );
   } else if ( type == static_cast< U8 >( TransactionType::end ) && inTransaction( *position ) ) {
      resynchronisation_->rows &= ~StreamType::bitOf( *position );
      resynchronisation_->ending = *position;
      if ( resynchronisation_->received[*position] ) {
         resynchronisation_->walk.reset( row.collection->walk() );
      }
      finish( steps );
   }
   return true;
}

bool EntityProxy::isFinished() const { return !resynchronisation_ || !resynchronisation_->walk; }

bool EntityProxy::finish( U64& steps ) {
   Resynchronisation& under = *resynchronisation_;
   const Field& row = *type_.rows()[under.ending];
   const CollectionOps& collection = *row.collection;
   while ( under.walk ) {
      // Observers may change the collection while its members go, so these are looked for before.
      constexpr int portion = 256;
      const std::unique_ptr< DirtyKeys > stale( collection.dirtyKeys() );
      int count = 0;
      DirtyKeys& received = *under.received[under.ending];
      const bool all = under.walk->visit( object(), steps, [&]( const void* key, const void* ) {
         if ( count == portion ) {
            return false;
         }
         while ( !received.empty() && collection.before( received.first(), key ) ) {
            received.eraseFirst();
         }
         if ( received.empty() || collection.before( key, received.first() ) ) {
            stale->insert( key );
            ++count;
         }
         return true;
      } );
      for ( ; !stale->empty(); stale->eraseFirst() ) {
         if ( receiver_ && row.kind == FieldKind::children ) {
            receiver_->dropChild( *this, row, stale->first() );
         }
         collection.erase( object(), stale->first() );
         steps -= steps > 0;
      }
      if ( all ) {
         under.walk.reset();
         under.received[under.ending].reset();
      } else if ( steps == 0 ) {
         return false;
      }
   }
   if ( under.rows == 0 ) {
      resynchronisation_.reset();
   }
   return true;
}

bool EntityProxy::inTransaction( U8 position ) const {
   return resynchronisation_ && ( resynchronisation_->rows & StreamType::bitOf( position ) );
}

void EntityProxy::received( U8 position, const void* key ) {
   if ( inTransaction( position ) && resynchronisation_->received[position] ) {
      resynchronisation_->received[position]->insert( key );
   }
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
         received( *position, key );
      } else {
         void* const value = values->value[0];
         row.value->logRead( in, value );
         checkLength();
         if ( !row.collection->insert( object(), key, value ) ) {
            in.fail( "the value has another key than its own" );
         }
         received( *position, key );
      }
   }
   type_.giveValues( *position, std::move( values ) );
   return true;
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
