#include "Vek/collections/OnDemand.h"

#include "Vek/collections/HashSet.h"

#include <gtest/gtest.h>

#include <utility>

namespace {

using Set = Vek::OnDemand< Vek::HashSet< int > >;

Set setOf( int member ) {
   Set set;
   set.edit().insert( member );
   return set;
}

TEST( OnDemand, DefaultIsOneForAllAndTakesThePlaceOfAPointer ) {
   const Set a;
   const Set b;
   EXPECT_TRUE( a.get().empty() );
   EXPECT_EQ( &a.get(), &b.get() );
   EXPECT_EQ( sizeof( Set ), sizeof( void* ) );
}

TEST( OnDemand, EditChangesItInPlace ) {
   Set set = setOf( 1 );
   const Vek::HashSet< int >* const value = &set.get();
   set.edit().insert( 2 );
   EXPECT_EQ( &set.get(), value );
   EXPECT_EQ( set.get().size(), 2U );
   EXPECT_TRUE( Set().get().empty() );
}

TEST( OnDemand, CopiesAreDeep ) {
   Set set = setOf( 1 );
   Set copy = set;
   copy.edit().insert( 2 );
   EXPECT_EQ( set.get().size(), 1U );
   set = copy;
   copy.reset();
   EXPECT_EQ( set.get().size(), 2U );
   const Set& same = set;
   set = same;
   EXPECT_EQ( set.get().size(), 2U );
   set = Set();
   EXPECT_TRUE( set.get().empty() );
}

TEST( OnDemand, MovedFromIsTheDefault ) {
   Set set = setOf( 1 );
   Set moved = std::move( set );
   EXPECT_TRUE( set.get().empty() ); // NOLINT(bugprone-use-after-move)
   EXPECT_TRUE( moved.get().contains( 1 ) );
   set = std::move( moved );
   EXPECT_TRUE( set.get().contains( 1 ) );
}

TEST( OnDemand, OnlyTheValueCounts ) {
   Set emptied = setOf( 1 );
   emptied.edit().erase( 1 );
   EXPECT_EQ( emptied, Set() );
   EXPECT_EQ( setOf( 1 ), setOf( 1 ) );
   EXPECT_NE( setOf( 1 ), setOf( 2 ) );
   EXPECT_NE( setOf( 1 ), Set() );
}

} // namespace
