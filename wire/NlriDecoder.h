#pragma once

#include "Flowspec/key/FlowspecKey.h"
#include "wire/NlriFault.h"
#include "wire/NlriFormat.h"

#include <span>

/// Reading rules from the octets of BGP (RFC 8955 section 4, RFC 8956 section 3). Octets come from
/// outside: nothing here throws or ends the process for any, a rejection is a value, and what is
/// allocated is at most what the key and its remarks take, a fixed multiple of the octets. Rules of
/// up to 8 words with up to 4 remarks allocate nothing.
namespace Wire {

/// One NLRI that was read.
struct Nlri {
   /// Its family is that of the format; VRF and interface sets stay as they were, as no NLRI has
   /// them. The words are what the RFCs let a receiver understand: the AND bit of first terms,
   /// reserved operator bits and host bits are 0, and a value of 8 octets has the shortest length
   /// that should be sent.
   Flowspec::FlowspecKey key;
   /// The zero one for SAFI 133.
   Zorv::RouteDistinguisher rd;
   /// The NLRI as received, from its length field to its end: a view of the octets that were given.
   /// Without the length field they are the rule's identity in BGP, which the key is not when there
   /// are remarks. Empty when not even the framing could be read.
   std::span< const U8 > octets;
   /// In the order of the octets; those in front of the fault when the NLRI is rejected.
   Remarks remarks;

   /// The components alone, without length field and distinguisher; of an NLRI that was read.
   std::span< const U8 > components( NlriFormat format ) const {
      const std::size_t length = octets[0] < 0xF0 ? 1 : 2;
      return octets.subspan( length + ( format.vpn ? 8 : 0 ) );
   }
};

/// Reads the NLRI that `octets` begin with; what follows it is a remark. All of `nlri` but the VRF
/// and the interface sets of its key is replaced. Nothing when the NLRI is a rule.
///
/// A rejection leaves no rule: the key has no family then, no prefixes and no words. Faults are
/// met in the order of the octets, and the first is told; `unrepresentable` only when there is no
/// other.
[[nodiscard]] OSK_EXPORT std::optional< Rejection > decodeNlri( std::span< const U8 > octets,
                                                                NlriFormat format, Nlri& nlri );

/// Walks the NLRI of one MP_REACH_NLRI or MP_UNREACH_NLRI (RFC 4760): their field, from the first
/// length field on.
///
///     Wire::NlriList list( field, format );
///     while ( !list.atEnd() ) {
///        if ( const auto rejection = list.next( nlri ) ) ...
///     }
///     if ( !list.isFramed() ) ... // what follows cannot be told apart: RFC 7606 section 5.3
class OSK_EXPORT NlriList {
public:
   /// `field` is viewed as long as the list is walked.
   NlriList( std::span< const U8 > field, NlriFormat format ) : rest_( field ), format_( format ) {}

   /// Whether there is nothing more that `next` could read.
   bool atEnd() const { return rest_.empty() || !framed_; }

   /// Reads the next NLRI as `decodeNlri` does, without a remark about what follows it. After a
   /// rejection the walk goes on with the next one, unless the framing is broken.
   [[nodiscard]] std::optional< Rejection > next( Nlri& nlri );

   /// False after a length field that is cut off or tells more octets than there are: where the
   /// next NLRI begins is not known then.
   bool isFramed() const { return framed_; }

   /// The octets that were not read.
   std::span< const U8 > rest() const { return rest_; }

private:
   std::span< const U8 > rest_;
   NlriFormat format_;
   bool framed_ = true;
};

} // namespace Wire
