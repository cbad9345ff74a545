#pragma once

#include "match/Packet.h"
#include "wire/Canonical.h"

namespace Match {

/// The packets that a rule matches, to be compared with those of others. Answers are exact: they
/// take into account that fields depend on each other, as a packet with TCP flags has ports too.
///
/// The packets are those that `parsePacket` reads, whole, cut off or with a header that lies: of
/// TCP, UDP and ICMP, with the length that what was read of their headers takes at least; IPv4's
/// length is 20 at least. VRF and interface sets of rules do not count.
class OSK_EXPORT PacketSet {
public:
   /// The packets that the rule of `key` matches, which is not kept; none for a key that is no rule
   /// (`RuleMatch::valid`). The time grows with the number of terms and its logarithm.
   explicit PacketSet( const Flowspec::FlowspecKey& key );

   /// A packet of the set; nothing when it is empty. Of this and the next two the time grows with
   /// the number of ranges of both sets.
   std::optional< Packet > any() const;
   /// A packet that is in both sets; nothing when none is.
   std::optional< Packet > common( const PacketSet& other ) const;
   /// A packet of this set that is not in the other; nothing when all are.
   std::optional< Packet > beyond( const PacketSet& other ) const;

private:
   using Ranges = std::vector< Wire::ValueRange >;
   class Box;

   /// What one component admits: the values of its field, combinations of flags being numbers.
   struct Part {
      Flowspec::MatchCompType type;
      Ranges values;
   };

   static std::vector< Box > kinds( Zorv::AddressFamily family );
   template < typename Take >
   std::optional< Packet > firstOfKinds( Take take ) const;
   void restrict( std::vector< Box >& boxes ) const;
   std::optional< Packet > outside( const Box& box ) const;
   bool meets( const PacketSet& other ) const;

   Zorv::AddressFamily family_; ///< none for no packets
   Zorv::IpGenPrefix destPrefix_;
   Zorv::IpGenPrefix srcPrefix_;
   std::vector< Part > parts_;
};

} // namespace Match
