#pragma once

#include "tests/support/KeyGenerator.h"
#include "tests/support/PacketBytes.h"

namespace TestSupport {

/// Random packets and rules that meet often: both draw from the same few addresses and numbers.
class RandomMatch {
public:
   explicit RandomMatch( U64 seed ) : random_( seed ) {}

   KeyGenerator& random() { return random_; }

   /// A packet of any kind; one in eight is cut off, one in eight has something after its end.
   std::vector< U8 > packet();

   /// A rule of the packet's family with up to four components. One in two is `meant`: each of its
   /// components alone is one that the packet matches.
   Flowspec::FlowspecKey rule( const std::vector< U8 >& packet );

private:
   Zorv::IpGenAddr address( Zorv::AddressFamily family );
   std::vector< U8 > payload( U8 protocol );
   Zorv::IpGenPrefix prefix( const std::vector< U8 >& packet, std::size_t place, bool meant );
   U32 value( Flowspec::MatchCompType type, const std::vector< U8 >& packet );
   U32 addComponent( Flowspec::FlowspecKey& key, U32 index, Flowspec::MatchCompType type,
                     const std::vector< U8 >& packet );

   KeyGenerator random_;
};

} // namespace TestSupport
