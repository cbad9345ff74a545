#include "Osk/UniqueId.h"

#include <algorithm>
#include <iomanip>
#include <random>
#include <sstream>
#include <thread>
#include <type_traits>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace {

using Osk::UniqueId;

static_assert( sizeof( UniqueId ) == 8 && std::is_trivially_copyable_v< UniqueId > );
static_assert( !std::is_convertible_v< U64, UniqueId > );

U64 upperHalf( const UniqueId& id ) { return id.value() >> 32; }

TEST( UniqueId, DrawnOnesAreInitialisedAndCountUp ) {
   UniqueId previous;
   EXPECT_TRUE( static_cast< bool >( previous ) );
   for ( int i = 0; i < 10'000; ++i ) {
      const UniqueId next;
      ASSERT_EQ( next.value(), previous.value() + 1 );
      ASSERT_FALSE( next.isEq( previous ) );
      previous = next;
   }
   EXPECT_GT( upperHalf( previous ), 0U );
   EXPECT_LT( upperHalf( previous ), 0x80000000U );
}

TEST( UniqueId, CopiesAreTheSameIdentifier ) {
   const UniqueId id;
   const UniqueId copy( id );
   EXPECT_TRUE( copy.isEq( id ) );
   EXPECT_EQ( copy, id );
   EXPECT_EQ( copy.hash(), id.hash() );
}

TEST( UniqueId, ZeroIsTheUninitialisedOne ) {
   constexpr UniqueId none( 0 );
   static_assert( !none && none.value() == 0 && none.isEq( UniqueId( 0 ) ) );
   EXPECT_EQ( none.stringValue(), "0000000000000000" );
   for ( unsigned bit = 0; bit < 64; ++bit ) {
      const UniqueId id( U64{ 1 } << bit );
      EXPECT_TRUE( static_cast< bool >( id ) );
      EXPECT_FALSE( id.isEq( none ) );
   }
}

TEST( UniqueId, ThreadsDrawDifferentOnes ) {
   constexpr std::size_t each = 20'000;
   std::vector< std::vector< U64 > > drawn( 4 );
   std::vector< std::thread > threads;
   for ( auto& ids : drawn ) {
      threads.emplace_back( [&ids] {
         for ( std::size_t i = 0; i < each; ++i ) {
            ids.push_back( UniqueId().value() );
         }
      } );
   }
   std::vector< U64 > all;
   for ( std::size_t i = 0; i < threads.size(); ++i ) {
      threads[i].join();
      all.insert( all.end(), drawn[i].begin(), drawn[i].end() );
   }
   std::sort( all.begin(), all.end() );
   EXPECT_EQ( all.size(), threads.size() * each );
   EXPECT_EQ( std::adjacent_find( all.begin(), all.end() ), all.end() );
}

TEST( UniqueId, ForkedChildDrawsFromAnotherUpperHalf ) {
   const UniqueId before;
   int ends[2];
   ASSERT_EQ( pipe( ends ), 0 );
   const pid_t child = fork();
   ASSERT_GE( child, 0 );
   if ( child == 0 ) {
      const U64 drawn[2] = { UniqueId().value(), UniqueId().value() };
      const ssize_t written = write( ends[1], drawn, sizeof drawn );
      _exit( written == sizeof drawn ? 0 : 1 );
   }
   U64 drawn[2] = {};
   EXPECT_EQ( read( ends[0], drawn, sizeof drawn ), static_cast< ssize_t >( sizeof drawn ) );
   int status = -1;
   EXPECT_EQ( waitpid( child, &status, 0 ), child );
   EXPECT_EQ( status, 0 );
   close( ends[0] );
   close( ends[1] );

   EXPECT_NE( upperHalf( UniqueId( drawn[0] ) ), 0U );
   EXPECT_NE( upperHalf( UniqueId( drawn[0] ) ), upperHalf( before ) );
   EXPECT_EQ( drawn[1], drawn[0] + 1 );
   EXPECT_EQ( UniqueId().value(), before.value() + 1 );
}

TEST( UniqueId, TextIs16HexadecimalDigitsBothWays ) {
   struct Form {
      U64 value;
      const char* text;
   };
   for ( const auto& [value, text] :
         { Form{ 0, "0000000000000000" }, Form{ 1, "0000000000000001" },
           Form{ 0xABCDEF, "0000000000abcdef" }, Form{ 0x0123456789ABCDEF, "0123456789abcdef" },
           Form{ 0x8000000000000000, "8000000000000000" },
           Form{ 0xFFFFFFFFFFFFFFFF, "ffffffffffffffff" } } ) {
      EXPECT_EQ( UniqueId( value ).stringValue(), text );
      EXPECT_EQ( UniqueId::fromText( text ), UniqueId( value ) );
   }
   EXPECT_EQ( UniqueId::fromText( "0123456789ABCDEF" ), UniqueId( 0x0123456789ABCDEF ) );
   std::mt19937_64 random( 20240229 );
   for ( int i = 0; i < 10'000; ++i ) {
      const UniqueId id( random() >> random() % 64 );
      ASSERT_EQ( UniqueId::fromText( id.stringValue() ), id );
   }
}

TEST( UniqueId, OtherTextsAreNone ) {
   for ( const char* const text :
         { "", "0", "000000000000000", "00000000000000000", "000000000000000g", "0x00000000000001",
           "-000000000000001", "+000000000000001", " 000000000000001", "000000000000001 " } ) {
      EXPECT_EQ( UniqueId::fromText( text ), std::nullopt ) << text;
   }
}

TEST( UniqueId, OrderAndHashFollowTheNumber ) {
   EXPECT_LT( UniqueId( 1 ), UniqueId( 2 ) );
   EXPECT_LT( UniqueId( 0xFFFFFFFF ), UniqueId( 0x100000000 ) );
   EXPECT_LT( UniqueId( 1 ), UniqueId( 0x8000000000000000 ) );
   EXPECT_NE( UniqueId( 1 ).hash(), UniqueId( 2 ).hash() );
   EXPECT_NE( UniqueId( 1 ).hash(), UniqueId( 0x100000000 ).hash() );
}

TEST( UniqueId, StreamGetsTheTextWhateverItsState ) {
   std::ostringstream out;
   out << std::setw( 30 ) << std::dec << UniqueId( 0x10 );
   EXPECT_EQ( out.str(), "0000000000000010" );
}

} // namespace
