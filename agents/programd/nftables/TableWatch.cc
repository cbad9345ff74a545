#include "agents/programd/nftables/TableWatch.h"

#include "agents/programd/netlink/NetlinkSocket.h"
#include "dataplane/nftables/Ruleset.h"

#include <cerrno>
#include <system_error>

#include <endian.h>
#include <linux/netfilter/nf_tables.h>
#include <linux/netfilter/nfnetlink.h>
#include <sys/socket.h>

namespace Agents::Nftables {

namespace {

bool isOf( const nlmsghdr& message, U16 type ) {
   return message.nlmsg_type == ( NFNL_SUBSYS_NFTABLES << 8 | type );
}

// Whether a message of the group is about one of our tables. All kinds but the number of a
// generation have the table's name as their first attribute.
bool isOurs( const nlmsghdr& message ) {
   bool ours = false;
   forEachAttribute( message, sizeof( nfgenmsg ), [&]( const nlattr& attribute ) {
      if ( mnl_attr_get_type( &attribute ) == NFTA_TABLE_NAME &&
           mnl_attr_validate( &attribute, MNL_TYPE_NUL_STRING ) >= 0 ) {
         ours = mnl_attr_get_str( &attribute ) == Dataplane::Nftables::tableName;
      }
   } );
   return ours;
}

U32 generationOf( const nlmsghdr& message ) {
   U32 generation = 0;
   forEachAttribute( message, sizeof( nfgenmsg ), [&]( const nlattr& attribute ) {
      if ( mnl_attr_get_type( &attribute ) == NFTA_GEN_ID ) {
         generation = be32toh( u32Of( attribute ) );
      }
   } );
   return generation;
}

} // namespace

TableWatch::TableWatch( EventLoop& loop, std::function< U32() > generation,
                        std::function< void() > changed )
   : loop_( loop ), generation_( std::move( generation ) ), changed_( std::move( changed ) ),
     socket_( mnl_socket_open2( NETLINK_NETFILTER, SOCK_CLOEXEC | SOCK_NONBLOCK ) ),
     room_( 65536 ) {
   unsigned group = NFNLGRP_NFTABLES;
   const int room = 4 * 1024 * 1024;
   if ( !socket_ || mnl_socket_bind( socket_.get(), 0, MNL_SOCKET_AUTOPID ) < 0 ||
        setsockopt( fd(), SOL_SOCKET, SO_RCVBUFFORCE, &room, sizeof room ) < 0 ||
        mnl_socket_setsockopt( socket_.get(), NETLINK_ADD_MEMBERSHIP, &group, sizeof group ) < 0 ) {
      throw std::system_error( errno, std::generic_category(), "cannot watch nf_tables" );
   }
   loop_.add( *this );
}

TableWatch::~TableWatch() { loop_.remove( *this ); }

void TableWatch::ownIs( U32 generation ) {
   own_.insert( generation );
   lastOwn_ = generation;
}

void TableWatch::ready() {
   bool changed = false;
   bool lost = false;
   // What comes while this reads is for the next turn.
   for ( int datagrams = 0; datagrams < 1024; ++datagrams ) {
      const ssize_t size = recv( fd(), room_.data(), room_.size(), 0 );
      if ( size < 0 ) {
         lost = lost || errno == ENOBUFS;
         if ( errno == ENOBUFS || errno == EINTR ) {
            continue;
         }
         break;
      }
      int left = static_cast< int >( size );
      const auto* message = reinterpret_cast< const nlmsghdr* >( room_.data() );
      for ( ; mnl_nlmsg_ok( message, left ); message = mnl_nlmsg_next( message, &left ) ) {
         if ( isOf( *message, NFT_MSG_NEWGEN ) ) {
            const U32 generation = generationOf( *message );
            changed = changed || ( touched_ && !own_.contains( generation ) );
            own_.erase( own_.begin(), own_.upper_bound( generation ) );
            touched_ = false;
         } else {
            touched_ = touched_ || isOurs( *message );
         }
      }
   }
   // Of what was lost anything may have been about our tables, unless the last was our own.
   if ( changed || ( lost && generation_() != lastOwn_ ) ) {
      changed_();
   }
}

} // namespace Agents::Nftables
