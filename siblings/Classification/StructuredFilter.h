#pragma once

#include "Classification/Fragment.h"
#include "Classification/NumericalRange.h"
#include "Classification/TcpFlagAndMask.h"
#include "Osk/UniqueId.h"
#include "Zorv/IpGenPrefix.h"

#include <map>
#include <set>

namespace Classification {

// In everything below an empty set or map is no criterion: all packets pass. The members of one
// that is not empty are alternatives, and a packet passes the whole when it passes every criterion.

/// Ports of one protocol entry, taken together.
struct PortField {
   std::set< PortRange > sport; ///< source ports
   std::set< PortRange > dport; ///< destination ports

   bool operator==( const PortField& ) const = default;
};

/// What goes with a range of ICMP types.
struct TypeAndCode {
   std::set< IcmpCodeRange > icmpCode;

   bool operator==( const TypeAndCode& ) const = default;
};

/// The criteria of one range of protocols.
struct ProtoField {
   std::map< Osk::UniqueId, PortField > port; ///< the identifiers only tell the fields apart
   std::map< IcmpTypeRange, TypeAndCode > icmpType;
   std::set< TcpFlagAndMask > tcpFlagAndMask;

   bool operator==( const ProtoField& ) const = default;
};

/// A packet filter as traffic policies hold it. To be filled by the one that makes it, then handed
/// out as `Vek::Ptr< const StructuredFilter >` and not changed any more.
class OSK_EXPORT StructuredFilter final : public Vek::Counted {
public:
   static constexpr std::string_view typeName = "Classification::StructuredFilter";

   std::set< Zorv::IpGenPrefix > destPrefix;
   std::set< Zorv::IpGenPrefix > srcPrefix;
   std::map< ProtocolRange, ProtoField > proto;
   std::set< PacketLengthRange > length;
   std::set< DscpRange > dscp;
   Vek::Ptr< const Fragment > fragment; ///< null when fragmentation does not matter

   friend Vek::Ptr< StructuredFilter > Vek::make< StructuredFilter >();

private:
   StructuredFilter() = default;
   ~StructuredFilter() override;
};

/// A new filter, which all packets pass.
OSK_EXPORT Vek::Ptr< StructuredFilter > structuredFilterFactory();

} // namespace Classification
