#pragma once

#include "Flowspec/key/FlowspecKey.h"
#include "match/Packet.h"
#include "wire/AddressBits.h"

#include <vector>

namespace Match {

/// One rule, ready to be tried on packets: a packet matches when it satisfies every component of
/// the rule's key (RFC 8955 section 4.2). VRF and interface sets of the key do not count.
///
/// - The packet must be of the key's family; a prefix must contain its address.
/// - The terms of a component are alternatives of terms joined by AND, which binds tighter. The AND
///   bit of the first term does not count (RFC 8955 section 4.2.1.1).
/// - `port` matches when the terms as a whole hold for the source or the destination port.
/// - A component whose field the packet does not have does not match.
/// - Bits that are to be ignored are: the upper two of a DSCP, those beside the four fragment bits,
///   and in IPv6 "don't fragment" (RFC 8955 sections 4.2.2.11 and 4.2.2.12, RFC 8956 section 3.6).
class OSK_EXPORT RuleMatch {
public:
   struct Term {
      U32 value;
      U8 op;
   };

   /// One component other than a prefix, with its terms.
   struct Component {
      Flowspec::MatchCompType type;
      std::vector< Term > terms;
   };

   /// Reads `key`, which is not kept.
   explicit RuleMatch( const Flowspec::FlowspecKey& key );

   /// Whether the key can be applied. If not, it matches nothing: its family is neither IPv4 nor
   /// IPv6 or not that of its prefixes, its terms cannot be walked (`Flowspec::unprintableTerm`), a
   /// component is of a type that has no terms, or one occurs at two places.
   bool valid() const { return valid_; }

   bool matches( const Packet& packet ) const;

   /// The first component that a packet of the rule's family does not match, prefixes first and the
   /// others in the order of the key; `invalid` when it matches all. Of a rule that can be applied.
   Flowspec::MatchCompType mismatch( const Packet& packet ) const;

   /// The key's family when the rule is valid.
   Zorv::AddressFamily family() const { return family_; }
   /// The empty prefix stands for any address.
   const Zorv::IpGenPrefix& destPrefix() const { return destination_.prefix; }
   const Zorv::IpGenPrefix& srcPrefix() const { return source_.prefix; }
   /// In the order of the key.
   const std::vector< Component >& components() const { return components_; }

private:
   struct PrefixTest {
      explicit PrefixTest( const Zorv::IpGenPrefix& tested );
      bool holds( const Zorv::IpGenAddr& address ) const;

      Zorv::IpGenPrefix prefix;
      Wire::AddressBits bits;
      Wire::AddressBits mask;
   };

   bool readComponents( const Flowspec::FlowspecKey& key );

   PrefixTest destination_;
   PrefixTest source_;
   std::vector< Component > components_;
   Zorv::AddressFamily family_;
   bool valid_;
};

} // namespace Match
