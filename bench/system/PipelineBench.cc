#include "Flowspec/FlowspecDalb.h"
#include "Vek/mount/Mount.h"
#include "agents/configd/Filing.h"
#include "agents/programd/Programmer.h"
#include "agents/programd/SoftwareTcam.h"
#include "bench/support/Rules.h"
#include "bench/system/Child.h"
#include "forms/KeyJson.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <set>

#include <unistd.h>

/// Rules from a file to `flowspecctl show status`, through all daemons, beside each part of that
/// alone; and the memory of the state database.

namespace {

using namespace Bench;
using namespace Flowspec;
using Vek::log::Endpoint;
using Vek::log::Mount;

constexpr int rounds = 3;

// Room for all rules, and all that they ask for.
constexpr const char* profileText = R"({ "capacity": 1000000000000, "interfaceSets": 16,
   "ipv4": { "qualifiers": [ "destPrefix", "srcPrefix", "ipProto", "port", "destPort", "srcPort",
                             "icmpType", "icmpCode", "tcpFlags", "packetLength", "dscp",
                             "fragment" ],
             "actions": [ "trafficDrop" ] },
   "ipv6": { "qualifiers": [ "destPrefix", "srcPrefix", "ipProto", "port", "destPort", "srcPort",
                             "icmpType", "icmpCode", "tcpFlags", "packetLength", "dscp",
                             "fragment", "flowLabel" ],
             "actions": [ "trafficDrop" ] },
   "interfaces": [ { "intf": 1, "vrf": 0 } ], "vrfs": { "default": 0 } })";

void write( const Vek::String& path, const Vek::String& text ) {
   std::ofstream( path, std::ios::binary ) << text;
}

// Rules with distinct keys that packets can match, as lines of JSON.
Vek::String ruleLines( U32 count ) {
   std::set< FlowspecKey, FlowspecKeyOrder > known;
   Vek::String lines;
   for ( FlowspecKey& key : rules( count + count / 10 ) ) {
      if ( known.size() == count ) {
         break;
      }
      key.vrfIdIs( 0 );
      if ( known.insert( key ).second ) {
         Forms::appendKeyJson( lines, key );
         lines.pop_back();
         lines += R"(,"action":{"drop":true}})"
                  "\n";
      }
   }
   if ( known.size() != count ) {
      fail( "too few rules" );
   }
   return lines;
}

// Lets mounts go on until `done`.
void until( std::initializer_list< Mount* > mounts, const std::function< bool() >& done ) {
   while ( !done() ) {
      Mount::wait( { mounts.begin(), mounts.size() }, std::chrono::milliseconds( 100 ) );
      for ( Mount* const mount : mounts ) {
         mount->process();
      }
   }
}

bool isThere( const RuleConfig& rule ) { return rule.actionFieldSet().trafficDrop(); }
bool isThere( const RuleStatus& rule ) { return rule.isProgrammed(); }

// Whether so many rules are there with all that matters. The last one is told last.
template < typename Rules >
bool areThere( const Rules& rules, U32 count ) {
   return rules.size() == count && isThere( **std::prev( rules.end() ) ) &&
          std::ranges::all_of( rules, []( const auto& rule ) { return isThere( *rule ); } );
}

/// What a reader has of one root.
class Reader {
public:
   Reader( const Endpoint& endpoint, const Vek::String& root )
      : mount_( endpoint, "reader", root, directory_ ) {
      until( { &mount_ }, [&] { return mount_.stands(); } );
   }

   void awaitRules( U32 count ) {
      until( { &mount_ }, [&] {
         const auto* const config = root< Config >();
         const auto vrf = config ? config->vrfRuleConfig( 0 ) : nullptr;
         return vrf && areThere( vrf->rule(), count );
      } );
   }
   void awaitStatus( U32 count ) {
      until( { &mount_ }, [&] {
         const auto* const status = root< Status >();
         const auto vrf = status ? status->vrfRuleStatus( 0 ) : nullptr;
         return vrf && areThere( vrf->ruleStatus(), count );
      } );
   }
   void awaitCounters( U32 count ) {
      until( { &mount_ }, [&] {
         const auto* const counter = root< Counter >();
         return counter && counter->timestamp() > 0 && counter->snapshot().size() == count;
      } );
   }

private:
   template < typename T >
   const T* root() const {
      return static_cast< const T* >( directory_.entity( mount_.root() ).get() );
   }

   Vek::Directory directory_;
   Mount mount_;
};

/// Where the programs of the build are.
struct Programs {
   Vek::String build;

   Child daemon( const char* name, const Endpoint& endpoint,
                 std::vector< Vek::String > arguments = {} ) const {
      arguments.insert( arguments.begin(),
                        { build + "/agents/" + name, "--socket", endpoint.text() } );
      return Child( std::move( arguments ) );
   }
   double show( const Endpoint& endpoint ) const {
      const Vek::String command =
         build + "/tools/flowspecctl show status --socket " + endpoint.text() + " >/dev/null";
      return secondsOf( [&] {
         if ( std::system( command.c_str() ) != 0 ) {
            fail( "flowspecctl failed" );
         }
      } );
   }
};

/// A root that was streamed through a state database.
struct Streamed {
   double seconds;
   double memory; // bytes that the state database took for it
};

Streamed streamed( const Programs& programs, Vek::NamedEntity& root,
                   const std::function< void( Reader& ) >& await ) {
   const Folder folder;
   const Endpoint endpoint( folder.file( "socket" ) );
   const Child database = programs.daemon( "statedbd", endpoint );
   Reader reader( endpoint, root.name() );
   const std::size_t before = database.memory();
   const Child writer( [&] {
      Mount mount( endpoint, "writer", root );
      until( { &mount }, [] { return false; } );
   } );
   const double seconds = secondsOf( [&] { await( reader ); } );
   return { seconds, static_cast< double >( database.memory() - before ) };
}

/// Seconds of each part alone and of the whole.
struct Times {
   std::vector< std::pair< const char*, double > > parts;
   double whole = 0;
   // Bytes that the state database takes for each rule.
   double configMemory = 0;
   double statusMemory = 0;
   double allMemory = 0; // with the counters
};

Times measured( const Programs& programs, const Vek::String& file, const Vek::String& profile,
                U32 count ) {
   Times times;
   const auto part = [&]( const char* name, const std::function< void() >& work ) {
      times.parts.emplace_back( name, secondsOf( work ) );
   };
   std::vector< Forms::RuleFile > files( 1 );
   part( "reading the file", [&] { files[0] = Forms::readRuleFile( file, {} ); } );
   const auto config = configFactory( "flowspec/config" );
   part( "filing", [&] {
      if ( Agents::Filing( config ).apply( files ).added != count ) {
         fail( "not all rules can be filed" );
      }
   } );
   const auto stream = [&]( const char* name, Vek::NamedEntity& root,
                            const std::function< void( Reader& ) >& await ) {
      const Streamed result = streamed( programs, root, await );
      times.parts.emplace_back( name, result.seconds );
      return result.memory / count;
   };
   times.configMemory = stream( "streaming the configuration", *config,
                                [&]( Reader& reader ) { reader.awaitRules( count ); } );
   const auto status = statusFactory( "flowspec/status" );
   {
      Agents::SoftwareTcam tcam( Dataplane::Profile::read( profileText ) );
      Agents::Programmer programmer( { config }, cliConfigFactory( "flowspec/cliconfig" ), tcam,
                                     status, counterFactory( "flowspec/counter" ) );
      part( "programming", [&] { programmer.process( 1 ); } );
   }
   times.statusMemory = stream( "streaming the status", *status,
                                [&]( Reader& reader ) { reader.awaitStatus( count ); } );

   const Folder folder;
   const Endpoint endpoint( folder.file( "socket" ) );
   const Child database = programs.daemon( "statedbd", endpoint );
   const auto cli = cliConfigFactory( "flowspec/cliconfig" );
   Mount operators( endpoint, "operator", *cli );
   until( { &operators }, [&] { return operators.allSent(); } );
   const Child programd = programs.daemon( "programd", endpoint, { profile } );
   Reader reader( endpoint, "flowspec/status" );
   Reader counters( endpoint, "flowspec/counter" );
   const std::size_t before = database.memory();
   std::optional< Child > configd;
   times.whole = secondsOf( [&] {
      configd.emplace( std::vector< Vek::String >{ programs.build + "/agents/configd", "--socket",
                                                   endpoint.text(), file } );
      reader.awaitStatus( count );
   } );
   const double shown = programs.show( endpoint );
   times.parts.emplace_back( "showing", shown );
   times.whole += shown;
   cli->counterUpdateRequestTimeIs( 1 );
   until( { &operators }, [&] { return operators.allSent(); } );
   counters.awaitCounters( count );
   times.allMemory = static_cast< double >( database.memory() - before ) / count;
   return times;
}

} // namespace

int main( int argc, char** argv ) {
   if ( argc < 2 || argc > 3 ) {
      fail( "usage: PipelineBench BUILD [RULES]" );
   }
   const Programs programs{ argv[1] };
   const auto count =
      static_cast< U32 >( argc > 2 ? std::strtoul( argv[2], nullptr, 10 ) : 100'000 );
   const Folder folder;
   const Vek::String file = folder.file( "rules.jsonl" );
   const Vek::String profile = folder.file( "profile.json" );
   write( file, ruleLines( count ) );
   write( profile, profileText );
   std::vector< Times > all;
   for ( int round = 0; round < rounds; ++round ) {
      all.push_back( measured( programs, file, profile, count ) );
   }
   const auto medianOf = [&]( auto figure ) {
      std::vector< double > figures;
      for ( const Times& times : all ) {
         figures.push_back( figure( times ) );
      }
      return median( std::move( figures ) );
   };
   std::vector< double > parts;
   double sum = 0;
   for ( std::size_t i = 0; i < all[0].parts.size(); ++i ) {
      parts.push_back( medianOf( [&]( const Times& times ) { return times.parts[i].second; } ) );
      sum += parts.back();
   }
   const double whole = medianOf( []( const Times& times ) { return times.whole; } );
   const double memory = medianOf( []( const Times& times ) { return times.allMemory; } );
   std::printf( "%u rules, medians of %d\n\n| part alone | time | share |\n|---|---|---|\n", count,
                rounds );
   for ( std::size_t i = 0; i < parts.size(); ++i ) {
      std::printf( "| %s | %.3f s | %.0f %% |\n", all[0].parts[i].first, parts[i],
                   100 * parts[i] / sum );
   }
   std::printf( "| all parts | %.3f s | |\n\n", sum );
   std::printf(
      "from the file to what is shown: %.3f s, %.2f times the parts, at most 3 wanted: %s\n", whole,
      whole / sum, whole <= 3 * sum ? "met" : "MISSED" );
   std::printf(
      "memory of the state database for a rule: %.0f bytes for its configuration, %.0f for "
      "its status, %.0f with its counters for all, at most 1024 wanted: %s\n",
      medianOf( []( const Times& times ) { return times.configMemory; } ),
      medianOf( []( const Times& times ) { return times.statusMemory; } ), memory,
      memory <= 1024 ? "met" : "MISSED" );
   return argc > 2 || ( whole <= 3 * sum && memory <= 1024 ) ? 0 : 1;
}
