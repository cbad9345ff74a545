#include "Vek/types/CollectionAccess.h"
#include "tests/support/Registered.h"
#include "tests/support/Setters.h"

#include <algorithm>
#include <set>

#include <gmock/gmock.h>

/// What holds for the functions of the entities beyond their rows.

namespace Flowspec {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using namespace TestSupport;
using Vek::Field;
using Vek::FieldKind;

// The setter sets what the getter and the row of that name give.
template < typename T, typename Get, typename Set >
void checkAttribute( std::string_view name, Get get, Set set ) {
   SCOPED_TRACE( Vek::concat( T::typeName, ' ', name ) );
   using V = std::remove_cvref_t< std::invoke_result_t< Get, T& > >;
   RandomValues random( 31 );
   const Vek::Ptr< T > entity = newOf< T >( random );
   const Field& row = *T::type().field( name );
   ASSERT_EQ( row.value->name, Vek::valueType< V >.name );
   for ( unsigned round = 0; round < 30; ++round ) {
      V value{};
      random.fill( *row.value, &value );
      set( *entity, value );
      EXPECT_EQ( get( *entity ), value );
      V stored{};
      row.get( objectOf( *entity ), &stored );
      EXPECT_EQ( stored, value );
      set( *entity, get( *entity ) );
      EXPECT_EQ( get( *entity ), value ) << "its own value";
   }
}

TEST( SetterLaws, OfAttributes ) {
#define CHECK( T, name )                                                                           \
   checkAttribute< T >(                                                                            \
      #name, []( T& e ) -> decltype( auto ) { return e.name(); },                                  \
      []( T& e, const auto& value ) { e.name##Is( value ); } );
   FLOWSPEC_ATTRIBUTES( CHECK )
#undef CHECK
}

// What is published of the removal of a member.
template < typename Access, typename At >
Published removal( const Field& row, const At& at ) {
   const typename Access::Key key = Access::keyAt( at );
   Published published( row.id, bytesOf( *row.key, &key ), std::nullopt, nullptr );
   if constexpr ( requires { Access::child( at ).get()->parent(); } ) {
      std::get< 3 >( published ) = Access::child( at ).get();
   } else if constexpr ( !std::is_void_v< typename Access::Value > ) {
      std::get< 2 >( published ) = bytesOf( *row.value, &at->second );
   }
   return published;
}

template < typename T, typename Get, typename DelAt, typename DelAll >
void checkCollection( std::string_view name, Get get, DelAt delAt, DelAll delAll ) {
   SCOPED_TRACE( Vek::concat( T::typeName, ' ', name ) );
   using Collection = std::remove_cvref_t< std::invoke_result_t< Get, T& > >;
   using Access = Vek::CollectionAccess< Collection >;
   RandomValues random( 32 );
   const Vek::Ptr< T > entity = newOf< T >( random );
   const Field& row = *T::type().field( name );
   for ( unsigned round = 0; round < 10; ++round ) {
      addMembers( *entity, row, random, 6 );
      const Collection& collection = get( *entity );
      ASSERT_EQ( collection.size(), row.collection->size( objectOf( *entity ) ) );
      PublishedChanges changes( *entity );
      // Some by iterator, each of which leads on to the others.
      std::set< std::string > met;
      const U32 before = collection.size();
      U32 removed = 0;
      for ( auto at = collection.begin(); at != collection.end(); ) {
         const Published expected = removal< Access >( row, at );
         if ( met.insert( *std::get< 1 >( expected ) ).second && random.oneIn( 2 ) ) {
            at = delAt( *entity, at );
            ++removed;
            ASSERT_THAT( changes.take(), ElementsAre( expected ) );
         } else {
            ++at;
         }
      }
      EXPECT_EQ( met.size(), before );
      EXPECT_EQ( collection.size(), before - removed );
      // The rest at once, in ascending order.
      if ( round % 2 == 0 ) {
         std::vector< Published > expected;
         row.collection->visit( objectOf( *entity ), [&]( const void* key, const void* ) {
            for ( auto at = collection.begin(); at != collection.end(); ++at ) {
               const Published one = removal< Access >( row, at );
               if ( *std::get< 1 >( one ) == bytesOf( *row.key, key ) ) {
                  expected.push_back( one );
               }
            }
         } );
         ASSERT_EQ( expected.size(), collection.size() );
         delAll( *entity );
         EXPECT_THAT( changes.take(), ElementsAreArray( expected ) );
         EXPECT_TRUE( collection.empty() );
         delAll( *entity );
         EXPECT_THAT( changes.take(), ElementsAre() );
      }
   }
}

TEST( SetterLaws, OfCollections ) {
#define CHECK( T, name )                                                                           \
   checkCollection< T >(                                                                           \
      #name, []( T & e ) -> const auto& { return e.name(); },                                      \
      []( T& e, auto at ) { return e.name##Del( at ); }, []( T& e ) { e.name##DelAll(); } );
   FLOWSPEC_COLLECTIONS( CHECK )
#undef CHECK
}

// Look-ups give what is in the collection, and make nothing.
template < typename T, typename Get, typename Find >
void checkLookUp( std::string_view name, Get, Find find ) {
   SCOPED_TRACE( Vek::concat( T::typeName, ' ', name ) );
   using Access = Vek::CollectionAccess< std::remove_cvref_t< std::invoke_result_t< Get, T& > > >;
   using Key = typename Access::Key;
   if constexpr ( std::is_invocable_v< Find, T&, const Key& > ) {
      RandomValues random( 33 );
      const Vek::Ptr< T > entity = newOf< T >( random );
      const Field& row = *T::type().field( name );
      addMembers( *entity, row, random, 12 );
      PublishedChanges changes( *entity );
      unsigned there = 0;
      for ( unsigned round = 0; round < 60; ++round ) {
         Key key{};
         random.fill( *row.key, &key );
         const auto got = find( *entity, key );
         const void* const member = row.collection->find( objectOf( *entity ), &key );
         there += member != nullptr;
         if constexpr ( requires { got->parent(); } ) {
            EXPECT_EQ( got.get(), static_cast< const Vek::Entity* >( member ) );
         } else if ( member ) {
            EXPECT_EQ( bytesOf( *row.value, &got ), bytesOf( *row.value, member ) );
         } else if constexpr ( !requires { got.version(); } ) {
            EXPECT_EQ( got, decltype( got )() );
         }
      }
      EXPECT_GT( there, 0U );
      EXPECT_THAT( changes.take(), ElementsAre() );
   }
}

TEST( SetterLaws, OfLookUps ) {
#define CHECK( T, name )                                                                           \
   checkLookUp< T >(                                                                               \
      #name, []( T & e ) -> const auto& { return e.name(); },                                      \
      []( auto& e, const auto& key ) requires requires { e.name( key ); } {                        \
         return e.name( key );                                                                     \
      } );
   FLOWSPEC_COLLECTIONS( CHECK )
#undef CHECK
}

TEST( SetterLaws, NoneIsMissing ) {
   std::set< Vek::String > listed;
#define ADD( T, name ) listed.insert( Vek::concat( T::typeName, ' ', #name ) );
   FLOWSPEC_ATTRIBUTES( ADD )
   FLOWSPEC_COLLECTIONS( ADD )
#undef ADD
   std::set< Vek::String > registered;
   forEachType( [&]( const Vek::TypeInfo& type ) {
      type.forEachField( [&]( const Field& row ) {
         if ( type.isEntity() && ( row.set || row.collection ) ) {
            registered.insert( Vek::concat( type.name, ' ', row.name ) );
         }
      } );
   } );
   EXPECT_THAT( listed, testing::ContainerEq( registered ) );
}

} // namespace
} // namespace Flowspec
