#include "Flowspec/FlowspecDalb.h"
#include "Vek/mount/Mount.h"
#include "Vek/text/Text.h"
#include "bench/system/Child.h"
#include "bench/system/PeerSpeaker.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <memory>
#include <set>

#include <unistd.h>

/// Rules from BGP sessions until they are filed, and withdrawn again: `peerd` beside GoBGP and
/// BIRD, which the same speaker tells the same. `peerd` files in a state database of its own, where
/// a reader in this process sees them; the others are asked how many they have.

namespace {

using namespace Bench;
using Vek::log::Endpoint;
using Vek::log::Mount;

constexpr int rounds = 3;
constexpr U16 port = 17900;

void write( const Vek::String& path, const Vek::String& text ) {
   std::ofstream( path, std::ios::binary ) << text;
}

Vek::String addressOf( U32 peer ) { return Vek::concat( "127.0.1.", peer + 1 ); }

Vek::String outputOf( const Vek::String& command ) {
   Vek::String output;
   FILE* const pipe = ::popen( ( command + " 2>/dev/null" ).c_str(), "r" );
   char buffer[4096];
   while ( const std::size_t count = std::fread( buffer, 1, sizeof buffer, pipe ) ) {
      output.append( buffer, count );
   }
   ::pclose( pipe );
   return output;
}

// The number after `label`; nothing when it is not there.
std::optional< U32 > numberBehind( const Vek::String& text, std::string_view label ) {
   const std::size_t at = text.find( label );
   return at == Vek::String::npos ? std::nullopt
                                  : std::optional( static_cast< U32 >( std::strtoul(
                                       text.c_str() + at + label.size(), nullptr, 10 ) ) );
}

// A speaker under test that listens at `port` for peers of AS 64600.
class Program {
public:
   virtual ~Program() = default;
   // Returns when so many rules are there.
   virtual void await( U32 count ) = 0;
   double cpuSeconds() const { return child_->cpuSeconds(); }
   // Of another one that it works with.
   virtual double otherCpuSeconds() const { return 0; }
   std::size_t peakMemory() const { return child_->peakMemory(); }

protected:
   // Asks for the number of rules until it is the one that is wanted.
   template < typename Count >
   static void askUntil( U32 wanted, Count count ) {
      while ( count() != wanted ) {
         ::usleep( 20'000 );
      }
   }

   const Folder folder_;
   std::unique_ptr< Child > child_;
};

class Peerd final : public Program {
public:
   Peerd( const Vek::String& build, U32 peers )
      : database_( { build + "/agents/statedbd", "--socket", folder_.file( "socket" ) } ),
        mount_( Endpoint( folder_.file( "socket" ) ), "reader", "flowspec/bgp", directory_ ) {
      Vek::String config =
         Vek::concat( R"({"localAs":64500,"routerId":"1.1.1.1","listen":[{"address":"127.0.0.1",)",
                      R"("port":)", port, R"(}],"peers":[)" );
      for ( U32 peer = 0; peer < peers; ++peer ) {
         config += Vek::concat( peer == 0 ? "" : ",", R"({"name":"p)", peer, R"(","address":")",
                                addressOf( peer ),
                                R"(","as":64600,"families":["ipv4-flow"],"passive":true,)",
                                R"("checkOriginator":false,"import":[{"accept":true}]})" );
      }
      write( folder_.file( "peerd.json" ), config + "]}" );
      child_.reset( new Child( { build + "/agents/peerd", "--socket", folder_.file( "socket" ),
                                 "--config", folder_.file( "peerd.json" ) } ) );
   }

   void await( U32 count ) override {
      while ( !areFiled( count ) ) {
         Mount* const one[] = { &mount_ };
         Mount::wait( one, std::chrono::milliseconds( 100 ) );
         mount_.process();
      }
   }

   double otherCpuSeconds() const override { return database_.cpuSeconds(); }

private:
   // Whether so many rules are there, all of them with their actions: a reader is told the keys of
   // all that are new before it is told anything else of them.
   bool areFiled( U32 count ) {
      const auto entity = directory_.entity( "flowspec/bgp" );
      const auto* const config = static_cast< const Flowspec::Config* >( entity.get() );
      const auto vrf = config ? config->vrfRuleConfig( 0 ) : nullptr;
      if ( !vrf || vrf->rule().size() != count ) {
         return !vrf && count == 0;
      }
      const auto& rules = vrf->rule();
      auto at = first_ ? rules.lowerBound( *first_ ) : rules.begin();
      for ( ; at != rules.end(); ++at ) {
         first_ = ( *at )->ruleKey();
         if ( ( *at )->actionFieldSet() == Flowspec::ActionFieldSet() ) {
            return false;
         }
      }
      return true;
   }

   const Child database_;
   Vek::Directory directory_;
   Mount mount_;
   std::optional< Flowspec::FlowspecKey > first_; // of the rules that may be without action
};

class Bird final : public Program {
public:
   explicit Bird( U32 peers ) {
      Vek::String config = "router id 1.1.1.1;\nflow4 table rules;\nprotocol device {}\n";
      for ( U32 peer = 0; peer < peers; ++peer ) {
         config +=
            Vek::concat( "protocol bgp p", peer, " { local 127.0.0.1 port ", port,
                         " as 64500; neighbor ", addressOf( peer ),
                         " as 64600; multihop 2; passive; strict bind yes;"
                         " flow4 { table rules; import all; export none; validate off; }; }\n" );
      }
      write( folder_.file( "bird.conf" ), config );
      child_.reset( new Child(
         { "bird", "-f", "-c", folder_.file( "bird.conf" ), "-s", folder_.file( "control" ) } ) );
   }

   void await( U32 count ) override {
      askUntil( count, [&] {
         return numberBehind(
            outputOf( "birdc -s " + folder_.file( "control" ) + " show route table rules count" ),
            "ready.\n" );
      } );
   }
};

class GoBgp final : public Program {
public:
   explicit GoBgp( U32 peers ) {
      Vek::String config =
         Vek::concat( "[global.config]\nas = 64500\nrouter-id = \"1.1.1.1\"\nport = ", port,
                      "\nlocal-address-list = [\"127.0.0.1\"]\n" );
      for ( U32 peer = 0; peer < peers; ++peer ) {
         config += Vek::concat( "[[neighbors]]\n[neighbors.config]\nneighbor-address = \"",
                                addressOf( peer ), "\"\npeer-as = 64600\n",
                                "[neighbors.transport.config]\npassive-mode = true\n",
                                "[[neighbors.afi-safis]]\n[neighbors.afi-safis.config]\n",
                                "afi-safi-name = \"ipv4-flowspec\"\n" );
      }
      write( folder_.file( "gobgpd.toml" ), config );
      child_.reset( new Child( { "gobgpd", "-f", folder_.file( "gobgpd.toml" ), "--api-hosts",
                                 "127.0.0.1:17950", "-l", "error", "--pprof-disable" } ) );
   }

   void await( U32 count ) override {
      askUntil( count, [&] {
         return numberBehind( outputOf( "gobgp -p 17950 global rib summary -a ipv4-flowspec" ),
                              "Destination: " );
      } );
   }
};

using Make = std::function< std::unique_ptr< Program >( U32 peers ) >;

struct Figures {
   double announced, withdrawn;       // seconds that pass
   double announcedCpu, withdrawnCpu; // seconds of its CPU time
   double otherCpu;                   // seconds of that of `statedbd`, for both
   double bytesPerRule;               // at the peak, beside what it takes without rules
};

// Each of `peers` tells so many rules, all at once.
Figures feed( const Make& make, U32 peers, U32 rules ) {
   const auto program = make( peers );
   std::vector< std::unique_ptr< PeerSpeaker > > speakers;
   for ( U32 peer = 0; peer < peers; ++peer ) {
      speakers.push_back( std::make_unique< PeerSpeaker >( addressOf( peer ), port ) );
   }
   program->await( 0 );
   const auto memory = static_cast< double >( program->peakMemory() );
   double cpu = program->cpuSeconds();
   const auto tell = [&]( std::vector< U8 > ( *messages )( U32, U32 ), U32 then ) {
      std::vector< std::vector< U8 > > told;
      for ( U32 peer = 0; peer < peers; ++peer ) {
         told.push_back( messages( peer * rules, rules ) );
      }
      std::size_t longest = 0;
      for ( const std::vector< U8 >& all : told ) {
         longest = std::max( longest, all.size() );
      }
      return secondsOf( [&] {
         // A part of each session's in turn.
         constexpr std::size_t part = 65536;
         for ( std::size_t at = 0; at < longest; at += part ) {
            for ( U32 peer = 0; peer < peers; ++peer ) {
               const std::vector< U8 >& all = told[peer];
               if ( at < all.size() ) {
                  speakers[peer]->send( { all.begin() + static_cast< std::ptrdiff_t >( at ),
                                          all.begin() + static_cast< std::ptrdiff_t >(
                                                           std::min( at + part, all.size() ) ) } );
               }
            }
         }
         program->await( then );
      } );
   };
   Figures figures{};
   figures.announced = tell( announcements, peers * rules );
   figures.announcedCpu = program->cpuSeconds() - cpu;
   figures.bytesPerRule =
      ( static_cast< double >( program->peakMemory() ) - memory ) / ( peers * rules );
   cpu = program->cpuSeconds();
   figures.withdrawn = tell( withdrawals, 0 );
   figures.withdrawnCpu = program->cpuSeconds() - cpu;
   figures.otherCpu = program->otherCpuSeconds();
   return figures;
}

double medianOf( const std::vector< Figures >& all, double Figures::*figure ) {
   std::vector< double > values;
   for ( const Figures& one : all ) {
      values.push_back( one.*figure );
   }
   return median( values );
}

void compare( const std::vector< std::pair< const char*, Make > >& programs, U32 peers, U32 rules,
              int count ) {
   std::printf( "%u sessions of %u rules, medians of %d rounds:\n", peers, rules, count );
   std::printf( "| program | announced | CPU | withdrawn | CPU | statedbd's CPU | "
                "bytes a rule |\n|---|---|---|---|---|---|---|\n" );
   std::vector< std::vector< Figures > > figures( programs.size() );
   for ( int round = 0; round < count; ++round ) {
      for ( std::size_t i = 0; i < programs.size(); ++i ) {
         figures[i].push_back( feed( programs[i].second, peers, rules ) );
      }
   }
   for ( std::size_t i = 0; i < programs.size(); ++i ) {
      std::printf( "| %s | %.2f s | %.2f s | %.2f s | %.2f s | %.2f s | %.0f |\n",
                   programs[i].first, medianOf( figures[i], &Figures::announced ),
                   medianOf( figures[i], &Figures::announcedCpu ),
                   medianOf( figures[i], &Figures::withdrawn ),
                   medianOf( figures[i], &Figures::withdrawnCpu ),
                   medianOf( figures[i], &Figures::otherCpu ),
                   medianOf( figures[i], &Figures::bytesPerRule ) );
   }
   std::fflush( stdout );
}

// One rule more among so many, until a reader of the root has it.
void changeOne( const Vek::String& build, U32 rules, U32 changes ) {
   Peerd peerd( build, 1 );
   PeerSpeaker speaker( addressOf( 0 ), port );
   speaker.send( announcements( 0, rules ) );
   peerd.await( rules );
   std::vector< double > seconds;
   for ( U32 i = 0; i < changes; ++i ) {
      const std::vector< U8 > messages = announcements( rules + i, 1 );
      seconds.push_back( secondsOf( [&] {
         speaker.send( messages );
         peerd.await( rules + i + 1 );
      } ) );
   }
   std::printf( "one rule among %u, from the speaker to a reader of the root: median %.3f ms\n",
                rules, median( seconds ) * 1000 );
}

} // namespace

int main( int argc, char** argv ) {
   if ( argc < 2 ) {
      fail( "usage: PeerBench BUILD [RULES [PROGRAM...]]" );
   }
   const Vek::String build = argv[1];
   const U32 rules =
      argc > 2 ? static_cast< U32 >( std::strtoul( argv[2], nullptr, 10 ) ) : 100'000;
   const std::set< std::string_view > wanted( argv + std::min( argc, 3 ), argv + argc );
   const auto isWanted = [&]( const char* name ) {
      return wanted.empty() || wanted.contains( name );
   };
   std::vector< std::pair< const char*, Make > > programs;
   const auto offer = [&]( const char* name, const Make& make ) {
      if ( !isWanted( name ) ) {
         return;
      }
      if ( std::system( Vek::concat( "command -v ", name, " > /dev/null" ).c_str() ) == 0 ) {
         programs.emplace_back( name, make );
      } else {
         std::printf( "%s is not installed\n", name );
      }
   };
   const bool ours = isWanted( "peerd" );
   if ( ours ) {
      programs.emplace_back(
         "peerd", [&]( U32 peers ) { return std::make_unique< Peerd >( build, peers ); } );
   }
   offer( "bird", []( U32 peers ) { return std::make_unique< Bird >( peers ); } );
   offer( "gobgpd", []( U32 peers ) { return std::make_unique< GoBgp >( peers ); } );
   compare( programs, 1, rules, rounds );
   compare( programs, 20, rules / 2, 1 );
   if ( ours ) {
      changeOne( build, rules * 5, 200 );
   }
   return 0;
}
