#pragma once

#include "Vek/collections/SmallVector.h"
#include "agents/bgp/message/Open.h"
#include "agents/bgp/message/PathAttributes.h"

namespace Bgp {

/// What is wrong with a path attribute, or with the list of them (RFC 7606).
enum class AttributeFaultCode : U8 {
   flags,      ///< optional or transitive bit; `detail`: the flags
   length,     ///< `detail`: the length
   value,      ///< an ORIGIN above 2; `detail`: it
   segment,    ///< of an AS path: an unknown type, no number, or cut off; `detail`: its offset
   asZero,     ///< the AS number 0 (RFC 7607)
   missing,    ///< a well-known attribute that routes must have
   cutOff,     ///< the list ends inside the attribute; of type 0, inside the header
   again,      ///< all but the first of a type are passed over
   notForPeer, ///< that this kind of peer has no business to send
   notAgreed,  ///< routes of a family that was not agreed on; `detail`: the SAFI
};

/// One fault. A plain value: the text is made for those who ask.
struct AttributeFault {
   AttributeFaultCode code;
   U8 type; ///< of the attribute
   U16 detail = 0;

   /// For people, such as "ORIGIN: the length is 2".
   Vek::String message() const;
   bool operator==( const AttributeFault& ) const = default;
};

/// The routes of one attribute: rules, one after the other, to be walked with `Wire::NlriList`.
/// That they can be told apart was made sure.
struct Routes {
   Family family; ///< one that was agreed on
   std::span< const U8 > nlri;
};

/// An UPDATE message that does not end the session: a view of its octets, which must outlive it.
/// One object can be used for all updates of a session: its memory is used again.
struct Update {
   Update() = default;
   Update( const Update& ) = delete;
   Update& operator=( const Update& ) = delete;

   std::optional< Routes > reach;   ///< of MP_REACH_NLRI
   std::optional< Routes > unreach; ///< of MP_UNREACH_NLRI; to be withdrawn first
   /// The next hop of `reach`: 0, 4 or 16 octets, in a VPN family also 12 or 24, a distinguisher
   /// first.
   std::span< const U8 > nextHop;
   PathAttributes attributes; ///< of `reach`
   /// All routes of the family were sent since the session began (RFC 4724). Such an update has
   /// nothing else.
   std::optional< Family > endOfRib;
   /// Why the routes of `reach` are to be treated as withdrawn: the first fault of that kind. The
   /// attributes must not be used then. Never without `reach`.
   std::optional< AttributeFault > withdrawn;
   /// What was passed over, without consequence for the routes; no more than the first 16.
   Vek::SmallVector< AttributeFault, 4 > discarded;

   /// Memory for an AS path that is not in the message as it is to be read.
   std::vector< U8 > path;
};

/// Reads an UPDATE's octets after the header, which `readHeader` made sure are 4 or more, and
/// replaces all of `update`. A fault ends the session; `update` is not to be used then. Of several
/// faults the gravest is told, of equal ones the first.
///
/// Routes of IPv4 unicast outside of attributes are checked for their form and passed over.
[[nodiscard]] std::optional< Fault > readUpdate( std::span< const U8 > body, const Agreed& agreed,
                                                 Update& update );

} // namespace Bgp
