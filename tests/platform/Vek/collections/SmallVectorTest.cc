#include "Vek/collections/SmallVector.h"

#include "tests/support/AllocationCounter.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

template < typename VectorType >
class SmallVectorTest : public testing::Test {
protected:
   using Vector = VectorType;
   using T = typename Vector::value_type;
   using Model = std::vector< T >;

   static constexpr U32 inPlace = sizeof( T ) == 2 ? 4 : 8;

   /// Different values in the low and the high bytes of each element.
   static T element( U64 i ) { return static_cast< T >( i * 0x9E3779B97F4A7C15 >> 7 ); }

   static Model modelOf( U32 size, U64 first ) {
      Model model;
      for ( U32 i = 0; i < size; ++i ) {
         model.push_back( element( first + i ) );
      }
      return model;
   }

   static Vector vectorOf( const Model& model ) {
      Vector vector;
      for ( const T value : model ) {
         vector.push( value );
      }
      return vector;
   }

   /// A vector on the heap whose few elements would have room in place.
   static Vector shrunkVectorOf( const Model& model ) {
      Vector vector = vectorOf( modelOf( inPlace + 1, 500 ) );
      vector.clear();
      for ( const T value : model ) {
         vector.push( value );
      }
      return vector;
   }

   static bool isInPlace( const Vector& vector ) {
      const auto address = reinterpret_cast< std::uintptr_t >( vector.data() );
      const auto object = reinterpret_cast< std::uintptr_t >( &vector );
      return address >= object && address < object + sizeof vector;
   }

   static void expectEqual( const Vector& vector, const Model& model ) {
      ASSERT_EQ( vector.size(), model.size() );
      EXPECT_EQ( vector.empty(), model.empty() );
      EXPECT_TRUE( vector.empty() || &*vector.begin() == vector.data() );
      EXPECT_EQ( Model( vector.begin(), vector.end() ), model );
      for ( U32 i = 0; i < vector.size(); ++i ) {
         EXPECT_EQ( vector[i], model[i] );
      }
      EXPECT_EQ( vector.isInPlace(), isInPlace( vector ) );
      if ( vector.isInPlace() ) {
         // What is not in use holds 0.
         Vector fresh;
         for ( const T value : model ) {
            fresh.push( value );
         }
         EXPECT_EQ( std::memcmp( static_cast< const void* >( &vector ), &fresh, sizeof fresh ), 0 );
      }
   }

   /// Every accessor's view of an empty vector, which then takes elements across its capacity.
   static void expectEmptyAndUsable( Vector& vector ) {
      expectEqual( vector, {} );
      EXPECT_EQ( vector, Vector() );
      const Model model = modelOf( inPlace * 2 + 1, 900 );
      for ( const T value : model ) {
         vector.push( value );
      }
      expectEqual( vector, model );
   }

   /// Vectors in place and on the heap, with their models, of all sizes that matter.
   struct Sample {
      Vector vector;
      Model model;
   };
   static std::vector< Sample > samples( U64 first ) {
      std::vector< Sample > result;
      for ( const U32 size : { 0U, 1U, inPlace, inPlace + 1, inPlace * 5 } ) {
         const Model model = modelOf( size, first );
         result.push_back( { vectorOf( model ), model } );
         if ( size <= inPlace ) {
            result.push_back( { shrunkVectorOf( model ), model } );
         }
      }
      return result;
   }
};

struct Names {
   template < typename Vector >
   static std::string GetName( int ) {
      return sizeof( typename Vector::value_type ) == 2 ? "U16x4" : "U64x8";
   }
};
using Vectors = testing::Types< Vek::SmallVector< U16, 4 >, Vek::SmallVector< U64, 8 > >;
TYPED_TEST_SUITE( SmallVectorTest, Vectors, Names );

TYPED_TEST( SmallVectorTest, DefaultIsEmptyAndUsable ) {
   typename TestFixture::Vector vector;
   this->expectEmptyAndUsable( vector );
}

TYPED_TEST( SmallVectorTest, ElementsInPlaceTakeNoMemoryAndMoreOfThemTakeItRarely ) {
   typename TestFixture::Vector vector;
   const TestSupport::AllocationCounter allocations;
   for ( U32 i = 0; i < this->inPlace; ++i ) {
      vector.push( this->element( i ) );
   }
   EXPECT_TRUE( this->isInPlace( vector ) );
   EXPECT_EQ( allocations.count(), 0U );
   vector.push( this->element( 99 ) );
   EXPECT_FALSE( this->isInPlace( vector ) );
   EXPECT_EQ( allocations.count(), 1U );
   while ( vector.size() < 1000 ) {
      vector.push( this->element( 99 ) );
   }
   EXPECT_LE( allocations.count(), 10U );
}

TYPED_TEST( SmallVectorTest, ClearKeepsTheMemoryForTheNextElements ) {
   auto vector = this->vectorOf( this->modelOf( this->inPlace * 2, 0 ) );
   vector.clear();
   const auto model = this->modelOf( this->inPlace * 2, 100 );
   const TestSupport::AllocationCounter allocations;
   for ( const auto value : model ) {
      vector.push( value );
   }
   EXPECT_EQ( allocations.count(), 0U );
   this->expectEqual( vector, model );
}

TYPED_TEST( SmallVectorTest, AssignedElementsReplaceAllFromAndToEitherStorage ) {
   for ( const U32 before : { 0U, 3U, this->inPlace, this->inPlace * 3 } ) {
      for ( const U32 after : { 0U, 2U, this->inPlace, this->inPlace * 3 + 1 } ) {
         auto vector = this->vectorOf( this->modelOf( before, 0 ) );
         const auto model = this->modelOf( after, 100 );
         std::copy( model.begin(), model.end(), vector.assign( after ) );
         this->expectEqual( vector, model );
         EXPECT_EQ( vector, this->vectorOf( model ) );
      }
   }
}

TYPED_TEST( SmallVectorTest, AnElementOfTheVectorItselfCanBeAddedWhileItGrows ) {
   auto vector = this->vectorOf( this->modelOf( this->inPlace, 1 ) );
   vector.push( vector[1] );
   EXPECT_EQ( vector[this->inPlace], this->element( 2 ) );
   vector.insert( 0, vector[2] );
   EXPECT_EQ( vector[0], this->element( 3 ) );
}

TYPED_TEST( SmallVectorTest, CopyIsEqualAndIndependent ) {
   for ( const auto& source : this->samples( 0 ) ) {
      auto copy = source.vector;
      this->expectEqual( copy, source.model );
      EXPECT_EQ( this->isInPlace( copy ), source.model.size() <= this->inPlace );
      copy.push( this->element( 77 ) );
      if ( copy.size() > 1 ) {
         copy.set( 0, this->element( 78 ) );
      }
      this->expectEqual( source.vector, source.model );
   }
}

TYPED_TEST( SmallVectorTest, MoveTakesTheElementsAndLeavesAnEmptyUsableVector ) {
   for ( auto& source : this->samples( 0 ) ) {
      const TestSupport::AllocationCounter allocations;
      const auto moved = std::move( source.vector );
      EXPECT_EQ( allocations.count(), 0U );
      this->expectEqual( moved, source.model );
      this->expectEmptyAndUsable( source.vector );
      this->expectEqual( moved, source.model );
   }
}

TYPED_TEST( SmallVectorTest, CopyAssignmentReplacesTheElementsFromAndToEitherStorage ) {
   for ( const auto& source : this->samples( 0 ) ) {
      for ( auto& target : this->samples( 300 ) ) {
         EXPECT_EQ( &( target.vector = source.vector ), &target.vector );
         this->expectEqual( target.vector, source.model );
         target.vector.push( this->element( 77 ) );
         this->expectEqual( source.vector, source.model );
      }
   }
}

TYPED_TEST( SmallVectorTest, MoveAssignmentReplacesTheElementsFromAndToEitherStorage ) {
   const auto count = this->samples( 0 ).size();
   for ( std::size_t i = 0; i < count; ++i ) {
      for ( auto& target : this->samples( 300 ) ) {
         auto source = std::move( this->samples( 0 )[i] );
         const TestSupport::AllocationCounter allocations;
         EXPECT_EQ( &( target.vector = std::move( source.vector ) ), &target.vector );
         EXPECT_EQ( allocations.count(), 0U );
         this->expectEqual( target.vector, source.model );
         this->expectEmptyAndUsable( source.vector );
         this->expectEqual( target.vector, source.model );
      }
   }
}

TYPED_TEST( SmallVectorTest, AssignmentToItselfChangesNothing ) {
   for ( auto& sample : this->samples( 0 ) ) {
      auto& same = sample.vector;
      sample.vector = same;
      this->expectEqual( sample.vector, sample.model );
      sample.vector = std::move( same );
      this->expectEqual( sample.vector, sample.model );
   }
}

TYPED_TEST( SmallVectorTest, EqualityIsThatOfTheElementsWhereverTheyStand ) {
   const auto left = this->samples( 0 );
   const auto right = this->samples( 0 );
   for ( const auto& a : left ) {
      for ( const auto& b : right ) {
         EXPECT_EQ( a.vector == b.vector, a.model == b.model );
      }
      auto other = a.vector;
      if ( !other.empty() ) {
         other.set( other.size() - 1, this->element( 700 ) );
         EXPECT_FALSE( other == a.vector );
      }
   }
}

TYPED_TEST( SmallVectorTest, PositionThatIsNotBelowTheSizeIsRejectedAndChangesNothing ) {
   for ( auto& sample : this->samples( 0 ) ) {
      const U32 size = sample.vector.size();
      for ( const U32 position : { size, size + 1, U32{ 0xFFFFFFFF } } ) {
         EXPECT_THROW( static_cast< void >( sample.vector[position] ), Vek::VectorRangeException );
         EXPECT_THROW( sample.vector.set( position, this->element( 5 ) ),
                       Vek::VectorRangeException );
         this->expectEqual( sample.vector, sample.model );
      }
   }
}

TYPED_TEST( SmallVectorTest, PopGivesTheElementsFromTheLastAndRejectsAnEmptyVector ) {
   for ( auto& sample : this->samples( 0 ) ) {
      for ( ; !sample.model.empty(); sample.model.pop_back() ) {
         EXPECT_EQ( sample.vector.pop(), sample.model.back() );
      }
      EXPECT_THROW( sample.vector.pop(), Vek::EmptyVectorException );
      this->expectEmptyAndUsable( sample.vector );
   }
}

TYPED_TEST( SmallVectorTest, BehavesAsTheStandardVectorUnderRandomOperations ) {
   std::mt19937_64 random( 20210104 );
   constexpr U32 count = 3;
   typename TestFixture::Vector vectors[count];
   typename TestFixture::Model models[count];
   for ( int round = 0; round < 20'000; ++round ) {
      const U64 which = random() % count;
      auto& vector = vectors[which];
      auto& model = models[which];
      const U64 other = random() % count;
      const U32 size = vector.size();
      const auto value = this->element( random() );
      // The sizes swing across the capacity: long stretches of growing follow those of shrinking.
      const bool growing = round / 100 % 2 == 0;
      switch ( random() % 10 ) {
      case 0:
         vector = vectors[other];
         model = models[other];
         break;
      case 1:
         if ( which != other ) {
            vector = std::move( vectors[other] );
            model = std::exchange( models[other], {} );
         }
         break;
      case 2:
         if ( size != 0 ) {
            const U32 position = static_cast< U32 >( random() % size );
            vector.set( position, value );
            model[position] = value;
         }
         break;
      case 3:
         if ( random() % 16 == 0 ) {
            vector.clear();
            model.clear();
         }
         break;
      default:
         if ( growing && size < this->inPlace * 4 ) {
            const U32 position = static_cast< U32 >( random() % ( size + 1 ) );
            position == size ? vector.push( value ) : vector.insert( position, value );
            model.insert( model.begin() + position, value );
         } else if ( size != 0 ) {
            const U32 position = static_cast< U32 >( random() % size );
            position == size - 1 ? void( vector.pop() ) : vector.erase( position );
            model.erase( model.begin() + position );
         }
      }
      ASSERT_NO_FATAL_FAILURE( this->expectEqual( vectors[which], models[which] ) );
      ASSERT_NO_FATAL_FAILURE( this->expectEqual( vectors[other], models[other] ) );
      ASSERT_EQ( vectors[which] == vectors[other], models[which] == models[other] );
   }
}

TEST( SmallVector, RaisesWhereNoElementIs ) {
   Vek::SmallVector< U16, 4 > vector;
   EXPECT_THROW( vector.insert( 1, 7 ), Vek::VectorRangeException );
   EXPECT_THROW( vector.erase( 0 ), Vek::VectorRangeException );
   EXPECT_THROW( *vector.begin(), Vek::VectorRangeException );
   EXPECT_THROW( *( Vek::SmallVector< U16, 4 >::const_iterator() ), Vek::VectorRangeException );
   for ( U16 number = 0; number < 4; ++number ) {
      vector.insert( number, number );
   }
   EXPECT_THROW( vector.insert( 5, 7 ), Vek::VectorRangeException );
   EXPECT_THROW( vector.erase( 4 ), Vek::VectorRangeException );
   // Positions that 32 bits would make small ones.
   for ( const U64 wide : { U64{ 1 } << 32, ( U64{ 1 } << 32 ) + 3, ~U64{ 0 } << 32 } ) {
      EXPECT_THROW( static_cast< void >( vector[wide] ), Vek::VectorRangeException );
      EXPECT_THROW( vector.set( wide, 7 ), Vek::VectorRangeException );
      EXPECT_THROW( vector.insert( wide, 7 ), Vek::VectorRangeException );
      EXPECT_THROW( vector.erase( wide ), Vek::VectorRangeException );
   }
   EXPECT_EQ( vector.size(), 4U );
   const auto last = std::next( vector.begin(), 3 );
   vector.push( 4 );
   EXPECT_EQ( *last, 3U ) << "a position, wherever the elements are now";
   vector.erase( 0 );
   vector.pop();
   EXPECT_THROW( *last, Vek::VectorRangeException );
}

} // namespace
