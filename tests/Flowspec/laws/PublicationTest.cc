#include "Vek/collections/DirtyKeys.h"
#include "tests/support/Registered.h"

#include <memory>

#include <gmock/gmock.h>

/// What holds for every attribute and every collection of every entity type, by its row alone.

namespace Flowspec {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using namespace TestSupport;
using Vek::Field;
using Vek::FieldKind;

template < typename Check >
void forEachRow( RandomValues& random, Check check ) {
   forEachType( [&]( const Vek::TypeInfo& type ) {
      if ( !type.isEntity() ) {
         return;
      }
      const Vek::Ptr< Vek::Entity > entity = newEntity( type, random );
      type.forEachField( [&]( const Field& row ) {
         SCOPED_TRACE( Vek::concat( type.name, ' ', row.name ) );
         check( *entity, type, row );
      } );
   } );
}

// A setter stores the value and publishes each stored attribute that is another one afterwards,
// with what it was before; the entity is otherwise as it was.
TEST( PublicationLaws, OfAttributes ) {
   RandomValues random( 1 );
   unsigned rows = 0;
   forEachRow( random, [&]( Vek::Entity& entity, const Vek::TypeInfo& type, const Field& row ) {
      if ( !row.set ) {
         return;
      }
      ++rows;
      void* const object = objectOf( entity );
      PublishedChanges changes( entity );
      unsigned changed = 0;
      for ( unsigned round = 0; round < 60; ++round ) {
         const auto before = attributesOf( type, object );
         const Value value( *row.value, random );
         if ( random.oneIn( 3 ) ) {
            row.get( object, value.get() );
         }
         row.set( object, value.get() );
         const auto after = attributesOf( type, object );
         ASSERT_EQ( after.at( row.id ), bytesOf( *row.value, value.get() ) );
         std::vector< Published > expected;
         type.forEachField( [&]( const Field& other ) {
            if ( other.kind == FieldKind::attribute &&
                 before.at( other.id ) != after.at( other.id ) ) {
               expected.emplace_back( other.id, std::nullopt, before.at( other.id ), nullptr );
            }
         } );
         ASSERT_LE( expected.size(), 1U ) << "another attribute changed";
         ASSERT_EQ( changes.take(), expected );
         changed += !expected.empty();
      }
      EXPECT_GT( changed, 0U );
      EXPECT_LT( changed, 60U ) << "equal values were set";
   } );
   EXPECT_EQ( rows, 46U );
}

// The key that a value keeps itself; null when it has none.
const Field* ownKey( const Field& row ) {
   const Vek::TypeInfo* const info =
      row.value ? Vek::TypeRegistry::find( row.value->name ) : nullptr;
   const Field* const first = info && !info->rows.empty() ? &info->rows.front() : nullptr;
   return first && first->value && *first->value == *row.key &&
                ( first->kind == FieldKind::key || first->name == "intfId" )
             ? first
             : nullptr;
}

// Collections of values against a map. A value that keeps its key itself is filed under no other.
TEST( PublicationLaws, OfCollections ) {
   RandomValues random( 2 );
   unsigned rows = 0;
   forEachRow( random, [&]( Vek::Entity& entity, const Vek::TypeInfo&, const Field& row ) {
      if ( row.kind != FieldKind::collection ) {
         return;
      }
      ++rows;
      void* const object = objectOf( entity );
      const Field* const own = ownKey( row );
      ASSERT_TRUE( row.collection->insert && row.collection->erase );
      PublishedChanges changes( entity );
      Members model;
      unsigned refused = 0;
      for ( unsigned round = 0; round < 300; ++round ) {
         const Value key( *row.key, random );
         const std::string keyBytes = bytesOf( *row.key, key.get() );
         const auto at = model.find( keyBytes );
         const std::optional< std::string > old =
            at != model.end() && row.value ? std::optional( at->second ) : std::nullopt;
         bool changed = false;
         if ( random.oneIn( 3 ) ) {
            changed = at != model.end();
            row.collection->erase( object, key.get() );
            model.erase( keyBytes );
         } else {
            const Value value( row.value ? *row.value : *row.key, random );
            const std::string bytes = row.value ? bytesOf( *row.value, value.get() ) : "";
            bool isOwn = true;
            if ( own ) {
               const Value found( *own->value );
               own->get( value.get(), found.get() );
               isOwn = bytesOf( *own->value, found.get() ) == keyBytes;
            }
            ASSERT_EQ( row.collection->insert( object, key.get(), value.get() ), isOwn );
            refused += !isOwn;
            changed = isOwn && ( at == model.end() || ( row.value && at->second != bytes ) );
            if ( isOwn ) {
               model.insert_or_assign( keyBytes, bytes );
            }
         }
         ASSERT_EQ( membersOf( row, object ), model );
         ASSERT_EQ( row.collection->size( object ), model.size() );
         ASSERT_EQ( row.collection->find( object, key.get() ) != nullptr,
                    model.contains( keyBytes ) );
         if ( changed ) {
            ASSERT_THAT( changes.take(),
                         ElementsAre( Published( row.id, keyBytes, old, nullptr ) ) );
         } else {
            ASSERT_THAT( changes.take(), IsEmpty() );
         }
      }
      EXPECT_EQ( refused > 0, own != nullptr );
   } );
   EXPECT_EQ( rows, 14U );
}

// Children: the one under a key stays the same until it is removed, is of the row's type, and knows
// its parent and its key as long as it is there.
TEST( PublicationLaws, OfChildren ) {
   RandomValues random( 3 );
   unsigned rows = 0;
   forEachRow( random, [&]( Vek::Entity& entity, const Vek::TypeInfo&, const Field& row ) {
      if ( row.kind != FieldKind::children ) {
         return;
      }
      ++rows;
      void* const object = objectOf( entity );
      const Vek::TypeInfo& childType = *Vek::TypeRegistry::find( row.typeName );
      ASSERT_EQ( childType.kind, Vek::TypeKind::child );
      PublishedChanges changes( entity );
      std::map< std::string, Vek::Ptr< Vek::Entity > > model;
      for ( unsigned round = 0; round < 200; ++round ) {
         const Value key( *row.key, random );
         const std::string keyBytes = bytesOf( *row.key, key.get() );
         Vek::Ptr< Vek::Entity >& child = model[keyBytes];
         const Vek::Ptr< Vek::Entity > before = child;
         if ( random.oneIn( 3 ) ) {
            row.collection->erase( object, key.get() );
            child = nullptr;
         } else if ( row.collection->insert && random.oneIn( 2 ) ) {
            row.collection->insert( object, key.get(), nullptr );
         } else if ( !child ) {
            row.adopt( entity, row, key.get(), newEntity( childType, random, key.any() ) );
         }
         const void* const found = row.collection->find( object, key.get() );
         if ( found && !child ) {
            child = Vek::Ptr< Vek::Entity >(
               static_cast< Vek::Entity* >( const_cast< void* >( found ) ) );
         }
         ASSERT_EQ( found, child.get() );
         if ( child ) {
            ASSERT_EQ( &child->typeInfo(), &childType );
            ASSERT_EQ( child->parent(), &entity );
            const Field& keyRow = *childType.field( U16{ 258 } );
            ASSERT_EQ( attributesOf( childType, objectOf( *child ) ).at( keyRow.id ), keyBytes );
         } else if ( before ) {
            ASSERT_EQ( before->parent(), nullptr );
         }
         if ( before == child ) {
            ASSERT_THAT( changes.take(), IsEmpty() );
         } else {
            ASSERT_THAT( changes.take(),
                         ElementsAre( Published( row.id, keyBytes, std::nullopt, before.get() ) ) );
         }
         if ( !child ) {
            model.erase( keyBytes );
         }
         ASSERT_EQ( row.collection->size( object ), model.size() );
         ASSERT_EQ( membersOf( row, object ).size(), model.size() );
      }
   } );
   EXPECT_EQ( rows, 15U );
}

// Members are gone over in the ascending order of their keys, at once and a few at a time; keys
// that wait come out in the same order, each once.
TEST( PublicationLaws, OfTheOrderOfMembers ) {
   RandomValues random( 4 );
   forEachRow( random, [&]( Vek::Entity& entity, const Vek::TypeInfo&, const Field& row ) {
      if ( !row.collection ) {
         return;
      }
      void* const object = objectOf( entity );
      const std::unique_ptr< Vek::DirtyKeys > dirty( row.collection->dirtyKeys() );
      std::map< std::string, bool > waiting;
      for ( unsigned round = 0; round < 200; ++round ) {
         const Value key( *row.key, random );
         if ( row.kind == FieldKind::children ) {
            if ( !row.collection->find( object, key.get() ) ) {
               row.adopt(
                  entity, row, key.get(),
                  newEntity( *Vek::TypeRegistry::find( row.typeName ), random, key.any() ) );
            }
         } else {
            const Value value( row.value ? *row.value : *row.key, random );
            row.collection->insert( object, key.get(), value.get() );
         }
         const std::string bytes = bytesOf( *row.key, key.get() );
         if ( random.oneIn( 3 ) ) {
            dirty->erase( key.get() );
            waiting.erase( bytes );
         } else {
            dirty->insert( key.get() );
            waiting[bytes] = true;
         }
      }
      std::vector< std::string > visited;
      std::optional< Value > last;
      const auto ascends = [&]( const void* key ) {
         const bool isFirst = !last;
         const bool ascending = isFirst || row.collection->before( last->get(), key );
         last.emplace( *row.key );
         row.key->assign( last->get(), key );
         return ascending;
      };
      row.collection->visit( object, [&]( const void* key, const void* ) {
         EXPECT_TRUE( ascends( key ) );
         visited.push_back( bytesOf( *row.key, key ) );
      } );
      ASSERT_GT( visited.size(), 1U );

      const std::unique_ptr< Vek::KeyWalk > walk( row.collection->walk() );
      std::vector< std::string > walked;
      for ( bool all = false; !all; ) {
         U64 steps = 3;
         all = walk->visit( object, steps, [&]( const void* key, const void* ) {
            walked.push_back( bytesOf( *row.key, key ) );
            return true;
         } );
      }
      EXPECT_EQ( walked, visited );

      last.reset();
      for ( ; !dirty->empty(); dirty->eraseFirst() ) {
         EXPECT_TRUE( ascends( dirty->first() ) );
         EXPECT_EQ( waiting.erase( bytesOf( *row.key, dirty->first() ) ), 1U );
      }
      EXPECT_THAT( waiting, IsEmpty() );
   } );
}

} // namespace
} // namespace Flowspec
