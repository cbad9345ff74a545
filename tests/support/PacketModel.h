#pragma once

#include "Classification/StructuredFilter.h"
#include "Flowspec/key/FlowspecKey.h"

namespace TestSupport {

/// What filters and rules look at in one IP packet.
struct Packet {
   Zorv::IpGenAddr destination;
   Zorv::IpGenAddr source;
   U8 protocol = 0;
   U16 length = 0;
   U8 dscp = 0;
   bool dontFragment = false;
   bool moreFragments = false;
   bool atOffset = false; ///< not the first fragment: it has no transport header
   U16 destPort = 0;
   U16 srcPort = 0;
   U8 icmpType = 0;
   U8 icmpCode = 0;
   U8 tcpFlags = 0;

   bool isFragment() const { return moreFragments || atOffset; }
   bool hasTcp() const { return protocol == 6 && !atOffset; }
   bool hasPorts() const { return ( protocol == 6 || protocol == 17 ) && !atOffset; }
   bool hasIcmp() const { return ( protocol == 1 || protocol == 58 ) && !atOffset; }
};

/// Whether a packet passes a filter, criterion by criterion. A criterion of a transport header
/// takes only packets that have this header.
bool matches( const Classification::StructuredFilter& filter, const Packet& packet );

/// Whether a packet matches the prefixes and terms of a rule, as RFC 8955 section 4.2 reads them,
/// but for the is-a-fragment bit, which is that of RFC 5575 and holds for the first fragment too.
/// The key has none of the types port and flow label.
bool matches( const Flowspec::FlowspecKey& key, const Packet& packet );

} // namespace TestSupport
