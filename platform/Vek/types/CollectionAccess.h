#pragma once

#include "Vek/collections/FlatMap.h"
#include "Vek/collections/FlatSet.h"
#include "Vek/collections/HashMap.h"
#include "Vek/collections/HashSet.h"
#include "Vek/collections/KeyOrder.h"
#include "Vek/collections/OrderedMap.h"
#include "Vek/collections/SmallVector.h"
#include "Vek/types/Ptr.h"

#include <functional>

/// One face for all collections of the runtime, for the code that is written once for all of them.
namespace Vek {

class Entity;

/// Calls with the key and the value of a member; a set has no values and passes null, a collection
/// of entities passes the `Entity`.
using MemberVisitor = std::function< void( const void* key, const void* value ) >;

/// Keys and values of a collection, and untyped access to its members.
template < typename C >
struct CollectionAccess;

namespace detail {

/// What a visitor is given for a value: the value itself, or the entity of a counted reference.
template < typename V >
const void* untyped( const V& value ) {
   return &value;
}
template < typename T >
const void* untyped( const Ptr< T >& child ) {
   return static_cast< const Entity* >( child.get() );
}

template < typename C, typename K, typename V >
struct MapAccess {
   using Key = K;
   using Value = V;
   using Order = KeyOrder< K >;

   static U32 size( const C& collection ) { return static_cast< U32 >( collection.size() ); }
   static const void* find( const C& collection, const Key& key ) {
      const auto at = collection.find( key );
      return at == collection.end() ? nullptr : untyped( at->second );
   }
   static Value& valueAt( C& collection, typename C::const_iterator at ) {
      return collection.valueAt( at );
   }
   static const Value& child( typename C::const_iterator at ) { return at->second; }
   static Key keyAt( typename C::const_iterator at ) { return at->first; }
   static void add( C& collection, const Key& key, const Value& value ) {
      collection.insert( key, value );
   }
};

template < typename C, typename K >
struct SetAccess {
   using Key = K;
   using Value = void;
   using Order = KeyOrder< K >;

   static U32 size( const C& collection ) { return static_cast< U32 >( collection.size() ); }
   static const void* find( const C& collection, const Key& key ) {
      const auto at = collection.find( key );
      return at == collection.end() ? nullptr : &*at;
   }
   static Key keyAt( typename C::const_iterator at ) { return *at; }
};

/// Calls with the members of a collection in order, from the first one after the key `last` on or
/// from the beginning, until a call returns false; whether it came to the end.
template < typename Order, typename C, typename Key, typename KeyOf, typename Visit >
bool visitAfter( const C& collection, const Key* last, KeyOf keyOf, Visit visit ) {
   auto at = last ? collection.lowerBound( *last ) : collection.begin();
   if ( last && at != collection.end() && !Order()( *last, keyOf( *at ) ) ) {
      ++at;
   }
   for ( ; at != collection.end(); ++at ) {
      if ( !visit( *at ) ) {
         return false;
      }
   }
   return true;
}

} // namespace detail

template < typename K, typename V >
struct CollectionAccess< FlatMap< K, V > > : detail::MapAccess< FlatMap< K, V >, K, V > {
   static void visit( const FlatMap< K, V >& collection, const MemberVisitor& visitor ) {
      for ( const auto& [key, value] : collection ) {
         visitor( &key, detail::untyped( value ) );
      }
   }
   static constexpr bool inOrder = true;
   template < typename Visit >
   static bool visitAfter( const FlatMap< K, V >& collection, const K* last, Visit visit ) {
      return detail::visitAfter< KeyOrder< K > >(
         collection, last, FirstOf(), [&]( const std::pair< K, V >& member ) {
            return visit( member.first, detail::untyped( member.second ) );
         } );
   }
};

template < typename K, typename V, typename... More >
struct CollectionAccess< HashMap< K, V, More... > >
   : detail::MapAccess< HashMap< K, V, More... >, K, V > {
   static const void* find( const HashMap< K, V, More... >& collection, const K& key ) {
      const auto at = collection.findNear( key );
      return at == collection.end() ? nullptr : detail::untyped( at->second );
   }
   static void visit( const HashMap< K, V, More... >& collection, const MemberVisitor& visitor ) {
      for ( const auto* const member : collection.sorted() ) {
         visitor( &member->first, detail::untyped( member->second ) );
      }
   }
   static auto members( const HashMap< K, V, More... >& collection ) {
      return collection.unsorted();
   }
   static const K& keyOf( const typename HashMap< K, V, More... >::value_type& member ) {
      return member.first;
   }
};

template < typename K >
struct CollectionAccess< FlatSet< K > > : detail::SetAccess< FlatSet< K >, K > {
   static void visit( const FlatSet< K >& collection, const MemberVisitor& visitor ) {
      for ( const K& key : collection ) {
         visitor( &key, nullptr );
      }
   }
   static constexpr bool inOrder = true;
   template < typename Visit >
   static bool visitAfter( const FlatSet< K >& collection, const K* last, Visit visit ) {
      return detail::visitAfter< KeyOrder< K > >(
         collection, last, Itself(), [&]( const K& key ) { return visit( key, &key ); } );
   }
};

template < typename K, typename... More >
struct CollectionAccess< HashSet< K, More... > > : detail::SetAccess< HashSet< K, More... >, K > {
   static void visit( const HashSet< K, More... >& collection, const MemberVisitor& visitor ) {
      for ( const K* const key : collection.sorted() ) {
         visitor( key, nullptr );
      }
   }
   static auto members( const HashSet< K, More... >& collection ) { return collection.unsorted(); }
   static const K& keyOf( const K& member ) { return member; }
};

/// The members know their keys.
template < typename V, typename KeyOf, typename Compare >
struct CollectionAccess< OrderedMap< V, KeyOf, Compare > > {
   using C = OrderedMap< V, KeyOf, Compare >;
   using Key = std::remove_cvref_t< decltype( KeyOf()( std::declval< const V& >() ) ) >;
   using Value = V;
   using Order = Compare;

   static U32 size( const C& collection ) { return static_cast< U32 >( collection.size() ); }
   static const void* find( const C& collection, const Key& key ) {
      const auto at = collection.find( key );
      return at == collection.end() ? nullptr : detail::untyped( *at );
   }
   static void visit( const C& collection, const MemberVisitor& visitor ) {
      for ( const V& member : collection ) {
         visitor( &KeyOf()( member ), detail::untyped( member ) );
      }
   }
   static constexpr bool inOrder = true;
   template < typename Visit >
   static bool visitAfter( const C& collection, const Key* last, Visit visit ) {
      return detail::visitAfter< Order >( collection, last, KeyOf(), [&]( const V& member ) {
         return visit( KeyOf()( member ), detail::untyped( member ) );
      } );
   }
   static const V& child( typename C::const_iterator at ) { return *at; }
   static const Key& keyAt( typename C::const_iterator at ) { return KeyOf()( *at ); }
   static void add( C& collection, const Key&, const V& value ) { collection.insert( value ); }
};

/// The key is the position.
template < typename T, U32 N >
struct CollectionAccess< SmallVector< T, N > > {
   using Key = U32;
   using Value = T;
   using Order = KeyOrder< U32 >;

   static U32 size( const SmallVector< T, N >& vector ) { return vector.size(); }
   static const void* find( const SmallVector< T, N >& vector, U32 position ) {
      return position < vector.size() ? vector.data() + position : nullptr;
   }
   static void visit( const SmallVector< T, N >& vector, const MemberVisitor& visitor ) {
      for ( U32 position = 0; position < vector.size(); ++position ) {
         visitor( &position, vector.data() + position );
      }
   }
};

} // namespace Vek
