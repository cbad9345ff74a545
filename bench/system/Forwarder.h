#pragma once

#include "bench/system/Child.h"
#include "tests/support/NetworkNamespace.h"

#include <array>

namespace Bench {

/// A box that forwards packets, in a network namespace of its own: what is sent on "out" comes in
/// on "in", and what is let through goes out by "away".
class Forwarder {
public:
   Forwarder();
   Forwarder( const Forwarder& ) = delete;
   Forwarder& operator=( const Forwarder& ) = delete;
   ~Forwarder();

   const TestSupport::NetworkNamespace& space() const { return space_; }
   /// The number of the interface "in".
   U32 in() const;

   /// Sends UDP packets of 60 octets to port 80 of `count` addresses from 10.0.0.0 on, in turn, for
   /// this time. How many went through for each second.
   double packetsPerSecond( U32 count, double seconds );

private:
   /// What is sent at once.
   static constexpr std::size_t batch = 64;
   using Packet = std::array< unsigned char, 60 >;

   void address( Packet& packet, U32 destination ) const;
   U64 forwarded() const;

   TestSupport::NetworkNamespace space_;
   int socket_ = -1;
};

} // namespace Bench
