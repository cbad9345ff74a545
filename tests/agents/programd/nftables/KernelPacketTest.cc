#include "match/RuleMatch.h"
#include "tests/agents/programd/nftables/PacketWire.h"
#include "tests/match/RandomMatch.h"
#include "wire/Precedence.h"

#include <algorithm>
#include <iomanip>
#include <sstream>

#include <gtest/gtest.h>

namespace Agents::Nftables {
namespace {

using namespace Dataplane::Nftables;
using Dataplane::Action;
using Dataplane::Actions;
using Flowspec::FlowspecKey;
using Match::RuleMatch;
using TestSupport::PacketWire;
using TestSupport::RandomMatch;
using Zorv::AddressFamily;

Actions actions( std::initializer_list< Action > list ) {
   Actions set;
   for ( const Action action : list ) {
      set.set( numberOf( action ) );
   }
   return set;
}

/// A rule, and what the kernel is to make of it.
struct TestRule {
   FlowspecKey key;
   RuleMatch match;
   Actions done;
   RulePtr rule;
};

TestRule testRule( FlowspecKey key, Actions done, std::size_t number ) {
   key.vrfIdIs( 0 );
   const Wire::CanonicalRule canonical( key );
   const Vek::String name = "r" + std::to_string( number );
   Rule rule{ key,  canonical.destPrefix(),  {},
              name, matchLines( canonical ), actionLines( {}, done, name ) };
   return { key, RuleMatch( key ), done, std::make_shared< const Rule >( std::move( rule ) ) };
}

/// The next packet that can be sent.
std::vector< U8 > nextPacket( RandomMatch& random ) {
   while ( true ) {
      const auto packet = PacketWire::acceptable( random.packet() );
      if ( !packet.empty() ) {
         return packet;
      }
   }
}

struct KernelPackets : testing::Test {
   void SetUp() override {
      if ( !wire.missing().empty() ) {
         GTEST_SKIP() << wire.missing();
      }
   }

   static std::vector< RulePtr > rulesOf( AddressFamily family,
                                          const std::vector< TestRule >& rules ) {
      std::vector< RulePtr > own;
      for ( const TestRule& rule : rules ) {
         if ( rule.key.addressFamily() == family ) {
            own.push_back( rule.rule );
         }
      }
      return own;
   }

   // Puts rules into force, in their order.
   void program( std::vector< TestRule >& rules ) {
      std::stable_sort( rules.begin(), rules.end(), []( const auto& a, const auto& b ) {
         return Wire::precedes( a.key, b.key );
      } );
      Batch batch;
      for ( const auto family : { AddressFamily::ipv4, AddressFamily::ipv6 } ) {
         replaceAll( batch, rulesetOf( family, rulesOf( family, rules ), { { "in", {} } } ), {} );
      }
      for ( const Kernel::Refusal& refusal : wire.kernel().commit( batch ) ) {
         ADD_FAILURE() << "message " << refusal.message << ": " << std::strerror( refusal.error );
      }
   }

   CountsByName counters() {
      CountsByName all = wire.kernel().counters( AddressFamily::ipv4 );
      all.merge( wire.kernel().counters( AddressFamily::ipv6 ) );
      return all;
   }

   // Sends a packet and compares which rules counted it, and whether it came through.
   void compare( const std::vector< TestRule >& rules, const std::vector< U8 >& bytes ) {
      const auto seen = wire.seen();
      const CountsByName before = counters();
      if ( !wire.send( bytes ) ) {
         ++refused;
         return;
      }
      ++sent;
      const auto packet = Match::parsePacket( bytes );
      bool through = true;
      bool tried = true;
      const CountsByName after = counters();
      for ( const TestRule& rule : rules ) {
         const Vek::String& name = rule.rule->name;
         const bool matches = tried && rule.match.matches( *packet );
         EXPECT_EQ( after.at( name ).packets - before.at( name ).packets, matches ? 1U : 0U )
            << rule.key.toStrepCli( false ) << '\n'
            << lineTexts( *rule.rule, rule.key.addressFamily() ) << hexText( bytes );
         if ( matches ) {
            ++matched;
            if ( rule.done[numberOf( Action::trafficDrop )] ) {
               through = false;
               tried = false;
            }
            tried = tried && rule.done[numberOf( Action::continueMatch )];
         }
      }
      EXPECT_EQ( wire.seen().through - seen.through, through ? 1U : 0U ) << hexText( bytes );
   }

   static Vek::String hexText( const std::vector< U8 >& bytes ) {
      std::ostringstream text;
      for ( const U8 byte : bytes ) {
         text << std::hex << std::setw( 2 ) << std::setfill( '0' ) << unsigned{ byte };
      }
      return text.str();
   }

   static Vek::String lineTexts( const Rule& rule, AddressFamily family ) {
      Vek::String all;
      for ( const Line& line : rule.matches ) {
         all += text( line, family ) + '\n';
      }
      return all;
   }

   PacketWire wire;
   U64 sent = 0;
   U64 refused = 0;
   U64 matched = 0;
};

// All rules at once, each of which just counts: what one counts does not depend on the others.
TEST_F( KernelPackets, CountWhatEachRuleMatches ) {
   RandomMatch random( 20261122 );
   std::vector< TestRule > rules;
   std::vector< std::vector< U8 > > packets;
   while ( rules.size() < 2000 ) {
      const auto packet = nextPacket( random );
      packets.push_back( packet );
      for ( int i = 0; i < 2; ++i ) {
         rules.push_back(
            testRule( random.rule( packet ), actions( { Action::continueMatch } ), rules.size() ) );
      }
   }
   program( rules );
   for ( const auto& packet : packets ) {
      compare( rules, packet );
      if ( HasFailure() ) {
         return;
      }
   }
   EXPECT_GT( sent, 900U );
   EXPECT_LT( refused, 100U );
   EXPECT_GT( matched, 20'000U );
}

// Sets in which several rules match: the first wins, and those after it that it lets go on.
TEST_F( KernelPackets, GoByTheOrderOfRules ) {
   RandomMatch random( 77 );
   static const Actions choices[] = { actions( { Action::trafficDrop } ),
                                      actions( { Action::trafficPermit } ),
                                      actions( { Action::continueMatch } ) };
   for ( int round = 0; round < 20; ++round ) {
      std::vector< TestRule > rules;
      std::vector< std::vector< U8 > > packets;
      while ( packets.size() < 100 ) {
         const auto packet = nextPacket( random );
         packets.push_back( packet );
         rules.push_back(
            testRule( random.rule( packet ), random.random().oneOf( choices ), rules.size() ) );
      }
      program( rules );
      for ( const auto& packet : packets ) {
         compare( rules, packet );
         if ( HasFailure() ) {
            return;
         }
      }
   }
   EXPECT_GT( matched, 2000U );
}

// A later fragment has no ports or flags, and the kernel would find them in the IP header: that of
// this packet has zeros where the flags are looked for.
TEST_F( KernelPackets, OfLaterFragmentsHaveNoTransportHeader ) {
   std::vector< TestRule > rules;
   for ( const char* const text :
         { "2001:db8::/82;*;TCP:!=258|=16;", "2001:db8::/82;*;DP:=0;", "2001:db8::/82;*;IP:=6;",
           "2001:db8::/82;*;IP:=6;FRAG:2;", "2001:db8::/82;*;IP:=6;FRAG:!2;" } ) {
      FlowspecKey key;
      ASSERT_TRUE( key.copyInStrCli( text, false ) ) << text;
      key.addressFamilyIs( AddressFamily::ipv6 );
      rules.push_back( testRule( key, actions( { Action::continueMatch } ), rules.size() ) );
   }
   program( rules );
   const std::vector< U8 > packet{
      0x62, 0xA0, 0,    0,    0,    28,   44, 64, // a fragment header after it
      0x20, 0x01, 0x0D, 0xB8, 0,    0,    1,  0,  0, 0, 0, 0, 0,    0,    0, 0, // source
      0x20, 0x01, 0x0D, 0xB8, 0,    0,    0,  0,  0, 0, 0, 0, 0,    0,    0, 1, // destination
      6,    0,    0,    0x80, 0xCA, 0xFE, 0,  1, // TCP, at the octet 128
      0,    0,    1,    0xBB, 0,    0,    0,  8,  0, 0, 0, 0, 0x50, 0x04, 0, 0, 0, 0, 0, 0 };
   compare( rules, packet );
   EXPECT_EQ( sent, 1U );
   EXPECT_EQ( matched, 2U );
}

} // namespace
} // namespace Agents::Nftables
