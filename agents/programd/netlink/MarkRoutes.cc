#include "agents/programd/netlink/MarkRoutes.h"

#include <bit>
#include <stdexcept>
#include <system_error>

#include <linux/fib_rules.h>
#include <linux/rtnetlink.h>

namespace Agents {

using Zorv::AddressFamily;
using Zorv::IpGenAddr;

namespace {

U8 systemFamily( AddressFamily family ) {
   return family == AddressFamily::ipv4 ? AF_INET : AF_INET6;
}

AddressFamily familyOf( U8 systemFamily ) {
   return systemFamily == AF_INET ? AddressFamily::ipv4 : AddressFamily::ipv6;
}

std::size_t addressSize( AddressFamily family ) { return IpGenAddr::bits( family ) / 8; }

IpGenAddr addressOf( AddressFamily family, const nlattr& attribute ) {
   IpGenAddr::Bytes bytes{};
   if ( mnl_attr_get_payload_len( &attribute ) != addressSize( family ) ) {
      return {};
   }
   std::memcpy( bytes.data(), mnl_attr_get_payload( &attribute ), addressSize( family ) );
   return IpGenAddr::ofFamily( family, bytes.data(), IpGenAddr::bits( family ) );
}

constexpr AddressFamily families[] = { AddressFamily::ipv4, AddressFamily::ipv6 };

} // namespace

U32 MarkRoutes::nextHopTable( U32 mark, U32 mask ) {
   return firstTable + ( ( mark & mask ) >> std::countr_zero( mask ) );
}

MarkRoutes::MarkRoutes( U32 mask ) : mask_( mask ) {
   if ( mask == 0 || mask >> std::countr_zero( mask ) > maxMarks ) {
      throw std::invalid_argument( "a mask of marks has 1 to 16 neighbouring bits" );
   }
}

std::vector< MarkRouteFault > MarkRoutes::apply( const std::set< MarkRoute >& wanted,
                                                 Others others ) {
   const std::set< Rule > oldRules = rules();
   const std::set< Route > oldRoutes = routes();
   std::set< Rule > keptRules;
   std::set< Route > keptRoutes;
   std::vector< MarkRouteFault > faults;
   for ( const MarkRoute& route : wanted ) {
      const U8 family = systemFamily( route.family );
      Rule lookup{ family, lookupPriority, route.mark, mask_, route.table };
      const Rule blackhole{ family, blackholePriority, route.mark, mask_, 0 };
      try {
         if ( route.table == 0 ) {
            lookup.table = nextHopTable( route.mark, mask_ );
            const Route nextHop{ lookup.table, route.nextHop };
            if ( !oldRoutes.contains( nextHop ) ) {
               put( nextHop );
            }
            keptRoutes.insert( nextHop );
         }
         // What must not go the ordinary way is stopped before it is led away.
         for ( const Rule& rule : { blackhole, lookup } ) {
            if ( !oldRules.contains( rule ) ) {
               put( rule );
            }
            keptRules.insert( rule );
         }
      } catch ( const std::system_error& error ) {
         faults.push_back( { route, error.what() } );
      }
   }
   if ( others == Others::stay ) {
      return faults;
   }
   // An object that somebody else removes in the meantime is gone as well.
   const auto removeOthers = [this]( const auto& old, const auto& kept ) {
      for ( const auto& object : old ) {
         if ( !kept.contains( object ) ) {
            try {
               remove( object );
            } catch ( const std::system_error& ) {
            }
         }
      }
   };
   removeOthers( oldRules, keptRules );
   removeOthers( oldRoutes, keptRoutes );
   return faults;
}

std::set< MarkRoutes::Rule > MarkRoutes::rules() {
   std::set< Rule > all;
   for ( const AddressFamily family : families ) {
      std::set< Rule > found;
      NetlinkMessage< fib_rule_hdr > list( RTM_GETRULE );
      list.body().family = systemFamily( family );
      socket_.dump(
         list.header(), [&] { found.clear(); },
         [&]( const nlmsghdr& message ) {
            const auto& body = *static_cast< fib_rule_hdr* >( mnl_nlmsg_get_payload( &message ) );
            Rule rule{ .family = body.family };
            bool ours = false;
            forEachAttribute( message, sizeof body, [&]( const nlattr& attribute ) {
               switch ( mnl_attr_get_type( &attribute ) ) {
               case FRA_PRIORITY:
                  rule.priority = u32Of( attribute );
                  break;
               case FRA_FWMARK:
                  rule.mark = u32Of( attribute );
                  break;
               case FRA_FWMASK:
                  rule.mask = u32Of( attribute );
                  break;
               case FRA_TABLE:
                  rule.table = u32Of( attribute );
                  break;
               case FRA_PROTOCOL:
                  ours = mnl_attr_get_u8( &attribute ) == protocol;
                  break;
               }
            } );
            if ( ours ) {
               found.insert( rule );
            }
         } );
      all.merge( found );
   }
   return all;
}

// Only our own: a machine may have a million routes.
std::set< MarkRoutes::Route > MarkRoutes::routes() {
   std::set< Route > all;
   for ( const AddressFamily family : families ) {
      std::set< Route > found;
      NetlinkMessage< rtmsg > list( RTM_GETROUTE );
      list.body().rtm_family = systemFamily( family );
      list.body().rtm_protocol = protocol;
      socket_.dump(
         list.header(), [&] { found.clear(); },
         [&]( const nlmsghdr& message ) {
            const auto& body = *static_cast< rtmsg* >( mnl_nlmsg_get_payload( &message ) );
            Route route;
            forEachAttribute( message, sizeof body, [&]( const nlattr& attribute ) {
               switch ( mnl_attr_get_type( &attribute ) ) {
               case RTA_TABLE:
                  route.table = u32Of( attribute );
                  break;
               case RTA_GATEWAY:
                  route.gateway = addressOf( familyOf( body.rtm_family ), attribute );
                  break;
               }
            } );
            // A kernel that does not filter lists those of others, too.
            if ( body.rtm_protocol == protocol && body.rtm_dst_len == 0 && !route.gateway.empty() &&
                 route.table > firstTable && route.table <= firstTable + maxMarks ) {
               found.insert( route );
            }
         } );
      all.merge( found );
   }
   return all;
}

namespace {

template < typename Rule >
void describe( NetlinkMessage< fib_rule_hdr >& message, const Rule& rule ) {
   message.body().family = rule.family;
   message.body().action = rule.table == 0 ? FR_ACT_BLACKHOLE : FR_ACT_TO_TBL;
   if ( rule.table != 0 ) {
      message.u32( FRA_TABLE, rule.table );
   }
   message.u32( FRA_PRIORITY, rule.priority );
   message.u32( FRA_FWMARK, rule.mark );
   message.u32( FRA_FWMASK, rule.mask );
   message.u8( FRA_PROTOCOL, MarkRoutes::protocol );
}

template < typename Route >
void describe( NetlinkMessage< rtmsg >& message, const Route& route ) {
   message.body().rtm_family = systemFamily( route.gateway.family() );
   message.body().rtm_protocol = MarkRoutes::protocol;
   message.body().rtm_type = RTN_UNICAST;
   message.u32( RTA_TABLE, route.table );
   message.bytes( RTA_GATEWAY, route.gateway.bytes().data(),
                  addressSize( route.gateway.family() ) );
}

} // namespace

void MarkRoutes::put( const Rule& rule ) {
   NetlinkMessage< fib_rule_hdr > add( RTM_NEWRULE, NLM_F_CREATE | NLM_F_EXCL );
   describe( add, rule );
   socket_.request( add.header() );
}

void MarkRoutes::remove( const Rule& rule ) {
   NetlinkMessage< fib_rule_hdr > del( RTM_DELRULE );
   describe( del, rule );
   socket_.request( del.header() );
}

void MarkRoutes::put( const Route& route ) {
   NetlinkMessage< rtmsg > add( RTM_NEWROUTE, NLM_F_CREATE | NLM_F_REPLACE );
   describe( add, route );
   socket_.request( add.header() );
}

void MarkRoutes::remove( const Route& route ) {
   NetlinkMessage< rtmsg > del( RTM_DELROUTE );
   describe( del, route );
   socket_.request( del.header() );
}

} // namespace Agents
