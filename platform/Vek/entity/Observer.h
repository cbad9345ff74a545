#pragma once

#include "Vek/types/Field.h"

#include <utility>

namespace Vek {

class Entity;

/// One published change. All references live as long as the call that delivers it.
struct Change {
   Entity& entity;
   const Field& field;   ///< row of the attribute or collection that changed
   const void* key;      ///< of the member of a collection, of the row's key type; else null
   const void* oldValue; ///< before the change, of the row's value type; null for a new member,
                         ///< and for members of sets and of child collections
   Entity* removed;      ///< the child that left the row, else null

   U16 fieldId() const { return field.id; }
   template < typename T >
   const T& keyAs() const {
      return *static_cast< const T* >( key );
   }
   template < typename T >
   const T& oldAs() const {
      return *static_cast< const T* >( oldValue );
   }
};

/// Told of every change of the entities that it observes, after the change was made. It may change
/// or drop entities and begin or end observations from within the call. It is not to throw: what it
/// throws comes out of the setter, and those that would be told later are not.
///
/// Its observations end before it goes: else the assertion "observations == 0" fails.
class OSK_EXPORT Observer {
public:
   virtual void onChange( const Change& change ) = 0;

protected:
   Observer() = default;
   // A copy observes nothing.
   Observer( const Observer& ) {}
   Observer& operator=( const Observer& ) { return *this; }
   ~Observer() {
      if ( observations_ != 0 ) [[unlikely]] {
         isObserving();
      }
   }

private:
   friend class Observation;

   [[noreturn]] static void isObserving();

   U32 observations_ = 0; ///< under way
};

/// An observer's interest in one entity: ends when this is destroyed, or with the entity. Observers
/// of one entity are told in the order latest first; one that comes while a change is delivered is
/// told of the next.
class OSK_EXPORT Observation {
public:
   Observation() = default;
   Observation( Entity& entity, Observer& observer );
   Observation( Observation&& other ) noexcept;
   Observation& operator=( Observation&& other ) noexcept;
   ~Observation() { end(); }

   /// The entity, or null when the observation has ended.
   Entity* entity() const { return entity_; }
   /// Of an observation that is under way; else the assertion "observer != nullptr" fails.
   Observer& observer() const;
   /// The observation of the same entity that is told next, or null.
   const Observation* next() const { return next_; }
   void end();

private:
   friend class Entity;

   void take( Observation& other );

   Entity* entity_ = nullptr;
   Observer* observer_ = nullptr;
   Observation* next_ = nullptr;
   Observation* previous_ = nullptr;
};

} // namespace Vek
