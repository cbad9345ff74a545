#pragma once

#include "Osk/Types.h"

#include <functional>
#include <memory>
#include <vector>

#include <libmnl/libmnl.h>

namespace Agents {

/// A message to the kernel: its header, a body of type `Body`, which begins with zeros, and
/// attributes after it. Room for the few that requests of this program have.
template < typename Body >
class NetlinkMessage {
public:
   explicit NetlinkMessage( U16 type, int flags = 0 )
      : header_( mnl_nlmsg_put_header( room_ ) ),
        body_( static_cast< Body* >( mnl_nlmsg_put_extra_header( header_, sizeof( Body ) ) ) ) {
      header_->nlmsg_type = type;
      header_->nlmsg_flags = static_cast< U16 >( flags );
   }
   NetlinkMessage( const NetlinkMessage& ) = delete;
   NetlinkMessage& operator=( const NetlinkMessage& ) = delete;

   Body& body() { return *body_; }
   nlmsghdr& header() { return *header_; }

   void u8( U16 type, U8 value ) { mnl_attr_put_u8( header_, type, value ); }
   void u32( U16 type, U32 value ) { mnl_attr_put_u32( header_, type, value ); }
   void bytes( U16 type, const void* data, std::size_t size ) {
      mnl_attr_put( header_, type, size, data );
   }

private:
   alignas( nlmsghdr ) char room_[256];
   nlmsghdr* const header_;
   Body* const body_;
};

/// Calls `take` with each attribute that follows a body of `bodySize` bytes.
template < typename Take >
void forEachAttribute( const nlmsghdr& message, std::size_t bodySize, Take take ) {
   const auto* const end = static_cast< const char* >( mnl_nlmsg_get_payload_tail( &message ) );
   const auto* at =
      static_cast< const nlattr* >( mnl_nlmsg_get_payload_offset( &message, bodySize ) );
   for ( ; mnl_attr_ok( at, static_cast< int >( end - reinterpret_cast< const char* >( at ) ) );
         at = mnl_attr_next( at ) ) {
      take( *at );
   }
}

/// Calls `take` with each attribute inside of another one.
template < typename Take >
void forEachNested( const nlattr& outer, Take take ) {
   const auto* at = static_cast< const nlattr* >( mnl_attr_get_payload( &outer ) );
   const char* const end = static_cast< const char* >( mnl_attr_get_payload( &outer ) ) +
                           mnl_attr_get_payload_len( &outer );
   for ( ; mnl_attr_ok( at, static_cast< int >( end - reinterpret_cast< const char* >( at ) ) );
         at = mnl_attr_next( at ) ) {
      take( *at );
   }
}

/// The value of an attribute of 4 bytes; 0 of one that is shorter.
inline U32 u32Of( const nlattr& attribute ) {
   return mnl_attr_validate( &attribute, MNL_TYPE_U32 ) < 0 ? 0 : mnl_attr_get_u32( &attribute );
}

/// A socket to the kernel's interfaces, routing rules and routes (`NETLINK_ROUTE`), in the network
/// namespace in which it was opened. Whatever fails is a `std::system_error` with the kernel's own
/// words where it has some.
class NetlinkSocket {
public:
   using Take = std::function< void( const nlmsghdr& message ) >;

   /// How long the kernel may take for an answer.
   static constexpr int patienceSeconds = 10;

   /// Takes part in what is told to `groups`, the bits `RTMGRP_...`.
   explicit NetlinkSocket( U32 groups = 0 );

   int fd() const { return mnl_socket_get_fd( socket_.get() ); }

   /// Sends a request, and waits until the kernel has done it.
   void request( nlmsghdr& message );

   /// Asks for all objects of a kind. `begin` is called before the first is taken: once more each
   /// time that a change in the middle has made the answer useless.
   void dump( nlmsghdr& message, const std::function< void() >& begin, const Take& take );

   /// Takes what one datagram tells; false, without waiting, when there is none. The error
   /// `ENOBUFS` says that something was lost.
   bool receive( const Take& take );

private:
   struct Close {
      void operator()( mnl_socket* socket ) const { mnl_socket_close( socket ); }
   };

   std::size_t receiveSome( int flags );
   void send( nlmsghdr& message, int flags );
   bool dumpOnce( nlmsghdr& message, const Take& take );

   std::unique_ptr< mnl_socket, Close > socket_;
   std::vector< char > room_;
   U32 sequence_ = 0;
};

} // namespace Agents
