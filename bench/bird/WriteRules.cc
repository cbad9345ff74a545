#include "bench/support/Rules.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>

/// Writes rules of the benchmarks twice: as command-line text with value lengths, and as static
/// flow routes of BIRD.

namespace {

using Flowspec::FlowspecKey;
using Flowspec::MatchOpValResult;

const char* birdName( Flowspec::MatchCompType type ) {
   switch ( type ) {
   case Flowspec::ipProto:
      return "proto";
   case Flowspec::destPort:
      return "dport";
   case Flowspec::srcPort:
      return "sport";
   case Flowspec::tcpFlags:
      return "tcp flags";
   case Flowspec::packetLength:
      return "length";
   case Flowspec::fragment:
      return "fragment";
   default:
      std::abort(); // no rule of the benchmarks has one
   }
}

std::string birdTerm( const MatchOpValResult& term ) {
   const std::string value = std::to_string( term.val32() );
   if ( term.matchType() == Flowspec::tcpFlags ) {
      return value + "/" + value;
   }
   if ( term.matchType() == Flowspec::fragment ) {
      return term.val32() == 2 ? "is_fragment" : "first_fragment";
   }
   return std::string( term.lt() ? "<" : "" ) + ( term.gt() ? ">" : "" ) + "= " + value;
}

std::string birdRoute( const FlowspecKey& key ) {
   const bool ipv6 = key.addressFamily() == Zorv::AddressFamily::ipv6;
   std::string text = std::string( "route flow" ) + ( ipv6 ? "6" : "4" ) + " { dst " +
                      key.destPrefix().stringValue();
   auto previous = Flowspec::invalid;
   for ( auto term = key.getOptVal( 0 ); !term.isEnd(); term = key.getOptVal( term.nextIndex() ) ) {
      if ( term.matchType() != previous ) {
         text += std::string( "; " ) + birdName( term.matchType() ) + " ";
      } else {
         text += term.andPrevious() ? " && " : " || ";
      }
      text += birdTerm( term );
      previous = term.matchType();
   }
   return text + "; };\n";
}

} // namespace

int main( int argc, char** argv ) {
   if ( argc != 4 ) {
      std::fprintf( stderr, "usage: %s COUNT KEY-FILE BIRD-FILE\n", argv[0] );
      return 2;
   }
   std::ofstream keys( argv[2] );
   std::ofstream bird( argv[3] );
   std::string ipv6Routes;
   bird << "router id 192.0.2.1;\nflow4 table rules4;\nflow6 table rules6;\n"
           "protocol static { flow4 { table rules4; };\n";
   for ( const FlowspecKey& key : Bench::rules( static_cast< U32 >( std::atoi( argv[1] ) ) ) ) {
      keys << key.toStrepCli( true ) << '\n';
      if ( key.addressFamily() == Zorv::AddressFamily::ipv4 ) {
         bird << birdRoute( key );
      } else {
         ipv6Routes += birdRoute( key );
      }
   }
   bird << "}\nprotocol static { flow6 { table rules6; };\n" << ipv6Routes << "}\n";
   keys.flush();
   bird.flush();
   return keys && bird ? 0 : 1;
}
