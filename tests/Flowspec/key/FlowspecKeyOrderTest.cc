#include "Flowspec/key/FlowspecKey.h"

#include "tests/support/KeyGenerator.h"

#include <algorithm>
#include <map>
#include <vector>

#include <gtest/gtest.h>

namespace Flowspec {
namespace {

using TestSupport::KeyGenerator;

Zorv::IpGenPrefix prefix( const char* text ) { return Zorv::IpGenPrefix::fromText( text ).value(); }

FlowspecKey keyOf( std::initializer_list< U32 > words, std::initializer_list< U16 > sets = {} ) {
   FlowspecKey key;
   U32 index = 0;
   for ( const U32 word : words ) {
      key.matchOpValIs( index++, MatchOpVal( word ) );
   }
   for ( const U16 set : sets ) {
      key.interfaceSetPush( set );
   }
   return key;
}

// The operator in small steps: each attribute decides when it differs, and otherwise the next one.
bool slowLess( const FlowspecKey& a, const FlowspecKey& b ) {
   if ( a.vrfId() != b.vrfId() ) {
      return a.vrfId() < b.vrfId();
   }
   const int familyA = static_cast< int >( a.addressFamily() );
   const int familyB = static_cast< int >( b.addressFamily() );
   if ( familyA != familyB ) {
      return familyA < familyB;
   }
   const int destination = FlowspecKey::cmpPrefix( a.destPrefix(), b.destPrefix() );
   if ( destination != 0 ) {
      return destination < 0;
   }
   const int source = FlowspecKey::cmpPrefix( a.srcPrefix(), b.srcPrefix() );
   if ( source != 0 ) {
      return source < 0;
   }
   auto wordA = a.matchOpVal().begin();
   auto wordB = b.matchOpVal().begin();
   while ( wordA != a.matchOpVal().end() ) {
      if ( wordB == b.matchOpVal().end() ) {
         return true; // the other one's words ran out first
      }
      if ( ( *wordA ).index != ( *wordB ).index ) {
         return ( *wordA ).index < ( *wordB ).index;
      }
      if ( ( *wordA ).word != ( *wordB ).word ) {
         return ( *wordA ).word.storage() < ( *wordB ).word.storage();
      }
      ++wordA;
      ++wordB;
   }
   for ( U32 i = 0; i < a.interfaceSets() && i < b.interfaceSets(); ++i ) {
      if ( a.interfaceSet( i ) != b.interfaceSet( i ) ) {
         return a.interfaceSet( i ) < b.interfaceSet( i );
      }
   }
   return a.interfaceSets() > b.interfaceSets();
}

FlowspecKey anyKey( KeyGenerator& generator ) {
   return generator.oneIn( 8 ) ? generator.arbitraryKey() : generator.similarKey();
}

TEST( CmpPrefix, PrefixIsBeforeTheEmptyOne ) {
   EXPECT_EQ( FlowspecKey::cmpPrefix( {}, {} ), 0 );
   EXPECT_EQ( FlowspecKey::cmpPrefix( prefix( "0.0.0.0/0" ), {} ), -1 );
   EXPECT_EQ( FlowspecKey::cmpPrefix( {}, prefix( "::/0" ) ), 1 );
}

TEST( CmpPrefix, PrefixesAreOrderedByFamilyAddressAndLength ) {
   const char* const ascending[] = { "0.0.0.0/0",  "0.0.0.0/8",     "9.255.0.0/16",  "10.0.0.0/8",
                                     "10.0.0.0/9", "10.1.0.0/16",   "200.0.0.0/8",   "::/0",
                                     "::1/128",    "2001:db8::/32", "2001:db8::/33", "ff00::/8" };
   for ( std::size_t i = 0; i < std::size( ascending ); ++i ) {
      for ( std::size_t j = 0; j < std::size( ascending ); ++j ) {
         EXPECT_EQ( FlowspecKey::cmpPrefix( prefix( ascending[i] ), prefix( ascending[j] ) ),
                    i < j ? -1 : i > j )
            << ascending[i] << ' ' << ascending[j];
      }
   }
}

TEST( KeyLess, AttributesDecideInTheirOrder ) {
   FlowspecKey low = keyOf( { 0x03810006 }, { 1 } );
   low.vrfIdIs( 1 );
   low.addressFamilyIs( Zorv::AddressFamily::ipv4 );
   low.destPrefixIs( prefix( "10.0.0.0/8" ) );
   low.srcPrefixIs( prefix( "10.0.0.0/8" ) );
   FlowspecKey high = low;
   EXPECT_FALSE( low < high );
   const auto expectLess = []( const FlowspecKey& less, const FlowspecKey& more ) {
      EXPECT_LT( less, more );
      EXPECT_FALSE( more < less );
   };
   // Each step outweighs all before it.
   low.interfaceSetIs( 0, 0 );
   expectLess( low, high );
   high.matchOpValIs( 0, MatchOpVal( 0x03810005 ) );
   expectLess( high, low );
   low.srcPrefixIs( prefix( "9.0.0.0/8" ) );
   expectLess( low, high );
   high.destPrefixIs( prefix( "9.0.0.0/8" ) );
   expectLess( high, low );
   low.addressFamilyIs( Zorv::AddressFamily::none );
   expectLess( low, high );
   high.vrfIdIs( 0 );
   expectLess( high, low );
}

TEST( KeyLess, NumbersAreUnsigned ) {
   FlowspecKey low;
   FlowspecKey high;
   low.vrfIdIs( 1 );
   high.vrfIdIs( 0xFFFFFFFF );
   EXPECT_LT( low, high );
   EXPECT_FALSE( high < low );
   EXPECT_LT( keyOf( { 1 } ), keyOf( { 0xFFFFFFFF } ) );
   EXPECT_LT( keyOf( {}, { 1 } ), keyOf( {}, { 0xFFFF } ) );
   low = high;
   low.addressFamilyIs( Zorv::AddressFamily::ipv6 );
   high.addressFamilyIs( Zorv::AddressFamily{ 200 } );
   EXPECT_LT( low, high );
}

TEST( KeyLess, ConcretePrefixIsBeforeAnyAddress ) {
   FlowspecKey concrete;
   concrete.destPrefixIs( prefix( "10.0.0.0/8" ) );
   EXPECT_LT( concrete, FlowspecKey() );
   EXPECT_FALSE( FlowspecKey() < concrete );
}

TEST( KeyLess, SmallerIndexIsLessWhateverTheWord ) {
   FlowspecKey low;
   FlowspecKey high;
   low.matchOpValIs( 0, MatchOpVal( 0xFFFFFFFF ) );
   high.matchOpValIs( 1, MatchOpVal( 0 ) );
   EXPECT_LT( low, high );
   EXPECT_FALSE( high < low );
}

TEST( KeyLess, LongerInterfaceListIsBeforeItsOwnBeginning ) {
   EXPECT_LT( keyOf( {}, { 1, 2 } ), keyOf( {}, { 1 } ) );
   EXPECT_FALSE( keyOf( {}, { 1 } ) < keyOf( {}, { 1, 2 } ) );
   EXPECT_LT( keyOf( {}, { 1 } ), keyOf( {} ) );
   EXPECT_LT( keyOf( {}, { 1, 2 } ), keyOf( {}, { 2 } ) );
}

TEST( KeyLess, KeyWithMoreWordsIsBeforeItsOwnBeginning ) {
   EXPECT_LT( keyOf( { 7, 8 } ), keyOf( { 7 } ) );
   EXPECT_LT( keyOf( { 7, 8 }, { 9 } ), keyOf( { 7 }, { 1 } ) );
   EXPECT_FALSE( keyOf( { 7 } ) < keyOf( { 7, 8 } ) );
}

TEST( KeyLess, TwoKeysCanEachBeLessThanTheOther ) {
   const FlowspecKey shorter = keyOf( { 7 }, { 1 } );
   const FlowspecKey longer = keyOf( { 7, 8 }, { 2 } );
   EXPECT_LT( longer, shorter ); // by its words
   EXPECT_LT( shorter, longer ); // by the interface sets
   EXPECT_TRUE( FlowspecKeyOrder()( longer, shorter ) );
   EXPECT_FALSE( FlowspecKeyOrder()( shorter, longer ) );
}

TEST( KeyLess, AgreesWithTheSlowModel ) {
   KeyGenerator generator( 10 );
   int less = 0;
   int mutuallyLess = 0;
   for ( int i = 0; i < 100000; ++i ) {
      const FlowspecKey a = anyKey( generator );
      const FlowspecKey b = anyKey( generator );
      ASSERT_EQ( a < b, slowLess( a, b ) ) << a.toStrep() << "  " << b.toStrep();
      less += a < b;
      mutuallyLess += a < b && b < a;
   }
   // The keys are close enough to meet all cases.
   EXPECT_GT( less, 30000 );
   EXPECT_GT( mutuallyLess, 1000 );
}

TEST( FlowspecKeyOrder, IsTrichotomousAgreesWithEqualityAndIsFollowedByTheOperator ) {
   KeyGenerator generator( 11 );
   const FlowspecKeyOrder before;
   int equal = 0;
   for ( int i = 0; i < 100000; ++i ) {
      const FlowspecKey a = anyKey( generator );
      const FlowspecKey b = anyKey( generator );
      ASSERT_EQ( before( a, b ) + before( b, a ) + ( a == b ), 1 )
         << a.toStrep() << "  " << b.toStrep();
      ASSERT_EQ( FlowspecKeyOrder::compare( a, b ), -FlowspecKeyOrder::compare( b, a ) );
      ASSERT_EQ( FlowspecKeyOrder::compare( a, b ) < 0, before( a, b ) );
      if ( before( a, b ) ) {
         ASSERT_LT( a, b );
      }
      ASSERT_FALSE( before( a, a ) );
      equal += a == b;
   }
   EXPECT_GT( equal, 100 );
}

TEST( FlowspecKeyOrder, IsTransitive ) {
   KeyGenerator generator( 12 );
   const FlowspecKeyOrder before;
   int chains = 0;
   for ( int i = 0; i < 100000; ++i ) {
      const FlowspecKey a = anyKey( generator );
      const FlowspecKey b = anyKey( generator );
      const FlowspecKey c = anyKey( generator );
      if ( before( a, b ) && before( b, c ) ) {
         ASSERT_TRUE( before( a, c ) );
         ++chains;
      }
   }
   EXPECT_GT( chains, 10000 );
}

TEST( FlowspecKeyOrder, SortedNeighboursAreInOrderUnderTheOperator ) {
   KeyGenerator generator( 13 );
   std::vector< FlowspecKey > keys;
   for ( int i = 0; i < 20000; ++i ) {
      keys.push_back( anyKey( generator ) );
   }
   std::ranges::sort( keys, FlowspecKeyOrder() );
   keys.erase( std::unique( keys.begin(), keys.end() ), keys.end() );
   ASSERT_GT( keys.size(), 3000U );
   for ( std::size_t i = 1; i < keys.size(); ++i ) {
      EXPECT_LT( keys[i - 1], keys[i] );
   }
   for ( const FlowspecKey& key : keys ) {
      EXPECT_TRUE( std::ranges::binary_search( keys, key, FlowspecKeyOrder() ) );
   }
}

TEST( FlowspecKeyOrder, MapFindsEveryKeyAndNoOther ) {
   KeyGenerator generator( 14 );
   std::map< FlowspecKey, int, FlowspecKeyOrder > map;
   std::vector< FlowspecKey > keys;
   for ( int i = 0; i < 20000; ++i ) {
      const FlowspecKey key = anyKey( generator );
      if ( map.emplace( key, static_cast< int >( keys.size() ) ).second ) {
         keys.push_back( key );
      }
   }
   for ( std::size_t i = 0; i < keys.size(); ++i ) {
      const auto found = map.find( keys[i] );
      ASSERT_NE( found, map.end() );
      EXPECT_EQ( found->second, static_cast< int >( i ) );
   }
   for ( std::size_t i = 0; i < keys.size(); i += 2 ) {
      EXPECT_EQ( map.erase( keys[i] ), 1U );
   }
   for ( std::size_t i = 0; i < keys.size(); ++i ) {
      EXPECT_EQ( map.contains( keys[i] ), i % 2 == 1 );
   }
}

} // namespace
} // namespace Flowspec
