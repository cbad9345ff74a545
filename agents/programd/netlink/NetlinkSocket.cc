#include "agents/programd/netlink/NetlinkSocket.h"

#include <cerrno>
#include <string>
#include <system_error>

#include <sys/socket.h>
#include <sys/time.h>

namespace Agents {

namespace {

[[noreturn]] void fail( int error, const std::string& what ) {
   throw std::system_error( error, std::generic_category(), what );
}

// As large as the kernel makes the parts of a dump at most.
constexpr std::size_t roomForDump = 32'768;

// A dump that changes under the reader this often is given up for now.
constexpr int dumpTries = 16;

// What the kernel says about a request: nothing for one that it has done.
void throwErrorOf( const nlmsghdr& message ) {
   const auto* const error = static_cast< const nlmsgerr* >( mnl_nlmsg_get_payload( &message ) );
   if ( error->error == 0 ) {
      return;
   }
   std::string words = "the kernel refuses";
   if ( message.nlmsg_flags & NLM_F_ACK_TLVS ) {
      forEachAttribute( message, sizeof( nlmsgerr ), [&]( const nlattr& attribute ) {
         if ( mnl_attr_get_type( &attribute ) == NLMSGERR_ATTR_MSG &&
              mnl_attr_validate( &attribute, MNL_TYPE_NUL_STRING ) >= 0 ) {
            words = mnl_attr_get_str( &attribute );
         }
      } );
   }
   fail( -error->error, words );
}

} // namespace

NetlinkSocket::NetlinkSocket( U32 groups )
   : socket_( mnl_socket_open2( NETLINK_ROUTE, SOCK_CLOEXEC ) ), room_( roomForDump ) {
   if ( !socket_ || mnl_socket_bind( socket_.get(), groups, MNL_SOCKET_AUTOPID ) < 0 ) {
      fail( errno, "cannot open a netlink socket" );
   }
   // Only the header of a request comes back with an error, and the error's words after it. What a
   // dump is asked for is filtered by the kernel.
   int on = 1;
   for ( const int option : { NETLINK_CAP_ACK, NETLINK_EXT_ACK, NETLINK_GET_STRICT_CHK } ) {
      if ( mnl_socket_setsockopt( socket_.get(), option, &on, sizeof on ) < 0 ) {
         fail( errno, "cannot set an option of a netlink socket" );
      }
   }
   const timeval patience{ .tv_sec = patienceSeconds, .tv_usec = 0 };
   if ( ::setsockopt( fd(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience ) < 0 ) {
      fail( errno, "cannot set an option of a netlink socket" );
   }
}

// The size of the datagram in `room_`; 0 when there is none and it does not wait.
std::size_t NetlinkSocket::receiveSome( int flags ) {
   for ( ;; ) {
      sockaddr_nl sender{};
      socklen_t size = sizeof sender;
      const ssize_t got = ::recvfrom( fd(), room_.data(), room_.size(), flags | MSG_TRUNC,
                                      reinterpret_cast< sockaddr* >( &sender ), &size );
      if ( got < 0 && errno == EAGAIN ) {
         if ( flags & MSG_DONTWAIT ) {
            return 0;
         }
         fail( ETIMEDOUT, "no answer from the kernel" );
      }
      if ( got < 0 && errno != EINTR ) {
         fail( errno, "cannot read from a netlink socket" );
      }
      if ( got > static_cast< ssize_t >( room_.size() ) ) {
         fail( ENOBUFS, "a message of the kernel is too long" );
      }
      // Only the kernel is number 0; other processes can send, too.
      if ( got > 0 && sender.nl_pid == 0 ) {
         return static_cast< std::size_t >( got );
      }
   }
}

void NetlinkSocket::send( nlmsghdr& message, int flags ) {
   message.nlmsg_flags = static_cast< U16 >( message.nlmsg_flags | flags );
   message.nlmsg_seq = ++sequence_;
   if ( mnl_socket_sendto( socket_.get(), &message, message.nlmsg_len ) < 0 ) {
      fail( errno, "cannot write to a netlink socket" );
   }
}

void NetlinkSocket::request( nlmsghdr& message ) {
   send( message, NLM_F_REQUEST | NLM_F_ACK );
   for ( ;; ) {
      int left = static_cast< int >( receiveSome( 0 ) );
      const auto* at = reinterpret_cast< const nlmsghdr* >( room_.data() );
      for ( ; mnl_nlmsg_ok( at, left ); at = mnl_nlmsg_next( at, &left ) ) {
         if ( at->nlmsg_seq == sequence_ && at->nlmsg_type == NLMSG_ERROR ) {
            return throwErrorOf( *at );
         }
      }
   }
}

void NetlinkSocket::dump( nlmsghdr& message, const std::function< void() >& begin,
                          const Take& take ) {
   for ( int tries = 0; tries < dumpTries; ++tries ) {
      begin();
      if ( dumpOnce( message, take ) ) {
         return;
      }
   }
   fail( EINTR, "what the kernel lists changes all the time" );
}

// False when there was a change in the middle.
bool NetlinkSocket::dumpOnce( nlmsghdr& message, const Take& take ) {
   send( message, NLM_F_REQUEST | NLM_F_DUMP );
   bool consistent = true;
   for ( ;; ) {
      int left = static_cast< int >( receiveSome( 0 ) );
      const auto* at = reinterpret_cast< const nlmsghdr* >( room_.data() );
      for ( ; mnl_nlmsg_ok( at, left ); at = mnl_nlmsg_next( at, &left ) ) {
         if ( at->nlmsg_seq != sequence_ ) {
            continue;
         }
         consistent = consistent && !( at->nlmsg_flags & NLM_F_DUMP_INTR );
         if ( at->nlmsg_type == NLMSG_ERROR ) {
            throwErrorOf( *at );
         } else if ( at->nlmsg_type == NLMSG_DONE ) {
            return consistent;
         } else {
            take( *at );
         }
      }
   }
}

bool NetlinkSocket::receive( const Take& take ) {
   int left = static_cast< int >( receiveSome( MSG_DONTWAIT ) );
   if ( left == 0 ) {
      return false;
   }
   const auto* at = reinterpret_cast< const nlmsghdr* >( room_.data() );
   for ( ; mnl_nlmsg_ok( at, left ); at = mnl_nlmsg_next( at, &left ) ) {
      take( *at );
   }
   return true;
}

} // namespace Agents
