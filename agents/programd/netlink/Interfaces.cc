#include "agents/programd/netlink/Interfaces.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

#include <linux/if_link.h>
#include <linux/rtnetlink.h>

namespace Agents {

namespace {

// Others in the event loop have their turn after so many messages.
constexpr int datagramsATurn = 64;

// Nothing but a VRF device has a routing table.
U32 vrfTable( const nlattr& linkInfo ) {
   bool isVrf = false;
   U32 table = 0;
   forEachNested( linkInfo, [&]( const nlattr& info ) {
      if ( mnl_attr_get_type( &info ) == IFLA_INFO_KIND &&
           mnl_attr_validate( &info, MNL_TYPE_NUL_STRING ) >= 0 ) {
         isVrf = std::string_view( mnl_attr_get_str( &info ) ) == "vrf";
      } else if ( mnl_attr_get_type( &info ) == IFLA_INFO_DATA ) {
         forEachNested( info, [&]( const nlattr& data ) {
            if ( mnl_attr_get_type( &data ) == IFLA_VRF_TABLE ) {
               table = u32Of( data );
            }
         } );
      }
   } );
   // The first attribute of other kinds of devices has the same number.
   return isVrf ? table : 0;
}

} // namespace

std::optional< Interface > interfaceOf( const nlmsghdr& message ) {
   if ( mnl_nlmsg_get_payload_len( &message ) < sizeof( ifinfomsg ) ) {
      return std::nullopt;
   }
   const auto* const body = static_cast< const ifinfomsg* >( mnl_nlmsg_get_payload( &message ) );
   // A port that leaves its bridge is "deleted" by the family of bridges.
   if ( body->ifi_family != AF_UNSPEC || body->ifi_index <= 0 ) {
      return std::nullopt;
   }
   Interface interface { .number = static_cast< U32 >( body->ifi_index ) };
   bool partial = false;
   forEachAttribute( message, sizeof *body, [&]( const nlattr& attribute ) {
      switch ( mnl_attr_get_type( &attribute ) ) {
      case IFLA_IFNAME:
         if ( mnl_attr_validate( &attribute, MNL_TYPE_NUL_STRING ) >= 0 ) {
            interface.name = mnl_attr_get_str( &attribute );
         }
         break;
      case IFLA_MASTER:
         interface.master = u32Of( attribute );
         break;
      case IFLA_LINKINFO:
         interface.table = vrfTable( attribute );
         break;
      case IFLA_WIRELESS:
         partial = true; // an event of a radio, with the name alone
         break;
      }
   } );
   return partial ? std::nullopt : std::optional( std::move( interface ) );
}

Interfaces::Interfaces( EventLoop& loop, Changed changed )
   : loop_( loop ), changed_( std::move( changed ) ), watch_( RTMGRP_LINK ),
     interfaces_( listed() ) {
   loop_.add( *this );
}

Interfaces::~Interfaces() { loop_.remove( *this ); }

const Interface* Interfaces::find( U32 number ) const {
   const auto at = interfaces_.find( number );
   return at == interfaces_.end() ? nullptr : &at->second;
}

const Interface* Interfaces::find( std::string_view name ) const {
   const auto at = std::ranges::find_if(
      interfaces_, [&]( const auto& member ) { return member.second.name == name; } );
   return at == interfaces_.end() ? nullptr : &at->second;
}

U32 Interfaces::tableOf( const Interface& interface ) const {
   const Interface* const master = find( interface.master );
   return interface.table == 0 && master ? master->table : interface.table;
}

void Interfaces::ready() {
   due_ = EventLoop::Clock::time_point::max();
   try {
      if ( !watch_ ) {
         return resynchronise();
      }
      int left = datagramsATurn;
      while ( left > 0 && watch_->receive( [&]( const nlmsghdr& message ) { take( message ); } ) ) {
         --left;
      }
   } catch ( const std::system_error& error ) {
      watch_.reset();
      const bool lost = error.code() == std::errc::no_buffer_space;
      due_ = EventLoop::Clock::now() + ( lost ? EventLoop::Clock::duration() : again );
   }
}

// Begins with a new socket: messages of the old one may be older than the list.
void Interfaces::resynchronise() {
   watch_.emplace( RTMGRP_LINK );
   const ByNumber now = listed();
   const ByNumber before = interfaces_;
   for ( const auto& [number, interface] : before ) {
      if ( !now.contains( number ) ) {
         put( number, std::nullopt );
      }
   }
   for ( const auto& [number, interface] : now ) {
      put( number, interface );
   }
}

Interfaces::ByNumber Interfaces::listed() const {
   ByNumber found;
   NetlinkMessage< ifinfomsg > all( RTM_GETLINK );
   NetlinkSocket().dump(
      all.header(), [&] { found.clear(); },
      [&]( const nlmsghdr& message ) {
         if ( const auto interface = interfaceOf( message ) ) {
            found[interface->number] = *interface;
         }
      } );
   return found;
}

void Interfaces::take( const nlmsghdr& message ) {
   const auto interface = interfaceOf( message );
   if ( !interface ) {
      return;
   }
   if ( message.nlmsg_type == RTM_NEWLINK ) {
      put( interface->number, interface );
   } else if ( message.nlmsg_type == RTM_DELLINK ) {
      put( interface->number, std::nullopt );
   }
}

void Interfaces::put( U32 number, const std::optional< Interface >& now ) {
   std::optional< Interface > before;
   if ( const Interface* const known = find( number ) ) {
      before = *known;
   }
   if ( before == now ) {
      return;
   }
   if ( now ) {
      interfaces_[number] = *now;
   } else {
      interfaces_.erase( number );
   }
   changed_( before ? &*before : nullptr, now ? &*now : nullptr );
}

} // namespace Agents
