#include "Flowspec/FlowspecDalb.h"
#include "tests/agents/programd/nftables/PacketWire.h"
#include "tests/agents/statedbd/Database.h"
#include "tests/support/PacketBytes.h"
#include "tests/support/TestRules.h"

#include <gmock/gmock.h>

namespace Flowspec {
namespace {

using TestSupport::Database;
using TestSupport::fill;
using TestSupport::Folder;
using TestSupport::PacketParts;
using TestSupport::PacketWire;
using TestSupport::Process;
using TestSupport::ruleKey;
using TestSupport::until;
using Vek::log::Mount;

std::vector< U8 > packetTo( std::string_view address ) {
   PacketParts parts;
   parts.destination = *Zorv::IpGenAddr::fromText( address );
   parts.payload = TestSupport::portBytes( 1, 2 );
   return PacketWire::acceptable( packetBytes( parts ) );
}

// A programd with the kernel's tables in a namespace of its own.
struct NftProgramd : testing::Test {
   void SetUp() override {
      if ( !wire.missing().empty() ) {
         GTEST_SKIP() << wire.missing();
      }
      database.emplace();
      writers[0].emplace( database->endpoint(), "test", *config );
      writers[1].emplace( database->endpoint(), "test", *cli );
      readers[0].emplace( database->endpoint(), "test", "flowspec/status", replica );
      readers[1].emplace( database->endpoint(), "test", "flowspec/counter", replica );
      mounts = { &*writers[0], &*writers[1], &*readers[0], &*readers[1] };
      InterfaceEnableConfig enabled( wire.in() );
      IpVersion families;
      families.ipv4Is( true );
      enabled.ipVersionIs( families );
      cli->enabledIntfIs( enabled );
   }

   std::unique_ptr< Process > start() {
      return std::make_unique< Process >(
         std::vector< Vek::String >{ PROGRAMD, "--socket", database->endpoint().text(), "--backend",
                                     "nftables", "--counter-interval", "1" },
         folder.path() + "/errors" );
   }

   FlowspecKey add( const Vek::String& text ) {
      const FlowspecKey key = ruleKey( text );
      fill( *config->vrfRuleConfigIs( 0 )->ruleIs( key ), "trafficDrop" );
      return key;
   }

   bool untilProgrammed( const FlowspecKey& key ) {
      return until( mounts, [&] {
         const auto root = replica.entity( "flowspec/status" );
         const auto vrf = root ? static_cast< Status& >( *root ).vrfRuleStatus( 0 ) : nullptr;
         const auto status = vrf ? vrf->ruleStatus( key ) : nullptr;
         return status && status->statusCode() == programmed;
      } );
   }

   bool through( std::string_view address ) {
      const U64 before = wire.seen().through;
      EXPECT_TRUE( wire.send( packetTo( address ) ) );
      return wire.seen().through != before;
   }

   // The interface may come after the rules.
   bool untilDropped( std::string_view address ) {
      return until( mounts, [&] { return !through( address ); } );
   }

   PacketWire wire;
   Folder folder;
   std::optional< Database > database;
   Vek::Ptr< Config > config = configFactory( "flowspec/config" );
   Vek::Ptr< CliConfig > cli = cliConfigFactory( "flowspec/cliconfig" );
   Vek::Directory replica;
   std::optional< Mount > writers[2];
   std::optional< Mount > readers[2];
   std::vector< Mount* > mounts;
};

TEST_F( NftProgramd, ReadsCountersInIntervals ) {
   const FlowspecKey key = add( "10.1.0.0/16;*;" );
   const auto programd = start();
   ASSERT_TRUE( untilProgrammed( key ) ) << programd->errors();
   ASSERT_TRUE( untilDropped( "10.1.2.3" ) );
   EXPECT_TRUE( through( "10.2.2.3" ) );
   EXPECT_TRUE( until( mounts, [&] {
      const auto root = replica.entity( "flowspec/counter" );
      return root &&
             static_cast< Counter& >( *root ).snapshot( key ).coloredCounters().packetHits() == 1;
   } ) );
}

// Killed in the middle of changes, again and again: what is to be dropped always is.
TEST_F( NftProgramd, KilledLeavesRulesInForce ) {
   const FlowspecKey kept = add( "10.1.0.0/16;*;" );
   auto programd = start();
   ASSERT_TRUE( untilProgrammed( kept ) ) << programd->errors();
   ASSERT_TRUE( untilDropped( "10.1.2.3" ) );
   for ( int kill = 0; kill < 50; ++kill ) {
      for ( int i = 0; i < 20; ++i ) {
         const Vek::String churned = Vek::concat( "10.1.", ( kill + i ) % 30, ".0/24;*;" );
         if ( i % 3 == 0 ) {
            config->vrfRuleConfig( 0 )->ruleDel( ruleKey( churned ) );
         } else {
            add( churned );
         }
         const auto end =
            std::chrono::steady_clock::now() + std::chrono::microseconds( 500 * ( kill % 10 ) );
         do {
            ASSERT_FALSE( through( "10.1.2.3" ) ) << kill;
            for ( Mount* const mount : mounts ) {
               mount->process();
            }
         } while ( std::chrono::steady_clock::now() < end );
      }
      programd->kill();
      ASSERT_FALSE( through( "10.1.2.3" ) ) << kill;
      programd = start();
   }
   const FlowspecKey last = add( "10.9.0.0/16;*;" );
   ASSERT_TRUE( untilProgrammed( last ) ) << programd->errors();
   EXPECT_FALSE( through( "10.9.2.3" ) );
   EXPECT_FALSE( through( "10.1.2.3" ) );
   EXPECT_TRUE( through( "10.2.2.3" ) );
   // Each configured rule has its chain, and there is no other.
   std::size_t chains = 0;
   const Vek::String list = wire.space().output( "nft list table ip flowspec" );
   for ( std::size_t at = list.find( "chain vrf0-10." ); at != Vek::String::npos;
         at = list.find( "chain vrf0-10.", at + 1 ) ) {
      ++chains;
   }
   EXPECT_EQ( chains, config->vrfRuleConfig( 0 )->rule().size() );
}

} // namespace
} // namespace Flowspec
