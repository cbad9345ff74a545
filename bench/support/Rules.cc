#include "bench/support/Rules.h"

#include "wire/Precedence.h"

#include <algorithm>
#include <random>
#include <set>

namespace Bench {

namespace {

using Flowspec::FlowspecKey;
using Flowspec::MatchCompType;
using Flowspec::OpBits;

// The engine's numbers are the same everywhere; those of the standard distributions are not.
using Random = std::mt19937_64;

U32 below( Random& random, U32 bound ) { return static_cast< U32 >( random() % bound ); }

constexpr U32 tcp = 6;
constexpr U32 udp = 17;
constexpr U32 commonPorts[] = { 19, 22, 53, 80, 123, 389, 443, 1900, 3389, 8080, 11211 };

// Appends terms to a key; each value gets the shortest length that holds it.
class Terms {
public:
   explicit Terms( FlowspecKey& key ) : key_( key ) {}

   // A component of one term.
   void one( MatchCompType type, U8 op, U32 value ) { term( type, op, value, true ); }

   void range( MatchCompType type, U32 from, U32 to ) {
      term( type, OpBits::gt | OpBits::eq, from, false );
      term( type, OpBits::andPrevious | OpBits::lt | OpBits::eq, to, true );
   }

   void term( MatchCompType type, U8 op, U32 value, bool last ) {
      op |= value <= 0xFF ? 0x00 : value <= 0xFFFF ? 0x10 : 0x20;
      next_ = key_.setOpVal( next_, type, last ? op | OpBits::endOfList : op, value );
   }

private:
   FlowspecKey& key_;
   U32 next_ = 0;
};

U32 port( Random& random ) {
   return below( random, 2 ) ? commonPorts[below( random, std::size( commonPorts ) )]
                             : below( random, 65536 );
}

Zorv::IpGenPrefix ipv4Prefix( Random& random ) {
   const unsigned length = below( random, 2 ) ? 32 : 16 + below( random, 17 );
   return { Zorv::IpGenAddr::ipv4( 0x0A000000 | below( random, 0x1000000 ) ), length };
}

Zorv::IpGenPrefix ipv6Prefix( Random& random ) {
   Zorv::IpGenAddr::Bytes bytes{ 0x20, 0x01, 0x0D, 0xB8 };
   for ( std::size_t i = 4; i < 8; ++i ) {
      bytes[i] = static_cast< U8 >( below( random, 256 ) );
   }
   bytes[15] = static_cast< U8 >( 1 + below( random, 255 ) );
   return { Zorv::IpGenAddr::ipv6( bytes ), below( random, 2 ) ? 128U : 64U };
}

void addPorts( Random& random, Terms& terms ) {
   const MatchCompType type = below( random, 4 ) ? Flowspec::destPort : Flowspec::srcPort;
   const U32 count = 1 + below( random, 3 );
   for ( U32 i = 1; i <= count; ++i ) {
      terms.term( type, OpBits::eq, port( random ), i == count );
   }
}

void addRanges( Random& random, Terms& terms ) {
   const U32 from = below( random, 60000 );
   terms.range( Flowspec::destPort, from, from + 1 + below( random, 5000 ) );
   if ( below( random, 2 ) ) {
      const U32 shortest = below( random, 1000 );
      terms.range( Flowspec::packetLength, shortest, shortest + 1 + below( random, 500 ) );
   }
}

FlowspecKey rule( Random& random ) {
   FlowspecKey key;
   key.vrfIdIs( below( random, 64 ) );
   const U32 kind = below( random, 10 );
   const bool ipv6 = kind == 9;
   key.addressFamilyIs( ipv6 ? Zorv::AddressFamily::ipv6 : Zorv::AddressFamily::ipv4 );
   key.destPrefixIs( ipv6 ? ipv6Prefix( random ) : ipv4Prefix( random ) );
   Terms terms( key );
   if ( kind == 8 ) {
      if ( below( random, 2 ) ) {
         terms.one( Flowspec::ipProto, OpBits::eq, tcp );
         terms.one( Flowspec::tcpFlags, OpBits::match, below( random, 2 ) ? 0x02U : 0x12U );
      } else {
         terms.one( Flowspec::ipProto, OpBits::eq, udp );
         terms.one( Flowspec::fragment, OpBits::match, below( random, 2 ) ? 0x02U : 0x04U );
      }
      return key;
   }
   terms.one( Flowspec::ipProto, OpBits::eq, below( random, 2 ) ? tcp : udp );
   if ( kind == 6 || kind == 7 ) {
      addRanges( random, terms );
   } else {
      addPorts( random, terms );
   }
   return key;
}

// Against what hits 10.1.2.3.
FlowspecKey victimRule( Random& random, unsigned length, bool ranges ) {
   FlowspecKey key;
   key.addressFamilyIs( Zorv::AddressFamily::ipv4 );
   key.destPrefixIs( { Zorv::IpGenAddr::ipv4( 0x0A010203 ), length } );
   Terms terms( key );
   terms.one( Flowspec::ipProto, OpBits::eq, below( random, 2 ) ? tcp : udp );
   if ( ranges ) {
      const U32 to = below( random, 60000 );
      terms.range( Flowspec::destPort, to, to + 1 + below( random, 500 ) );
      const U32 from = below( random, 60000 );
      terms.range( Flowspec::srcPort, from, from + 1 + below( random, 5000 ) );
   } else {
      addPorts( random, terms );
   }
   return key;
}

template < typename Make >
std::vector< FlowspecKey > distinctRules( U32 count, Make make ) {
   Random random( 8955 );
   std::set< FlowspecKey, Flowspec::FlowspecKeyOrder > distinct;
   while ( distinct.size() < count ) {
      distinct.insert( make( random ) );
   }
   std::vector< FlowspecKey > result( distinct.begin(), distinct.end() );
   std::ranges::sort(
      result, []( const FlowspecKey& a, const FlowspecKey& b ) { return Wire::precedes( a, b ); } );
   return result;
}

} // namespace

std::vector< FlowspecKey > victimRules( U32 count ) {
   return distinctRules( count, []( Random& random ) { return victimRule( random, 32, true ); } );
}

std::vector< FlowspecKey > nestedRules( U32 count ) {
   return distinctRules( count, []( Random& random ) {
      const unsigned length = 8 + below( random, 25 );
      return victimRule( random, length, below( random, 2 ) );
   } );
}

std::vector< FlowspecKey > rules( U32 count ) {
   Random random( 8955 );
   std::vector< FlowspecKey > result;
   result.reserve( count );
   for ( U32 i = 0; i < count; ++i ) {
      result.push_back( rule( random ) );
   }
   return result;
}

FlowspecKey sixWordRule( U32 seed ) {
   FlowspecKey key;
   key.vrfIdIs( seed % 64 );
   key.addressFamilyIs( Zorv::AddressFamily::ipv4 );
   key.destPrefixIs( { Zorv::IpGenAddr::ipv4( 0x0A000000 + seed ), 32 } );
   Terms terms( key );
   terms.one( Flowspec::ipProto, OpBits::eq, tcp );
   terms.term( Flowspec::destPort, OpBits::eq, 80, false );
   terms.term( Flowspec::destPort, OpBits::eq, 443, false );
   terms.term( Flowspec::destPort, OpBits::eq, 8080, true );
   terms.range( Flowspec::srcPort, 1024, 1024 + seed % 60000 );
   return key;
}

} // namespace Bench
