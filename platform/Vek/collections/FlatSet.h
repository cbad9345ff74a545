#pragma once

#include "Vek/collections/SortedVector.h"

#include <initializer_list>

namespace Vek {

/// A set of at most some dozen members: a vector, ascending by `<`. Copies are deep; every change
/// invalidates the iterators, which notice that. Nothing is allocated while it is empty. An
/// exception of a copy leaves the set as it was when members move without exceptions.
template < typename K >
class FlatSet : public detail::SortedVector< K, Itself > {
   using Base = detail::SortedVector< K, Itself >;

public:
   using typename Base::const_iterator;

   FlatSet() = default;
   FlatSet( std::initializer_list< K > members ) {
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
