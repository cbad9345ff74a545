#include "Vek/text/Text.h"
#include "bench/system/PeerPrograms.h"
#include "bench/system/PeerSpeaker.h"

#include <algorithm>
#include <cstdio>
#include <set>

/// Rules from BGP sessions until they are filed, and withdrawn again: `peerd` beside GoBGP and
/// BIRD, which the same speaker tells the same. `peerd` files in a state database of its own, where
/// a reader in this process sees them; the others hold routes, file nothing, and are asked how many
/// they have. Beside them a part of `peerd` that does what they do.

namespace {

using namespace Bench;

constexpr int rounds = 3;
constexpr std::string_view gobgp = "gobgpd";

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
      speakers.push_back( std::make_unique< PeerSpeaker >( addressOf( peer ), peerPort ) );
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
   const auto peerd = makePeerd( build, 1 );
   PeerSpeaker speaker( addressOf( 0 ), peerPort );
   speaker.send( announcements( 0, rules ) );
   peerd->await( rules );
   std::vector< double > seconds;
   for ( U32 i = 0; i < changes; ++i ) {
      const std::vector< U8 > messages = announcements( rules + i, 1 );
      seconds.push_back( secondsOf( [&] {
         speaker.send( messages );
         peerd->await( rules + i + 1 );
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
   const auto number = [argv]( int at ) {
      return static_cast< U32 >( std::strtoul( argv[at], nullptr, 10 ) );
   };
   const Vek::String build = argv[1];
   if ( build == "--routes" && argc == 4 ) {
      runPeerdRoutes( number( 2 ), argv[3] );
   }
   const U32 rules = argc > 2 ? number( 2 ) : 100'000;
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
      programs.emplace_back( "peerd", [&]( U32 peers ) { return makePeerd( build, peers ); } );
      programs.emplace_back( "peerd, routes alone", makePeerdRoutes );
   }
   offer( "bird", makeBird );
   offer( gobgp.data(), makeGoBgp );
   compare( programs, 1, rules, rounds );
   compare( programs, 20, rules / 20, 1 );
   // GoBGP takes minutes for so many.
   std::erase_if( programs, []( const auto& each ) { return each.first == gobgp; } );
   compare( programs, 20, rules / 2, 1 );
   if ( ours ) {
      changeOne( build, rules * 5, 200 );
   }
   return 0;
}
