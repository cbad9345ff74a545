#pragma once

#include "Vek/collections/HashTable.h"

#include <initializer_list>

namespace Vek {

/// A hash set whose members are side by side in memory. Copies are deep, a moved-from set is
/// empty, nothing is allocated while it is empty. References to members hold until the next
/// insertion or removal. Members move without exceptions; an exception of anything else leaves the
/// set as it was.
template < typename K, typename Hash = Hasher< K > >
class HashSet : public detail::HashTable< K, Itself, Hash > {
   using Base = detail::HashTable< K, Itself, Hash >;

public:
   using typename Base::const_iterator;

   HashSet() = default;
   HashSet( std::initializer_list< K > members ) {
      for ( const K& member : members ) {
         insert( member );
      }
   }

   /// Inserts `key` unless it is there: its place, and whether it was inserted.
   std::pair< const_iterator, bool > insert( K key ) {
      return this->insertWith( key, [&] { return std::move( key ); } );
   }
};

} // namespace Vek
