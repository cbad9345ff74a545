#pragma once

#include "Flowspec/vocab/MatchCompType.h"
#include "forms/dialects/MatchParts.h"

#include <span>

/// The words of ExaBGP's match.
namespace Forms::ExaBgp {

/// Of two names the first is that of IPv4.
inline constexpr ComponentName components[] = {
   { Flowspec::ipProto, "protocol", 0xFF },
   { Flowspec::ipProto, "next-header", 0xFF },
   { Flowspec::MatchCompType::port, "port", 0xFFFF },
   { Flowspec::destPort, "destination-port", 0xFFFF },
   { Flowspec::srcPort, "source-port", 0xFFFF },
   { Flowspec::icmpType, "icmp-type", 0xFF },
   { Flowspec::icmpCode, "icmp-code", 0xFF },
   { Flowspec::tcpFlags, "tcp-flags", 0xFFFF },
   { Flowspec::packetLength, "packet-length", 0xFFFF },
   { Flowspec::dscp, "dscp", 0x3F },
   { Flowspec::dscp, "traffic-class", 0xFF },
   { Flowspec::fragment, "fragment", 0xFF },
   { Flowspec::flowLabel, "flow-label", 0xFFFFF },
};

inline constexpr NumberName protocols[] = {
   { "icmp", 1 },  { "igmp", 2 },  { "tcp", 6 },    { "egp", 8 }, { "udp", 17 },
   { "rsvp", 46 }, { "gre", 47 },  { "esp", 50 },   { "ah", 51 }, { "ospf", 89 },
   { "ipip", 94 }, { "pim", 103 }, { "sctp", 132 },
};

inline constexpr NumberName icmpTypes[] = {
   { "echo-reply", 0 },
   { "unreachable", 3 },
   { "source-quench", 4 },
   { "redirect", 5 },
   { "echo-request", 8 },
   { "router-advertisement", 9 },
   { "router-solicit", 10 },
   { "time-exceeded", 11 },
   { "parameter-problem", 12 },
   { "timestamp", 13 },
   { "timestamp-reply", 14 },
   { "info-request", 15 },
   { "info-reply", 16 },
   { "mask-request", 17 },
   { "mask-reply", 18 },
   { "traceroute", 30 },
   { "experimental-mobility", 41 },
   { "extended-echo-request", 42 },
   { "extended-echo-reply", 43 },
   { "experimental-one", 253 },
   { "experimental-two", 254 },
};

/// Of all types together: a code has one of several names.
inline constexpr NumberName icmpCodes[] = {
   { "network-unreachable", 0 },          { "host-unreachable", 1 },
   { "protocol-unreachable", 2 },         { "port-unreachable", 3 },
   { "fragmentation-needed", 4 },         { "source-route-failed", 5 },
   { "destination-network-unknown", 6 },  { "destination-host-unknown", 7 },
   { "source-host-isolated", 8 },         { "destination-network-prohibited", 9 },
   { "destination-host-prohibited", 10 }, { "network-unreachable-for-tos", 11 },
   { "host-unreachable-for-tos", 12 },    { "communication-prohibited-by-filtering", 13 },
   { "host-precedence-violation", 14 },   { "precedence-cutoff-in-effect", 15 },
   { "redirect-for-network", 0 },         { "redirect-for-host", 1 },
   { "redirect-for-tos-and-net", 2 },     { "redirect-for-tos-and-host", 3 },
   { "ttl-eq-zero-during-transit", 0 },   { "ttl-eq-zero-during-reassembly", 1 },
   { "required-option-missing", 1 },      { "ip-header-bad", 2 },
};

/// The ports that rules name most often, out of some 4,900 that ExaBGP has names for.
inline constexpr NumberName ports[] = {
   { "echo", 7 },         { "discard", 9 },  { "systat", 11 },   { "daytime", 13 },
   { "qotd", 17 },        { "chargen", 19 }, { "ftp-data", 20 }, { "ftp", 21 },
   { "ssh", 22 },         { "telnet", 23 },  { "smtp", 25 },     { "time", 37 },
   { "tacacs", 49 },      { "domain", 53 },  { "bootps", 67 },   { "bootpc", 68 },
   { "tftp", 69 },        { "finger", 79 },  { "http", 80 },     { "kerberos", 88 },
   { "pop3", 110 },       { "sunrpc", 111 }, { "auth", 113 },    { "nntp", 119 },
   { "ntp", 123 },        { "imap", 143 },   { "snmp", 161 },    { "snmptrap", 162 },
   { "bgp", 179 },        { "ldap", 389 },   { "https", 443 },   { "microsoft-ds", 445 },
   { "submission", 587 }, { "ldaps", 636 },  { "ssdp", 1900 },
};

inline constexpr NumberName flagsOfTcp[] = {
   { "fin", 0x01 }, { "syn", 0x02 }, { "rst", 0x04 }, { "push", 0x08 }, { "ack", 0x10 },
   { "urg", 0x20 }, { "ece", 0x40 }, { "cwr", 0x80 }, { "ns", 0x100 },  { "urgent", 0x20 },
};

inline constexpr NumberName flagsOfFragment[] = {
   { "not-a-fragment", 0 },    { "dont-fragment", 0x01 }, { "is-fragment", 0x02 },
   { "first-fragment", 0x04 }, { "last-fragment", 0x08 },
};

/// The names of a component's values; none for most.
inline std::span< const NumberName > valueNames( Flowspec::MatchCompType type ) {
   switch ( type ) {
   case Flowspec::ipProto:
      return protocols;
   case Flowspec::MatchCompType::port:
   case Flowspec::destPort:
   case Flowspec::srcPort:
      return ports;
   case Flowspec::icmpType:
      return icmpTypes;
   case Flowspec::icmpCode:
      return icmpCodes;
   case Flowspec::tcpFlags:
      return flagsOfTcp;
   case Flowspec::fragment:
      return flagsOfFragment;
   default:
      return {};
   }
}

/// What ExaBGP calls a value without a name; empty where it prints the number.
inline std::string_view kindOf( Flowspec::MatchCompType type ) {
   switch ( type ) {
   case Flowspec::ipProto:
      return "protocol";
   case Flowspec::icmpType:
      return "icmp type";
   case Flowspec::tcpFlags:
      return "tcp flag";
   case Flowspec::fragment:
      return "fragment";
   default:
      return {};
   }
}

} // namespace Forms::ExaBgp
