#pragma once

#include "Mell/Slab.h"
#include "Vek/entity/Observer.h"
#include "Vek/types/CollectionAccess.h"
#include "Vek/types/Member.h"
#include "Vek/types/TypeInfo.h"

#include <vector>

namespace Vek {

namespace detail {

/// How a row's member takes in a child; in EntityInfo.h.
template < auto Member >
struct Adoption;

} // namespace detail

/// Proof that an entity is made by `create`, which alone has one. Each constructor of an entity
/// takes it first and hands it to its base: so no entity stands outside its type's memory.
class EntityCreation {
public:
   EntityCreation( const EntityCreation& ) = delete;
   EntityCreation& operator=( const EntityCreation& ) = delete;

private:
   template < typename >
   friend class Creation;

   EntityCreation() = default;
   ~EntityCreation() = default;
};

/// The proof for an entity of the type `T` and no other one.
template < typename T >
class Creation : public EntityCreation {
   template < typename U, typename... Arguments >
   friend Ptr< U > create( Arguments&&... arguments );

   Creation() = default;
   ~Creation() = default;
};

/// An object of the state database: counted, with a parent that owns it, with attributes declared
/// in its type's table, and publishing every change to its observers. Used on one thread.
///
/// A type `T` derives from `EntityOf< T >`, has a `typeName`, declares `struct Table`, and defines
/// it in its source with `rows` and `info` (EntityInfo.h). Its constructor takes a `ByCreate`
/// before all else, its destructor is protected, and `create< T >` makes it. Its setters are one
/// line each on the protected operations below; each of them publishes the row of the data member
/// that it is given, and does nothing when nothing changes. They keep the entity alive while they
/// publish.
class OSK_EXPORT Entity : public Counted {
public:
   static constexpr std::string_view typeName = "Vek::Entity";

   virtual const TypeInfo& typeInfo() const = 0;

   /// The entity in whose collection this one is; null for roots, and after removal.
   Entity* parent() const { return parent_; }
   Ptr< Entity > parentReference() const { return Ptr< Entity >( parent_ ); }

   /// Begins an observation; ends with what is returned.
   [[nodiscard]] Observation observe( Observer& observer ) { return { *this, observer }; }
   /// The first of the observations that are under way, or null.
   const Observation* observations() const { return observations_; }

   /// The rows that every entity has: 257 `parent`.
   static const TypeInfo baseInfo;
   /// The id of an entity type's first row; those below are of `baseInfo` here or of `NamedEntity`.
   static constexpr U16 firstOwnField = 258;

protected:
   explicit Entity( const EntityCreation& ) {}
   ~Entity() override;

   /// Scalar attribute.
   template < typename Table, auto Member, typename V >
   void put( V value ) {
      auto& stored = self< Member >().*Member;
      if ( stored == value ) {
         return;
      }
      std::swap( stored, value );
      if ( observations_ ) [[unlikely]] {
         publish( Table::rows[rowOf< Table, Member >()], nullptr, &value );
      }
   }

   /// Set: adds an element.
   template < typename Table, auto Member, typename K >
   void elementIs( K key ) {
      if ( ( self< Member >().*Member ).insert( key ).second ) {
         published< Table, Member >( key, nullptr );
      }
   }

   /// Map of values: inserts or replaces. Nothing is copied when an equal value is there; what is
   /// published are copies, as the arguments may live in the collection.
   template < typename Table, auto Member, typename K, typename V >
   void memberIs( const K& key, const V& value ) {
      auto& collection = self< Member >().*Member;
      const auto [at, isNew] = collection.insert( key, value );
      V& stored = Access< Member >::valueAt( collection, at );
      if ( !isNew && ( &stored == &value || stored == value ) ) {
         return;
      }
      if ( !observations_ ) [[likely]] {
         if ( !isNew ) {
            stored = value;
         }
         return;
      }
      const K changed = at->first; // NOLINT(performance-unnecessary-copy-initialization)
      if ( isNew ) {
         published< Table, Member >( changed, nullptr );
      } else {
         const V old = std::exchange( stored, V( value ) );
         published< Table, Member >( changed, &old );
      }
   }

   /// Set or map of values: removes a member, if it is there.
   template < typename Table, auto Member, typename K >
   void memberDel( K key ) {
      auto& collection = self< Member >().*Member;
      const auto at = collection.find( key );
      if ( at == collection.end() ) {
         return;
      }
      if constexpr ( std::is_void_v< typename Access< Member >::Value > ) {
         collection.erase( at );
         published< Table, Member >( key, nullptr );
      } else {
         const auto old = std::move( Access< Member >::valueAt( collection, at ) );
         collection.erase( at );
         published< Table, Member >( key, &old );
      }
   }

   /// Set or map of values: removes the member at `at` and returns the place where to go on,
   /// whatever observers do to the collection: after the key of the removed one, and in a hash
   /// collection that observers have changed meanwhile, at its beginning.
   template < typename Table, auto Member, typename Iterator >
   Iterator memberDelAt( Iterator at ) {
      const Ptr< Entity > hold( this );
      auto& collection = self< Member >().*Member;
      const auto remove = [&]( const auto& key, const void* old ) {
         const Iterator next = collection.erase( at );
         const U64 version = collection.version();
         published< Table, Member >( key, old );
         return collection.version() == version ? next : placeAfter( collection, key );
      };
      const auto key = Access< Member >::keyAt( at );
      if constexpr ( std::is_void_v< typename Access< Member >::Value > ) {
         return remove( key, nullptr );
      } else {
         const auto old = std::move( Access< Member >::valueAt( collection, at ) );
         return remove( key, &old );
      }
   }

   /// Set or map of values: removes every member, in ascending order.
   template < typename Table, auto Member >
   void memberDelAll() {
      const Ptr< Entity > hold( this );
      for ( const auto& key : keysOf< Member >() ) {
         memberDel< Table, Member >( key );
      }
   }

   /// The value under `key` of a map, or a default one.
   template < typename C, typename K >
   static auto memberAt( const C& collection, const K& key ) {
      const auto at = collection.find( key );
      return at == collection.end() ? typename CollectionAccess< C >::Value() : at->second;
   }

   /// Children: the child under `key`, or null.
   template < typename C, typename K >
   static auto childAt( const C& collection, const K& key ) {
      using Child = typename CollectionAccess< C >::Value;
      const auto at = collection.find( key );
      return at == collection.end() ? Child() : CollectionAccess< C >::child( at );
   }

   /// Children: the child under `key`, made by `make( key )` when there is none.
   template < typename Table, auto Member, typename K, typename Make >
   auto childIs( K key, Make make ) {
      auto& collection = self< Member >().*Member;
      if ( auto child = childAt( collection, key ) ) {
         return child;
      }
      auto made = make( key );
      adopt( *made );
      Access< Member >::add( collection, key, made );
      published< Table, Member >( key, nullptr );
      return made;
   }

   /// Children: removes the child under `key`, if there is one.
   template < typename Table, auto Member, typename K >
   void childDel( K key ) {
      auto& collection = self< Member >().*Member;
      const auto at = collection.find( key );
      if ( at == collection.end() ) {
         return;
      }
      const auto removed = Access< Member >::child( at );
      collection.erase( at );
      abandon( *removed );
      published< Table, Member >( key, nullptr, removed.get() );
   }

   /// Children: removes the child at `at` and returns the place where to go on, as `memberDelAt`.
   template < typename Table, auto Member, typename Iterator >
   Iterator childDelAt( Iterator at ) {
      const Ptr< Entity > hold( this );
      auto& collection = self< Member >().*Member;
      const auto removed = Access< Member >::child( at );
      const auto& key = Access< Member >::keyAt( at );
      const Iterator next = collection.erase( at );
      const U64 version = collection.version();
      abandon( *removed );
      published< Table, Member >( key, nullptr, removed.get() );
      return collection.version() == version ? next : placeAfter( collection, key );
   }

   /// Children: removes every child, in ascending order.
   template < typename Table, auto Member >
   void childDelAll() {
      const Ptr< Entity > hold( this );
      for ( const auto& key : keysOf< Member >() ) {
         childDel< Table, Member >( key );
      }
   }

   /// Single child: replaces it, by null to remove it.
   template < typename Table, auto Member, typename P >
   void onlyChildIs( P child ) {
      auto& stored = self< Member >().*Member;
      if ( child ) {
         adopt( *child );
      }
      std::swap( stored, child );
      if ( child ) {
         abandon( *child );
      }
      if ( observations_ ) [[unlikely]] {
         publish( Table::rows[rowOf< Table, Member >()], nullptr, nullptr, child.get() );
      }
   }

   /// Delivers a change to all observers.
   void publish( const Field& field, const void* key, const void* oldValue,
                 Entity* removed = nullptr );

private:
   friend class Observation;
   template < auto >
   friend struct detail::Adoption;

   void destroy() const final;

   void adopt( Entity& childEntity ) { childEntity.parent_ = this; }
   static void abandon( Entity& childEntity ) { childEntity.parent_ = nullptr; }
   OSK_HIDDEN static void abandonChildren( const void* object, std::span< const Field > rows );

   template < auto Member >
   auto& self() {
      return static_cast< typename detail::MemberPointer< decltype( Member ) >::Class& >( *this );
   }

   template < typename Table, auto Member >
   void published( const auto& key, const void* oldValue, Entity* removed = nullptr ) {
      if ( observations_ ) [[unlikely]] {
         publish( Table::rows[rowOf< Table, Member >()], &key, oldValue, removed );
      }
   }

   template < auto Member >
   using Access = CollectionAccess< typename detail::MemberPointer< decltype( Member ) >::Type >;

   template < typename C, typename K >
   static auto placeAfter( const C& collection, const K& key ) {
      if constexpr ( requires { collection.lowerBound( key ); } ) {
         return collection.lowerBound( key );
      } else {
         return collection.begin();
      }
   }

   // A copy, as observers may change the collection while its members go.
   template < auto Member >
   OSK_HIDDEN auto keysOf() {
      std::vector< typename Access< Member >::Key > keys;
      Access< Member >::visit( self< Member >().*Member, [&]( const void* key, const void* ) {
         keys.push_back( *static_cast< const typename Access< Member >::Key* >( key ) );
      } );
      return keys;
   }

   Entity* parent_ = nullptr;
   Observation* observations_ = nullptr;
};

/// An entity that is created with a name.
class OSK_EXPORT NamedEntity : public Entity {
public:
   const String& name() const { return name_; }

   /// The rows that every named entity has: 256 `name`, 257 `parent`.
   static const TypeInfo baseInfo;

protected:
   NamedEntity( const EntityCreation& by, String name )
      : Entity( by ), name_( std::move( name ) ) {}
   ~NamedEntity() override = default;

private:
   String name_;
};

/// Gives an entity type its `typeInfo()` from its static `type()`.
template < typename T, typename Base = Entity >
class EntityOf : public Base {
public:
   using BaseEntity = Base;

   const TypeInfo& typeInfo() const override { return T::type(); }

protected:
   /// What the constructor of `T` takes before all else.
   using ByCreate = const Creation< T >&;

   template < typename... Arguments >
   explicit EntityOf( ByCreate by, Arguments&&... arguments )
      : Base( by, std::forward< Arguments >( arguments )... ) {}
   ~EntityOf() override = default;
};

/// Makes an entity in its type's memory, the only way to make one, and gives the one reference to
/// it.
template < typename T, typename... Arguments >
Ptr< T > create( Arguments&&... arguments ) {
   static_assert( !std::is_destructible_v< T >, "the destructor of an entity is protected" );
   const Creation< T > by;
   Mell::Allocator& allocator = *T::type().allocator;
   void* const memory = allocator.allocate();
   try {
      return Ptr< T >::adopt( ::new ( memory ) T( by, std::forward< Arguments >( arguments )... ) );
   } catch ( ... ) {
      allocator.free( memory );
      throw;
   }
}

} // namespace Vek
