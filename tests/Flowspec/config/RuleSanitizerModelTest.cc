#include "Flowspec/config/RuleConfig.h"

#include <algorithm>
#include <bitset>
#include <random>

#include <gtest/gtest.h>

namespace Flowspec {
namespace {

// A match set as one bit for each type and one for each protocol, and the algorithm on it one step
// after the other.
struct Model {
   std::bitset< 14 > present;
   std::bitset< 256 > protocols; ///< of the `ipProto` component
   bool ipv6;

   bool has( MatchCompType type ) const { return present[static_cast< U8 >( type )]; }

   bool contains( std::initializer_list< unsigned > wanted ) const {
      if ( !has( ipProto ) ) {
         return true;
      }
      for ( unsigned protocol = 0; protocol < 256; ++protocol ) {
         for ( const unsigned w : wanted ) {
            if ( w == protocol && protocols[protocol] ) {
               return true;
            }
         }
      }
      return false;
   }

   void store( std::bitset< 256 > working ) {
      present.set( static_cast< U8 >( ipProto ) );
      protocols = working;
   }

   MatchCompType infeasible() const {
      const unsigned icmp = ipv6 ? 58 : 1;
      if ( present.none() ) {
         return invalid;
      }
      if ( has( tcpFlags ) ) {
         if ( has( icmpType ) ) {
            return tcpFlags;
         }
         if ( has( icmpCode ) ) {
            return tcpFlags;
         }
         if ( !contains( { 6 } ) ) {
            return tcpFlags;
         }
      }
      if ( has( icmpType ) || has( icmpCode ) ) {
         const MatchCompType reported = has( icmpType ) ? icmpType : icmpCode;
         if ( has( port ) || has( destPort ) || has( srcPort ) || has( tcpFlags ) ) {
            return reported;
         }
         if ( !contains( { icmp } ) ) {
            return reported;
         }
      }
      if ( has( port ) || has( destPort ) || has( srcPort ) ) {
         const MatchCompType reported = has( port ) ? port : has( destPort ) ? destPort : srcPort;
         if ( has( icmpType ) || has( icmpCode ) ) {
            return reported;
         }
         if ( !contains( { 6, 17 } ) ) {
            return reported;
         }
      }
      return invalid;
   }

   MatchCompType sanitize() {
      const MatchCompType type = infeasible();
      if ( type != invalid ) {
         return type;
      }
      std::bitset< 256 > working;
      if ( has( tcpFlags ) ) {
         working.set( 6 );
         store( working );
      }
      if ( has( icmpType ) || has( icmpCode ) ) {
         working.set( ipv6 ? 58 : 1 );
         store( working );
      }
      if ( has( port ) || has( destPort ) || has( srcPort ) ) {
         if ( contains( { 6 } ) ) {
            working.set( 6 );
         }
         if ( contains( { 17 } ) ) {
            working.set( 17 );
         }
         store( working );
      }
      return invalid;
   }
};

std::bitset< 256 > protocolBits( const RuleConfig& rule ) {
   std::bitset< 256 > bits;
   const MatchComponent protocols = rule.matchSet( ipProto );
   for ( const NumericalRange& range : protocols.numericalRange() ) {
      for ( U32 protocol = 0; protocol < 256; ++protocol ) {
         if ( range.isValid() && range.rangeMin() <= protocol && protocol <= range.rangeMax() ) {
            bits.set( protocol );
         }
      }
   }
   return bits;
}

Vek::Ptr< RuleConfig > ruleOf( Zorv::AddressFamily family ) {
   FlowspecKey key;
   key.addressFamilyIs( family );
   return ruleConfigFactory( key );
}

MatchComponent randomProtocols( std::mt19937_64& random ) {
   static constexpr U32 edges[] = { 0, 1, 2, 5, 6, 7, 16, 17, 18, 57, 58, 59, 255, 300, 16777216 };
   MatchComponent component( ipProto );
   for ( U64 ranges = random() % 4; ranges > 0; --ranges ) {
      const U32 a = edges[random() % std::size( edges )];
      const U32 b = edges[random() % std::size( edges )];
      component.numericalRangeIs( NumericalRange( std::min( a, b ), std::max( a, b ) ) );
   }
   return component;
}

TEST( RuleSanitizer, AgreesWithAModelThatEnumeratesProtocols ) {
   constexpr MatchCompType types[] = { destPrefix, port,     destPort,     srcPort, icmpType,
                                       icmpCode,   tcpFlags, packetLength, fragment };
   constexpr Zorv::AddressFamily families[] = {
      Zorv::AddressFamily::none, Zorv::AddressFamily::ipv4, Zorv::AddressFamily::ipv6 };
   std::mt19937_64 random( 20240607 );
   unsigned infeasible = 0;
   unsigned changed = 0;
   constexpr unsigned rounds = 20'000U;
   for ( unsigned i = 0; i < rounds; ++i ) {
      const auto rule = ruleOf( families[random() % 3] );
      const U64 oneIn = 2 + random() % 6;
      Model model{ {}, {}, rule->ruleKey().addressFamily() == Zorv::AddressFamily::ipv6 };
      for ( const MatchCompType type : types ) {
         if ( random() % oneIn == 0 ) {
            rule->matchSetIs( MatchComponent( type ) );
            model.present.set( static_cast< U8 >( type ) );
         }
      }
      if ( random() % 4 != 0 ) {
         rule->matchSetIs( randomProtocols( random ) );
         model.store( protocolBits( *rule ) );
      }
      const RuleConfig::MatchSet before = rule->matchSet();
      const MatchCompType result = rule->sanitizeMatchSet();
      ASSERT_EQ( result, model.sanitize() ) << i;
      std::bitset< 14 > present;
      for ( const auto& [type, component] : rule->matchSet() ) {
         ASSERT_EQ( component.compType(), type );
         present.set( static_cast< U8 >( type ) );
      }
      ASSERT_EQ( present, model.present ) << i;
      ASSERT_EQ( protocolBits( *rule ), model.protocols ) << i;
      if ( result != invalid ) {
         ASSERT_EQ( rule->matchSet(), before ) << i;
         ++infeasible;
      } else if ( !( rule->matchSet() == before ) ) {
         // What is written has a range for each protocol.
         ASSERT_EQ( rule->matchSet( ipProto ).numericalRange().size(), model.protocols.count() );
         ++changed;
      }
   }
   EXPECT_GT( infeasible, rounds / 20 );
   EXPECT_GT( changed, rounds / 20 );
}

} // namespace
} // namespace Flowspec
