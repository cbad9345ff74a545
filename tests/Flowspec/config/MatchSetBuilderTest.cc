#include "Flowspec/config/MatchSetBuilder.h"

#include "tests/support/ChangeRecorder.h"

#include <algorithm>
#include <numeric>
#include <random>

#include <gmock/gmock.h>

namespace Flowspec {
namespace {

using testing::ElementsAre;

/// Appends the terms of one component, as operator byte and value.
U32 add( FlowspecKey& key, U32 index, MatchCompType type,
         const std::vector< std::pair< U8, U32 > >& terms ) {
   for ( const auto& [op, value] : terms ) {
      index = key.setOpVal( index, type, op, value );
   }
   return index;
}

// The operator byte for a value of 4 bytes.
constexpr U8 wide( U64 flags ) { return static_cast< U8 >( flags | 0x20 ); }

bool passesNumeric( U32 value, U8 op, U32 operand ) {
   return ( op & 4 && value < operand ) || ( op & 2 && value > operand ) ||
          ( op & 1 && value == operand );
}

bool passesMask( U32 value, U8 op, U32 operand ) {
   const bool match = op & 1 ? ( value & operand ) == operand : ( value & operand ) != 0;
   return op & 2 ? !match : match;
}

// Alternatives of terms that are joined by AND; the first term's AND bit means nothing.
template < typename Passes >
bool passesTerms( U32 value, const std::vector< std::pair< U8, U32 > >& terms, Passes passes ) {
   bool any = false;
   bool all = true;
   for ( std::size_t i = 0; i < terms.size(); ++i ) {
      const auto& [op, operand] = terms[i];
      if ( i > 0 && !( op & 0x40 ) ) {
         any = any || all;
         all = true;
      }
      all = all && passes( value, op, operand );
   }
   return any || all;
}

// Values up to `max`, its neighbours beyond it included.
std::vector< std::pair< U8, U32 > > randomTerms( std::mt19937_64& random, U32 flags, U32 max ) {
   std::vector< std::pair< U8, U32 > > terms;
   for ( U64 count = 1 + random() % 5; count > 0; --count ) {
      const U8 op = wide( ( random() & flags ) | ( random() & 0x40 ) );
      const U32 edges[] = { 0, 1, max - 1, max, max + 1, 2 * max, 0xFFFFFF, ~U32{ 0 } };
      terms.emplace_back( op, random() % 4 == 0 ? edges[random() % 8]
                                                : static_cast< U32 >( random() % ( max + 1 ) ) );
   }
   return terms;
}

MatchComponent onlyComponent( MatchCompType type,
                              const std::vector< std::pair< U8, U32 > >& terms ) {
   FlowspecKey key;
   add( key, 0, type, terms );
   std::vector< MatchComponent > components;
   const auto error = matchSetFromKey( key, components );
   EXPECT_FALSE( error ) << error->message;
   EXPECT_EQ( components.size(), 1U );
   return components.empty() ? MatchComponent() : components[0];
}

TEST( MatchSetBuilder, RangesHoldWhatTheComparisonsLeave ) {
   constexpr std::pair< MatchCompType, U32 > types[] = {
      { ipProto, 255 }, { icmpType, 255 }, { icmpCode, 255 }, { dscp, 63 }, { destPort, 65535 } };
   std::mt19937_64 random( 5575 );
   for ( unsigned i = 0; i < 3000U; ++i ) {
      const auto [type, max] = types[i % 50 == 0 ? 4 : random() % 4];
      const auto terms = randomTerms( random, 7, max );
      const MatchComponent component = onlyComponent( type, terms );
      ASSERT_EQ( component.compType(), type );
      std::vector< bool > left( max + 1 );
      U32 end = 0; // one after the highest value of the ranges before
      bool first = true;
      for ( const NumericalRange* const range : component.numericalRange().sorted() ) {
         ASSERT_LE( range->rangeMax(), max );
         ASSERT_TRUE( first || range->rangeMin() > end ) << "ranges touch";
         std::fill( left.begin() + range->rangeMin(), left.begin() + range->rangeMax() + 1, true );
         end = range->rangeMax() + 1;
         first = false;
      }
      auto counted = terms;
      for ( auto& term : counted ) {
         term.second = type == dscp ? term.second % 64 : term.second;
      }
      for ( U32 value = 0; value <= max; ++value ) {
         ASSERT_EQ( left[value], passesTerms( value, counted, passesNumeric ) )
            << i << ' ' << value;
      }
      ASSERT_EQ( matchesNothing( component ), component.numericalRange().empty() );
   }
}

TEST( MatchSetBuilder, MaskAlternativesPassWhatTheTermsPass ) {
   std::mt19937_64 random( 8955 );
   for ( unsigned i = 0; i < 1200U; ++i ) {
      const MatchCompType type = i % 2 == 0 ? tcpFlags : fragment;
      const auto terms = randomTerms( random, 3, i % 3 == 0 ? 65535 : 15 );
      const MatchComponent component = onlyComponent( type, terms );
      std::vector< BitMask > masks;
      for ( const TcpBitMask& mask : component.tcpBitMask() ) {
         masks.push_back( mask );
      }
      for ( const IpBitMask& mask : component.ipBitMask() ) {
         masks.push_back( mask );
      }
      ASSERT_TRUE( type == tcpFlags ? component.ipBitMask().empty()
                                    : component.tcpBitMask().empty() );
      ASSERT_EQ( matchesNothing( component ), masks.empty() );
      // Whole packets and the first, a middle and the last fragment, with "don't fragment" and
      // without; or all flags of TCP.
      std::vector< U32 > fields{ 0, 1, 4, 5, 2, 3, 10, 11 };
      if ( type == tcpFlags ) {
         fields.resize( 4096 );
         std::iota( fields.begin(), fields.end(), 0U );
      }
      auto counted = terms;
      for ( auto& term : counted ) {
         term.second = type == fragment ? term.second % 16 : term.second;
      }
      bool any = false;
      for ( const U32 value : fields ) {
         bool passed = false;
         for ( const BitMask& mask : masks ) {
            const U32 wrong = ( value ^ mask.val() ) & mask.mask();
            passed = passed || ( mask.matchAll() ? wrong == 0 : wrong != mask.mask() );
         }
         any = any || passed;
         ASSERT_EQ( passed, passesTerms( value, counted, passesMask ) ) << i << ' ' << value;
      }
      ASSERT_EQ( any, !masks.empty() ) << i;
   }
}

// Of a key of a family, one term of fragment bits or two that are joined by AND.
Vek::HashSet< IpBitMask > fragmentMasks( Zorv::AddressFamily family,
                                         std::initializer_list< std::pair< U8, U32 > > terms ) {
   FlowspecKey key;
   key.addressFamilyIs( family );
   add( key, 0, fragment, terms );
   std::vector< MatchComponent > components;
   EXPECT_FALSE( matchSetFromKey( key, components ) );
   return components.at( 0 ).ipBitMask();
}

TEST( MatchSetBuilder, FragmentsThatCanBe ) {
   const auto masks = []( std::initializer_list< std::pair< U8, U32 > > terms ) {
      return fragmentMasks( Zorv::AddressFamily::ipv4, terms );
   };
   // The first fragment is at offset 0, so "is a fragment" is clear.
   EXPECT_EQ( masks( { { 1, 4 }, { 0x42, 2 } } ), Vek::HashSet{ IpBitMask( true, 4, 6 ) } );
   EXPECT_TRUE( masks( { { 1, 6 } } ).empty() );
   EXPECT_TRUE( masks( { { 1, 12 } } ).empty() );
   EXPECT_TRUE( masks( { { 1, 8 }, { 0x42, 2 } } ).empty() );
   EXPECT_EQ( masks( { { 1, 11 } } ), Vek::HashSet{ IpBitMask( true, 11, 11 ) } );
   // Other bits do not count.
   EXPECT_EQ( masks( { { 1, 0x12 } } ), Vek::HashSet{ IpBitMask( true, 2, 2 ) } );
   EXPECT_TRUE( masks( { { 0, 0x10 } } ).empty() );
   EXPECT_EQ( masks( { { 2, 0x10 } } ), Vek::HashSet{ IpBitMask( true, 0, 0 ) } );
}

TEST( MatchSetBuilder, DontFragmentIsOfIpv4 ) {
   using enum Zorv::AddressFamily;
   EXPECT_EQ( fragmentMasks( ipv4, { { 1, 5 } } ), Vek::HashSet{ IpBitMask( true, 5, 5 ) } );
   EXPECT_EQ( fragmentMasks( none, { { 1, 5 } } ), Vek::HashSet{ IpBitMask( true, 5, 5 ) } );
   EXPECT_EQ( fragmentMasks( ipv6, { { 1, 5 } } ), Vek::HashSet{ IpBitMask( true, 4, 4 ) } );
   EXPECT_TRUE( fragmentMasks( ipv6, { { 0, 1 } } ).empty() );
}

// The data offset beside the flags is 0 in every packet.
TEST( MatchSetBuilder, BitsAboveTheFlagsOfTcpAreClear ) {
   const auto mask = []( U8 op, U32 bits ) {
      return onlyComponent( tcpFlags, { { wide( op ), bits } } ).tcpBitMask();
   };
   EXPECT_TRUE( mask( 1, 0x1002 ).empty() );
   EXPECT_EQ( mask( 0, 0x1002 ), Vek::HashSet{ TcpBitMask( false, 2, 2 ) } );
   EXPECT_TRUE( mask( 0, 0x10000 ).empty() );
   EXPECT_EQ( mask( 2, 0x1002 ), Vek::HashSet{ TcpBitMask( true, 0, 2 ) } );
   EXPECT_EQ( mask( 3, 0x1002 ), Vek::HashSet{ TcpBitMask( true, 0, 0 ) } );
   EXPECT_EQ( mask( 1, 0x0FFF ), Vek::HashSet{ TcpBitMask( true, 0x0FFF, 0x0FFF ) } );
}

TEST( MatchSetBuilder, ValuesBeyondTheFieldKeepTheirMeaning ) {
   const auto ranges = []( MatchCompType type, U8 op, U32 value ) {
      return onlyComponent( type, { { wide( op ), value } } ).numericalRange();
   };
   EXPECT_EQ( ranges( ipProto, 6, 300 ), Vek::HashSet{ NumericalRange( 0, 255 ) } );
   EXPECT_TRUE( ranges( ipProto, 1, 300 ).empty() );
   EXPECT_TRUE( ranges( ipProto, 3, 256 ).empty() );
   EXPECT_EQ( ranges( packetLength, 4, 70000 ), Vek::HashSet{ NumericalRange( 0, 65535 ) } );
   EXPECT_EQ( ranges( packetLength, 4, 65536 ), Vek::HashSet{ NumericalRange( 0, 65535 ) } );
   EXPECT_EQ( ranges( port, 6, 65536 ), Vek::HashSet{ NumericalRange( 0, 65535 ) } );
   EXPECT_EQ( ranges( flowLabel, 4, 0x100000 ), Vek::HashSet{ NumericalRange( 0, 0xFFFFF ) } );
   EXPECT_EQ( ranges( flowLabel, 5, ~U32{ 0 } ), Vek::HashSet{ NumericalRange( 0, 0xFFFFF ) } );
   EXPECT_EQ( ranges( dscp, 1, 0x6E ), Vek::HashSet{ NumericalRange( 46, 46 ) } );
   EXPECT_TRUE( ranges( dscp, 4, 64 ).empty() );
}

TEST( MatchSetBuilder, ComponentsComeInTheOrderOfTheKey ) {
   FlowspecKey key;
   key.srcPrefixIs( Zorv::IpGenPrefix( Zorv::IpGenAddr::ipv4( 0x0A000000 ), 8 ) );
   U32 index = add( key, 0, destPort, { { 0x11, 80 }, { 0x13, 443 }, { 0xD5, 500 } } );
   index = add( key, index, ipProto, { { 0x81, 6 } } );
   add( key, index, tcpFlags, { { 0x81, 0x12 } } );
   std::vector< MatchComponent > components{ MatchComponent( flowLabel ) };
   ASSERT_FALSE( matchSetFromKey( key, components ) );
   ASSERT_EQ( components.size(), 4U );
   EXPECT_EQ( components[0].compType(), srcPrefix );
   EXPECT_EQ( components[0].prefix(), key.srcPrefix() );
   EXPECT_FALSE( matchesNothing( components[0] ) );
   EXPECT_EQ( components[1].compType(), destPort );
   EXPECT_EQ( components[1].numericalRange(),
              ( Vek::HashSet{ NumericalRange( 80, 80 ), NumericalRange( 443, 500 ) } ) );
   EXPECT_EQ( components[2].compType(), ipProto );
   EXPECT_EQ( components[2].numericalRange(), Vek::HashSet{ NumericalRange( 6, 6 ) } );
   EXPECT_EQ( components[3].tcpBitMask(), Vek::HashSet{ TcpBitMask( true, 0x12, 0x12 ) } );

   ASSERT_FALSE( matchSetFromKey( FlowspecKey(), components ) );
   EXPECT_TRUE( components.empty() );
}

TEST( MatchSetBuilder, SingleMaskTerms ) {
   const auto mask = []( U8 op, U32 bits ) {
      return onlyComponent( tcpFlags, { { wide( op ), bits } } ).tcpBitMask();
   };
   EXPECT_EQ( mask( 1, 0x12 ), Vek::HashSet{ TcpBitMask( true, 0x12, 0x12 ) } );
   EXPECT_EQ( mask( 0, 0x12 ), Vek::HashSet{ TcpBitMask( false, 0x12, 0x12 ) } );
   EXPECT_EQ( mask( 2, 0x12 ), Vek::HashSet{ TcpBitMask( true, 0, 0x12 ) } );
   EXPECT_EQ( mask( 3, 0x12 ), Vek::HashSet{ TcpBitMask( false, 0, 0x12 ) } );
   // Of no bits: any is never passed, all always.
   EXPECT_EQ( mask( 1, 0 ), Vek::HashSet{ TcpBitMask( true, 0, 0 ) } );
   EXPECT_TRUE( mask( 0, 0 ).empty() );
   EXPECT_EQ( mask( 2, 0 ), Vek::HashSet{ TcpBitMask( true, 0, 0 ) } );
   EXPECT_TRUE( mask( 3, 0 ).empty() );
}

/// The type and the message of the error of a key.
Vek::String errorOf( const FlowspecKey& key ) {
   std::vector< MatchComponent > components{ MatchComponent( port ) };
   const auto error = matchSetFromKey( key, components );
   EXPECT_TRUE( components.empty() );
   return error ? Vek::concat( stringValue( error->compType ), ": ", error->message ) : "none";
}

TEST( MatchSetBuilder, AComponentWithoutTermsIsAnError ) {
   FlowspecKey key;
   key.addressFamilyIs( Zorv::AddressFamily::ipv4 );
   key.setOpVal( 0, srcPrefix, 0x81, 1 );
   EXPECT_EQ( errorOf( key ), "srcPrefix: component type srcPrefix has no terms" );
   // Also with others after it.
   key.setOpVal( 1, ipProto, 0x81, 6 );
   EXPECT_EQ( errorOf( key ), "srcPrefix: component type srcPrefix has no terms" );
}

// Alternatives that are joined by AND multiply; these make as many masks as are kept.
TEST( MatchSetBuilder, AsManyMasksAsAreKept ) {
   constexpr U8 anySet = 0x50;
   constexpr U8 anyClear = 0x53;
   constexpr std::pair< U8, U32 > terms[] = {
      { anySet, 320 },    { anySet, 531 },    { anySet, 352 },    { anyClear, 578 },
      { anyClear, 642 },  { anyClear, 2122 }, { anyClear, 2747 }, { anySet, 2400 },
      { anyClear, 2798 }, { anyClear, 578 } };
   FlowspecKey key;
   U32 index = 0;
   for ( const auto& [op, value] : terms ) {
      index = key.setOpVal( index, tcpFlags, op, value );
   }
   std::vector< MatchComponent > components;
   EXPECT_FALSE( matchSetFromKey( key, components ) );
   ASSERT_EQ( components.size(), 1U );
   EXPECT_EQ( components[0].tcpBitMask().size(), 4096U );
   // An alternative that is there already is none more.
   const TcpBitMask there = *components[0].tcpBitMask().begin();
   FlowspecKey same = key;
   U32 last = same.setOpVal( index, tcpFlags, 0x11, there.val() );
   last = same.setOpVal( last, tcpFlags, 0x52, static_cast< U16 >( there.mask() & ~there.val() ) );
   EXPECT_FALSE( matchSetFromKey( same, components ) );
   EXPECT_EQ( components[0].tcpBitMask().size(), 4096U );
   key.setOpVal( index, tcpFlags, 0x10, 1 );
   EXPECT_EQ( errorOf( key ), "tcpFlags: the masks of tcpFlags are too many" );
}

TEST( MatchSetBuilder, Errors ) {
   const auto single = []( MatchCompType type, U8 op, U32 value ) {
      FlowspecKey key;
      add( key, 0, type, { { op, value } } );
      return errorOf( key );
   };
   EXPECT_EQ( single( destPrefix, 0x81, 1 ), "destPrefix: component type destPrefix has no terms" );
   EXPECT_EQ( single( invalid, 0x81, 1 ), "invalid: component type invalid has no terms" );

   FlowspecKey twice;
   U32 index = add( twice, 0, destPort, { { 0x81, 80 } } );
   index = add( twice, index, srcPort, { { 0x81, 80 } } );
   add( twice, index, destPort, { { 0x81, 81 } } );
   EXPECT_EQ( errorOf( twice ), "destPort: destPort occurs at two places" );

   // Each term is passed by any of its bits, set or clear: more combinations than are kept.
   FlowspecKey many;
   for ( U32 at = 0, i = 0; i < 12; ++i ) {
      at = many.setOpVal( at, tcpFlags, i % 2 ? 0x50 : 0x53, 0x0FFF );
   }
   EXPECT_EQ( errorOf( many ), "tcpFlags: the masks of tcpFlags are too many" );

   FlowspecKey unreadable;
   unreadable.matchOpValIs( 0, MatchOpVal( static_cast< MatchCompType >( 14 ), 0x81, 1 ) );
   EXPECT_THAT( errorOf( unreadable ),
                testing::HasSubstr( "the term at index 0 cannot be read: " ) );
}

TEST( MatchSetBuilder, ReplacingPublishesWhatChanges ) {
   const auto rule = ruleConfigFactory( FlowspecKey() );
   rule->matchSetIs( MatchComponent( destPort ) );
   rule->matchSetIs( MatchComponent( dscp ) );
   rule->matchSetIs( MatchComponent( ipProto ) );
   MatchComponent protocols( ipProto );
   protocols.numericalRangeIs( NumericalRange( 6, 6 ) );
   TestSupport::ChangeRecorder changes( *rule );
   const std::vector< MatchComponent > components{ MatchComponent( destPort ), protocols,
                                                   MatchComponent( port ) };
   matchSetReplace( *rule, components );
   const Vek::String empty = ";prefix=;numericalRanges=0;ipBitMasks=0;tcpBitMasks=0>";
   EXPECT_THAT( changes.take(), ElementsAre( "260 matchSet[dscp] was <compType=dscp" + empty,
                                             "260 matchSet[ipProto] was <compType=ipProto" + empty,
                                             "260 matchSet[port]" ) );
   EXPECT_EQ( rule->matchSet().size(), 3U );
   matchSetReplace( *rule, components );
   EXPECT_TRUE( changes.take().empty() );
   matchSetReplace( *rule, {} );
   EXPECT_TRUE( rule->matchSet().empty() );
}

} // namespace
} // namespace Flowspec
