#include "Flowspec/FlowspecDalb.h"
#include "Vek/mount/Mount.h"
#include "agents/programd/nftables/NftBackend.h"
#include "bench/system/Forwarder.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>

#include <unistd.h>

/// Rules in the kernel's nf_tables: the time to replace all and to change one, the memory that they
/// take, and packets a second through a box with them, beside one plain rule of nftables for each.

namespace {

using namespace Bench;
using namespace Flowspec;
using Agents::Nftables::NftBackend;
using Vek::concat;
using Vek::log::Endpoint;
using Vek::log::Mount;

constexpr int rounds = 5;
constexpr U32 changes = 50;
constexpr double sending = 0.5; // seconds

// To UDP port 53 of one address.
FlowspecKey ruleKey( U32 number ) {
   FlowspecKey key;
   key.vrfIdIs( 0 );
   key.addressFamilyIs( Zorv::AddressFamily::ipv4 );
   key.destPrefixIs( { Zorv::IpGenAddr::ipv4( 0x0A000000 + number ), 32 } );
   key.setOpVal( key.setOpVal( 0, ipProto, 0x81, 17 ), destPort, 0x81, 53 );
   return key;
}

void fill( RuleConfig& rule ) {
   std::vector< MatchComponent > components;
   if ( matchSetFromKey( rule.ruleKey(), components ) ) {
      fail( "a rule is malformed" );
   }
   matchSetReplace( rule, components );
   ActionFieldSet drop;
   drop.trafficDropIs( true );
   rule.actionFieldSetIs( drop );
}

Vek::Ptr< RuleConfig > makeRule( U32 number ) {
   auto rule = ruleConfigFactory( ruleKey( number ) );
   fill( *rule );
   return rule;
}

// Bytes that the kernel holds for itself, whoever asked for them.
double kernelMemory() {
   std::ifstream info( "/proc/meminfo" );
   double total = 0;
   Vek::String name;
   double kilobytes = 0;
   for ( Vek::String line; std::getline( info, line ); ) {
      std::istringstream words( line );
      words >> name >> kilobytes;
      if ( name == "SUnreclaim:" || name == "Percpu:" || name == "VmallocUsed:" ) {
         total += kilobytes * 1024;
      }
   }
   return total;
}

/// The back end with so many rules in force.
class Programmed {
public:
   Programmed( const Forwarder& box, U32 count ) : backend_( loop_, std::nullopt, []( auto ) {} ) {
      IpVersion families;
      families.ipv4Is( true );
      backend_.interfaceIs( Zorv::IntfId( box.in() ), { families, "", {} } );
      std::vector< Vek::Ptr< RuleConfig > > rules;
      for ( U32 number = 0; number < count; ++number ) {
         rules.push_back( makeRule( number ) );
      }
      taking_ = secondsOf( [&] {
         for ( const auto& rule : rules ) {
            backend_.ruleIs( *rule );
         }
      } );
      const double memory = kernelMemory();
      applying_ = secondsOf( [&] { apply( count ); } );
      memory_ = kernelMemory() - memory;
   }

   double taking() const { return taking_; }     ///< seconds to find out what rules become
   double applying() const { return applying_; } ///< seconds to put all into force
   double memory() const { return memory_; }     ///< bytes of the kernel

   /// Seconds for one rule more.
   double add( U32 number ) {
      const auto rule = makeRule( number );
      return secondsOf( [&] {
         backend_.ruleIs( *rule );
         apply( 1 );
      } );
   }
   /// Seconds for one less.
   double remove( U32 number ) {
      const FlowspecKey key = ruleKey( number );
      return secondsOf( [&] {
         backend_.ruleDel( key );
         apply( 0 );
      } );
   }

private:
   void apply( std::size_t count ) {
      const auto done = backend_.apply();
      if ( done.size() != count || std::ranges::any_of( done, []( const auto& change ) {
              return change.result.code != programmed;
           } ) ) {
         fail( "the rules are not in force" );
      }
   }

   Agents::EventLoop loop_;
   NftBackend backend_;
   double taking_ = 0;
   double applying_ = 0;
   double memory_ = 0;
};

// Bytes that programd takes for a rule, with its copies of configuration and status.
double daemonMemory( const Vek::String& build, const Forwarder& box, U32 count ) {
   const Folder folder;
   const Endpoint endpoint( folder.file( "socket" ) );
   const Child database( { build + "/agents/statedbd", "--socket", endpoint.text() } );
   const auto config = configFactory( "flowspec/config" );
   const auto cli = cliConfigFactory( "flowspec/cliconfig" );
   InterfaceEnableConfig enabled{ Zorv::IntfId( box.in() ) };
   IpVersion families;
   families.ipv4Is( true );
   enabled.ipVersionIs( families );
   cli->enabledIntfIs( enabled );
   Vek::Directory directory;
   Mount configs( endpoint, "bench", *config );
   Mount clis( endpoint, "bench", *cli );
   Mount statuses( endpoint, "bench", "flowspec/status", directory );
   const auto until = [&]( const auto& done ) {
      Mount* const mounts[] = { &configs, &clis, &statuses };
      while ( !done() ) {
         Mount::wait( mounts, std::chrono::milliseconds( 100 ) );
         for ( Mount* const mount : mounts ) {
            mount->process();
         }
      }
   };
   const Child programd(
      { build + "/agents/programd", "--socket", endpoint.text(), "--backend", "nftables" } );
   const auto inForce = [&]( U32 wanted ) {
      const auto root = directory.entity( "flowspec/status" );
      const auto vrf = root ? static_cast< const Status& >( *root ).vrfRuleStatus( 0 ) : nullptr;
      return vrf && vrf->ruleStatus().size() == wanted &&
             std::ranges::all_of( vrf->ruleStatus(),
                                  []( const auto& rule ) { return rule->isProgrammed(); } );
   };
   const auto rules = config->vrfRuleConfigIs( 0 );
   fill( *rules->ruleIs( ruleKey( 0 ) ) );
   until( [&] { return inForce( 1 ); } );
   const auto before = static_cast< double >( programd.memory() );
   for ( U32 number = 1; number <= count; ++number ) {
      fill( *rules->ruleIs( ruleKey( number ) ) );
   }
   until( [&] { return inForce( count + 1 ); } );
   return ( static_cast< double >( programd.memory() ) - before ) / count;
}

void programming( const Vek::String& build, const Forwarder& box,
                  const std::vector< U32 >& counts ) {
   std::printf( "| rules | what they become | all put into force | one more | one less | kernel's "
                "memory a rule | programd's |\n|---|---|---|---|---|---|---|\n" );
   for ( const U32 count : counts ) {
      std::vector< double > figures[5];
      for ( int round = 0; round < rounds; ++round ) {
         Programmed rules( box, count );
         figures[0].push_back( rules.taking() );
         figures[1].push_back( rules.applying() );
         figures[4].push_back( rules.memory() / count );
         for ( U32 i = 0; i < changes; ++i ) {
            figures[2].push_back( rules.add( count + i ) );
         }
         for ( U32 i = 0; i < changes; ++i ) {
            figures[3].push_back( rules.remove( count + i ) );
         }
         box.space().run( "nft delete table ip flowspec && nft delete table ip6 flowspec" );
      }
      std::printf( "| %u | %.4f s | %.4f s | %.3f ms | %.3f ms | %.0f | %.0f |\n", count,
                   median( figures[0] ), median( figures[1] ), median( figures[2] ) * 1000,
                   median( figures[3] ) * 1000, median( figures[4] ),
                   daemonMemory( build, box, count ) );
      std::fflush( stdout );
   }
}

// The same rules in one chain.
void loadPlain( const Forwarder& box, U32 count ) {
   const Folder folder;
   const Vek::String file = folder.file( "plain" );
   {
      std::ofstream text( file );
      text << "table ip plain {\nchain prerouting {\ntype filter hook prerouting priority -450;\n";
      for ( U32 number = 0; number < count; ++number ) {
         text << "iifname \"in\" ip daddr "
              << ruleKey( number ).destPrefix().address().stringValue()
              << " udp dport 53 counter drop\n";
      }
      text << "}\n}\n";
   }
   box.space().run( "nft -f " + file );
}

void forwarding( Forwarder& box, const std::vector< U32 >& counts ) {
   std::vector< std::vector< double > > ours( counts.size() );
   std::vector< std::vector< double > > plain( counts.size() );
   std::vector< double > none;
   for ( int round = 0; round < rounds; ++round ) {
      none.push_back( box.packetsPerSecond( counts.back(), sending ) );
      for ( std::size_t i = 0; i < counts.size(); ++i ) {
         {
            const Programmed rules( box, counts[i] );
            ours[i].push_back( box.packetsPerSecond( counts[i], sending ) );
         }
         box.space().run( "nft delete table ip flowspec && nft delete table ip6 flowspec" );
         loadPlain( box, counts[i] );
         plain[i].push_back( box.packetsPerSecond( counts[i], sending ) );
         box.space().run( "nft delete table ip plain" );
      }
   }
   std::printf( "\n%.0f packets a second without rules\n\n| rules | packets a second | one plain "
                "rule each | factor | beside the fewest |\n|---|---|---|---|---|\n",
                median( none ) );
   for ( std::size_t i = 0; i < counts.size(); ++i ) {
      std::printf( "| %u | %.0f | %.0f | %.1f | %.2f |\n", counts[i], median( ours[i] ),
                   median( plain[i] ), median( ours[i] ) / median( plain[i] ),
                   median( ours[i] ) / median( ours[0] ) );
   }
}

} // namespace

int main( int argc, char** argv ) {
   if ( argc < 2 ) {
      fail( "usage: NftBench BUILD [RULES]" );
   }
   if ( ::geteuid() != 0 ) {
      std::printf( "namespaces and nf_tables take root\n" );
      return 77;
   }
   std::vector< U32 > counts;
   const auto most =
      static_cast< U32 >( argc > 2 ? std::strtoul( argv[2], nullptr, 10 ) : 100'000 );
   for ( const U32 count : { 10U, 1000U, 10'000U, 100'000U } ) {
      if ( count <= most ) {
         counts.push_back( count );
      }
   }
   Forwarder box;
   std::printf( "medians of %d rounds\n\n", rounds );
   programming( argv[1], box, counts );
   // A packet takes the plain rules of more too long.
   std::erase_if( counts, []( U32 count ) { return count > 10'000; } );
   forwarding( box, counts );
   return 0;
}
