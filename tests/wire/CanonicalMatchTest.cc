#include "match/RuleMatch.h"
#include "tests/support/KeyGenerator.h"
#include "wire/Canonical.h"

#include <algorithm>

#include <gmock/gmock.h>

// What the canonical form says of a rule, beside what the matcher makes of it.

namespace Wire {
namespace {

using namespace Flowspec;
using Match::Packet;
using TestSupport::KeyGenerator;
using Zorv::AddressFamily;

struct Field {
   MatchCompType type;
   U32 max;
   unsigned bits;
};

/// The fields of a family, with all values that a packet can have there.
std::vector< Field > fieldsOf( AddressFamily family ) {
   const bool ipv6 = family == AddressFamily::ipv6;
   std::vector< Field > fields = {
      { ipProto, 255, 8 },     { MatchCompType::port, 65535, 16 },
      { destPort, 65535, 16 }, { srcPort, 65535, 16 },
      { icmpType, 255, 8 },    { icmpCode, 255, 8 },
      { tcpFlags, 4095, 12 },  { packetLength, ipv6 ? 65575U : 65535U, 16 },
      { dscp, 63, 8 },         { MatchCompType::fragment, 15, 8 },
   };
   if ( ipv6 ) {
      fields.push_back( { flowLabel, 0xFFFFF, 20 } );
   }
   return fields;
}

/// A packet whose field of a type has a value, and that has no field which a packet may lack
/// besides.
Packet packetWith( AddressFamily family, MatchCompType type, std::optional< U32 > value ) {
   Packet packet;
   packet.family = family;
   packet.destination = packet.source = family == AddressFamily::ipv4
                                           ? Zorv::IpGenAddr::ipv4( 0x0A000001 )
                                           : Zorv::IpGenAddr::ipv6( {} );
   if ( family == AddressFamily::ipv4 ) {
      packet.protocol = U8{ 17 };
      packet.fragment = U8{ 0 };
   } else {
      packet.flowLabel = 0;
   }
   if ( !value ) {
      return packet;
   }
   const auto as8 = static_cast< U8 >( *value );
   const auto as16 = static_cast< U16 >( *value );
   switch ( type ) {
   case ipProto:
      packet.protocol = as8;
      break;
   case MatchCompType::port:
   case destPort:
      packet.protocol = U8{ 17 };
      packet.destPort = as16;
      break;
   case srcPort:
      packet.protocol = U8{ 17 };
      packet.srcPort = as16;
      break;
   case icmpType:
      packet.icmpType = as8;
      break;
   case icmpCode:
      packet.icmpCode = as8;
      break;
   case tcpFlags:
      packet.tcpFlags = as16;
      break;
   case packetLength:
      packet.length = *value;
      break;
   case dscp:
      packet.dscp = as8;
      break;
   case MatchCompType::fragment:
      packet.fragment = as8;
      break;
   default:
      packet.flowLabel = *value;
   }
   return packet;
}

/// One component with up to four terms, of values that often lie beside each other or at an end.
FlowspecKey randomRule( KeyGenerator& random, AddressFamily family, const Field& field ) {
   FlowspecKey key;
   key.addressFamilyIs( family );
   const bool flags = field.type == tcpFlags || field.type == MatchCompType::fragment;
   const bool longTerms = field.bits > 16;
   const U64 middle = random.below( U64{ field.max } + 1 );
   U32 index = 0;
   for ( U64 terms = 1 + random.below( 4 ); terms > 0; --terms ) {
      U64 value = middle + random.below( 4 );
      switch ( random.below( 8 ) ) {
      case 0:
         value = field.max - random.below( 2 );
         break;
      case 1:
         value = random.below( 2 );
         break;
      case 2:
         value = random.number( field.bits );
         break;
      default:
         break;
      }
      const U64 op = ( random.any() & ( flags ? 0x43U : 0x47U ) ) | ( longTerms ? 0x20U : 0x10U );
      index = key.setOpVal( index, field.type, static_cast< U8 >( op ),
                            static_cast< U32 >( value & 0xFFFFF ) );
   }
   return key;
}

bool admits( const CanonicalRule& rule, MatchCompType type, std::optional< U32 > value ) {
   if ( rule.nothing() ) {
      return false;
   }
   if ( rule.components().empty() ) {
      return true;
   }
   const CanonicalComponent& component = rule.components().front();
   EXPECT_EQ( component.type, type );
   if ( !value ) {
      return false;
   }
   if ( type == tcpFlags || type == MatchCompType::fragment ) {
      return component.flags.admits( *value );
   }
   return std::ranges::any_of( component.ranges, [value]( const ValueRange& range ) {
      return range.low <= *value && *value <= range.high;
   } );
}

TEST( CanonicalMatch, AdmitsWhatTheMatcherDoesOfAllValuesOfEachField ) {
   KeyGenerator random( 73 );
   for ( const AddressFamily family : { AddressFamily::ipv4, AddressFamily::ipv6 } ) {
      for ( const Field& field : fieldsOf( family ) ) {
         unsigned nothing = 0;
         const unsigned rounds = field.max > 0xFFFFF - 1 ? 2 : field.max > 4095 ? 5 : 150;
         for ( unsigned round = 0; round < rounds; ++round ) {
            const FlowspecKey key = randomRule( random, family, field );
            SCOPED_TRACE( key.stringValue() );
            const CanonicalRule rule( key );
            nothing += rule.nothing().has_value();
            FlowspecKey written;
            const auto reason = rule.toKey( written );
            ASSERT_EQ( reason.has_value(), rule.nothing().has_value() );
            const Match::RuleMatch match( key );
            const Match::RuleMatch writtenMatch( written );
            bool agree = true;
            for ( U32 value = 0; value <= field.max; ++value ) {
               const Packet packet = packetWith( family, field.type, value );
               const bool matches = match.matches( packet );
               agree = agree && matches == admits( rule, field.type, value ) &&
                       matches == writtenMatch.matches( packet );
            }
            ASSERT_TRUE( agree );
            if ( ( field.type != ipProto && field.type != MatchCompType::fragment ) ||
                 family == AddressFamily::ipv6 ) {
               const Packet without = packetWith( family, field.type, std::nullopt );
               if ( !match.matches( without ) ) {
                  ASSERT_FALSE( writtenMatch.matches( without ) );
               } else {
                  ASSERT_TRUE( writtenMatch.matches( without ) );
               }
            }
         }
         EXPECT_LT( nothing, rounds );
      }
   }
}

TEST( CanonicalMatch, EquivalentRulesAreThoseThatMatchTheSame ) {
   KeyGenerator random( 74 );
   for ( const AddressFamily family : { AddressFamily::ipv4, AddressFamily::ipv6 } ) {
      const auto fields = fieldsOf( family );
      unsigned same = 0;
      for ( unsigned round = 0; round < 3000; ++round ) {
         const Field& field = fields[random.oneIn( 2 ) ? 0 : 9];
         const FlowspecKey a = randomRule( random, family, field );
         // Often another way to write the same.
         FlowspecKey b = randomRule( random, family, field );
         if ( random.oneIn( 2 ) ) {
            ASSERT_EQ( CanonicalRule( a ).toKey( b ).has_value(),
                       CanonicalRule( a ).nothing().has_value() );
         }
         const Match::RuleMatch matchA( a );
         const Match::RuleMatch matchB( b );
         bool equal = true;
         for ( U32 value = 0; value <= field.max; ++value ) {
            const Packet packet = packetWith( family, field.type, value );
            equal = equal && matchA.matches( packet ) == matchB.matches( packet );
         }
         const Packet without = packetWith( family, field.type, std::nullopt );
         equal = equal && matchA.matches( without ) == matchB.matches( without );
         ASSERT_EQ( equivalent( a, b ), equal ) << a.stringValue() << " and " << b.stringValue();
         same += equal;
      }
      EXPECT_GT( same, 1000U );
      EXPECT_LT( same, 2900U );
   }
}

} // namespace
} // namespace Wire
