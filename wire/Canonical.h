#pragma once

#include "Flowspec/key/FlowspecKey.h"
#include "wire/FlagFunction.h"

#include <vector>

/// What a rule admits, apart from how it is written: to find rules that differ in their octets
/// alone.
namespace Wire {

/// The values from `low` up to `high`, both included.
struct ValueRange {
   U32 low;
   U32 high;
   bool operator==( const ValueRange& ) const = default;
};

/// One component of a canonical rule other than a prefix.
struct CanonicalComponent {
   Flowspec::MatchCompType type;
   /// Of a numeric component: the values of its field that it admits, ascending, and apart from
   /// each other by a value at least.
   std::vector< ValueRange > ranges;
   /// Of TCP flags and fragments: the combinations that it admits. A function of no flag otherwise.
   FlagFunction flags{ 0, true };

   bool operator==( const CanonicalComponent& ) const = default;
};

/// Why a canonical rule is not written as a key.
enum class NoKey : U8 {
   admitsNothing, ///< see `CanonicalRule::nothing`
   tooManyWords,  ///< its ranges and conjunctions take more than 2047 words
};

/// The packets of one rule, component by component. Two rules whose packets are told apart by one
/// of the components have different ones. VRF and interface sets do not count.
///
/// - Values are those of the packet's field: protocols, ICMP types and codes up to 255, ports and
///   IPv4's length up to 65535, IPv6's up to 65575 with its header, DSCP up to 63, flow labels up
///   to 1048575; the 12 bits of TCP flags, the 4 of fragments, of which IPv6 has no "don't
///   fragment". Bits that are to be ignored are (`Match::RuleMatch`).
/// - A component that admits all values is left out where each packet of the family has the field:
///   packet length and DSCP, protocol and fragment in IPv4, the flow label in IPv6, and prefixes of
///   length 0. It stays where not all have: a rule for any port matches TCP and UDP alone, and no
///   later fragment.
///
/// Fields depend on each other: `port` 80 with `destPort` 80 admits what `destPort` 80 does. Rules
/// that are the same for such a reason alone are not found to be.
class OSK_EXPORT CanonicalRule {
public:
   /// Reads `key`, which is not kept. The time grows with the number of terms and its logarithm.
   explicit CanonicalRule( const Flowspec::FlowspecKey& key );

   Zorv::AddressFamily family() const { return family_; }
   /// Empty when any address is admitted.
   const Zorv::IpGenPrefix& destPrefix() const { return destPrefix_; }
   const Zorv::IpGenPrefix& srcPrefix() const { return srcPrefix_; }
   /// In the order of their types.
   const std::vector< CanonicalComponent >& components() const { return components_; }

   /// The first component by type that admits no packet, if there is one; `invalid` when the key is
   /// no rule at all: it has no family, a prefix of another one, terms that cannot be walked
   /// (`Flowspec::unprintableTerm`), of a type that has none, or of one type at two places. Nothing
   /// else is known of the rule then.
   std::optional< Flowspec::MatchCompType > nothing() const { return nothing_; }

   /// Replaces prefixes, words and family of `key` by those that admit the same packets, the same
   /// for equal rules: components in the order of their types, ranges as "=", "<=", ">=" or two
   /// terms joined by AND, flags as one term where one does, else as conjunctions, and the shortest
   /// values that should be sent. A rule that is left without a component has a destination of
   /// length 0. A reason, and `key` as it was, when no key can hold the rule: 2,000 numbers that
   /// are excepted make 2,001 ranges.
   [[nodiscard]] std::optional< NoKey > toKey( Flowspec::FlowspecKey& key ) const;

   bool operator==( const CanonicalRule& ) const = default;

private:
   bool readKey( const Flowspec::FlowspecKey& key );
   void settle();

   Zorv::AddressFamily family_ = Zorv::AddressFamily::none;
   Zorv::IpGenPrefix destPrefix_;
   Zorv::IpGenPrefix srcPrefix_;
   std::vector< CanonicalComponent > components_;
   std::optional< Flowspec::MatchCompType > nothing_;
};

/// Whether two rules admit the same packets, component by component: their canonical rules are
/// equal, or neither admits any.
OSK_EXPORT bool equivalent( const Flowspec::FlowspecKey& a, const Flowspec::FlowspecKey& b );

} // namespace Wire
