#include "Vek/text/Exceptions.h"

#include <type_traits>

#include <gmock/gmock.h>

namespace {

using testing::ThrowsMessage;

static_assert( std::is_base_of_v< std::runtime_error, Vek::RangeException > );
static_assert( std::is_base_of_v< std::exception, Vek::VectorRangeException > );
static_assert( std::is_base_of_v< std::exception, Vek::EmptyVectorException > );
// A handler of one does not take the others.
static_assert( !std::is_base_of_v< Vek::RangeException, Vek::VectorRangeException > );
static_assert( !std::is_base_of_v< Vek::RangeException, Vek::EmptyVectorException > );
static_assert( !std::is_base_of_v< Vek::VectorRangeException, Vek::EmptyVectorException > );
// Copying while one is thrown cannot end the process.
static_assert( std::is_nothrow_copy_constructible_v< Vek::RangeException > );
static_assert( std::is_nothrow_copy_constructible_v< Vek::VectorRangeException > );
static_assert( std::is_nothrow_copy_constructible_v< Vek::EmptyVectorException > );

TEST( RangeException, TextIsTheMessage ) {
   const Vek::String message = "Flowspec::MatchOpValIndex::value < Flowspec::MatchOpValIndex::min "
                               "or > Flowspec::MatchOpValIndex::max not allowed";
   EXPECT_EQ( Vek::RangeException( message ).what(), message );
   EXPECT_EQ( Vek::RangeException( "" ).what(), Vek::String() );
   EXPECT_THAT( [&] { Vek::throwRange( message ); },
                ThrowsMessage< Vek::RangeException >( message ) );
   EXPECT_THAT( [] { Vek::throwRange( "a literal" ); },
                ThrowsMessage< Vek::RangeException >( "a literal" ) );
}

TEST( RangeException, CopyKeepsTheMessage ) {
   Vek::String kept;
   try {
      const Vek::RangeException original( "an original that is gone" );
      throw Vek::RangeException( original );
   } catch ( const std::exception& error ) {
      kept = error.what();
   }
   EXPECT_EQ( kept, "an original that is gone" );
}

TEST( VectorRangeException, HasAFixedText ) {
   EXPECT_THAT( [] { Vek::throwVectorRange(); },
                ThrowsMessage< Vek::VectorRangeException >(
                   "Vek::Vector: position is not below the length" ) );
}

TEST( EmptyVectorException, HasAFixedText ) {
   EXPECT_THAT( [] { Vek::throwEmptyVector(); },
                ThrowsMessage< Vek::EmptyVectorException >( "Vek::Vector: the vector is empty" ) );
}

TEST( Exceptions, AreCaughtAsStandardExceptions ) {
   EXPECT_THROW( Vek::throwRange( "message" ), std::exception );
   EXPECT_THROW( Vek::throwRange( "message" ), std::runtime_error );
   EXPECT_THROW( Vek::throwVectorRange(), std::exception );
   EXPECT_THROW( Vek::throwEmptyVector(), std::exception );
}

} // namespace
