#include "Flowspec/key/FlowspecKey.h"

#include "tests/support/ExpectFailure.h"
#include "tests/support/KeyGenerator.h"

#include <functional>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

namespace Flowspec {
namespace {

using testing::ElementsAre;
using TestSupport::KeyGenerator;
using Zorv::AddressFamily;

static_assert( sizeof( FlowspecKey ) <= 160 );
static_assert( !std::is_convertible_v< FlowspecKey, bool > );
static_assert( std::is_constructible_v< bool, FlowspecKey > );
static_assert( std::is_nothrow_move_constructible_v< FlowspecKey > );
static_assert( std::is_nothrow_move_assignable_v< FlowspecKey > );

Zorv::IpGenPrefix prefix( const char* text ) { return Zorv::IpGenPrefix::fromText( text ).value(); }

struct Change {
   const char* attribute;
   std::function< void( FlowspecKey& ) > make;
};

const Change changes[] = {
   { "vrfId", []( FlowspecKey& key ) { key.vrfIdIs( 0 ); } },
   { "addressFamily", []( FlowspecKey& key ) { key.addressFamilyIs( AddressFamily::ipv4 ); } },
   { "destPrefix", []( FlowspecKey& key ) { key.destPrefixIs( prefix( "0.0.0.0/0" ) ); } },
   { "srcPrefix", []( FlowspecKey& key ) { key.srcPrefixIs( prefix( "::/0" ) ); } },
   { "matchOpVal", []( FlowspecKey& key ) { key.matchOpValIs( 0, MatchOpVal() ); } },
   { "interfaceSet", []( FlowspecKey& key ) { key.interfaceSetPush( 0 ); } },
};

TEST( FlowspecKey, DefaultHasNothing ) {
   const FlowspecKey key;
   EXPECT_EQ( key.vrfId(), 16777215U );
   EXPECT_EQ( key.addressFamily(), AddressFamily::none );
   EXPECT_TRUE( key.destPrefix().empty() );
   EXPECT_TRUE( key.srcPrefix().empty() );
   EXPECT_EQ( key.matchOpVals(), 0U );
   EXPECT_TRUE( key.matchOpVal().empty() );
   EXPECT_EQ( key.interfaceSets(), 0U );
   EXPECT_TRUE( key.interfaceSet().empty() );
}

TEST( FlowspecKey, IsTrueWhenAnyAttributeDiffersFromTheDefault ) {
   EXPECT_FALSE( FlowspecKey() );
   for ( const Change& change : changes ) {
      FlowspecKey key;
      change.make( key );
      EXPECT_TRUE( key ) << change.attribute;
   }
}

TEST( FlowspecKey, IsFalseAgainWhenTheAttributesAreTakenBack ) {
   FlowspecKey key;
   for ( const Change& change : changes ) {
      change.make( key );
   }
   key.vrfIdIs( Vrf::VrfIdMap::invalid() );
   key.addressFamilyIs( AddressFamily::none );
   key.destPrefixIs( {} );
   key.srcPrefixIs( {} );
   key.matchOpValDel( 0 );
   EXPECT_TRUE( key );
   key.interfaceSetPop();
   EXPECT_FALSE( key );
}

TEST( FlowspecKey, EachAttributeCountsForEquality ) {
   for ( const Change& change : changes ) {
      FlowspecKey key;
      change.make( key );
      EXPECT_NE( key, FlowspecKey() ) << change.attribute;
      EXPECT_FALSE( key.isEq( FlowspecKey() ) ) << change.attribute;
      EXPECT_EQ( key.compare( FlowspecKey(), true ),
                 change.attribute == std::string( "interfaceSet" ) )
         << change.attribute;
      FlowspecKey same;
      change.make( same );
      EXPECT_EQ( key, same ) << change.attribute;
      EXPECT_TRUE( key.isEq( same ) ) << change.attribute;
      EXPECT_TRUE( key.compare( same, true ) ) << change.attribute;
   }
}

TEST( FlowspecKey, EqualityComparesIndicesAndWords ) {
   FlowspecKey a;
   FlowspecKey b;
   a.matchOpValIs( 0, MatchOpVal( 7 ) );
   b.matchOpValIs( 1, MatchOpVal( 7 ) );
   EXPECT_NE( a, b );
   EXPECT_FALSE( a.compare( b, true ) );
   b.matchOpValDel( 1 );
   b.matchOpValIs( 0, MatchOpVal( 8 ) );
   EXPECT_NE( a, b );
   b.matchOpValIs( 0, MatchOpVal( 7 ) );
   EXPECT_EQ( a, b );
   b.matchOpValIs( 1, MatchOpVal( 7 ) );
   EXPECT_NE( a, b );
   EXPECT_NE( b, a );
}

TEST( FlowspecKey, EqualityComparesInterfaceSetsInTheirOrder ) {
   FlowspecKey a;
   FlowspecKey b;
   a.interfaceSetPush( 1 );
   a.interfaceSetPush( 2 );
   b.interfaceSetPush( 2 );
   b.interfaceSetPush( 1 );
   EXPECT_NE( a, b );
   EXPECT_TRUE( a.compare( b, true ) );
   b.interfaceSetPop();
   EXPECT_NE( a, b );
   EXPECT_TRUE( a.compare( b, true ) );
   EXPECT_FALSE( a.compare( b, false ) );
}

TEST( FlowspecKey, EqualityComparesMoreInterfaceSetsThanHavePlace ) {
   FlowspecKey a;
   for ( U16 id = 1; id <= 8; ++id ) {
      a.interfaceSetPush( id );
   }
   FlowspecKey b = a;
   EXPECT_EQ( a, b );
   b.interfaceSetPop();
   b.interfaceSetPush( 9 );
   EXPECT_NE( a, b );
   EXPECT_TRUE( a.compare( b, true ) );
}

TEST( FlowspecKey, WordsAreInsertedReplacedAndRemovedByIndex ) {
   FlowspecKey key;
   key.matchOpValIs( 1, MatchOpVal( 11 ) );
   key.matchOpValIs( 0, MatchOpVal( 10 ) );
   key.matchOpValIs( 1, MatchOpVal( 12 ) );
   EXPECT_EQ( key.matchOpVals(), 2U );
   EXPECT_EQ( key.matchOpVal( 0 ), MatchOpVal( 10 ) );
   EXPECT_EQ( key.matchOpVal( 1 ), MatchOpVal( 12 ) );
   EXPECT_EQ( key.matchOpVal( 2 ), MatchOpVal() );
   EXPECT_EQ( key.matchOpValGet( 1 ), MatchOpVal( 12 ) );
   EXPECT_EQ( key.matchOpValGet( 2 ), std::nullopt );
   EXPECT_EQ( key.matchOpValGet( 2047 ), std::nullopt );
   key.matchOpValDel( 5 );
   EXPECT_EQ( key.matchOpVals(), 2U );
   key.matchOpValDel( 0 );
   EXPECT_EQ( key.matchOpVals(), 1U );
   EXPECT_EQ( key.matchOpValGet( 0 ), std::nullopt );
   key.matchOpValDelAll();
   EXPECT_FALSE( key );
}

TEST( FlowspecKey, WordsAreReplacedAllAtOnce ) {
   for ( const U32 count : { 0U, 1U, 8U, 9U, 2047U } ) {
      FlowspecKey wanted;
      std::vector< U32 > words;
      for ( U32 i = 0; i < count; ++i ) {
         const MatchOpVal word( destPort, 0x81, static_cast< U16 >( i ) );
         wanted.matchOpValIs( i, word );
         words.push_back( word.storage() );
      }
      for ( const U32 before : { 0U, 3U, 8U, 20U } ) {
         FlowspecKey key;
         for ( U32 i = 0; i < before; ++i ) {
            key.matchOpValIs( i, MatchOpVal( srcPort, 0x01, 7 ) );
         }
         key.matchOpValsAre( words );
         EXPECT_EQ( key, wanted ) << count << " for " << before;
         EXPECT_EQ( key.hash(), wanted.hash() );
      }
   }
}

TEST( FlowspecKey, InterfaceSetsAreAVectorWithCheckedPositions ) {
   FlowspecKey key;
   for ( const U16 id : std::initializer_list< U16 >{ 5, 5, 65535, 0, 9 } ) {
      key.interfaceSetPush( id );
   }
   key.interfaceSetIs( 4, 7 );
   EXPECT_THAT( key.interfaceSet(), ElementsAre( 5, 5, 65535, 0, 7 ) );
   EXPECT_EQ( key.interfaceSet( 2 ), 65535 );
   EXPECT_EQ( key.interfaceSetPop(), 7 );
   EXPECT_EQ( key.interfaceSets(), 4U );
   key.interfaceSetPopAll();
   EXPECT_FALSE( key );
}

TEST( FlowspecKey, InterfaceSetOperationsThatFailLeaveTheKey ) {
   FlowspecKey key;
   const FlowspecKey empty;
   EXPECT_THROW( key.interfaceSetPop(), Vek::EmptyVectorException );
   EXPECT_THROW( key.interfaceSetIs( 0, 1 ), Vek::VectorRangeException );
   EXPECT_THROW( empty.interfaceSet( 0 ), Vek::VectorRangeException );
   EXPECT_EQ( key, empty );
   key.interfaceSetPush( 3 );
   const FlowspecKey one = key;
   EXPECT_THROW( key.interfaceSetIs( 1, 1 ), Vek::VectorRangeException );
   EXPECT_THROW( key.interfaceSetIs( 0xFFFFFFFF, 1 ), Vek::VectorRangeException );
   // No position is cut to 32 bits.
   EXPECT_THROW( key.interfaceSetIs( 4294967296, 1 ), Vek::VectorRangeException );
   EXPECT_THROW( key.interfaceSet( 4294967296 ), Vek::VectorRangeException );
   EXPECT_EQ( key, one );
}

TEST( FlowspecKey, CopyIsDeep ) {
   KeyGenerator generator( 1 );
   for ( int i = 0; i < 2000; ++i ) {
      const FlowspecKey original = generator.arbitraryKey( i % 2 ? 6 : 40 );
      FlowspecKey source = original;
      FlowspecKey copy( source );
      FlowspecKey assigned = generator.arbitraryKey( 40 );
      assigned = source;
      FlowspecKey copiedIn = generator.arbitraryKey( 6 );
      copiedIn.copyIn( source );
      source.matchOpValIs( 3, MatchOpVal( ~original.matchOpVal( 3 ).storage() ) );
      source.interfaceSetPush( 1 );
      source.vrfIdIs( ~original.vrfId() );
      EXPECT_EQ( copy, original );
      EXPECT_EQ( assigned, original );
      EXPECT_EQ( copiedIn, original );
      EXPECT_NE( source, original );
   }
}

TEST( FlowspecKey, MovedFromKeyEqualsADefaultOne ) {
   KeyGenerator generator( 2 );
   for ( int i = 0; i < 2000; ++i ) {
      const FlowspecKey original = generator.arbitraryKey( i % 2 ? 6 : 40 );
      FlowspecKey source = original;
      FlowspecKey moved( std::move( source ) );
      EXPECT_EQ( moved, original );
      EXPECT_EQ( source, FlowspecKey() );
      FlowspecKey assigned = generator.arbitraryKey( 40 );
      assigned = std::move( moved );
      EXPECT_EQ( assigned, original );
      EXPECT_EQ( moved, FlowspecKey() );
      moved.matchOpValIs( 0, MatchOpVal( 1 ) );
      moved.interfaceSetPush( 1 );
      EXPECT_EQ( assigned, original );
   }
}

TEST( FlowspecKey, AssigningAKeyToItselfKeepsIt ) {
   KeyGenerator generator( 3 );
   for ( const U32 indices : { 6U, 40U } ) {
      FlowspecKey key = generator.arbitraryKey( indices );
      const FlowspecKey original = key;
      FlowspecKey& alias = key;
      key = alias;
      EXPECT_EQ( key, original );
      key = std::move( alias );
      EXPECT_EQ( key, original );
   }
}

TEST( FlowspecKeyDeathTest, HasNoConstructorFromText ) {
   EXPECT_ASSERTION( FlowspecKey( Vek::String( "5;ipv4;*;*;" ) ),
                     "\"No String constructor for FlowspecKey - has collection\" == nullptr" );
}

TEST( FlowspecKey, ConstantsOfTheTextForms ) {
   EXPECT_EQ( FlowspecKey::compSeparator(), ';' );
   EXPECT_EQ( FlowspecKey::compEnd(), ':' );
   EXPECT_EQ( FlowspecKey::cliStrRdAnchor(), "RD:" );
   EXPECT_EQ( FlowspecKey::cliStrRdDetail(), "Route Distinguisher: " );
}

} // namespace
} // namespace Flowspec
