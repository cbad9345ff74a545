#pragma once

#include "Vek/collections/SortedVector.h"

namespace Vek {

/// A map for at most some dozen members: a vector of keys and values, ascending by `<` of the keys.
/// Copies are deep; every change invalidates the iterators, which notice that. Nothing is allocated
/// while it is empty.
/// An exception of a copy leaves the map as it was when members move without exceptions.
template < typename K, typename V >
class FlatMap : public detail::SortedVector< std::pair< K, V >, FirstOf > {
   using Base = detail::SortedVector< std::pair< K, V >, FirstOf >;

public:
   using Value = V;
   using typename Base::const_iterator;

   /// Inserts a member unless there is one with `key`: its place, and whether it was inserted.
   std::pair< const_iterator, bool > insert( const K& key, const V& value ) {
      return this->insertWith( key, [&] { return std::pair< K, V >( key, value ); } );
   }

   /// Inserts a member or replaces the value of the one with `key`: its place, and whether it was
   /// inserted.
   std::pair< const_iterator, bool > insertOrAssign( K key, V value ) {
      const auto result = this->insertWith(
         key, [&] { return std::pair< K, V >( std::move( key ), std::move( value ) ); } );
      if ( result.second ) {
         return result;
      }
      valueAt( result.first ) = std::move( value );
      return { this->changed( result.first ), false };
   }

   /// The value at `at`, to be changed in place; iterators stay usable.
   V& valueAt( const_iterator at ) { return this->member( at ).second; }
};

} // namespace Vek
