#include "Flowspec/key/TermWords.h"

#include "tests/support/KeyGenerator.h"

#include <iterator>
#include <map>

#include <gtest/gtest.h>

namespace Flowspec {
namespace {

using Model = std::map< U16, U32 >;

static_assert( std::forward_iterator< TermWords::const_iterator > );

// Every way to look at the words agrees with the model.
void expectEqual( const TermWords& words, const Model& model, U32 indices ) {
   ASSERT_EQ( words.size(), model.size() );
   EXPECT_EQ( words.empty(), model.empty() );
   ASSERT_EQ( words.packed().size(), model.size() );
   auto at = words.begin();
   std::size_t position = 0;
   for ( const auto& [index, word] : model ) {
      ASSERT_NE( at, words.end() );
      EXPECT_EQ( ( *at ).index.value(), index );
      EXPECT_EQ( ( *at ).word.storage(), word );
      EXPECT_EQ( words.packed()[position++], U64{ index } << 32 | word );
      ++at;
   }
   EXPECT_EQ( at, words.end() );
   for ( U32 index = 0; index < indices; ++index ) {
      const U64* const found = words.find( index );
      const auto expected = model.find( static_cast< U16 >( index ) );
      ASSERT_EQ( found != nullptr, expected != model.end() ) << index;
      if ( found ) {
         EXPECT_EQ( *found, U64{ index } << 32 | expected->second );
      }
   }
}

void runRandomOperations( U64 seed, U32 indices, int rounds ) {
   TestSupport::KeyGenerator random( seed );
   TermWords words;
   Model model;
   for ( int i = 0; i < rounds; ++i ) {
      const U16 index = static_cast< U16 >( random.below( indices ) );
      const U32 word = static_cast< U32 >( random.any() );
      switch ( random.below( 8 ) ) {
      case 0:
      case 1:
      case 2:
         words.erase( index );
         model.erase( index );
         break;
      case 3:
         if ( random.oneIn( 20 ) ) {
            words.clear();
            model.clear();
         }
         break;
      case 4:
         if ( model.size() < indices ) { // after the last, as rules are built
            const U16 next = static_cast< U16 >( model.empty() ? 0 : model.rbegin()->first + 1 );
            if ( next < indices ) {
               words.set( next, MatchOpVal( word ) );
               model[next] = word;
            }
         }
         break;
      default:
         words.set( index, MatchOpVal( word ) );
         model[index] = word;
      }
      expectEqual( words, model, indices );
      if ( testing::Test::HasFailure() ) {
         return;
      }
   }
}

TEST( TermWords, IsAnOrderedMapAsTheStandardOne ) {
   runRandomOperations( 1, 6, 20000 );  // in place
   runRandomOperations( 2, 12, 20000 ); // about the border
   runRandomOperations( 3, 100, 5000 ); // on the heap
}

TEST( TermWords, HoldsAllIndicesUpTo2047 ) {
   TermWords words;
   Model model;
   for ( U32 i = 0; i < 2048; ++i ) {
      const U16 index = static_cast< U16 >( i * 5 % 2048 ); // odd, so every index once
      words.set( index, MatchOpVal( ~i ) );
      model[index] = ~i;
   }
   expectEqual( words, model, 2048 );
   for ( U32 i = 0; i < 2048; i += 2 ) {
      words.erase( i );
      model.erase( static_cast< U16 >( i ) );
   }
   expectEqual( words, model, 2048 );
}

TEST( TermWords, EqualWhenIndicesAndWordsAre ) {
   TestSupport::KeyGenerator random( 4 );
   for ( int i = 0; i < 5000; ++i ) {
      TermWords a;
      TermWords b;
      Model modelA;
      Model modelB;
      for ( U64 count = random.below( 4 ); count > 0; --count ) {
         const U16 index = static_cast< U16 >( random.below( 3 ) );
         const U32 word = static_cast< U32 >( random.below( 2 ) );
         a.set( index, MatchOpVal( word ) );
         modelA[index] = word;
      }
      for ( U64 count = random.below( 4 ); count > 0; --count ) {
         const U16 index = static_cast< U16 >( random.below( 3 ) );
         const U32 word = static_cast< U32 >( random.below( 2 ) );
         b.set( index, MatchOpVal( word ) );
         modelB[index] = word;
      }
      EXPECT_EQ( a == b, modelA == modelB );
   }
}

TEST( TermWords, RangeForYieldsMembersInOrder ) {
   TermWords words;
   words.set( 9, MatchOpVal( 90 ) );
   words.set( 2, MatchOpVal( 20 ) );
   std::string text;
   for ( const auto& [index, word] : words ) {
      text += std::to_string( index.value() ) + ':' + std::to_string( word.storage() ) + ' ';
   }
   EXPECT_EQ( text, "2:20 9:90 " );
   auto at = words.begin();
   EXPECT_EQ( *at++, ( TermWords::Member{ 2, MatchOpVal( 20 ) } ) );
   EXPECT_EQ( *at, ( TermWords::Member{ 9, MatchOpVal( 90 ) } ) );
}

} // namespace
} // namespace Flowspec
