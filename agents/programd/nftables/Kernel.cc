#include "agents/programd/nftables/Kernel.h"

#include "agents/programd/netlink/NetlinkSocket.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

#include <endian.h>
#include <linux/netfilter.h>
#include <linux/netfilter/nf_tables.h>
#include <linux/netfilter/nfnetlink.h>
#include <sys/socket.h>

namespace Agents::Nftables {

using namespace Dataplane::Nftables;
using Zorv::AddressFamily;

namespace {

[[noreturn]] void fail( const char* what, int error = errno ) {
   throw std::system_error( error, std::generic_category(), what );
}

// A request that begins at `room`, without attributes.
nlmsghdr& request( char* room, U16 type, int flags, AddressFamily family ) {
   nlmsghdr* const header = mnl_nlmsg_put_header( room );
   header->nlmsg_type = static_cast< U16 >( NFNL_SUBSYS_NFTABLES << 8 | type );
   header->nlmsg_flags = static_cast< U16 >( NLM_F_REQUEST | flags );
   auto* const body =
      static_cast< nfgenmsg* >( mnl_nlmsg_put_extra_header( header, sizeof( nfgenmsg ) ) );
   body->nfgen_family = static_cast< U8 >( family == AddressFamily::ipv6   ? NFPROTO_IPV6
                                           : family == AddressFamily::ipv4 ? NFPROTO_IPV4
                                                                           : NFPROTO_UNSPEC );
   return *header;
}

// Calls `take` with each message of a datagram.
template < typename Take >
void forEachMessage( std::span< const char > datagram, Take take ) {
   int left = static_cast< int >( datagram.size() );
   const auto* message = reinterpret_cast< const nlmsghdr* >( datagram.data() );
   for ( ; mnl_nlmsg_ok( message, left ); message = mnl_nlmsg_next( message, &left ) ) {
      take( *message );
   }
}

// The error that a message tells: 0 for an acknowledgement or another message.
int errorOf( const nlmsghdr& message ) {
   if ( message.nlmsg_type != NLMSG_ERROR && message.nlmsg_type != NLMSG_DONE ) {
      return 0;
   }
   if ( mnl_nlmsg_get_payload_len( &message ) < sizeof( int ) ) {
      return 0;
   }
   return -*static_cast< const int* >( mnl_nlmsg_get_payload( &message ) );
}

U64 big64Of( const nlattr& attribute ) {
   return mnl_attr_get_payload_len( &attribute ) < 8 ? 0
                                                     : be64toh( mnl_attr_get_u64( &attribute ) );
}

void takeCounter( const nlmsghdr& message, CountsByName& counters ) {
   Vek::String name;
   Counts counts;
   forEachAttribute( message, sizeof( nfgenmsg ), [&]( const nlattr& attribute ) {
      if ( mnl_attr_get_type( &attribute ) == NFTA_OBJ_NAME ) {
         name = mnl_attr_get_str( &attribute );
      } else if ( mnl_attr_get_type( &attribute ) == NFTA_OBJ_DATA ) {
         forEachNested( attribute, [&]( const nlattr& inner ) {
            if ( mnl_attr_get_type( &inner ) == NFTA_COUNTER_PACKETS ) {
               counts.packets = big64Of( inner );
            } else if ( mnl_attr_get_type( &inner ) == NFTA_COUNTER_BYTES ) {
               counts.bytes = big64Of( inner );
            }
         } );
      }
   } );
   counters[name] = counts;
}

void addLines( Batch& batch, const Vek::String& name, const Chain& chain ) {
   for ( const Lines& lines : chain.parts ) {
      for ( const Line& line : *lines ) {
         batch.addLine( name, line );
      }
   }
}

// Calls `gone` and `come` with what is in one ordered range alone.
template < typename Range, typename Gone, typename Come >
void difference( const Range& from, const Range& to, Gone gone, Come come ) {
   auto a = from.begin();
   auto b = to.begin();
   while ( a != from.end() || b != to.end() ) {
      if ( b == to.end() || ( a != from.end() && *a < *b ) ) {
         gone( *a++ );
      } else if ( a == from.end() || *b < *a ) {
         come( *b++ );
      } else {
         ++a;
         ++b;
      }
   }
}

const std::set< Interval > noIntervals;
const std::set< Vek::String > noInterfaces;

template < typename Map, typename Default >
const Default& valueOr( const Map& map, const Vek::String& key, const Default& none ) {
   const auto at = map.find( key );
   return at == map.end() ? none : at->second;
}

} // namespace

Kernel::Kernel() : socket_( mnl_socket_open2( NETLINK_NETFILTER, SOCK_CLOEXEC ) ), room_( 65536 ) {
   if ( !socket_ || mnl_socket_bind( socket_.get(), 0, MNL_SOCKET_AUTOPID ) < 0 ) {
      fail( "cannot speak to nf_tables" );
   }
}

// Of any size: a transaction goes in one datagram.
void Kernel::send( std::span< const char > bytes ) {
   const int room =
      static_cast< int >( std::min< std::size_t >( 2 * bytes.size() + 65536, 1U << 30 ) );
   if ( setsockopt( fd(), SOL_SOCKET, SO_SNDBUFFORCE, &room, sizeof room ) < 0 ) {
      fail( "cannot make room for messages to nf_tables" );
   }
   if ( mnl_socket_sendto( socket_.get(), bytes.data(), bytes.size() ) < 0 ) {
      fail( "cannot send to nf_tables" );
   }
}

// The size of the next datagram, which is in `room_`; 0 when there is none and it does not wait.
std::size_t Kernel::receive( int flags ) {
   while ( true ) {
      const ssize_t size = recv( fd(), room_.data(), room_.size(), flags );
      if ( size >= 0 ) {
         return static_cast< std::size_t >( size );
      }
      if ( errno == EAGAIN ) {
         return 0;
      }
      if ( errno != EINTR ) {
         fail( "cannot hear from nf_tables" );
      }
   }
}

std::vector< Kernel::Refusal > Kernel::commit( Batch& batch ) {
   send( batch.finish() );
   // The kernel has done it by now, and has told what it refuses.
   std::vector< Refusal > refusals;
   while ( const std::size_t size = receive( MSG_DONTWAIT ) ) {
      forEachMessage( { room_.data(), size }, [&]( const nlmsghdr& message ) {
         if ( const int error = errorOf( message ) ) {
            refusals.push_back( { message.nlmsg_seq, error } );
         }
      } );
   }
   return refusals;
}

CountsByName Kernel::counters( AddressFamily family, std::string_view table ) {
   alignas( nlmsghdr ) std::array< char, 256 > room;
   nlmsghdr& header = request( room.data(), NFT_MSG_GETOBJ, NLM_F_DUMP, family );
   mnl_attr_put_strz( &header, NFTA_OBJ_TABLE, Vek::String( table ).c_str() );
   mnl_attr_put_u32( &header, NFTA_OBJ_TYPE, htobe32( NFT_OBJECT_COUNTER ) );
   // A change in the middle makes the answer useless.
   while ( true ) {
      CountsByName counters;
      bool done = false;
      bool interrupted = false;
      send( { room.data(), header.nlmsg_len } );
      while ( !done ) {
         const std::size_t size = receive( 0 );
         forEachMessage( { room_.data(), size }, [&]( const nlmsghdr& message ) {
            const int error = errorOf( message );
            interrupted = interrupted || message.nlmsg_flags & NLM_F_DUMP_INTR || error == EINTR;
            if ( error != 0 && error != EINTR && error != ENOENT ) {
               fail( "cannot read counters of nf_tables", error );
            }
            done = done || message.nlmsg_type == NLMSG_DONE || message.nlmsg_type == NLMSG_ERROR;
            if ( message.nlmsg_type == ( NFNL_SUBSYS_NFTABLES << 8 | NFT_MSG_NEWOBJ ) ) {
               takeCounter( message, counters );
            }
         } );
      }
      if ( !interrupted ) {
         return counters;
      }
   }
}

U32 Kernel::generation() {
   alignas( nlmsghdr ) std::array< char, 256 > room;
   const nlmsghdr& header = request( room.data(), NFT_MSG_GETGEN, 0, AddressFamily::none );
   send( { room.data(), header.nlmsg_len } );
   U32 generation = 0;
   forEachMessage( { room_.data(), receive( 0 ) }, [&]( const nlmsghdr& message ) {
      if ( const int error = errorOf( message ) ) {
         fail( "cannot ask nf_tables for its generation", error );
      }
      forEachAttribute( message, sizeof( nfgenmsg ), [&]( const nlattr& attribute ) {
         if ( mnl_attr_get_type( &attribute ) == NFTA_GEN_ID ) {
            generation = be32toh( mnl_attr_get_u32( &attribute ) );
         }
      } );
   } );
   return generation;
}

void replaceAll( Batch& batch, const Ruleset& ruleset, const CountsByName& counts ) {
   batch.familyIs( ruleset.family );
   batch.addTable(); // so that there is one to remove
   batch.delTable();
   batch.addTable();
   for ( const Vek::String& name : ruleset.counters ) {
      const auto at = counts.find( name );
      const Counts before = at == counts.end() ? Counts() : at->second;
      batch.addCounter( name, before.packets, before.bytes );
   }
   batch.addInterfaceMap();
   Ruleset empty;
   empty.family = ruleset.family;
   empty.counters = ruleset.counters;
   change( batch, empty, ruleset );
}

void change( Batch& batch, const Ruleset& from, const Ruleset& to ) {
   batch.familyIs( to.family );
   difference(
      from.counters, to.counters, []( const auto& ) {},
      [&]( const Vek::String& name ) { batch.addCounter( name, 0, 0 ); } );
   for ( const auto& [name, limit] : to.limits ) {
      if ( !from.limits.contains( name ) ) {
         batch.addLimit( name, limit );
      }
   }
   for ( const auto& [name, chain] : to.chains ) {
      if ( !from.chains.contains( name ) ) {
         batch.addChain( name );
      }
   }
   for ( const auto& [name, interfaces] : to.interfaceSets ) {
      if ( !from.interfaceSets.contains( name ) ) {
         batch.addInterfaceSet( name );
      }
   }
   for ( const auto& [name, intervals] : to.destinations ) {
      if ( !from.destinations.contains( name ) ) {
         batch.addDestinationMap( name );
      }
   }
   for ( const auto& [name, chain] : to.chains ) {
      const auto before = from.chains.find( name );
      if ( before == from.chains.end() ) {
         addLines( batch, name, chain );
      } else if ( !( before->second == chain ) ) {
         batch.flushChain( name );
         addLines( batch, name, chain );
      }
   }
   for ( const auto& [name, chain] : from.chains ) {
      if ( !to.chains.contains( name ) ) {
         batch.flushChain( name );
      }
   }
   for ( const auto& [name, interfaces] : to.interfaceSets ) {
      difference(
         valueOr( from.interfaceSets, name, noInterfaces ), interfaces,
         [&]( const Vek::String& one ) { batch.interface( false, name, one, "" ); },
         [&]( const Vek::String& one ) { batch.interface( true, name, one, "" ); } );
   }
   const Vek::String map( interfaceMap );
   std::vector< std::pair< Vek::String, Vek::String > > added;
   difference(
      from.interfaces, to.interfaces,
      [&]( const auto& one ) { batch.interface( false, map, one.first, one.second ); },
      [&]( const auto& one ) { added.push_back( one ); } );
   for ( const auto& [name, chain] : added ) {
      batch.interface( true, map, name, chain );
   }
   for ( const auto& [name, intervals] : to.destinations ) {
      std::vector< Interval > gone;
      std::vector< Interval > come;
      difference(
         valueOr( from.destinations, name, noIntervals ), intervals,
         [&]( const Interval& one ) { gone.push_back( one ); },
         [&]( const Interval& one ) { come.push_back( one ); } );
      batch.intervals( false, name, gone );
      batch.intervals( true, name, come );
   }
   // What nothing refers to any more.
   for ( const auto& [name, intervals] : from.destinations ) {
      if ( !to.destinations.contains( name ) ) {
         batch.delSet( name );
      }
   }
   for ( const auto& [name, interfaces] : from.interfaceSets ) {
      if ( !to.interfaceSets.contains( name ) ) {
         batch.delSet( name );
      }
   }
   for ( const auto& [name, chain] : from.chains ) {
      if ( !to.chains.contains( name ) ) {
         batch.delChain( name );
      }
   }
   for ( const auto& [name, limit] : from.limits ) {
      if ( !to.limits.contains( name ) ) {
         batch.delLimit( name );
      }
   }
   difference(
      from.counters, to.counters, [&]( const Vek::String& name ) { batch.delCounter( name ); },
      []( const auto& ) {} );
}

} // namespace Agents::Nftables
