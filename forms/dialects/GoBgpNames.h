#pragma once

#include "Flowspec/vocab/MatchCompType.h"
#include "Zorv/AddressFamily.h"
#include "forms/dialects/MatchParts.h"
#include "wire/ActionEncoder.h"

/// The words of GoBGP's commands, and the texts that its JSON shares with them.
namespace Forms::GoBgp {

inline constexpr ComponentName components[] = {
   { Flowspec::ipProto, "protocol", 0xFF },
   { Flowspec::MatchCompType::port, "port", 0xFFFF },
   { Flowspec::destPort, "destination-port", 0xFFFF },
   { Flowspec::srcPort, "source-port", 0xFFFF },
   { Flowspec::icmpType, "icmp-type", 0xFF },
   { Flowspec::icmpCode, "icmp-code", 0xFF },
   { Flowspec::tcpFlags, "tcp-flags", 0xFF },
   { Flowspec::packetLength, "packet-length", 0xFFFF },
   { Flowspec::dscp, "dscp", 0x3F },
   { Flowspec::fragment, "fragment", 0x0F },
   { Flowspec::flowLabel, "label", 0xFFFFF },
};

inline constexpr NumberName protocols[] = {
   { "unknown", 0 }, { "icmp", 1 },  { "igmp", 2 },   { "tcp", 6 },  { "egp", 8 },
   { "igp", 9 },     { "udp", 17 },  { "rsvp", 46 },  { "gre", 47 }, { "ospf", 89 },
   { "ipip", 94 },   { "pim", 103 }, { "sctp", 132 },
};

/// The flags of TCP by their bits.
inline constexpr std::string_view tcpLetters = "FSRPAUEC";

/// The names of a fragment's flags; the first stands for none of them.
inline constexpr NumberName fragments[] = {
   { "not-a-fragment", 0 },    { "dont-fragment", 0x01 }, { "is-fragment", 0x02 },
   { "first-fragment", 0x04 }, { "last-fragment", 0x08 },
};

struct FamilyName {
   std::string_view name;
   Zorv::AddressFamily family;
   bool vpn;
};

inline constexpr FamilyName families[] = {
   { "ipv4-flowspec", Zorv::AddressFamily::ipv4, false },
   { "ipv6-flowspec", Zorv::AddressFamily::ipv6, false },
   { "ipv4-l3vpn-flowspec", Zorv::AddressFamily::ipv4, true },
   { "ipv6-l3vpn-flowspec", Zorv::AddressFamily::ipv6, true },
};

/// The row of a rule's family.
const FamilyName& familyOf( const Rule& rule );

/// The route target of "65000:1", "1.0:1" for the AS number 65536, "192.0.2.1:1" or
/// "2001:db8::1:1". Nothing for other texts, among them AS numbers above 65535 without a dot:
/// GoBGP takes these for 65535.
std::optional< Wire::RouteTarget > routeTargetOf( std::string_view text );

/// The text of a community that holds a route target; `kind` says how its six octets are read.
Vek::String targetText( Wire::RouteTarget::Kind kind, const Wire::ExtendedCommunity& community );
Vek::String targetText( const Wire::Ipv6Community& community );

/// The types of communities that hold a route target, by its kind.
struct TargetTypes {
   U16 as2;
   U16 ipv4;
   U16 as4;
   U16 ipv6;
};

/// Appends the community of a route target.
void addTarget( const Wire::RouteTarget& target, const TargetTypes& types,
                Wire::EncodedAction& communities );

inline constexpr TargetTypes redirectTypes = {
   Wire::CommunityType::redirectAs2, Wire::CommunityType::redirectIpv4,
   Wire::CommunityType::redirectAs4, Wire::Ipv6CommunityType::redirect };
inline constexpr TargetTypes routeTargetTypes = {
   Wire::CommunityType::routeTargetAs2, Wire::CommunityType::routeTargetIpv4,
   Wire::CommunityType::routeTargetAs4, Wire::Ipv6CommunityType::routeTarget };

} // namespace Forms::GoBgp
