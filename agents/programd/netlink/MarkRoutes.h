#pragma once

#include "Vek/text/String.h"
#include "Zorv/IpGenAddr.h"
#include "agents/programd/netlink/NetlinkSocket.h"

#include <set>
#include <vector>

namespace Agents {

/// Where packets of one family with one mark go: into a routing table by its number, or to a next
/// hop.
struct MarkRoute {
   U32 mark = 0; ///< other than 0, and within the mask of the marks
   Zorv::AddressFamily family = Zorv::AddressFamily::none;
   U32 table = 0;             ///< 0 for a next hop
   Zorv::IpGenAddr nextHop{}; ///< of the same family, on a network that the machine is connected to

   auto operator<=>( const MarkRoute& ) const = default;
};

/// A route that the kernel does not take, and why.
struct MarkRouteFault {
   MarkRoute route;
   Vek::String reason;
};

/// Routing rules and routes for packets that carry marks, in the network namespace in which it was
/// made. They stay when the process ends, and the next one finds them.
///
/// All of them have the routing protocol `protocol`; nothing without it is touched. For each mark
/// there are two rules, `lookup TABLE` and, for what that table has no route for, `blackhole`: a
/// packet that is led away never goes the ordinary way. A next hop is the default route of a table
/// of its own. The kernel tries rules one by one: each mark costs every packet of the machine that
/// is routed after it.
class MarkRoutes {
public:
   static constexpr U8 protocol = 133;
   static constexpr U32 lookupPriority = 13'300; ///< after the local table, before the main one
   static constexpr U32 blackholePriority = 13'301;
   static constexpr U32 firstTable = 13'300'000; ///< of the tables of next hops
   static constexpr U32 maxMarks = 65'535;

   /// The table that is made for the next hop of a mark.
   static U32 nextHopTable( U32 mark, U32 mask );

   /// Marks are in the bits of `mask`, 16 neighbours at most; the other bits of a packet's mark
   /// are left to others. `std::invalid_argument` for any other mask.
   explicit MarkRoutes( U32 mask );

   enum class Others : U8 { go, stay };

   /// Makes the kernel have these and, unless `others` stay, none of ours beside: nothing happens
   /// to what is there already, what others have deleted is there again, and a mark leads from one
   /// place to another without a gap. Returns those that are not there. `std::system_error` when
   /// the kernel does not tell what it has. Two routes of one mark and family are one too many.
   std::vector< MarkRouteFault > apply( const std::set< MarkRoute >& wanted,
                                        Others others = Others::go );

private:
   struct Rule {
      U8 family = 0;
      U32 priority = 0;
      U32 mark = 0;
      U32 mask = 0;
      U32 table = 0; ///< 0 for a rule that drops

      auto operator<=>( const Rule& ) const = default;
   };
   struct Route {
      U32 table = 0;
      Zorv::IpGenAddr gateway{};

      auto operator<=>( const Route& ) const = default;
   };

   std::set< Rule > rules();
   std::set< Route > routes();
   void put( const Rule& rule );
   void remove( const Rule& rule );
   void put( const Route& route );
   void remove( const Route& route );

   const U32 mask_;
   NetlinkSocket socket_;
};

} // namespace Agents
