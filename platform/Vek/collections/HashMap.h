#pragma once

#include "Vek/collections/HashTable.h"

namespace Vek {

/// A hash map whose members, `std::pair`s of key and value, are side by side in memory. Copies
/// are deep, a moved-from map is empty, nothing is allocated while it is empty. References to
/// members hold until the next insertion or removal. Members move without exceptions; an exception
/// of anything else leaves the map as it was.
template < typename K, typename V, typename Hash = Hasher< K > >
class HashMap : public detail::HashTable< std::pair< K, V >, FirstOf, Hash > {
   using Base = detail::HashTable< std::pair< K, V >, FirstOf, Hash >;

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
