#include "Vek/entity/Entity.h"

#include "Osk/Assert.h"
#include "Vek/entity/EntityInfo.h"

namespace Vek {

namespace {

// The next observation of a delivery that is under way, so that one which ends meanwhile can be
// stepped over. Deliveries nest.
struct Delivery {
   explicit Delivery( Observation* first );
   Delivery( const Delivery& ) = delete;
   Delivery& operator=( const Delivery& ) = delete;
   ~Delivery();

   Observation* next;
   Delivery* outer;
};
thread_local constinit Delivery* deliveries = nullptr;

Delivery::Delivery( Observation* first ) : next( first ), outer( deliveries ) { deliveries = this; }
Delivery::~Delivery() { deliveries = outer; }

constexpr auto parentRow = derived< &Entity::parentReference >( 257, "parent" );
constexpr Rows entityRows{ parentRow };
constexpr Rows namedEntityRows{ derived< &NamedEntity::name >( 256, "name" ), parentRow };

} // namespace

constinit const TypeInfo Entity::baseInfo = Vek::baseInfo< Entity, entityRows >( typeName );
constinit const TypeInfo NamedEntity::baseInfo =
   Vek::baseInfo< NamedEntity, namedEntityRows >( "Vek::NamedEntity" );

Observation::Observation( Entity& entity, Observer& observer )
   : entity_( &entity ), observer_( &observer ), next_( entity.observations_ ) {
   if ( next_ ) {
      next_->previous_ = this;
   }
   entity.observations_ = this;
   ++observer.observations_;
}

Observer& Observation::observer() const {
   OSK_ASSERT( observer_, "observer != nullptr" );
   return *observer_;
}

void Observer::isObserving() { OSK_ASSERT( false, "observations == 0" ); }

Observation::Observation( Observation&& other ) noexcept { take( other ); }

Observation& Observation::operator=( Observation&& other ) noexcept {
   if ( this != &other ) {
      end();
      take( other );
   }
   return *this;
}

void Observation::take( Observation& other ) {
   entity_ = std::exchange( other.entity_, nullptr );
   observer_ = std::exchange( other.observer_, nullptr );
   next_ = std::exchange( other.next_, nullptr );
   previous_ = std::exchange( other.previous_, nullptr );
   if ( !entity_ ) {
      return;
   }
   ( previous_ ? previous_->next_ : entity_->observations_ ) = this;
   if ( next_ ) {
      next_->previous_ = this;
   }
   for ( Delivery* delivery = deliveries; delivery; delivery = delivery->outer ) {
      if ( delivery->next == &other ) {
         delivery->next = this;
      }
   }
}

void Observation::end() {
   if ( !entity_ ) {
      return;
   }
   for ( Delivery* delivery = deliveries; delivery; delivery = delivery->outer ) {
      if ( delivery->next == this ) {
         delivery->next = next_;
      }
   }
   ( previous_ ? previous_->next_ : entity_->observations_ ) = next_;
   if ( next_ ) {
      next_->previous_ = previous_;
   }
   --observer_->observations_;
   entity_ = nullptr;
   observer_ = nullptr;
   next_ = nullptr;
   previous_ = nullptr;
}

void Entity::publish( const Field& field, const void* key, const void* oldValue, Entity* removed ) {
   const Ptr< Entity > hold( this );
   Delivery delivery( observations_ );
   const Change change{ *this, field, key, oldValue, removed };
   while ( Observation* const observation = delivery.next ) {
      delivery.next = observation->next_;
      observation->observer_->onChange( change );
   }
}

Entity::~Entity() {
   while ( observations_ ) {
      observations_->end();
   }
}

void Entity::abandonChildren( const void* object, std::span< const Field > rows ) {
   for ( const Field& row : rows ) {
      if ( row.kind == FieldKind::children ) {
         row.collection->visit( object, []( const void*, const void* child ) {
            abandon( *static_cast< Entity* >( const_cast< void* >( child ) ) );
         } );
      } else if ( row.kind == FieldKind::child ) {
         if ( const void* const child = row.stored( object ) ) {
            abandon( *static_cast< Entity* >( const_cast< void* >( child ) ) );
         }
      }
   }
}

void Entity::destroy() const {
   const TypeInfo& info = typeInfo();
   void* const object = const_cast< void* >( dynamic_cast< const void* >( this ) );
   // Children that others still hold lose their link before their owner goes.
   for ( const TypeInfo* part = &info; part; part = part->base ) {
      if ( part->ownsEntities ) {
         abandonChildren( object, part->rows );
      }
   }
   this->~Entity();
   info.allocator->free( object );
}

} // namespace Vek
