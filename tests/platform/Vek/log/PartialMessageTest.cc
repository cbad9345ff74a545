#include "Vek/log/Receiver.h"
#include "Vek/log/Schema.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <random>

namespace Vek::log {
namespace {

using Bytes = std::vector< U8 >;

Bytes preamble( std::string_view types, U16 zero = 0 ) {
   Bytes bytes( preambleSize );
   LogWriter out( bytes.data() );
   out.u32( streamMagic );
   out.u16( streamVersion );
   out.u16( zero );
   out.u64( typesDigest( types ) );
   return bytes;
}

Bytes message( MessageKind kind, std::string_view payload, U64 entity = 0 ) {
   Bytes bytes( Header::size );
   LogWriter out( bytes.data() );
   writeHeader(
      out, { .length = static_cast< U32 >( payload.size() ), .kind = kind, .entity = entity } );
   bytes.insert( bytes.end(), payload.begin(), payload.end() );
   return bytes;
}

Bytes operator+( Bytes a, const Bytes& b ) {
   a.insert( a.end(), b.begin(), b.end() );
   return a;
}

Bytes agreed() { return preamble( typesText() ) + message( MessageKind::types, typesText() ); }

// Why a receiver refuses some bytes; "" when it does not.
String refusal( Receiver& receiver, std::span< const U8 > bytes ) {
   try {
      receiver.receive( bytes );
      return {};
   } catch ( const StreamException& exception ) {
      return exception.what();
   }
}

String refusal( const Bytes& bytes ) {
   Directory directory;
   Receiver receiver( directory );
   return refusal( receiver, bytes );
}

TEST( Preamble, EveryByteIsChecked ) {
   Bytes bytes = agreed();
   EXPECT_EQ( refusal( bytes ), "" );
   EXPECT_EQ( refusal( preamble( typesText(), 1 ) ), "bytes 6 and 7 of the preamble are 1, not 0" );
   EXPECT_EQ( refusal( preamble( typesText(), 0x8000 ) ),
              "bytes 6 and 7 of the preamble are 32768, not 0" );
   bytes[3] ^= 1;
   EXPECT_EQ( refusal( bytes ), "the peer does not speak the attribute log" );
   bytes[3] ^= 1;
   bytes[5] ^= 2;
   EXPECT_EQ( refusal( bytes ),
              "the peer speaks version 3 of the attribute log, this process version 1" );
   bytes[5] ^= 2;
   bytes[15] ^= 1;
   EXPECT_EQ( refusal( bytes ),
              "message 1 (types): the types do not have the digest that was told" );
}

TEST( FirstMessage, IsTheTypesAndIsTheOnlyOne ) {
   // A header suffices to refuse it.
   Bytes root = preamble( "" ) + message( MessageKind::root, String( 1000, 'x' ), 1 );
   root.resize( preambleSize + Header::size );
   EXPECT_EQ( refusal( root ), "message 1 (root): the types were not told" );
   EXPECT_EQ( refusal( preamble( "" ) + message( MessageKind::synchronised, "" ) ),
              "message 1 (synchronised): the types were not told" );
   EXPECT_EQ( refusal( agreed() + message( MessageKind::types, typesText() ) ),
              "message 2 (types): the types were told before" );
}

TEST( FirstMessage, HasABoundedLength ) {
   ASSERT_LT( typesText().size(), 65536U );
   EXPECT_EQ( Receiver::maxTypes(), 65536U );
   const String longest = String( 65535, 'x' ) + "\n";
   // Types that this process has not are none of its business.
   EXPECT_EQ( refusal( preamble( longest ) + message( MessageKind::types, longest ) ), "" );
   const String text( 65537, 'x' );
   Bytes longer = preamble( text ) + message( MessageKind::types, text );
   const String reason = "message 1 (types): a text of 65537 bytes is longer than 65536";
   EXPECT_EQ( refusal( longer ), reason );
   longer.resize( preambleSize + Header::size );
   EXPECT_EQ( refusal( longer ), reason );
}

TEST( PartialMessage, PiecesOfAnySizeGiveTheSame ) {
   std::mt19937_64 random( 1 );
   Bytes stream = agreed();
   for ( int i = 0; i < 5; ++i ) {
      stream = stream + message( MessageKind::synchronised, "" );
   }
   for ( int round = 0; round < 200; ++round ) {
      const std::size_t most = round == 0 ? 1 : 1 + random() % ( round < 100 ? 40 : 3000 );
      Directory directory;
      U64 seen = 0;
      Receiver receiver( directory, { .sees = [&]( const Header&, std::span< const U8 >,
                                                   const StreamType* ) { ++seen; } } );
      for ( std::span< const U8 > rest = stream; !rest.empty(); ) {
         const std::size_t size = std::min( rest.size(), 1 + random() % most );
         receiver.receive( rest.first( size ) );
         rest = rest.subspan( size );
         receiver.receive( {} );
      }
      ASSERT_EQ( seen, 6U );
      ASSERT_TRUE( receiver.atBoundary() );
      ASSERT_TRUE( receiver.synchronised() );
   }
}

// Receivers that have agreed on the types and share a budget.
class Budgeted : public testing::Test {
protected:
   Receiver& receiver() {
      receivers.push_back( std::make_unique< Receiver >(
         directory,
         Receiver::Policy{
            .sees =
               [this]( const Header& header, std::span< const U8 > payload, const StreamType* ) {
                  if ( header.kind == MessageKind::root ) {
                     largest = std::max( largest, payload.size() );
                  }
               },
            .budget = budget } ) );
      receivers.back()->receive( agreed() );
      return *receivers.back();
   }

   // The first `size` bytes of a message of 1 MiB.
   static Bytes begin( std::size_t size ) {
      Bytes bytes = message( MessageKind::root, String( 1U << 20, 'x' ), 1 );
      bytes.resize( size );
      return bytes;
   }

   // Gives a receiver bytes as a connection does.
   static String give( Receiver& receiver, std::span< const U8 > bytes ) {
      for ( ; !bytes.empty();
            bytes = bytes.subspan( std::min< std::size_t >( bytes.size(), 4096 ) ) ) {
         if ( const String reason =
                 refusal( receiver, bytes.first( std::min< std::size_t >( bytes.size(), 4096 ) ) );
              !reason.empty() ) {
            return reason;
         }
      }
      return {};
   }

   static constexpr std::size_t all = 2U << 20;
   static constexpr const char* refused =
      "message 2: messages that have not come whole take all the memory that is set aside for them";
   std::shared_ptr< Budget > budget = std::make_shared< Budget >( all );
   Directory directory;
   std::vector< std::unique_ptr< Receiver > > receivers;
   std::size_t largest = 0;
};

TEST_F( Budgeted, ShortMessagesTakeNothingOfIt ) {
   Bytes longest = message( MessageKind::root, String( Receiver::ownPart - Header::size, 'x' ), 1 );
   longest.pop_back();
   for ( int i = 0; i < 100; ++i ) {
      EXPECT_EQ( give( receiver(), longest ), "" );
   }
   EXPECT_EQ( budget->left(), all );
}

TEST_F( Budgeted, ALongMessageTakesNoMoreThanItsSize ) {
   Receiver& one = receiver();
   const Bytes whole = begin( Header::size + ( 1U << 20 ) );
   const std::span< const U8 > bytes( whole );
   std::size_t most = 0;
   for ( std::size_t at = 0; at + 4096 < bytes.size(); at += 4096 ) {
      EXPECT_EQ( give( one, bytes.subspan( at, 4096 ) ), "" );
      EXPECT_LE( at + 4096, Receiver::ownPart + all - budget->left() );
      most = std::max( most, all - budget->left() );
   }
   EXPECT_LE( most, whole.size() );
   EXPECT_THAT( give( one, bytes.last( whole.size() % 4096 ) ),
                testing::StartsWith( "message 2 (root): " ) );
   EXPECT_EQ( largest, 1U << 20 );
}

TEST_F( Budgeted, RoomGrowsWithWhatComesAndNotWithWhatAHeaderClaims ) {
   EXPECT_EQ( give( receiver(), begin( Receiver::ownPart + 1 ) ), "" );
   EXPECT_LE( all - budget->left(), 2 * Receiver::ownPart );
}

TEST_F( Budgeted, WhoExceedsItIsRefusedAndTheOthersGoOn ) {
   Receiver& first = receiver();
   const Bytes whole = begin( Header::size + ( 1U << 20 ) );
   EXPECT_EQ( give( first, std::span( whole ).first( whole.size() - 1 ) ), "" );
   EXPECT_EQ( give( receiver(), begin( whole.size() - 1 ) ), refused );
   receivers.pop_back();
   EXPECT_EQ( give( receiver(), message( MessageKind::synchronised, "" ) ), "" );
   EXPECT_EQ( give( receiver(), begin( 400000 ) ), "" );
   EXPECT_THAT( give( first, std::span( whole ).last( 1 ) ),
                testing::StartsWith( "message 2 (root): " ) );
   receivers.clear();
   EXPECT_EQ( budget->left(), all );
}

TEST( Budget, AShareOfNoneIsGrantedAnything ) {
   Budget::Share share( nullptr );
   EXPECT_TRUE( share.resize( ~std::size_t{ 0 } ) );
}

TEST( Budget, IsNeverExceeded ) {
   const auto budget = std::make_shared< Budget >( 10 );
   Budget::Share one( budget );
   {
      Budget::Share other( budget );
      EXPECT_TRUE( one.resize( 4 ) );
      EXPECT_TRUE( other.resize( 6 ) );
      EXPECT_EQ( budget->left(), 0U );
      EXPECT_FALSE( one.resize( 5 ) );
      EXPECT_FALSE( one.resize( ~std::size_t{ 0 } ) );
      EXPECT_TRUE( one.resize( 3 ) );
      EXPECT_TRUE( one.resize( 4 ) );
   }
   EXPECT_EQ( budget->left(), 6U );
   EXPECT_TRUE( one.resize( 10 ) );
   EXPECT_TRUE( one.resize( 0 ) );
   EXPECT_EQ( budget->left(), 10U );
}

} // namespace
} // namespace Vek::log
