#pragma once

#include "Flowspec/vocab/MatchCompType.h"
#include "Zorv/IpGenAddr.h"

#include <optional>
#include <span>

namespace Match {

/// The values of one field of a packet: none when the packet does not have the field, two for the
/// ports of either side.
class FieldValues {
public:
   const U32* begin() const { return values_; }
   const U32* end() const { return values_ + count_; }

   /// Appends a value that is there; two fit.
   template < typename T >
   void add( const std::optional< T >& value ) {
      if ( value ) {
         values_[count_++] = *value;
      }
   }

private:
   U32 values_[2] = {};
   U32 count_ = 0;
};

/// The header fields of one IP packet that rules look at. A field that the packet does not have,
/// that is cut off, or that cannot be found is absent, never 0.
struct Packet {
   /// `ipv4` or `ipv6`; a default packet has neither, and no rule matches it.
   Zorv::AddressFamily family = Zorv::AddressFamily::none;
   Zorv::IpGenAddr destination;
   Zorv::IpGenAddr source;
   /// In bytes: IPv4's total length; IPv6's payload length and the 40 bytes of its header.
   U32 length = 0;
   U8 dscp = 0; ///< 6 bits
   /// Of IPv6 only; 20 bits (RFC 8956 section 3.7).
   std::optional< U32 > flowLabel;
   /// The protocol of IPv4, or what is after the extension headers of IPv6: hop-by-hop options,
   /// routing, fragment, destination options and authentication (RFC 8956 section 3.3). ESP hides
   /// what follows it and so counts as a protocol, 50. Absent when the chain is cut off.
   std::optional< U8 > protocol;
   /// The bits of `fragment` terms (RFC 8955 section 4.2.2.12, RFC 8956 section 3.6); 0 for a whole
   /// packet. Absent when IPv6's chain is cut off where a fragment header may follow.
   std::optional< U8 > fragment;
   /// Of TCP, UDP, SCTP, DCCP and UDP-Lite, but not after the first fragment.
   std::optional< U16 > destPort;
   std::optional< U16 > srcPort;
   /// Of ICMP in IPv4 and ICMPv6 in IPv6, but not after the first fragment.
   std::optional< U8 > icmpType;
   std::optional< U8 > icmpCode;
   /// The 12 bits beside TCP's data offset (RFC 8955 section 4.2.2.9), not after the first
   /// fragment.
   std::optional< U16 > tcpFlags;

   /// The values that a component of `type` is tested against; none for a type that has no terms.
   /// Ports are those of TCP and UDP alone (RFC 8955 sections 4.2.2.4
   /// to 4.2.2.6).
   OSK_EXPORT FieldValues values( Flowspec::MatchCompType type ) const;

   bool operator==( const Packet& ) const = default;
};

/// The bits of `Packet::fragment`; `dontFragment` is IPv4's alone.
struct FragmentBits {
   static constexpr U8 dontFragment = 0x01;
   static constexpr U8 isFragment = 0x02; ///< other than the first: its offset is not 0
   static constexpr U8 firstFragment = 0x04;
   static constexpr U8 lastFragment = 0x08;
};

/// Reads a packet from the first byte of its IP header on. `bytes` may be cut off at any place, as
/// captures are, or go on after the packet, as padded frames do; only what is inside both is read.
///
/// Nothing when the version is neither 4 nor 6, or less than the fixed header (20 or 40 bytes) is
/// there. A header length or total length that cannot be makes absent what stands after the fixed
/// header. Nothing is allocated and `bytes` is not kept.
OSK_EXPORT std::optional< Packet > parsePacket( std::span< const U8 > bytes );

} // namespace Match
