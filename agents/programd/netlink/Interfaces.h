#pragma once

#include "Vek/text/String.h"
#include "agents/daemon/EventLoop.h"
#include "agents/programd/netlink/NetlinkSocket.h"

#include <map>
#include <optional>

namespace Agents {

/// An interface of the machine, as the kernel has it.
struct Interface {
   U32 number = 0;
   Vek::String name{};
   U32 master = 0; ///< number of the bridge, bond or VRF device that it is in; 0 for none
   U32 table = 0;  ///< the routing table of a VRF device; 0 for any other interface

   bool operator==( const Interface& ) const = default;
};

/// The interface that a link message of the kernel is about. Nothing when it is about none: one of
/// an address family's own view of an interface, such as that of a bridge on its ports.
std::optional< Interface > interfaceOf( const nlmsghdr& message );

/// The machine's interfaces, and a watch on them. It follows the network namespace in which it was
/// made.
class Interfaces final : public EventLoop::Handler {
public:
   using ByNumber = std::map< U32, Interface >;
   /// A change of one interface: `before` is null for a new one, `now` for one that is gone. The
   /// pointers hold for the call. A name may be taken by another one: `before` and `now` have one
   /// number.
   using Changed = std::function< void( const Interface* before, const Interface* now ) >;

   /// How long it waits after the kernel has not answered.
   static constexpr std::chrono::seconds again{ 1 };

   /// Begins with the interfaces that are there, which are not told. `std::system_error` when the
   /// kernel does not list them.
   Interfaces( EventLoop& loop, Changed changed );
   Interfaces( const Interfaces& ) = delete;
   Interfaces& operator=( const Interfaces& ) = delete;
   ~Interfaces();

   const ByNumber& all() const { return interfaces_; }
   /// The interface of a number or a name; null when there is none.
   const Interface* find( U32 number ) const;
   const Interface* find( std::string_view name ) const;
   /// The routing table that packets of an interface are looked up in: that of the VRF device that
   /// it is or is in; 0 when that is none.
   U32 tableOf( const Interface& interface ) const;

   int fd() const override { return watch_ ? watch_->fd() : -1; }
   EventLoop::Clock::time_point due() const override { return due_; }
   void ready() override;

private:
   void resynchronise();
   ByNumber listed() const;
   void take( const nlmsghdr& message );
   void put( U32 number, const std::optional< Interface >& now );

   EventLoop& loop_;
   const Changed changed_;
   std::optional< NetlinkSocket > watch_; // none while the kernel does not answer
   ByNumber interfaces_;
   EventLoop::Clock::time_point due_ = EventLoop::Clock::time_point::max();
};

} // namespace Agents
