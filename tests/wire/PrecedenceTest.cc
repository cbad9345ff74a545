#include "wire/Precedence.h"

#include "Flowspec/key/FlowspecKeyReader.h"
#include "tests/support/Hex.h"
#include "tests/support/KeyGenerator.h"
#include "tests/wire/NlriData.h"
#include "wire/NlriEncoder.h"

#include <algorithm>

#include <gmock/gmock.h>

namespace Wire {
namespace {

using namespace Flowspec;
using TestSupport::KeyGenerator;

FlowspecKey keyOf( std::string_view text ) {
   FlowspecKey key;
   key.addressFamilyIs( Zorv::AddressFamily::ipv4 );
   EXPECT_FALSE( readStrCli( text, false, key ) ) << text;
   return key;
}

TEST( Precedence, IsThatOfRfc8955 ) {
   // From the first to the last.
   constexpr std::string_view texts[] = {
      "10.0.0.0/24;*;IP:=6",        // inside the next
      "10.0.0.0/16;10.0.0.0/8",     // with a source
      "10.0.0.0/16;*;IP:=1",        // the lower protocol
      "10.0.0.0/16;*;IP:=6;DP:=80", // more components
      "10.0.0.0/16;*;IP:=6",
      "10.0.0.0/16;*;DP:=80",
      "10.0.0.0/16;*",
      "10.1.0.0/24;*", // the higher address
      "10.1.0.0/16;*",
      "10.0.0.0/8;*",
      "11.0.0.0/8;*",
      "0.0.0.0/0;*", // is there, unlike those below
      "*;10.0.0.0/8",
      "*;*;IP:=6",
      "*;*;P:=80",
      "*;*;DP:=80|=443", // "=80" has the end-of-list bit and so a higher operator
      "*;*;DP:=80",
      "*;*;SP:=1024",
      "*;*;FL:=1",
      "*;*",
   };
   for ( std::size_t i = 0; i < std::size( texts ); ++i ) {
      for ( std::size_t j = 0; j < std::size( texts ); ++j ) {
         EXPECT_EQ( precedes( keyOf( texts[i] ), keyOf( texts[j] ) ), i < j )
            << texts[i] << " and " << texts[j];
      }
   }
}

TEST( Precedence, KeysAreOrderedAsTheyAreWritten ) {
   // An AND on a first term, reserved bits, ends of lists where no component ends.
   FlowspecKey odd;
   odd.addressFamilyIs( Zorv::AddressFamily::ipv4 );
   odd.setOpVal( 0, ipProto, 0xC9, 6 );
   odd.setOpVal( 1, ipProto, 0x01, 17 );
   const FlowspecKey plain = keyOf( "*;*;IP:=6|=17" );
   EXPECT_TRUE( precedes( odd, keyOf( "*;*;IP:=6|=18" ) ) );
   EXPECT_TRUE( precedes( keyOf( "*;*;IP:=6|=16" ), odd ) );
   EXPECT_EQ( precedes( odd, plain ), FlowspecKeyOrder()( odd, plain ) );
}

TEST( Precedence, TheOrderOfTheWordsDoesNotCount ) {
   FlowspecKey ordered;
   ordered.setOpVal( 0, ipProto, 0x81, 6 );
   ordered.setOpVal( 1, destPort, 0x81, 80 );
   FlowspecKey reversed;
   reversed.setOpVal( 0, destPort, 0x81, 80 );
   reversed.setOpVal( 1, ipProto, 0x81, 6 );
   FlowspecKey between;
   between.setOpVal( 0, ipProto, 0x81, 6 );
   EXPECT_TRUE( precedes( ordered, between ) );
   EXPECT_TRUE( precedes( reversed, between ) );
   EXPECT_NE( precedes( ordered, reversed ), precedes( reversed, ordered ) );
}

TEST( Precedence, EqualRulesAreOrderedAsKeys ) {
   FlowspecKey a = keyOf( "10.0.0.0/8;*" );
   FlowspecKey b = a;
   b.vrfIdIs( 3 );
   EXPECT_FALSE( precedes( a, a ) );
   EXPECT_EQ( precedes( a, b ), FlowspecKeyOrder()( a, b ) );
   EXPECT_EQ( precedes( b, a ), FlowspecKeyOrder()( b, a ) );
   b = a;
   b.interfaceSetPush( 3 );
   EXPECT_NE( precedes( a, b ), precedes( b, a ) );
}

TEST( Precedence, KeysThatCannotBeWalkedGoLast ) {
   FlowspecKey broken = keyOf( "10.0.0.0/32;*" );
   broken.matchOpValIs( 0, MatchOpVal( 0x03B10006 ) );
   EXPECT_TRUE( precedes( keyOf( "*;*" ), broken ) );
   EXPECT_FALSE( precedes( broken, keyOf( "*;*" ) ) );
}

/// A rule as bytes that compare as the RFC wants its rules tried: each component is its type and
/// its content, and no component, like no more content, is higher than all. A prefix is a byte for
/// each bit. A byte of content takes two, so that the end can be higher.
std::string oracle( const FlowspecKey& key ) {
   std::string text;
   const auto add = [&]( unsigned byte ) {
      text += static_cast< char >( byte >> 8 );
      text += static_cast< char >( byte );
   };
   const auto addPrefix = [&]( unsigned type, const Zorv::IpGenPrefix& prefix ) {
      if ( prefix.empty() ) {
         return;
      }
      add( type );
      add( static_cast< unsigned >( prefix.family() ) );
      for ( unsigned bit = 0; bit < prefix.length(); ++bit ) {
         add( ( prefix.address().bytes()[bit / 8] >> ( 7 - bit % 8 ) ) & 1U );
      }
      add( 0x100 );
   };
   addPrefix( 1, key.destPrefix() );
   addPrefix( 2, key.srcPrefix() );
   for ( unsigned type = 3; type <= 13; ++type ) {
      // The terms of the type, which stand together.
      std::vector< unsigned > content;
      for ( U32 i = 0; i < key.matchOpVals(); ++i ) {
         const MatchOpVal word = key.matchOpVal( i );
         const bool wide = word.byteLength() == 4;
         const MatchOpVal second = wide ? key.matchOpVal( ++i ) : MatchOpVal();
         if ( static_cast< unsigned >( word.matchType() ) != type ) {
            continue;
         }
         content.push_back( word.op() );
         if ( word.byteLength() > 1 ) {
            content.push_back( word.val() >> 8 );
         }
         content.push_back( word.val() & 0xFF );
         if ( wide ) {
            content.push_back( second.val() >> 8 );
            content.push_back( second.val() & 0xFF );
         }
      }
      if ( !content.empty() ) {
         add( type );
         std::ranges::for_each( content, add );
         add( 0x100 );
      }
   }
   add( 0x100 );
   return text;
}

/// A rule whose types are at one place each, in any order, with few different contents.
FlowspecKey randomRule( KeyGenerator& random ) {
   FlowspecKey key;
   key.addressFamilyIs( Zorv::AddressFamily::ipv4 );
   const auto prefix = [&] {
      const U32 address = 0x0A000000 | static_cast< U32 >( random.below( 4 ) << 16 );
      return Zorv::IpGenPrefix( Zorv::IpGenAddr::ipv4( address ),
                                static_cast< unsigned >( random.below( 18 ) ) );
   };
   if ( random.oneIn( 2 ) ) {
      key.destPrefixIs( prefix() );
   }
   if ( random.oneIn( 3 ) ) {
      key.srcPrefixIs( prefix() );
   }
   const auto first = static_cast< U32 >( random.below( 3 ) );
   const U64 components = random.below( 4 );
   U32 index = 0;
   for ( U32 i = 0; i < components; ++i ) {
      const auto type = static_cast< MatchCompType >( 3 + ( first + i ) % 4 );
      for ( U64 terms = 1 + random.below( 2 ); terms > 0; --terms ) {
         const U64 op = random.below( 3 ) << 4 | ( terms == 1 ? 0x81U : 0x01U );
         index = key.setOpVal( index, type, static_cast< U8 >( op ),
                               static_cast< U32 >( random.below( 3 ) * 0x01FF ) );
      }
   }
   return key;
}

TEST( Precedence, AgreesWithTheBytes ) {
   KeyGenerator random( 51 );
   unsigned equal = 0;
   constexpr unsigned rounds = 50'000U;
   for ( unsigned i = 0; i < rounds; ++i ) {
      const FlowspecKey a = randomRule( random );
      const FlowspecKey b = random.oneIn( 10 ) ? a : randomRule( random );
      const std::string bytesA = oracle( a );
      const std::string bytesB = oracle( b );
      const int order = bytesA.compare( bytesB );
      equal += order == 0;
      ASSERT_EQ( precedes( a, b ), order == 0 ? FlowspecKeyOrder()( a, b ) : order < 0 )
         << a.stringValue() << " and " << b.stringValue();
      const int octetOrder = precedence( a ).compare( precedence( b ) );
      ASSERT_EQ( octetOrder < 0, order < 0 ) << a.stringValue() << " and " << b.stringValue();
      ASSERT_EQ( octetOrder == 0, order == 0 ) << a.stringValue() << " and " << b.stringValue();
   }
   EXPECT_GT( equal, rounds / 50 );
}

TEST( Precedence, IsAStrictTotalOrderOfAnyKeys ) {
   KeyGenerator random( 52 );
   for ( unsigned round = 0; round < 40; ++round ) {
      std::vector< FlowspecKey > keys;
      for ( unsigned i = 0; i < 24; ++i ) {
         switch ( random.below( 4 ) ) {
         case 0:
            keys.push_back( random.arbitraryKey( 5 ) );
            break;
         case 1:
            keys.push_back( random.similarKey() );
            break;
         case 2:
            keys.push_back( random.canonicalKey() );
            break;
         default:
            keys.push_back( randomRule( random ) );
         }
      }
      for ( const FlowspecKey& a : keys ) {
         for ( const FlowspecKey& b : keys ) {
            ASSERT_EQ( precedes( a, b ) + precedes( b, a ), a == b ? 0 : 1 );
            const int order = precedence( a ).compare( precedence( b ) );
            ASSERT_EQ( precedes( a, b ), order == 0 ? FlowspecKeyOrder()( a, b ) : order < 0 )
               << a.stringValue() << " and " << b.stringValue();
            for ( const FlowspecKey& c : keys ) {
               ASSERT_TRUE( !precedes( a, b ) || !precedes( b, c ) || precedes( a, c ) );
            }
         }
      }
   }
}

bool octetsPrecede( std::string_view a, std::string_view b,
                    Zorv::AddressFamily family = Zorv::AddressFamily::ipv6 ) {
   return precedes( TestSupport::bytesOf( a ), TestSupport::bytesOf( b ), family );
}

TEST( PrecedenceOfOctets, IsThatOfRfc8956 ) {
   // From the first to the last.
   constexpr std::string_view octets[] = {
      "01 40 00 20010db800000001", // inside the next
      "01 20 00 20010db8 02 20 10 0db8",
      "01 20 00 20010db8 02 18 10 0d",   // the shorter one contains the one before
      "01 20 00 20010db8 02 20 11 0db8", // the higher offset
      "01 20 00 20010db8 03 8106",
      "01 20 00 20010db8",
      "01 20 00 20010db9",
      "01 00 00",
      "01 20 10 0db7",
      "01 20 10 0db8",
      "02 20 00 20010db8",
      "03 0106 8111",
      "03 8106",
      "0d a1 00000005",
      "",
   };
   for ( std::size_t i = 0; i < std::size( octets ); ++i ) {
      for ( std::size_t j = 0; j < std::size( octets ); ++j ) {
         EXPECT_EQ( octetsPrecede( octets[i], octets[j] ), i < j )
            << octets[i] << " and " << octets[j];
      }
   }
   // Bits after a prefix do not count.
   EXPECT_FALSE( octetsPrecede( "01 0a 0a3f", "01 0a 0a00", Zorv::AddressFamily::ipv4 ) );
   EXPECT_FALSE( octetsPrecede( "01 0a 0a00", "01 0a 0a3f", Zorv::AddressFamily::ipv4 ) );
   EXPECT_TRUE( octetsPrecede( "01 0a 0a3f 038106", "01 0a 0a00", Zorv::AddressFamily::ipv4 ) );
   // Content that ends too early: the longer goes first.
   EXPECT_TRUE( octetsPrecede( "03 0106 0111", "03 0106" ) );
}

TEST( PrecedenceOfOctets, IsTheOrderOfTheKeys ) {
   KeyGenerator random( 53 );
   unsigned compared = 0;
   constexpr unsigned rounds = 50'000U;
   for ( unsigned i = 0; i < rounds; ++i ) {
      const auto draw = [&] {
         return random.oneIn( 4 ) ? random.canonicalKey() : randomRule( random );
      };
      const FlowspecKey a = draw();
      const FlowspecKey b = random.oneIn( 10 ) ? a : draw();
      const auto family = a.addressFamily();
      std::vector< U8 > octetsA;
      std::vector< U8 > octetsB;
      if ( encodeNlri( a, { family, false }, {}, ValueLengths::asStored, octetsA ) ||
           encodeNlri( b, { family, false }, {}, ValueLengths::asStored, octetsB ) ) {
         continue;
      }
      ++compared;
      const auto componentsOf = []( const std::vector< U8 >& octets ) {
         return std::span( octets ).subspan( octets[0] < 0xF0 ? 1 : 2 );
      };
      const auto componentsA = componentsOf( octetsA );
      const auto componentsB = componentsOf( octetsB );
      const bool aFirst = precedes( componentsA, componentsB, family );
      const bool bFirst = precedes( componentsB, componentsA, family );
      ASSERT_EQ( precedes( a, b ), aFirst || ( !bFirst && FlowspecKeyOrder()( a, b ) ) )
         << a.stringValue() << " and " << b.stringValue();
   }
   EXPECT_GT( compared, rounds / 4 );
}

TEST( PrecedenceOfOctets, IsAStrictWeakOrderOfAnyOctets ) {
   KeyGenerator random( 54 );
   const auto& lines = TestSupport::nlriLines();
   for ( unsigned round = 0; round < 60; ++round ) {
      const auto family = round % 2 == 0 ? Zorv::AddressFamily::ipv4 : Zorv::AddressFamily::ipv6;
      std::vector< std::vector< U8 > > all;
      for ( unsigned i = 0; i < 24; ++i ) {
         std::vector< U8 > octets;
         if ( random.oneIn( 2 ) ) {
            octets = lines[random.below( lines.size() )].octets;
            octets.erase( octets.begin() );
            octets.resize( octets.size() - random.below( std::min< U64 >( octets.size(), 3 ) ) );
         } else {
            static constexpr U8 few[] = { 0, 1, 2, 3, 8, 17, 0x80, 0x81, 0x91, 0xFF };
            for ( U64 size = random.below( 8 ); size > 0; --size ) {
               octets.push_back( random.oneOf( few ) );
            }
         }
         all.push_back( octets );
      }
      const auto less = [&]( const auto& a, const auto& b ) { return precedes( a, b, family ); };
      const auto equal = [&]( const auto& a, const auto& b ) {
         return !less( a, b ) && !less( b, a );
      };
      for ( const auto& a : all ) {
         ASSERT_FALSE( less( a, a ) );
         for ( const auto& b : all ) {
            ASSERT_FALSE( less( a, b ) && less( b, a ) );
            for ( const auto& c : all ) {
               ASSERT_TRUE( !less( a, b ) || !less( b, c ) || less( a, c ) );
               ASSERT_TRUE( !equal( a, b ) || !equal( b, c ) || equal( a, c ) );
            }
         }
      }
   }
}

} // namespace
} // namespace Wire
