#pragma once

#include "Zorv/IntfId.h"
#include "agents/programd/nftables/Kernel.h"
#include "tests/support/NetworkNamespace.h"

#include <chrono>

#include <sched.h>

namespace TestSupport {

/// A namespace with a pair of interfaces: what is sent on "out" comes in on "in" and meets the
/// kernel's rules there. Nothing else comes in on it.
class PacketWire {
public:
   PacketWire();
   PacketWire( const PacketWire& ) = delete;
   PacketWire& operator=( const PacketWire& ) = delete;
   ~PacketWire();

   /// Why a test cannot be run here; "" when it can.
   Vek::String missing() const;
   const NetworkNamespace& space() const { return space_; }
   Agents::Nftables::Kernel& kernel() { return *kernel_; }
   /// The number of "in".
   Zorv::IntfId in() const;

   /// What came in before our rules had it, and what came through them.
   struct Seen {
      U64 in = 0;
      U64 through = 0;
   };
   Seen seen();

   /// Sends a packet from its IP header on, and waits until it came in. False when the kernel does
   /// not take it for a packet: it is malformed.
   bool send( const std::vector< U8 >& packet );

   /// Sends a packet again and again for this time, and waits for none of them.
   void flood( const std::vector< U8 >& packet, std::chrono::duration< double > time );

   /// The same packet with lengths, checksum and options that the kernel accepts, if it is one;
   /// empty when it is too short to be one, or one that rules are not exact for (`matchLines`).
   static std::vector< U8 > acceptable( std::vector< U8 > packet );

private:
   void sendOne( const std::vector< U8 >& packet );

   NetworkNamespace space_;
   std::optional< Agents::Nftables::Kernel > kernel_;
   int socket_ = -1;
   int index_ = 0;
   cpu_set_t processors_; // that the thread ran on before
   Vek::String missing_;
};

} // namespace TestSupport
