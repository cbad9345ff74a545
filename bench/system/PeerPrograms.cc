#include "bench/system/PeerPrograms.h"

#include "Flowspec/FlowspecDalb.h"
#include "Vek/mount/Mount.h"
#include "Vek/text/Text.h"
#include "bench/system/RouteTaker.h"

#include <cstdio>
#include <fstream>

#include <fcntl.h>
#include <sys/mman.h>

namespace Bench {

namespace {

using Vek::log::Endpoint;
using Vek::log::Mount;

void write( const Vek::String& path, const Vek::String& text ) {
   std::ofstream( path, std::ios::binary ) << text;
}

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

// A number in a file, for two processes.
std::atomic< U32 >& sharedCount( const Vek::String& path ) {
   const int fd = ::open( path.c_str(), O_RDWR | O_CLOEXEC );
   void* const memory =
      ::mmap( nullptr, sizeof( std::atomic< U32 > ), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0 );
   if ( memory == MAP_FAILED ) {
      fail( path + " cannot be mapped" );
   }
   ::close( fd );
   return *static_cast< std::atomic< U32 >* >( memory );
}

class Peerd final : public Program {
public:
   Peerd( const Vek::String& build, U32 peers )
      : database_( { build + "/agents/statedbd", "--socket", folder_.file( "socket" ) } ),
        mount_( Endpoint( folder_.file( "socket" ) ), "reader", "flowspec/bgp", directory_ ) {
      Vek::String config =
         Vek::concat( R"({"localAs":64500,"routerId":"1.1.1.1","listen":[{"address":"127.0.0.1",)",
                      R"("port":)", peerPort, R"(}],"peers":[)" );
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

class PeerdRoutes final : public Program {
public:
   // Another run of this program, so that nothing of this one's memory is in it.
   explicit PeerdRoutes( U32 peers ) {
      write( folder_.file( "filed" ), Vek::String( sizeof( std::atomic< U32 > ), '\0' ) );
      filed_ = &sharedCount( folder_.file( "filed" ) );
      child_.reset( new Child(
         { "/proc/self/exe", "--routes", Vek::concat( peers ), folder_.file( "filed" ) } ) );
   }

   void await( U32 count ) override {
      askUntil( count, [this] { return filed_->load(); } );
   }

private:
   std::atomic< U32 >* filed_; // stays mapped until this program ends
};

class Bird final : public Program {
public:
   explicit Bird( U32 peers ) {
      Vek::String config = "router id 1.1.1.1;\nflow4 table rules;\nprotocol device {}\n";
      for ( U32 peer = 0; peer < peers; ++peer ) {
         config +=
            Vek::concat( "protocol bgp p", peer, " { local 127.0.0.1 port ", peerPort,
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
         Vek::concat( "[global.config]\nas = 64500\nrouter-id = \"1.1.1.1\"\nport = ", peerPort,
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

} // namespace

Vek::String addressOf( U32 peer ) { return Vek::concat( "127.0.1.", peer + 1 ); }

std::unique_ptr< Program > makePeerd( const Vek::String& build, U32 peers ) {
   return std::make_unique< Peerd >( build, peers );
}
std::unique_ptr< Program > makePeerdRoutes( U32 peers ) {
   return std::make_unique< PeerdRoutes >( peers );
}
void runPeerdRoutes( U32 peers, const Vek::String& count ) {
   std::vector< Zorv::IpGenAddr > addresses;
   for ( U32 peer = 0; peer < peers; ++peer ) {
      addresses.push_back( *Zorv::IpGenAddr::fromText( addressOf( peer ) ) );
   }
   takeRoutes( addresses, peerPort, sharedCount( count ) );
}
std::unique_ptr< Program > makeBird( U32 peers ) { return std::make_unique< Bird >( peers ); }
std::unique_ptr< Program > makeGoBgp( U32 peers ) { return std::make_unique< GoBgp >( peers ); }

} // namespace Bench
